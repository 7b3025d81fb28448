#pragma once
// What the measurement exports share: copying the host's property array,
// reading qudit indices after entangling, and the fixed order of outcome
// combinations in which results are laid out for the host.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "api/boundary.h"
#include "property/quantum_property.h"
#include "vortan.h"

namespace vortan::api {

/// Copies the handles in array order into `out`, reserving first (a count
/// past what a vector holds throws std::length_error "vector::reserve").
/// False at the first null element, with nothing else touched.
bool copy_properties(vortan_quantum_property* const* properties, std::size_t count,
                     std::vector<QuantumProperty*>& out);

/// The guarded region of an export on a property list: the handles are
/// copied first, a null element failing with the export's own report, and
/// `body` gets the copy.
template <class Clauses, class Body>
vortan_result guarded_on_properties(vortan_error_info* error_info, Site site,
                                    vortan_quantum_property* const* properties, std::size_t count, Body&& body) {
    return guarded<Clauses>(error_info, site, [&]() -> vortan_result {
        std::vector<QuantumProperty*> list;
        if (!copy_properties(properties, count, list))
            return fail(error_info, VORTAN_ERROR_NULL_POINTER, "properties[i] cannot be NULL", site);
        return body(list);
    });
}

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
std::size_t combination_position(std::span<const std::int32_t> values,
                                 const std::vector<std::uint64_t>& dimensions, std::size_t none);

}  // namespace vortan::api
