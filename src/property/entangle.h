#pragma once
// Bringing properties into one shared state, by tensor product of their
// groups. Merges are permanent: nothing here ever splits a group.

#include <vector>

#include "property/predicate_record.h"
#include "property/quantum_property.h"

namespace vortan {

/// Merges the group of `second` into that of `first`: first's qudits keep
/// their indices, second's group follows in its old order. Free when both
/// already share a state. On failure neither group has changed.
void entangle(QuantumProperty& first, QuantumProperty& second);

/// Entangles every property of the list with the first, in list order, and
/// returns the state they now share. Valid until the group next changes.
qudit::IState* tensor_state(const std::vector<QuantumProperty*>& properties);

/// As above over the targets followed by each predicate's property; the
/// predicates' properties are appended to `targets`.
qudit::IState* tensor_state(std::vector<QuantumProperty*>& targets,
                            const std::vector<vortan_predicate_record>& predicates);

}  // namespace vortan
