// Property and predicate handles, and the two buffer-size calculators. Only
// property creation reports through the error record; the rest return bare
// codes and never reach the callback.

#include <cstdint>
#include <memory>
#include <new>
#include <stdexcept>

#include "api/boundary.h"
#include "api/handles.h"
#include "qudit/errors.h"

namespace vortan::api {

std::vector<vortan_predicate_record> collect_predicates(vortan_predicate* const* predicates, std::size_t count) {
    std::vector<vortan_predicate_record> records;
    if (count == 0) return records;
    if (predicates == nullptr)
        throw std::invalid_argument("predicates array cannot be null when predicate_count > 0");
    records.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        if (predicates[i] == nullptr) throw std::invalid_argument("predicate array contains null pointer");
        records.push_back(*from_handle(predicates[i]));
    }
    return records;
}

namespace {

using CreateClauses =
    ClauseList<Catch<qudit::BadDimension, VORTAN_ERROR_INVALID_DIMENSION>,
               Catch<qudit::StateSizeExceeded, VORTAN_ERROR_STATE_SIZE_EXCEEDED>,
               Catch<std::bad_alloc, VORTAN_ERROR_OUT_OF_MEMORY>, Catch<std::exception, VORTAN_ERROR_INTERNAL>>;

/// Product of the properties' qudit dimensions, in wrapping 64-bit arithmetic,
/// read from the states they stand in now. Writes `product` only on success.
vortan_result dimension_product(vortan_quantum_property* const* properties, std::size_t count,
                                std::uint64_t& product) {
    std::uint64_t result = 1;
    try {
        for (std::size_t i = 0; i < count; ++i) {
            const QuantumProperty* property = from_handle(properties[i]);
            if (property == nullptr) return VORTAN_ERROR_NULL_POINTER;
            result *= property->shared->state->qudit_dimension(property->qudit_index);
        }
    } catch (const std::exception&) {
        return VORTAN_ERROR_INTERNAL;
    }
    product = result;
    return VORTAN_SUCCESS;
}

}  // namespace
}  // namespace vortan::api

using namespace vortan;
using namespace vortan::api;

extern "C" {

VORTAN_API vortan_result vortan_quantum_property_create(int32_t dimension, vortan_quantum_property** out_property,
                                                        vortan_error_info* error_info) {
    if (out_property == nullptr)
        return fail(error_info, VORTAN_ERROR_NULL_POINTER, "out_property cannot be NULL", VORTAN_SITE);
    // One unsigned comparison: negative values fail as too large.
    if (static_cast<uint32_t>(dimension) - 1U > 2U)
        return fail(error_info, VORTAN_ERROR_INVALID_DIMENSION,
                    "dimension must be positive and not exceed MAX_DIMENSION", VORTAN_SITE);
    *out_property = nullptr;
    return guarded<CreateClauses>(error_info, VORTAN_SITE, [&] {
        auto property = std::make_unique<QuantumProperty>(static_cast<std::uint64_t>(dimension));
        *out_property = to_handle(property.release());
    });
}

VORTAN_API vortan_result vortan_quantum_property_destroy(vortan_quantum_property** property) {
    if (property == nullptr || *property == nullptr) return VORTAN_SUCCESS;
    // Leaves the group's list and drops its share; an entangled qudit stays
    // in the state, unnamed, and the partners see no change.
    delete from_handle(*property);
    *property = nullptr;
    return VORTAN_SUCCESS;
}

VORTAN_API vortan_result vortan_quantum_property_get_dimension(vortan_quantum_property* property,
                                                               uint32_t* out_dimension) {
    if (property == nullptr || out_dimension == nullptr) return VORTAN_ERROR_NULL_POINTER;
    const QuantumProperty& p = *from_handle(property);
    *out_dimension = static_cast<uint32_t>(p.shared->state->qudit_dimension(p.qudit_index));
    return VORTAN_SUCCESS;
}

VORTAN_API vortan_result vortan_quantum_property_get_num_active_qudits(vortan_quantum_property* property,
                                                                       size_t* out_count) {
    if (property == nullptr || out_count == nullptr) return VORTAN_ERROR_NULL_POINTER;
    *out_count = from_handle(property)->shared->state->num_qudits();
    return VORTAN_SUCCESS;
}

VORTAN_API vortan_result vortan_quantum_property_get_state_vector_size(vortan_quantum_property* property,
                                                                       size_t* out_size) {
    if (property == nullptr || out_size == nullptr) return VORTAN_ERROR_NULL_POINTER;
    *out_size = from_handle(property)->shared->state->state_size();
    return VORTAN_SUCCESS;
}

VORTAN_API vortan_result vortan_predicate_create(vortan_quantum_property* property, int32_t value, bool is_equal,
                                                 vortan_predicate** out_predicate) {
    if (property == nullptr || out_predicate == nullptr) return VORTAN_ERROR_NULL_POINTER;
    try {
        *out_predicate = to_handle(new vortan_predicate_record{from_handle(property), value, is_equal});
    } catch (const std::bad_alloc&) {
        return VORTAN_ERROR_OUT_OF_MEMORY;
    } catch (const std::exception&) {
        return VORTAN_ERROR_INTERNAL;
    }
    return VORTAN_SUCCESS;
}

VORTAN_API vortan_result vortan_predicate_destroy(vortan_predicate** predicate) {
    if (predicate == nullptr || *predicate == nullptr) return VORTAN_SUCCESS;
    delete from_handle(*predicate);
    *predicate = nullptr;
    return VORTAN_SUCCESS;
}

VORTAN_API vortan_result vortan_calculate_combinations_count(vortan_quantum_property* const* properties,
                                                             size_t property_count, size_t* out_count) {
    if (out_count == nullptr) return VORTAN_ERROR_NULL_POINTER;
    // An empty list has no combinations, not the one of an empty product.
    if (property_count == 0) {
        *out_count = 0;
        return VORTAN_SUCCESS;
    }
    if (properties == nullptr) return VORTAN_ERROR_NULL_POINTER;
    std::uint64_t product = 0;
    const vortan_result status = dimension_product(properties, property_count, product);
    if (status == VORTAN_SUCCESS) *out_count = product;
    return status;
}

VORTAN_API vortan_result vortan_calculate_matrix_size(vortan_quantum_property* const* properties,
                                                      size_t property_count, size_t* out_dimension,
                                                      size_t* out_size) {
    if (out_dimension == nullptr) return VORTAN_ERROR_NULL_POINTER;
    if (property_count == 0) {
        *out_dimension = 0;
        if (out_size != nullptr) *out_size = 0;
        return VORTAN_SUCCESS;
    }
    if (properties == nullptr) return VORTAN_ERROR_NULL_POINTER;
    std::uint64_t side = 0;
    const vortan_result status = dimension_product(properties, property_count, side);
    if (status != VORTAN_SUCCESS) return status;
    *out_dimension = side;
    if (out_size != nullptr) *out_size = side * side;
    return VORTAN_SUCCESS;
}

}  // extern "C"
