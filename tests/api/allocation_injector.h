#pragma once
// A test program that links allocation_injector.cc has every form of the
// global operator new replaced: while armed, the k-th allocation fails (once,
// or with every later one too), and live bytes are metered. Arm it only
// around the call under test, so that the test's own allocations count for
// nothing. One thread only.

#include <cstddef>
#include <cstdint>

namespace vortan::testing::allocations {

enum class Failing {
    none,       // count and meter only
    kth_only,   // the k-th allocation fails, later ones succeed
    from_kth,   // the k-th and every later allocation fail
};

/// Starts counting from zero; `k` is 1-based and ignored with Failing::none.
void arm(Failing mode, std::uint64_t k = 0);
void disarm();

/// Whether an allocation was refused since the last arm().
bool injected();
/// Allocations asked for since the last arm(), refused ones included.
std::uint64_t count();
/// The most bytes held at once above the level at arm(), by allocations made
/// through operator new while armed (blocks freed that were older count as
/// freed, so this is if anything low).
std::int64_t peak_bytes();

}  // namespace vortan::testing::allocations
