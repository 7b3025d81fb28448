// Gates that turn amplitudes and move nothing: clock, its fractional power,
// and the controlled global phase.

#include <cmath>
#include <complex>
#include <type_traits>
#include <vector>

#include "qudit/gates/entry_kernels.h"
#include "qudit/gates/fraction_period.h"
#include "qudit/gates/packed_clock.h"
#include "qudit/selection.h"
#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

/// The packed walk, compiled once per form of the selection and for one
/// target or several. Declines (false) where an index is out of range, for
/// the checked road to judge.
template <class T>
bool multiply_clock_phases_packed(std::vector<BasisEntry<T>>& entries, const Targets& targets, double fraction,
                                  const Predicates& predicates) {
    if (!Selection<T>::fits(targets) || !Selection<T>::fits(predicates)) return false;
    if (entries.empty() || targets.empty()) return true;
    const PackedClock<T> clock(targets, fraction);
    const Selection<T> selection(predicates);
    selection.with_form([&](auto form) {
        const auto walk = [&](auto single) {
            for (BasisEntry<T>& entry : entries) {
                const std::uint64_t values = entry.dits.values;
                if (!selection.template passes_as<decltype(form)::value>(values)) continue;
                if constexpr (decltype(single)::value)
                    entry.amplitude = clock.targets().front().at(values, entry.dits.dimensions)(entry.amplitude);
                else
                    entry.amplitude = clock.turn(values, entry.dits.dimensions, entry.amplitude);
            }
        };
        if (targets.size() == 1)
            walk(std::true_type{});
        else
            walk(std::false_type{});
    });
    return true;
}

template <class T>
void multiply_clock_phases(std::vector<BasisEntry<T>>& entries, const Targets& targets, double fraction,
                           const Predicates& predicates) {
    if constexpr (!is_dynamic_v<T>)
        if (multiply_clock_phases_packed(entries, targets, fraction, predicates)) return;
    ClockFactors factor(fraction);
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
