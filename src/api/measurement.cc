// Measurement exports: sampled and forced collapse, and the outcome
// distribution laid out over every combination. Each checks its arguments,
// brings the properties into one shared state, makes one call on it and
// writes the host's buffer last.

#include <algorithm>
#include <limits>
#include <new>
#include <stdexcept>

#include "api/handles.h"
#include "api/measurement.h"
#include "property/entangle.h"
#include "qudit/errors.h"

namespace vortan::api {

bool copy_properties(vortan_quantum_property* const* properties, std::size_t count,
                     std::vector<QuantumProperty*>& out) {
    out.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        if (properties[i] == nullptr) return false;
        out.push_back(from_handle(properties[i]));
    }
    return true;
}

std::vector<std::int32_t> qudit_indices(const std::vector<QuantumProperty*>& properties) {
    std::vector<std::int32_t> indices;
    indices.reserve(properties.size());
    for (const QuantumProperty* property : properties) indices.push_back(property->qudit_index);
    return indices;
}

std::vector<std::uint64_t> property_dimensions(const std::vector<QuantumProperty*>& properties) {
    std::vector<std::uint64_t> dimensions;
    dimensions.reserve(properties.size());
    for (const QuantumProperty* property : properties)
        dimensions.push_back(property->shared->state->qudit_dimension(property->qudit_index));
    return dimensions;
}

std::vector<std::vector<std::int32_t>> enumerate_outcomes(const std::vector<QuantumProperty*>& properties) {
    return enumerate_outcomes(property_dimensions(properties));
}

std::uint64_t combination_count(const std::vector<std::uint64_t>& dimensions) {
    std::uint64_t count = 1;
    for (const std::uint64_t d : dimensions)
        count = d != 0 && count > std::numeric_limits<std::uint64_t>::max() / d
                    ? std::numeric_limits<std::uint64_t>::max()
                    : count * d;
    return count;
}

std::vector<std::vector<std::int32_t>> enumerate_outcomes(const std::vector<std::uint64_t>& dimensions) {
    std::vector<std::vector<std::int32_t>> combinations;
    if (dimensions.empty()) return combinations;
    // Reserved in one piece, so that a count beyond memory fails at once
    // rather than after filling what fits; a count no vector can hold is the
    // same exhaustion, not a length error.
    const std::uint64_t count = combination_count(dimensions);
    if (count > combinations.max_size()) throw std::bad_alloc();
    combinations.reserve(count);
    // A mixed-radix counter, the first property the least significant digit.
    std::vector<std::int32_t> counters(dimensions.size(), 0);
    const std::size_t last = dimensions.size() - 1;
    while (static_cast<std::uint64_t>(counters[last]) < dimensions[last]) {
        combinations.push_back(counters);
        ++counters[0];
        for (std::size_t i = 0; i < last; ++i) {
            if (static_cast<std::uint64_t>(counters[i]) == dimensions[i]) {
                counters[i] = 0;
                ++counters[i + 1];
            }
        }
    }
    return combinations;
}

std::size_t combination_position(std::span<const std::int32_t> values,
                                 const std::vector<std::uint64_t>& dimensions, std::size_t none) {
    if (values.size() != dimensions.size()) return none;
    std::size_t position = 0;
    std::size_t stride = 1;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (values[i] < 0 || static_cast<std::uint64_t>(values[i]) >= dimensions[i]) return none;
        position += static_cast<std::size_t>(values[i]) * stride;
        stride *= dimensions[i];
    }
    return position;
}

namespace {

// Measuring and reading probabilities share one list; forced measurement
// adds the argument errors that reach it from the engine.
using MeasureClauses = ClauseList<Catch<qudit::BadDimension, VORTAN_ERROR_INVALID_DIMENSION>,
                                  Catch<qudit::BadQuditNumber, VORTAN_ERROR_INVALID_QUDIT_NUMBER>,
                                  Catch<std::exception, VORTAN_ERROR_INTERNAL>>;
using ForcedClauses = ClauseList<Catch<std::invalid_argument, VORTAN_ERROR_INVALID_ARGUMENT>,
                                 Catch<std::out_of_range, VORTAN_ERROR_INVALID_ARGUMENT>,
                                 Catch<qudit::BadDimension, VORTAN_ERROR_INVALID_DIMENSION>,
                                 Catch<qudit::BadQuditNumber, VORTAN_ERROR_INVALID_QUDIT_NUMBER>,
                                 Catch<std::exception, VORTAN_ERROR_INTERNAL>>;

}  // namespace
}  // namespace vortan::api

using namespace vortan;
using namespace vortan::api;

