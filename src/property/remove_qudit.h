#pragma once

#include "property/quantum_property.h"

namespace vortan {

/// Takes `property` off its group's list and its qudit out of the state: a
/// qudit with several values keeps only its heaviest branch (with a warning on
/// the standard error stream if it was entangled), the group's last qudit moves
/// into the freed place and its property is renumbered. The last qudit of a
/// state is never removed. Does not release the property's share.
void remove_qudit(SharedState& shared, QuantumProperty& property);

}  // namespace vortan
