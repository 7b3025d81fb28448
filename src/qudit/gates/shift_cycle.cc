// Level-moving gates: shift (down) and cycle (up) in place, and their
// fractional powers as a fractional clock conjugated by Hadamards.

#include <array>
#include <type_traits>

#include "qudit/gates/entry_kernels.h"
#include "qudit/gates/fraction_period.h"
#include "qudit/selection.h"
#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

/// A map of the values word that sends each field through a table of its
/// levels: the steps of all targets of one call, composed.
template <class T>
class LevelMap {
public:
    /// Applies `to` (level -> level, for every level a field can hold) to dit
    /// q after what the map already does there.
    void then(std::uint32_t q, const std::array<std::uint8_t, 4>& to) {
        const unsigned shift = T::shift_of(q);
        if constexpr (T::max_dimension == 2) {
            // A map of one bit keeps or flips it, or sets it to a constant:
            // (v & keep) ^ flip, and such maps compose bit by bit.
            const std::uint64_t bit = std::uint64_t{1} << shift;
            const std::uint64_t keep = to[0] != to[1] ? bit : 0;
            const std::uint64_t flip = to[0] ? bit : 0;
            flip_ = (flip_ & (keep | ~bit)) ^ flip;
            keep_ &= keep | ~bit;
        } else {
            Field* field = fields_.begin();
            while (field != fields_.begin() + count_ && field->shift != shift) ++field;
            if (field == fields_.begin() + count_) {
                *field = {shift, IDENTITY, {}};
                ++count_;
            }
            std::uint8_t composed = 0;
            for (unsigned v = 0; v < 4; ++v)
                composed |= static_cast<std::uint8_t>(to[(field->to >> (2 * v)) & 3] << (2 * v));
            field->to = composed;
            for (std::uint64_t v = 0; v < 4; ++v) field->flip[v] = (v ^ ((composed >> (2 * v)) & 3)) << shift;
        }
    }

    /// At most one field moves: the walk can be compiled for one lookup.
    bool single() const { return T::max_dimension == 2 || count_ <= 1; }

    /// The image of `values`; SINGLE only where single() holds.
    template <bool SINGLE>
    std::uint64_t apply(std::uint64_t values) const {
        if constexpr (T::max_dimension == 2) {
            return (values & keep_) ^ flip_;
        } else if constexpr (SINGLE) {
            // An untouched map has no field and fields_[0] flips nothing.
            return values ^ fields_[0].flip[(values >> fields_[0].shift) & 3];
        } else {
            // Fields are distinct, so each reads its level from the input.
            std::uint64_t image = values;
            for (unsigned i = 0; i < count_; ++i) image ^= fields_[i].flip[(values >> fields_[i].shift) & 3];
            return image;
        }
    }

private:
    // Levels 0..3 to themselves, two bits per level.
    static constexpr std::uint8_t IDENTITY = 0b11100100;
    struct Field {
        unsigned shift;
        std::uint8_t to;                    // image of level v in bits 2v, 2v+1
        std::array<std::uint64_t, 4> flip;  // level v xor its image, in place
    };
    std::uint64_t keep_ = ~std::uint64_t{0};
    std::uint64_t flip_ = 0;
    std::array<Field, T::size()> fields_{};
    unsigned count_ = 0;
};

