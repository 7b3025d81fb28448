// Asking by measurement whether a list of predicates holds: an ancilla qubit
// is flipped where they all hold, measured, and taken out again.

#include "api/gate_call.h"
#include "property/remove_qudit.h"

namespace vortan::api {

std::int32_t stochastic_projection(const std::vector<vortan_predicate_record>& predicates) {
    QuantumProperty ancilla(2);
    // Only the first predicate is consulted for the context.
    if (!predicates.empty()) {
        const QuantumProperty* first = predicates.front().property;
        if (first->shared && first->shared->simulation != nullptr)
            ancilla.shared->simulation = first->shared->simulation;
    }
    // The ancilla is the anchor, so the predicates' group follows it.
    GateCall call = prepare_gate({&ancilla}, predicates);
    call.state->cycle(call.targets, call.predicates);
    const std::vector<std::int32_t> outcome = ancilla.shared->state->measure({ancilla.qudit_index});
    // Only a state emptied by an earlier failed collapse has nothing to draw.
    if (outcome.empty()) throw std::runtime_error("Cannot project an empty quantum state");
    remove_qudit(*ancilla.shared, ancilla);
    return outcome.front();
}

}  // namespace vortan::api

using namespace vortan;
using namespace vortan::api;

extern "C" {

VORTAN_API vortan_result vortan_stochastic_projection_modern(vortan_predicate* const* predicates,
                                                             size_t predicate_count, int32_t* result,
                                                             vortan_error_info* error_info) {
    if (predicates == nullptr)
        return fail(error_info, VORTAN_ERROR_NULL_POINTER, "predicates cannot be NULL", VORTAN_SITE);
    if (predicate_count == 0)
        return fail(error_info, VORTAN_ERROR_INVALID_ARGUMENT, "predicate_count must be > 0", VORTAN_SITE);
    if (result == nullptr) return fail(error_info, VORTAN_ERROR_NULL_POINTER, "result cannot be NULL", VORTAN_SITE);
    using Clauses = ClauseList<Catch<qudit::BadDimension, VORTAN_ERROR_INVALID_DIMENSION>,
                               Catch<qudit::BadQuditNumber, VORTAN_ERROR_INVALID_QUDIT_NUMBER>,
                               Catch<std::exception, VORTAN_ERROR_INTERNAL>>;
    return guarded<Clauses>(error_info, VORTAN_SITE, [&] {
        const std::int32_t answer = stochastic_projection(collect_predicates(predicates, predicate_count));
        *result = answer;
    });
}

}  // extern "C"
