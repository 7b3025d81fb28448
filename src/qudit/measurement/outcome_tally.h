#pragma once
// Grouping the entries of a packed form by the outcome they show on a list of
// qudits, in one pass: records in order of first occurrence, each summed in
// storage order. Shared by the outcome distribution and by measurement, which
// also keeps each entry's record so that the collapse need not read the dits
// again.

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

#include "qudit/measurement/results.h"
#include "qudit/measurement/word_index.h"
#include "qudit/state.h"

namespace vortan::qudit {

/// A dense code of the outcome a packed values word shows on a list of
/// qudits. Equal codes mean equal outcomes, repeated and long lists
/// included, since the outcome is a function of the listed fields alone.
/// When the listed fields lie close together the code is the masked word
/// moved down; otherwise the distinct fields are gathered into a mixed-radix
/// number of base D, byte by byte through tables made for this call (a field
/// holds only levels below D, so the number is unique). Twelve qutrits then
/// have 3^12 codes where the masked word spans 2^24.
template <class T>
class OutcomeCode {
    static constexpr unsigned WORD_BYTES = (T::size() * T::bits_per_dit + 7) / 8;
    // Beyond this many moved-down codes a table of positions leaves the
    // first-level cache, and the gathered code, which is denser, is used.
    static constexpr std::uint64_t SHIFTED_LIMIT = 4096;

public:
    explicit OutcomeCode(const std::vector<std::int32_t>& qudits) {
        shifts_.reserve(qudits.size());
        for (const std::int32_t q : qudits) {
            shifts_.push_back(T::shift_of(static_cast<std::uint32_t>(q)));
            mask_ |= T::mask << shifts_.back();
        }
        if (mask_ == 0) {
            codes_ = 1;
            return;
        }
        low_ = static_cast<unsigned>(std::countr_zero(mask_));
        codes_ = (mask_ >> low_) + 1;
        if (codes_ <= SHIFTED_LIMIT) return;
        gathered_ = true;
        std::uint64_t weight = 1;
        for (std::uint32_t q = 0; q < T::size(); ++q) {
            const unsigned shift = T::shift_of(q);
            if (((mask_ >> shift) & T::mask) == 0) continue;
            // A field never straddles a byte: its width divides 8.
            std::array<std::uint32_t, 256>& table = tables_[shift / 8];
            for (unsigned byte = 0; byte < 256; ++byte)
                table[byte] += static_cast<std::uint32_t>(((byte >> (shift % 8)) & T::mask) * weight);
            weight *= T::max_dimension;
        }
        codes_ = weight;
    }