extern "C" {

VORTAN_API vortan_result vortan_measure_properties(vortan_quantum_property* const* properties, size_t property_count,
                                                   int32_t* output_buffer, size_t buffer_size,
                                                   vortan_error_info* error_info) {
    if (properties == nullptr)
        return fail(error_info, VORTAN_ERROR_NULL_POINTER, "properties cannot be NULL", VORTAN_SITE);
    if (property_count == 0)
        return fail(error_info, VORTAN_ERROR_INVALID_ARGUMENT, "property_count must be > 0", VORTAN_SITE);
    if (output_buffer == nullptr)
        return fail(error_info, VORTAN_ERROR_NULL_POINTER, "output_buffer cannot be NULL", VORTAN_SITE);
    if (buffer_size < property_count)
        return fail(error_info, VORTAN_ERROR_BUFFER_TOO_SMALL, "buffer_size must be >= property_count", VORTAN_SITE);
    return guarded_on_properties<MeasureClauses>(
        error_info, VORTAN_SITE, properties, property_count,
        [&](const std::vector<QuantumProperty*>& list) -> vortan_result {
        qudit::IState* state = tensor_state(list);
        const std::vector<std::int32_t> outcome = state->measure(qudit_indices(list));
        // An empty state gives no outcome, and nothing is written.
        std::copy(outcome.begin(), outcome.end(), output_buffer);
        return VORTAN_SUCCESS;
    });
}

VORTAN_API vortan_result vortan_forced_measure_properties(vortan_quantum_property* const* properties,
                                                          size_t property_count, const int32_t* forced_values,
                                                          size_t forced_value_count, int32_t* output_buffer,
                                                          size_t buffer_size, vortan_error_info* error_info) {
    if (properties == nullptr)
        return fail(error_info, VORTAN_ERROR_NULL_POINTER, "properties cannot be NULL", VORTAN_SITE);
    if (forced_values == nullptr)
        return fail(error_info, VORTAN_ERROR_NULL_POINTER, "forced_values cannot be NULL", VORTAN_SITE);
    if (property_count == 0)
        return fail(error_info, VORTAN_ERROR_INVALID_ARGUMENT, "property_count must be > 0", VORTAN_SITE);
    if (forced_value_count != property_count)
        return fail(error_info, VORTAN_ERROR_INVALID_ARGUMENT, "forced_value_count must match property_count",
                    VORTAN_SITE);
    if (output_buffer != nullptr && buffer_size < property_count)
        return fail(error_info, VORTAN_ERROR_BUFFER_TOO_SMALL,
                    "buffer_size must be >= property_count when output_buffer is provided", VORTAN_SITE);
    return guarded_on_properties<ForcedClauses>(
        error_info, VORTAN_SITE, properties, property_count,
        [&](const std::vector<QuantumProperty*>& list) -> vortan_result {
        std::vector<std::int32_t> values(forced_values, forced_values + forced_value_count);
        qudit::IState* state = tensor_state(list);
        const std::vector<std::int32_t> outcome = state->forced_measure(qudit_indices(list), std::move(values));
        // Without a buffer only the collapse remains.
        if (output_buffer != nullptr) std::copy(outcome.begin(), outcome.end(), output_buffer);
        return VORTAN_SUCCESS;
    });
}

VORTAN_API vortan_result vortan_calculate_probabilities(vortan_quantum_property* const* properties,
                                                        size_t property_count, vortan_probability_entry* output_buffer,
                                                        size_t buffer_size, size_t* out_count,
                                                        vortan_error_info* error_info) {
    if (properties == nullptr)
        return fail(error_info, VORTAN_ERROR_NULL_POINTER, "properties cannot be NULL", VORTAN_SITE);
    if (property_count == 0)
        return fail(error_info, VORTAN_ERROR_INVALID_ARGUMENT, "property_count must be > 0", VORTAN_SITE);
    if (output_buffer == nullptr)
        return fail(error_info, VORTAN_ERROR_NULL_POINTER, "output_buffer cannot be NULL", VORTAN_SITE);
    const Site site = VORTAN_SITE;
    return guarded_on_properties<MeasureClauses>(
        error_info, site, properties, property_count, [&](const std::vector<QuantumProperty*>& list) -> vortan_result {
        qudit::IState* state = tensor_state(list);
        const qudit::OutcomeDistribution records = state->probabilities(qudit_indices(list));
        const std::vector<std::uint64_t> dimensions = property_dimensions(list);
        // Tested only now: the properties stay entangled even so. The count
        // comes first, so that a short buffer never has the combinations
        // listed, however many they are.
        if (buffer_size < combination_count(dimensions))
            return fail(error_info, VORTAN_ERROR_BUFFER_TOO_SMALL, "buffer_size insufficient for all combinations",
                        site);
        const std::vector<std::vector<std::int32_t>> combinations = enumerate_outcomes(dimensions);
        // Each combination takes the record that shows it, found through its
        // position rather than a search; records have distinct outcomes, so
        // the answer is that of a search from the first record.
        const std::size_t none = combinations.size();
        const std::size_t no_record = records.size();
        std::vector<std::size_t> record_at(combinations.size(), no_record);
        for (std::size_t r = 0; r < records.size(); ++r) {
            const std::size_t k = combination_position(records.outcome(r), dimensions, none);
            if (k != none && record_at[k] == no_record) record_at[k] = r;
        }
        for (std::size_t k = 0; k < combinations.size(); ++k) {
            vortan_probability_entry& element = output_buffer[k];
            int32_t* values = element.outcome_values;
            element.outcome_count = property_count;
            if (values != nullptr) std::copy(combinations[k].begin(), combinations[k].end(), values);
            element.probability =
                record_at[k] != no_record ? static_cast<float>(records.probability(record_at[k])) : 0.0f;
        }
        if (out_count != nullptr) *out_count = combinations.size();
        return VORTAN_SUCCESS;
    });
}

}  // extern "C"
