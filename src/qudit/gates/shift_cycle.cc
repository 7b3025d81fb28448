// Level-moving gates: shift (down) and cycle (up) in place, and their
// fractional powers as a fractional clock conjugated by Hadamards.

#include "qudit/state_impl.h"

namespace vortan::qudit {

template <class T>
void State<T>::shift(const Targets& targets, const Predicates& predicates) {
    check_target_control_overlap(targets, predicates, "Shift operation has overlapping targets and controls");
    if (entries_.empty()) return;
    for (Entry& entry : entries_) {
        if (!entry_passes_predicates(entry.dits, predicates)) continue;
        // Adding d - 1 on the ring of the dit is subtracting one.
        for (std::int32_t target : targets) {
            auto dit = entry.dits[target];
            entry.dits[target] = dit + (static_cast<Dit>(dit).dimension - 1);
        }
    }
    check_state_size();
}

template <class T>
void State<T>::cycle(const Targets& targets, const Predicates& predicates) {
    check_target_control_overlap(targets, predicates, "Cycle operation has overlapping targets and controls");
    if (entries_.empty()) return;
    for (Entry& entry : entries_) {
        if (!entry_passes_predicates(entry.dits, predicates)) continue;
        for (std::int32_t target : targets) entry.dits[target] = entry.dits[target] + 1;
    }
    check_state_size();
}

template <class T>
void State<T>::fractional_shift(const Targets& targets, double fraction, const Predicates& predicates) {
    check_target_control_overlap(targets, predicates, "Fractional shift operation has overlap targets and controls");
    conjugated_clock(targets, fraction, predicates);
}

template <class T>
void State<T>::fractional_cycle(const Targets& targets, double fraction, const Predicates& predicates) {
    check_target_control_overlap(targets, predicates,
                                 "Fractional cycle operation has overlapping targets and controls");
    conjugated_clock(targets, -fraction, predicates);
}

template <class T>
void State<T>::conjugated_clock(const Targets& targets, double fraction, const Predicates& predicates) {
    // The list the first Hadamard replaces is the snapshot: the three gates
    // are one, and any failure restores it. A failing first Hadamard has
    // changed nothing.
    std::vector<Entry> snapshot;
    hadamard_keeping(targets, predicates, snapshot);
    try {
        fractional_clock(targets, fraction, predicates);
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
