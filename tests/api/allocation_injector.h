#pragma once
// Linking allocation_injector.cc replaces every global operator new: while
// armed, the k-th allocation fails (once, or with every later one too) and
// live bytes are metered. Arm only around the call under test. One thread.

#include <cstddef>
#include <cstdint>

namespace vortan::testing::allocations {

enum class Failing { none, kth_only, from_kth };

/// Starts counting from zero; `k` is 1-based and ignored with Failing::none.
void arm(Failing mode, std::uint64_t k = 0);
void disarm();
/// Whether an allocation was refused since the last arm().
bool injected();
/// The most bytes held at once above the level at arm() (older blocks freed
/// count as freed, so if anything low).
std::int64_t peak_bytes();

}  // namespace vortan::testing::allocations
