// Every form of operator new comes here; blocks come from malloc, so the
// sanitizers still see each one and LeakSanitizer finds what is never freed.

#include "api/allocation_injector.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace vortan::testing::allocations {
namespace {

bool armed = false;
Failing failing = Failing::none;
std::uint64_t fail_at = 0;
std::uint64_t asked = 0;
bool refused = false;
std::int64_t live = 0;
std::int64_t peak = 0;

void* allocate(std::size_t size, std::size_t alignment, bool may_throw) {
    if (armed) {
        ++asked;
        const bool fails = (failing == Failing::kth_only && asked == fail_at) ||
                           (failing == Failing::from_kth && asked >= fail_at);
        if (fails) {
            refused = true;
            if (may_throw) throw std::bad_alloc();
            return nullptr;
        }
    }
    size = std::max<std::size_t>(size, 1);
    void* block = alignment <= __STDCPP_DEFAULT_NEW_ALIGNMENT__
                      ? std::malloc(size)
                      : std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
    if (block == nullptr) {
        if (may_throw) throw std::bad_alloc();
        return nullptr;
    }
    if (armed) {
        live += static_cast<std::int64_t>(malloc_usable_size(block));
        peak = std::max(peak, live);
    }
    return block;
}

void release(void* block) noexcept {
    if (block == nullptr) return;
    if (armed) live -= static_cast<std::int64_t>(malloc_usable_size(block));
    std::free(block);
}

}  // namespace

void arm(Failing mode, std::uint64_t k) {
    failing = mode;
    fail_at = k;
    asked = 0;
    refused = false;
    live = peak = 0;
    armed = true;
}

void disarm() { armed = false; }
bool injected() { return refused; }
std::int64_t peak_bytes() { return peak; }

}  // namespace vortan::testing::allocations

using vortan::testing::allocations::allocate;
using vortan::testing::allocations::release;

constexpr std::size_t plain = __STDCPP_DEFAULT_NEW_ALIGNMENT__;

#define VORTAN_NEW(suffix)                                                                                     \
    void* operator new suffix(std::size_t size) { return allocate(size, plain, true); }                        \
    void* operator new suffix(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size, plain, false); } \
    void* operator new suffix(std::size_t size, std::align_val_t a) { return allocate(size, std::size_t(a), true); } \
    void* operator new suffix(std::size_t size, std::align_val_t a, const std::nothrow_t&) noexcept {           \
        return allocate(size, std::size_t(a), false);                                                          \
    }                                                                                                          \
    void operator delete suffix(void* block) noexcept { release(block); }                                      \
    void operator delete suffix(void* block, std::size_t) noexcept { release(block); }                         \
    void operator delete suffix(void* block, const std::nothrow_t&) noexcept { release(block); }               \
    void operator delete suffix(void* block, std::align_val_t) noexcept { release(block); }                    \
    void operator delete suffix(void* block, std::size_t, std::align_val_t) noexcept { release(block); }       \
    void operator delete suffix(void* block, std::align_val_t, const std::nothrow_t&) noexcept { release(block); }
VORTAN_NEW()
VORTAN_NEW([])
