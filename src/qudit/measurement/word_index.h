#pragma once
// A transient map from 64-bit keys to positions, for grouping entries by a
// masked dit word or a pair of ids during one reading operation. Open
// addressing with linear probing; it grows, so it costs little when the keys
// are few (the usual case: a handful of outcomes over many entries).

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vortan::qudit {

class WordIndex {
public:
    static constexpr std::uint32_t NONE = UINT32_MAX;

    WordIndex() { slots_.resize(16); }
    /// Sized at once for `expected` keys, where many keys are likely.
    explicit WordIndex(std::size_t expected) {
        std::size_t capacity = 16;
        while (capacity < 2 * expected) {
            capacity *= 2;
            ++bits_;
        }
        slots_.resize(capacity);
    }

    /// The position stored for `key`; if there is none, stores `position` for
    /// it and returns NONE.
    std::uint32_t find_or_insert(std::uint64_t key, std::uint32_t position) {
        if (2 * (size_ + 1) > slots_.size()) grow();
        const std::size_t mask = slots_.size() - 1;
        for (std::size_t slot = slot_of(key);; slot = (slot + 1) & mask) {
            Slot& s = slots_[slot];
            if (s.position == NONE) {
                s = {key, position};
                ++size_;
                return NONE;
            }
            if (s.key == key) return s.position;
        }
    }

    /// The position stored for `key`, or NONE; never grows the table.
    std::uint32_t find(std::uint64_t key) const {
        const std::size_t mask = slots_.size() - 1;
        for (std::size_t slot = slot_of(key);; slot = (slot + 1) & mask) {
            const Slot& s = slots_[slot];
            if (s.position == NONE || s.key == key) return s.position;
        }
    }

    /// Hints that `key` will be looked up soon; for tables too large for the
    /// cache, a lookup issued some keys ahead hides most of the miss.
    void prefetch(std::uint64_t key) const { __builtin_prefetch(&slots_[slot_of(key)]); }

private:
    struct Slot {
        std::uint64_t key = 0;
        std::uint32_t position = NONE;
    };

    // Fibonacci mixing spreads keys whose variety sits in a few bits.
    std::size_t slot_of(std::uint64_t key) const {
        return static_cast<std::size_t>((key * 0x9E3779B97F4A7C15ULL) >> (64 - bits_));
    }

    void grow() {
        std::vector<Slot> old(slots_.size() * 2);
        old.swap(slots_);
        ++bits_;
        const std::size_t mask = slots_.size() - 1;
        for (const Slot& s : old) {
            if (s.position == NONE) continue;
            std::size_t slot = slot_of(s.key);
            while (slots_[slot].position != NONE) slot = (slot + 1) & mask;
            slots_[slot] = s;
        }
    }

    std::vector<Slot> slots_;
    std::size_t size_ = 0;
    unsigned bits_ = 4;
};

}  // namespace vortan::qudit