/// The packed walk: declines (false, nothing touched) where an index is out
/// of range or the first entry's dimension of a target would make the step
/// throw, so that the checked road fails exactly where it always has.
template <class T>
bool step_levels_packed(std::vector<BasisEntry<T>>& entries, const Targets& targets, const Predicates& predicates,
                        bool up) {
    if (!Selection<T>::fits(targets) || !Selection<T>::fits(predicates)) return false;
    const std::uint64_t dimensions = entries.front().dits.dimensions;
    LevelMap<T> map;
    for (const std::int32_t target : targets) {
        const auto q = static_cast<std::uint32_t>(target);
        const std::uint64_t d = ((dimensions >> T::shift_of(q)) & T::mask) + 1;
        // A dimension past D cannot be written back; a dimension of 1 has no
        // step of 1.
        if (d > T::max_dimension || (up && d == 1)) return false;
        std::array<std::uint8_t, 4> to{};
        for (std::uint64_t v = 0; v <= T::mask; ++v) to[v] = static_cast<std::uint8_t>((v + (up ? 1 : d - 1)) % d);
        map.then(q, to);
    }
    const Selection<T> selection(predicates);
    // Compiled once per form of the selection and for one moving field or
    // several: the loop then holds only the tests it needs. Selected or not,
    // every word is written back: a select, not a branch that a selection
    // without pattern in the list order would defeat.
    selection.with_form([&](auto form) {
        const auto walk = [&](auto single) {
            for (BasisEntry<T>& entry : entries) {
                const std::uint64_t values = entry.dits.values;
                const bool passes = selection.template passes_as<decltype(form)::value>(values);
                // Entries normally share one dimensions word; one that
                // differs takes the checked road, which may refuse it as it
                // always has.
                if (entry.dits.dimensions != dimensions) [[unlikely]] {
                    if (passes) step_levels(entry.dits, targets, up);
                    continue;
                }
                const std::uint64_t moved = map.template apply<decltype(single)::value>(values);
                entry.dits.values = passes ? moved : values;
            }
        };
        if (map.single())
            walk(std::true_type{});
        else
            walk(std::false_type{});
    });
    return true;
}

template <class T>
void step_selected_levels(std::vector<BasisEntry<T>>& entries, const Targets& targets, const Predicates& predicates,
                          bool up) {
    if constexpr (!is_dynamic_v<T>)
        if (step_levels_packed(entries, targets, predicates, up)) return;
    for (BasisEntry<T>& entry : entries)
        if (entry_passes_predicates(entry.dits, predicates)) step_levels(entry.dits, targets, up);
}

}  // namespace

template <class T>
void State<T>::shift(const Targets& targets, const Predicates& predicates) {
    check_target_control_overlap(targets, predicates, "Shift operation has overlapping targets and controls");
    if (entries_.empty()) return;
    step_selected_levels(entries_, targets, predicates, false);
    check_state_size();
}

template <class T>
void State<T>::cycle(const Targets& targets, const Predicates& predicates) {
    check_target_control_overlap(targets, predicates, "Cycle operation has overlapping targets and controls");
    if (entries_.empty()) return;
    step_selected_levels(entries_, targets, predicates, true);
    check_state_size();
}

template <class T>
void State<T>::fractional_shift(const Targets& targets, double fraction, const Predicates& predicates) {
    check_target_control_overlap(targets, predicates, "Fractional shift operation has overlap targets and controls");
    conjugated_clock(targets, reduce_by_period(fraction, CLOCK_PERIOD), predicates);
}

template <class T>
void State<T>::fractional_cycle(const Targets& targets, double fraction, const Predicates& predicates) {
    check_target_control_overlap(targets, predicates,
                                 "Fractional cycle operation has overlapping targets and controls");
    conjugated_clock(targets, -reduce_by_period(fraction, CLOCK_PERIOD), predicates);
}

template <class T>
void State<T>::conjugated_clock(const Targets& targets, double fraction, const Predicates& predicates) {
    // The list the first Hadamard replaces is the snapshot: the three gates
    // are one, and any failure restores it. A failing first Hadamard has
    // changed nothing. Where it regroups, the Hadamard also turns each sum
    // by the clock as it makes it: the same products, one pass fewer. The
    // fraction is reduced again, as fractional_clock reduces it.
    std::vector<Entry> snapshot;
    const bool clocked = hadamard_clocked(targets, predicates, reduce_by_period(fraction, CLOCK_PERIOD), snapshot);
    try {
        if (!clocked) fractional_clock(targets, fraction, predicates);
        inverse_hadamard(targets, predicates);
    } catch (...) {
        entries_ = std::move(snapshot);
        throw;
    }
}

#define VORTAN_INSTANTIATE(T)                                                            \
    template void State<T>::shift(const Targets&, const Predicates&);                    \
    template void State<T>::cycle(const Targets&, const Predicates&);                    \
    template void State<T>::fractional_shift(const Targets&, double, const Predicates&); \
    template void State<T>::fractional_cycle(const Targets&, double, const Predicates&); \
    template void State<T>::conjugated_clock(const Targets&, double, const Predicates&);
#include "qudit/state_members.def"

}  // namespace vortan::qudit
