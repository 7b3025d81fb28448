#pragma once
// A property is one qudit as the host sees it: a place in a shared state.
// The state engine knows only numbered qudits; the mapping between handles
// and numbers lives here.

#include <cstdint>
#include <list>
#include <memory>

#include "qudit/state.h"

namespace vortan {

/// A simulation context. Nothing in the exported interface makes one; states
/// only carry a pointer to it, compared when groups merge.
class QuantumSimulation;

class QuantumProperty {
public:
    /// A group of qudits: the one state they share, and the live properties
    /// that stand in it, in the order they joined (not owned). Qudits whose
    /// property was destroyed stay in `state` unnamed, so the list may be
    /// shorter than the state's qudit count.
    class SharedState {
    public:
        std::unique_ptr<qudit::IState> state;
        QuantumSimulation* simulation = nullptr;
        std::list<QuantumProperty*> properties;
    };

    /// Basis state 0 of the given dimension, alone in a new shared state.
    /// Throws what the state factory throws; nothing is left behind.
    explicit QuantumProperty(std::uint64_t dimension);
    /// Takes itself off its group's list, if it still stands in one.
    ~QuantumProperty();

    QuantumProperty(const QuantumProperty&) = delete;
    QuantumProperty& operator=(const QuantumProperty&) = delete;

    /// Empty only while the property is being destroyed.
    std::shared_ptr<SharedState> shared;
    /// Position of this property's qudit in `shared->state`.
    std::int32_t qudit_index = 0;
};

using SharedState = QuantumProperty::SharedState;

}  // namespace vortan
