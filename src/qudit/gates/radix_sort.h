#pragma once
// Regrouping spread entries in linear time. A packed key has at most 24
// significant bits, so a least-significant-digit radix sort over just those
// bits takes one or two counting passes where a comparison sort takes log n.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vortan::qudit {

/// Items sort on bits [KEY_SHIFT, KEY_SHIFT + key bits); the low word is free
/// for a position, which rides along.
inline constexpr unsigned KEY_SHIFT = 32;

/// Stable sort of `items` by `key_bits` bits from KEY_SHIFT up, in digits of
/// at most 12 bits. `scratch` is working room; both may be resized. A digit
/// that is the same in every item costs its count and no pass.
inline void radix_sort(std::vector<std::uint64_t>& items, std::vector<std::uint64_t>& scratch, unsigned key_bits) {
    constexpr unsigned MAX_DIGIT = 12;
    const std::size_t n = items.size();
    const unsigned passes = (key_bits + MAX_DIGIT - 1) / MAX_DIGIT;
    if (n < 2 || passes == 0) return;
    const unsigned digit = (key_bits + passes - 1) / passes;
    const std::uint64_t mask = (std::uint64_t{1} << digit) - 1;

    std::vector<std::uint32_t> counts(std::size_t{passes} << digit, 0);
    for (std::uint64_t item : items) {
        const std::uint64_t key = item >> KEY_SHIFT;
        for (unsigned p = 0; p < passes; ++p) ++counts[(std::size_t{p} << digit) + ((key >> (p * digit)) & mask)];
    }
    scratch.resize(n);
    for (unsigned p = 0; p < passes; ++p) {
        std::uint32_t* count = counts.data() + (std::size_t{p} << digit);
        const unsigned shift = KEY_SHIFT + p * digit;
        if (count[(items.front() >> shift) & mask] == n) continue;
        std::uint32_t offset = 0;
        for (std::uint64_t b = 0; b <= mask; ++b) {
            const std::uint32_t c = count[b];
            count[b] = offset;
            offset += c;
        }
        for (std::uint64_t item : items) scratch[count[(item >> shift) & mask]++] = item;
        items.swap(scratch);
    }
}

/// (key, position) items of a packed entry list in ascending order of the
/// values word, positions of equal keys in list order.
template <class List>
std::vector<std::uint64_t> key_order(const List& list, unsigned key_bits) {
    std::vector<std::uint64_t> items(list.size()), scratch;
    for (std::size_t i = 0; i < list.size(); ++i) items[i] = list[i].dits.values << KEY_SHIFT | i;
    radix_sort(items, scratch, key_bits);
    return items;
}

}  // namespace vortan::qudit
