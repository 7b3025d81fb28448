// The reduced density matrix export. Unlike the probabilities, its buffer is
// checked before anything is entangled: the combinations are counted from
// the states the properties stand in at the call.

#include <algorithm>
#include <cstdint>

#include "api/measurement.h"
#include "property/entangle.h"

namespace vortan::api {
namespace {

// Its one clause: every failure of the engine is internal here.
using DensityClauses = ClauseList<Catch<std::exception, VORTAN_ERROR_INTERNAL>>;

}  // namespace
}  // namespace vortan::api

using namespace vortan;
using namespace vortan::api;

extern "C" {

VORTAN_API vortan_result vortan_calculate_reduced_density_matrix(vortan_quantum_property* const* properties,
                                                                 size_t property_count,
                                                                 vortan_density_element* output_buffer,
                                                                 size_t buffer_size, size_t* out_dimension,
                                                                 vortan_error_info* error_info) {
    if (properties == nullptr)
        return fail(error_info, VORTAN_ERROR_NULL_POINTER, "properties cannot be NULL", VORTAN_SITE);
    if (property_count == 0)
        return fail(error_info, VORTAN_ERROR_INVALID_ARGUMENT, "property_count must be > 0", VORTAN_SITE);
    if (output_buffer == nullptr)
        return fail(error_info, VORTAN_ERROR_NULL_POINTER, "output_buffer cannot be NULL", VORTAN_SITE);
    const Site site = VORTAN_SITE;
    return guarded_on_properties<DensityClauses>(
        error_info, site, properties, property_count, [&](const std::vector<QuantumProperty*>& list) -> vortan_result {
        const std::vector<std::uint64_t> dimensions = property_dimensions(list);
        // The side is counted, not listed, so a short buffer costs nothing; a
        // side of 2^32 or more asks for more elements than a size_t counts.
        const std::uint64_t n = combination_count(dimensions);
        if (n >= (std::uint64_t{1} << 32) || buffer_size < n * n)
            return fail(error_info, VORTAN_ERROR_BUFFER_TOO_SMALL, "buffer_size insufficient for density matrix",
                        site);
        // Zeroed before the engine runs: a failure there leaves zeros, and
        // places no pair reaches stay 0.
        std::fill(output_buffer, output_buffer + n * n, vortan_density_element{0.0f, 0.0f});
        qudit::IState* state = tensor_state(list);
        const qudit::DensityMatrix matrix = state->reduced_density_matrix(qudit_indices(list));
        // Each label's place among the combinations, computed once rather
        // than searched; combinations are distinct, so it is the place a
        // search from the start would find.
        std::vector<std::size_t> place(matrix.label_count);
        for (std::uint32_t k = 0; k < matrix.label_count; ++k)
            place[k] = combination_position(matrix.label(k), dimensions, n);
        // Each (row, column) comes once: an assignment, not a sum.
        for (const qudit::DensityMatrix::Element& element : matrix.elements) {
            const std::size_t r = place[element.row];
            const std::size_t c = place[element.column];
            if (r == n || c == n) continue;
            output_buffer[r * n + c] = {static_cast<float>(element.value.real()),
                                        static_cast<float>(element.value.imag())};
        }
        if (out_dimension != nullptr) *out_dimension = n;
        return VORTAN_SUCCESS;
    });
}

}  // extern "C"
