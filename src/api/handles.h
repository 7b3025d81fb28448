#pragma once
// Handles as the host holds them, and the copy of predicate arrays that
// every gate makes first.

#include <cstddef>
#include <vector>

#include "property/predicate_record.h"
#include "property/quantum_property.h"
#include "vortan.h"

namespace vortan::api {

/// A property handle is the QuantumProperty itself.
inline QuantumProperty* from_handle(vortan_quantum_property* handle) {
    return reinterpret_cast<QuantumProperty*>(handle);
}
inline vortan_quantum_property* to_handle(QuantumProperty* property) {
    return reinterpret_cast<vortan_quantum_property*>(property);
}

/// A predicate handle is its record.
inline vortan_predicate_record* from_handle(vortan_predicate* handle) {
    return reinterpret_cast<vortan_predicate_record*>(handle);
}
inline vortan_predicate* to_handle(vortan_predicate_record* record) {
    return reinterpret_cast<vortan_predicate*>(record);
}

/// Copies `count` predicate records out of their handles, in order, so that
/// an operation works on a snapshot. A count of 0 reads nothing. Throws
/// std::invalid_argument for a null array or a null element.
std::vector<vortan_predicate_record> collect_predicates(vortan_predicate* const* predicates, std::size_t count);

}  // namespace vortan::api
