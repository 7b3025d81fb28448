#pragma once
// Controls and outcome conditions compiled once per call into masks over the
// values word of a packed dit array: the walk over the entries then tests
// each entry with a few word operations, no dit read and no range check.

#include <array>
#include <bit>
#include <cstdint>
#include <vector>

#include "qudit/dit_array.h"
#include "qudit/predicate.h"

namespace vortan::qudit {

/// "Dit q equals v" and "dit q differs from v" conditions joined by AND, over
/// the values word of the packed form T. It answers as entry_passes_predicates
/// does for every level a field can hold, so the order of the conditions does
/// not matter; it only exists for indices below N, which callers check first
/// (fits) and otherwise leave to the checked road.
template <class T>
class Selection {
    static constexpr std::uint64_t FIELD = T::mask;
    static constexpr unsigned LEVELS = static_cast<unsigned>(FIELD) + 1;
    static constexpr std::uint8_t ALL_LEVELS = static_cast<std::uint8_t>((1u << LEVELS) - 1);

public:
    /// True when every index names a dit of T.
    static bool fits(const std::vector<std::int32_t>& qudits) {
        for (const std::int32_t q : qudits)
            if (static_cast<std::uint32_t>(q) >= T::size()) return false;
        return true;
    }
    static bool fits(const Predicates& predicates) {
        for (const Predicate& predicate : predicates)
            if (static_cast<std::uint32_t>(predicate.qudit_index) >= T::size()) return false;
        return true;
    }

    /// No condition: every entry passes.
    Selection() = default;
    /// The controls of a gate.
    explicit Selection(const Predicates& predicates) {
        allowed_.fill(ALL_LEVELS);
        for (const Predicate& predicate : predicates)
            restrict(predicate.qudit_index, predicate.value, predicate.is_equal);
        compile();
    }
    /// Dit qudits[i] equals outcome[i] for every i: the entries that show an outcome.
    Selection(const std::vector<std::int32_t>& qudits, const std::vector<std::int32_t>& outcome) {
        allowed_.fill(ALL_LEVELS);
        for (std::size_t i = 0; i < qudits.size(); ++i) restrict(qudits[i], outcome[i], true);
        compile();
    }

    bool passes(std::uint64_t values) const {
        if ((values & equal_mask_) != equal_want_) return false;
        if constexpr (LEVELS > 2) {
            // A field differs from its excluded level when some bit of the
            // exclusive or is set: fold each field's high bit onto its low one.
            for (unsigned g = 0; g < 2; ++g) {
                const std::uint64_t x = (values & differ_mask_[g]) ^ differ_from_[g];
                if (((x | (x >> 1)) & differ_low_[g]) != differ_low_[g]) return false;
            }
        }
        return true;
    }

private:
    // The levels a field may hold, one bit each. A value outside the field's
    // range never matches: an equality with it allows nothing, an inequality
    // excludes nothing. It is compared as the sign-extended 64-bit number.
    void restrict(std::int32_t qudit, std::int32_t value, bool is_equal) {
        const auto level = static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
        const std::uint8_t bit = level <= FIELD ? static_cast<std::uint8_t>(1u << level) : 0;
        std::uint8_t& allowed = allowed_[static_cast<std::size_t>(qudit)];
        allowed = is_equal ? static_cast<std::uint8_t>(allowed & bit) : static_cast<std::uint8_t>(allowed & ~bit);
    }

    // One allowed level is an equality; one or two excluded of four levels
    // are one or two inequalities, each in its own group.
    void compile() {
        for (std::uint32_t q = 0; q < T::size(); ++q) {
            const std::uint8_t allowed = allowed_[q];
            const unsigned shift = T::shift_of(q);
            if (allowed == ALL_LEVELS) continue;
            if (allowed == 0) {
                // Nothing passes: a want no masked word can equal.
                equal_mask_ = 0;
                equal_want_ = 1;
                return;
            }
            if (std::popcount(allowed) == 1) {
                equal_mask_ |= FIELD << shift;
                equal_want_ |= static_cast<std::uint64_t>(std::countr_zero(allowed)) << shift;
                continue;
            }
            unsigned group = 0;
            for (std::uint64_t level = 0; level <= FIELD; ++level) {
                if (allowed & (1u << level)) continue;
                differ_mask_[group] |= FIELD << shift;
                differ_from_[group] |= level << shift;
                differ_low_[group] |= std::uint64_t{1} << shift;
                ++group;
            }
        }
    }

    std::array<std::uint8_t, T::size()> allowed_{};
    std::uint64_t equal_mask_ = 0;
    std::uint64_t equal_want_ = 0;
    std::uint64_t differ_mask_[2] = {};
    std::uint64_t differ_from_[2] = {};
    std::uint64_t differ_low_[2] = {};
};

}  // namespace vortan::qudit
