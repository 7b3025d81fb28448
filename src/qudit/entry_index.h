#pragma once
// A transient index from dit array to position in an entry list, for the
// length of one operation. Open addressing with linear probing: it gives the
// same answers as a chained table on the same hash, without a node per key.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vortan::qudit {

template <class T>
class EntryIndex {
public:
    static constexpr std::uint32_t NONE = UINT32_MAX;

    /// Sized once for `expected` keys at a load of at most one half.
    explicit EntryIndex(std::size_t expected) {
        std::size_t capacity = 16;
        while (capacity < 2 * expected) {
            capacity *= 2;
            ++bits_;
        }
        slots_.assign(capacity, NONE);
    }

    /// Position of the entry of `entries` whose dits equal `key`; if there is
    /// none, records `position` for the key and returns NONE.
    template <class Entries>
    std::uint32_t find_or_insert(const T& key, std::uint32_t position, const Entries& entries) {
        const std::size_t mask = slots_.size() - 1;
        // Fibonacci mixing: the FNV step leaves high dits in high bits only.
        std::size_t slot = static_cast<std::size_t>((hash_value(key) * 0x9E3779B97F4A7C15ULL) >> (64 - bits_));
        for (;; slot = (slot + 1) & mask) {
            const std::uint32_t at = slots_[slot];
            if (at == NONE) {
                slots_[slot] = position;
                return NONE;
            }
            if (entries[at].dits == key) return at;
        }
    }

private:
    std::vector<std::uint32_t> slots_;
    unsigned bits_ = 4;
};

}  // namespace vortan::qudit
