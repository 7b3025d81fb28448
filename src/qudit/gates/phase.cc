// Gates that turn amplitudes and move nothing: clock, its fractional power,
// and the controlled global phase.

#include <cmath>
#include <complex>
#include <type_traits>
#include <vector>

#include "qudit/gates/entry_kernels.h"
#include "qudit/gates/fraction_period.h"
#include "qudit/selection.h"
#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

/// The packed walk: each target's factors for every level its field can
/// hold, from the first entry's dimension, looked up by the field. Declines
/// (false) where an index is out of range, for the checked road to judge.
template <class T>
bool multiply_clock_phases_packed(std::vector<BasisEntry<T>>& entries, const Targets& targets,
                                  ClockFactors& factor, const Predicates& predicates) {
    if (!Selection<T>::fits(targets) || !Selection<T>::fits(predicates)) return false;
    if (entries.empty() || targets.empty()) return true;
    struct Target {
        unsigned shift;
        Multiplier factor[T::mask + 1];
    };
    const std::uint64_t dimensions = entries.front().dits.dimensions;
    std::vector<Target> table(targets.size());
    for (std::size_t i = 0; i < targets.size(); ++i) {
        table[i].shift = T::shift_of(static_cast<std::uint32_t>(targets[i]));
        const std::uint64_t d = ((dimensions >> table[i].shift) & T::mask) + 1;
        for (std::uint64_t v = 0; v <= T::mask; ++v) table[i].factor[v] = Multiplier(factor(Dit{v, d}));
    }
    const Selection<T> selection(predicates);
    // Compiled once per form of the selection and for one target or several.
    selection.with_form([&](auto form) {
        const auto walk = [&](auto single) {
            for (BasisEntry<T>& entry : entries) {
                const std::uint64_t values = entry.dits.values;
                if (!selection.template passes_as<decltype(form)::value>(values)) continue;
                if (entry.dits.dimensions != dimensions) {
                    turn_clock(entry.amplitude, entry.dits, targets, factor);
                } else if constexpr (decltype(single)::value) {
                    const Target& only = table.front();
                    entry.amplitude = only.factor[(values >> only.shift) & T::mask](entry.amplitude);
                } else {
                    // One product per target in list order: a product of
                    // the factors first would round differently.
                    for (const Target& target : table)
                        entry.amplitude = target.factor[(values >> target.shift) & T::mask](entry.amplitude);
                }
            }
        };
        if (table.size() == 1)
            walk(std::true_type{});
        else
            walk(std::false_type{});
    });
    return true;
}

template <class T>
void multiply_clock_phases(std::vector<BasisEntry<T>>& entries, const Targets& targets, double fraction,
                           const Predicates& predicates) {
    ClockFactors factor(fraction);
    if constexpr (!is_dynamic_v<T>)
        if (multiply_clock_phases_packed(entries, targets, factor, predicates)) return;
    for (BasisEntry<T>& entry : entries)
        if (entry_passes_predicates(entry.dits, predicates)) turn_clock(entry.amplitude, entry.dits, targets, factor);
}

}  // namespace

template <class T>
void State<T>::clock(const Targets& targets, const Predicates& predicates) {
    check_target_control_overlap(targets, predicates, "Clock operation has overlapping targets and controls");
    // v * 1.0 is v exactly, so this is the whole gate bit for bit.
    multiply_clock_phases(entries_, targets, 1.0, predicates);
}

template <class T>
void State<T>::fractional_clock(const Targets& targets, double fraction, const Predicates& predicates) {
    check_target_control_overlap(targets, predicates,
                                 "Fractional Clock operation has overlapped targets and controls");
    fraction = reduce_by_period(fraction, CLOCK_PERIOD);
    multiply_clock_phases(entries_, targets, fraction, predicates);
}

template <class T>
void State<T>::phase_rotate(const Predicates& predicates, double angle) {
    if (entries_.empty()) return;
    const std::complex<double> factor(std::cos(angle), std::sin(angle));
    bool packed = false;
    if constexpr (!is_dynamic_v<T>) {
        if (Selection<T>::fits(predicates)) {
            const Selection<T> selection(predicates);
            const Multiplier turn(factor);
            selection.with_form([&](auto form) {
                for (Entry& entry : entries_)
                    if (selection.template passes_as<decltype(form)::value>(entry.dits.values))
                        entry.amplitude = turn(entry.amplitude);
            });
            packed = true;
        }
    }
    if (!packed)
        for (Entry& entry : entries_)
            if (entry_passes_predicates(entry.dits, predicates)) entry.amplitude = entry.amplitude * factor;
    check_state_size();
}

#define VORTAN_INSTANTIATE(T)                                                            \
    template void State<T>::clock(const Targets&, const Predicates&);                    \
    template void State<T>::fractional_clock(const Targets&, double, const Predicates&); \
    template void State<T>::phase_rotate(const Predicates&, double);
#include "qudit/state_members.def"

}  // namespace vortan::qudit
