#pragma once
// What the measurement exports share: copying the host's property array,
// reading qudit indices after entangling, and the fixed order of outcome
// combinations in which results are laid out for the host.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "api/boundary.h"
#include "property/quantum_property.h"
#include "vortan.h"

namespace vortan::api {

/// A Site for a report made inside a guarded region's body, where __func__
/// would name the lambda: the export's name from `outer`, this line.
#define VORTAN_SITE_IN(outer) (::vortan::api::Site{(outer).function, static_cast<std::uint32_t>(__LINE__)})

/// Copies the handles in array order into `out`, reserving first (a count
/// past what a vector holds throws std::length_error "vector::reserve").
/// False at the first null element, with nothing else touched.
bool copy_properties(vortan_quantum_property* const* properties, std::size_t count,
                     std::vector<QuantumProperty*>& out);

/// Each property's qudit index, in list order. Read only after entangling:
/// merges renumber qudits.
std::vector<std::int32_t> qudit_indices(const std::vector<QuantumProperty*>& properties);

/// Every combination of values of the properties, properties[0] the fastest
/// digit: combination k has at place i the value (k / (d0 * ... * d(i-1)))
/// mod di. Dimensions are read from the states the properties stand in now.
std::vector<std::vector<std::int32_t>> enumerate_outcomes(const std::vector<QuantumProperty*>& properties);

/// The dimensions of the properties' qudits, in list order, as above.
std::vector<std::uint64_t> property_dimensions(const std::vector<QuantumProperty*>& properties);

/// The combinations of these dimensions, in the order above.
std::vector<std::vector<std::int32_t>> enumerate_outcomes(const std::vector<std::uint64_t>& dimensions);

/// Position of `values` among the combinations of `dimensions` in the order
/// of enumerate_outcomes, or `none` if it is not one of them (wrong length,
/// or a value outside its dimension).
std::size_t combination_position(const std::vector<std::int32_t>& values,
                                 const std::vector<std::uint64_t>& dimensions, std::size_t none);

}  // namespace vortan::api
