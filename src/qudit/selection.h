#pragma once
// Controls and outcome conditions compiled once per call into masks over the
// values word of a packed dit array: the walk over the entries then tests
// each entry with a few word operations, no dit read and no range check.

#include <array>
#include <bit>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "qudit/dit_array.h"
#include "qudit/predicate.h"

namespace vortan::qudit {

/// What a compiled selection has to test: nothing, the masked compare alone,
/// or the compare and the "nonzero" fold. A walk compiled for the form skips
/// the parts that cannot fail.
enum class SelectionForm { all, equal, full };

/// "Dit q equals v" and "dit q differs from v" conditions joined by AND, over
/// the values word of the packed form T. It answers as entry_passes_predicates
/// does for every level a field can hold, so the order of the conditions does
/// not matter; it only exists for indices below N, which callers check first
/// (fits) and otherwise leave to the checked road.
template <class T>
class Selection {
    static constexpr std::uint64_t FIELD = T::mask;
    // Levels a value field can hold: below D, since every writer of the
    // values word refuses more. A condition on level 3 of a qutrit field is
    // thus decided at compile time, and "not 2" is "high bit clear".
    static constexpr unsigned LEVELS = static_cast<unsigned>(T::max_dimension);
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
        std::array<std::uint8_t, T::size()> allowed;
        allowed.fill(ALL_LEVELS);
        for (const Predicate& predicate : predicates)
            restrict(allowed, predicate.qudit_index, predicate.value, predicate.is_equal);
        compile(allowed);
    }
    /// Dit qudits[i] equals outcome[i] for every i: the entries that show an outcome.
    Selection(const std::vector<std::int32_t>& qudits, const std::vector<std::int32_t>& outcome) {
        std::array<std::uint8_t, T::size()> allowed;
        allowed.fill(ALL_LEVELS);
        for (std::size_t i = 0; i < qudits.size(); ++i) restrict(allowed, qudits[i], outcome[i], true);
        compile(allowed);
    }

    bool passes(std::uint64_t values) const { return passes_as<SelectionForm::full>(values); }

    /// passes() with the parts outside form F left out: right for this
    /// selection when F is form() or a later form.
    template <SelectionForm F>
    bool passes_as(std::uint64_t values) const {
        if constexpr (F == SelectionForm::all) {
            return true;
        } else if constexpr (F == SelectionForm::equal) {
            return (values & equal_mask_) == equal_want_;
        } else {
            // A qutrit field is nonzero when either bit is: fold the high bit
            // of each field onto its low one.
            const std::uint64_t nonzero = values & nonzero_mask_;
            return ((values & equal_mask_) == equal_want_) &
                   (((nonzero | (nonzero >> 1)) & nonzero_low_) == nonzero_low_);
        }
    }

    SelectionForm form() const {
        if (nonzero_mask_ != 0) return SelectionForm::full;
        return equal_mask_ != 0 || equal_want_ != 0 ? SelectionForm::equal : SelectionForm::all;
    }

    /// Calls body(std::integral_constant<SelectionForm, form()>), so that the
    /// walk inside is compiled once per form and chosen once per call.
    template <class Body>
    void with_form(Body&& body) const {
        switch (form()) {
            case SelectionForm::all: body(std::integral_constant<SelectionForm, SelectionForm::all>{}); break;
            case SelectionForm::equal: body(std::integral_constant<SelectionForm, SelectionForm::equal>{}); break;
            default: body(std::integral_constant<SelectionForm, SelectionForm::full>{}); break;
        }
    }

private:
    // The levels a field may hold, one bit each. A value outside the field's
    // levels never matches: an equality with it allows nothing, an inequality
    // excludes nothing. It is compared as the sign-extended 64-bit number.
    static void restrict(std::array<std::uint8_t, T::size()>& allowed, std::int32_t qudit, std::int32_t value,
                         bool is_equal) {
        const auto level = static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
        const std::uint8_t bit = level < LEVELS ? static_cast<std::uint8_t>(1u << level) : 0;
        std::uint8_t& field = allowed[static_cast<std::size_t>(qudit)];
        field = is_equal ? static_cast<std::uint8_t>(field & bit) : static_cast<std::uint8_t>(field & ~bit);
    }

    // One allowed level is an equality of the field; of a qutrit's three,
    // {0, 1} and {0, 2} are one bit clear, and {1, 2} is "nonzero".
    void compile(const std::array<std::uint8_t, T::size()>& allowed) {
        for (std::uint32_t q = 0; q < T::size(); ++q) {
            const unsigned shift = T::shift_of(q);
            const std::uint8_t levels = allowed[q];
            if (levels == ALL_LEVELS) continue;
            if (levels == 0) {
                // Nothing passes: a want no masked word can equal.
                equal_mask_ = 0;
                equal_want_ = 1;
                return;
            }
            if (std::popcount(levels) == 1) {
                equal_mask_ |= FIELD << shift;
                equal_want_ |= static_cast<std::uint64_t>(std::countr_zero(levels)) << shift;
            } else if (levels == 0b011) {  // 0 or 1 of a qutrit: high bit clear
                equal_mask_ |= std::uint64_t{2} << shift;
            } else if (levels == 0b101) {  // 0 or 2: low bit clear
                equal_mask_ |= std::uint64_t{1} << shift;
            } else {  // 1 or 2
                nonzero_mask_ |= FIELD << shift;
                nonzero_low_ |= std::uint64_t{1} << shift;
            }
        }
    }

    std::uint64_t equal_mask_ = 0;
    std::uint64_t equal_want_ = 0;
    std::uint64_t nonzero_mask_ = 0;
    std::uint64_t nonzero_low_ = 0;
};

}  // namespace vortan::qudit