    /// The number of distinct codes: every code is below it.
    std::uint64_t codes() const { return codes_; }
    bool gathered() const { return gathered_; }
    /// The listed fields of `values`: a key with the equality of outcomes.
    std::uint64_t masked(std::uint64_t values) const { return values & mask_; }
    std::uint64_t mask() const { return mask_; }
    unsigned low() const { return low_; }
    std::uint32_t gather(std::uint64_t values) const {
        std::uint32_t code = 0;
        for (unsigned b = 0; b < WORD_BYTES; ++b) code += tables_[b][(values >> (8 * b)) & 0xFF];
        return code;
    }
    /// Writes the outcome `values` shows, one dit per listed qudit.
    void write_outcome(std::uint64_t values, std::int32_t* out) const {
        for (const unsigned shift : shifts_) *out++ = static_cast<std::int32_t>((values >> shift) & T::mask);
    }

private:
    std::vector<unsigned> shifts_;
    std::uint64_t mask_ = 0;
    unsigned low_ = 0;
    std::uint64_t codes_ = 0;
    bool gathered_ = false;
    std::array<std::array<std::uint32_t, 256>, WORD_BYTES> tables_{};
};

/// Whether tally_outcomes indexes a table of codes directly, with a slot per
/// code: when the codes are few, or few enough for the entries.
template <class T>
bool tallies_directly(const OutcomeCode<T>& code, std::size_t entries) {
    return code.codes() <= 65536 || code.codes() <= 8 * entries;
}

/// The outcome distribution of `entries` over the list `code` was made for,
/// `width` values per outcome. With `record_of`, which needs a direct tally
/// of at most 255 codes, entry i's record is written to record_of[i].
template <class T>
OutcomeDistribution tally_outcomes(const std::vector<BasisEntry<T>>& entries, const OutcomeCode<T>& code,
                                   std::size_t width, std::uint8_t* record_of = nullptr) {
    // How many entries ahead a lookup of the hashed path is prefetched.
    constexpr std::size_t LOOKAHEAD = 16;
    OutcomeDistribution result(width);
    const std::size_t n = entries.size();
    // `position_of(values, position)` is the record of an entry's values
    // word, or NONE after it has recorded `position` for it; `note(i, record)`
    // is told each entry's record.
    const auto walk = [&](auto&& position_of, auto&& ahead, auto&& note) {
        for (std::size_t i = 0; i < n; ++i) {
            const BasisEntry<T>& entry = entries[i];
            if (i + LOOKAHEAD < n) ahead(entries[i + LOOKAHEAD].dits.values);
            const double p = squared_magnitude(entry.amplitude);
            const auto position = static_cast<std::uint32_t>(result.size());
            const std::uint32_t found = position_of(entry.dits.values, position);
            if (found != WordIndex::NONE) {
                result.add(found, p);
                note(i, found);
            } else {
                code.write_outcome(entry.dits.values, result.append(p));
                note(i, position);
            }
        }
    };
    const auto tally = [&](auto&& position_of, auto&& ahead) {
        if (record_of != nullptr)
            walk(position_of, ahead, [&](std::size_t i, std::uint32_t record) {
                record_of[i] = static_cast<std::uint8_t>(record);
            });
        else
            walk(position_of, ahead, [](std::size_t, std::uint32_t) {});
    };
    if (!code.gathered()) {
        // A small table: filled, and read without an offset. The mask and
        // shift are copied out, since a write to a slot could alias them.
        std::vector<std::uint32_t> table(code.codes(), WordIndex::NONE);
        const std::uint64_t mask = code.mask();
        const unsigned low = code.low();
        tally(
            [&, mask, low](std::uint64_t values, std::uint32_t position) {
                std::uint32_t& slot = table[(values & mask) >> low];
                if (slot != WordIndex::NONE) return slot;
                slot = position;
                return WordIndex::NONE;
            },
            [](std::uint64_t) {});
    } else if (tallies_directly(code, n)) {
        // Slots hold a record's position plus one, so that fresh zeroed
        // memory is an empty table and a large one costs no fill.
        const std::unique_ptr<std::uint32_t, void (*)(void*)> owner(
            static_cast<std::uint32_t*>(std::calloc(code.codes(), sizeof(std::uint32_t))), std::free);
        if (!owner) throw std::bad_alloc();
        std::uint32_t* const table = owner.get();
        // At most one record per entry, and the table is large: ask early.
        result.reserve(std::min<std::uint64_t>(n, code.codes()));
        tally(
            [&](std::uint64_t values, std::uint32_t position) {
                std::uint32_t& slot = table[code.gather(values)];
                if (slot != 0) return slot - 1;
                slot = position + 1;
                return WordIndex::NONE;
            },
            [&](std::uint64_t values) { __builtin_prefetch(&table[code.gather(values)]); });
    } else {
        // As many outcomes as entries at most, and as the codes allow.
        const std::size_t most = std::min<std::uint64_t>(n, code.codes());
        WordIndex index(most);
        result.reserve(most);
        // A table this large misses the cache on most lookups: ask early.
        tally([&](std::uint64_t values,
                  std::uint32_t position) { return index.find_or_insert(code.masked(values), position); },
              [&](std::uint64_t values) { index.prefetch(code.masked(values)); });
    }
    return result;
}

}  // namespace vortan::qudit
