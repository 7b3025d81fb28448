// Gates that turn amplitudes and move nothing: clock, its fractional power,
// and the controlled global phase.

#include <cmath>
#include <complex>

#include "qudit/gates/fraction_period.h"
#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

std::complex<double> turn(double angle) { return {std::cos(angle), std::sin(angle)}; }

// e^(2 pi i v f / d) with the angle formed as (v * f) * (2 pi / d). A dit of a
// packed form has few possible (value, dimension) pairs, so each factor is
// computed once per call: the same sines, not one per entry.
class ClockFactors {
public:
    explicit ClockFactors(double fraction) : fraction_(fraction) {}

    std::complex<double> operator()(const Dit& dit) {
        if (dit.value >= 4 || dit.dimension >= 5) return compute(dit);
        const std::size_t slot = dit.value * 5 + dit.dimension;
        if (!known_[slot]) {
            cache_[slot] = compute(dit);
            known_[slot] = true;
        }
        return cache_[slot];
    }

private:
    std::complex<double> compute(const Dit& dit) const {
        return turn((static_cast<double>(dit.value) * fraction_) * (TWO_PI / static_cast<double>(dit.dimension)));
    }
    double fraction_;
    std::complex<double> cache_[20];
    bool known_[20] = {};
};

// Targets multiply in list order, so rounding follows the list.
template <class T>
void multiply_clock_phases(std::vector<BasisEntry<T>>& entries, const Targets& targets, double fraction,
                           const Predicates& predicates) {
    ClockFactors factor(fraction);
    for (BasisEntry<T>& entry : entries) {
        if (!entry_passes_predicates(entry.dits, predicates)) continue;
        const T& dits = entry.dits;
        for (std::int32_t target : targets) entry.amplitude = entry.amplitude * factor(dits[target]);
    }
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
    const std::complex<double> factor = turn(angle);
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
