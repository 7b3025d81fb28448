// Entry points of the gates: on one target, on two, and the controlled phase. Each
// checks its arguments, then runs one guarded region: copy the predicates,
// merge, read indices, one operation of the state.

#include "api/gate_call.h"

namespace vortan::api {
namespace {

using qudit::IState;
using qudit::Predicates;
using qudit::Targets;

using YClauses = ClauseList<Catch<std::invalid_argument, VORTAN_ERROR_INVALID_ARGUMENT>,
                            Catch<qudit::TargetControlOverlap, VORTAN_ERROR_TARGET_CONTROL_OVERLAP>,
                            Catch<qudit::StateSizeExceeded, VORTAN_ERROR_STATE_SIZE_EXCEEDED>,
                            Catch<std::bad_alloc, VORTAN_ERROR_OUT_OF_MEMORY>,
                            Catch<std::exception, VORTAN_ERROR_INTERNAL>>;

using SwapClauses = ClauseList<Catch<qudit::TargetControlOverlap, VORTAN_ERROR_TARGET_CONTROL_OVERLAP>,
                               Catch<qudit::DifferentDimensions, VORTAN_ERROR_INCOMPATIBLE_DIMENSIONS>,
                               Catch<qudit::BadQuditNumber, VORTAN_ERROR_INVALID_QUDIT_NUMBER>,
                               Catch<qudit::BadDimension, VORTAN_ERROR_INVALID_DIMENSION>,
                               Catch<qudit::StateSizeExceeded, VORTAN_ERROR_STATE_SIZE_EXCEEDED>,
                               Catch<std::bad_alloc, VORTAN_ERROR_OUT_OF_MEMORY>,
                               Catch<std::exception, VORTAN_ERROR_INTERNAL>>;

// As swap's, without BadDimension: here it falls through to 900.
using ISwapClauses = ClauseList<Catch<qudit::TargetControlOverlap, VORTAN_ERROR_TARGET_CONTROL_OVERLAP>,
                                Catch<qudit::DifferentDimensions, VORTAN_ERROR_INCOMPATIBLE_DIMENSIONS>,
                                Catch<qudit::BadQuditNumber, VORTAN_ERROR_INVALID_QUDIT_NUMBER>,
                                Catch<qudit::StateSizeExceeded, VORTAN_ERROR_STATE_SIZE_EXCEEDED>,
                                Catch<std::bad_alloc, VORTAN_ERROR_OUT_OF_MEMORY>,
                                Catch<std::exception, VORTAN_ERROR_INTERNAL>>;

using WholeGate = void (IState::*)(const Targets&, const Predicates&);
using FractionalGate = void (IState::*)(const Targets&, double, const Predicates&);

vortan_result check_target_and_predicates(vortan_error_info* error_info, Site site,
                                          vortan_quantum_property* property, vortan_predicate* const* predicates,
                                          size_t predicate_count) {
    if (property == nullptr) return fail(error_info, VORTAN_ERROR_NULL_POINTER, "property cannot be NULL", site);
    if (predicate_count != 0 && predicates == nullptr)
        return fail(error_info, VORTAN_ERROR_NULL_POINTER, "predicates cannot be NULL when predicate_count > 0",
                    site);
    return VORTAN_SUCCESS;
}

vortan_result check_pair_and_predicates(vortan_error_info* error_info, Site site,
                                        vortan_quantum_property* property1, vortan_quantum_property* property2,
                                        vortan_predicate* const* predicates, size_t predicate_count) {
    if (property1 == nullptr || property2 == nullptr)
        return fail(error_info, VORTAN_ERROR_NULL_POINTER, "properties cannot be NULL", site);
    return check_target_and_predicates(error_info, site, property1, predicates, predicate_count);
}

vortan_result check_fractional(vortan_error_info* error_info, Site site, vortan_quantum_property* property,
                               double fraction, vortan_predicate* const* predicates, size_t predicate_count) {
    if (property == nullptr) return fail(error_info, VORTAN_ERROR_NULL_POINTER, "property cannot be NULL", site);
    if (!is_finite(fraction))
        return fail(error_info, VORTAN_ERROR_INVALID_ARGUMENT, "fraction must be finite", site);
    return check_target_and_predicates(error_info, site, property, predicates, predicate_count);
}

/// One target, and only exactly 1.0 takes the whole gate.
vortan_result whole_or_fractional(vortan_error_info* error_info, Site site, WholeGate whole,
                                  FractionalGate fractional, vortan_quantum_property* property, double fraction,
                                  vortan_predicate* const* predicates, size_t predicate_count) {
    if (const vortan_result status =
            check_fractional(error_info, site, property, fraction, predicates, predicate_count))
        return status;
    return guarded<GateClauses>(error_info, site, [&] {
        const auto records = collect_predicates(predicates, predicate_count);
        const bool whole_gate = fraction == 1.0;
        GateCall call = prepare_gate({from_handle(property)}, records);
        if (whole_gate)
            (call.state->*whole)(call.targets, call.predicates);
        else
            (call.state->*fractional)(call.targets, fraction, call.predicates);
    });
}

vortan_result one_target(vortan_error_info* error_info, Site site, WholeGate gate, vortan_quantum_property* property,
                         vortan_predicate* const* predicates, size_t predicate_count) {
    if (const vortan_result status =
            check_target_and_predicates(error_info, site, property, predicates, predicate_count))
        return status;
    return guarded<GateClauses>(error_info, site, [&] {
        GateCall call = prepare_gate({from_handle(property)}, collect_predicates(predicates, predicate_count));
        (call.state->*gate)(call.targets, call.predicates);
    });
}

}  // namespace

void apply_y(QuantumProperty* target, const std::vector<vortan_predicate_record>& records, bool whole,
             double fraction) {
    // Asked of the target's state as it is, before any merge.
    if (target->shared->state->qudit_dimension(target->qudit_index) != 2)
        throw std::invalid_argument("Y gate requires dimension 2 (qubit)");
    GateCall call = prepare_gate({target}, records);
    call.state->fractional_clock(call.targets, -0.5, call.predicates);
    call = prepare_gate({target}, records);
    if (whole)
        call.state->shift(call.targets, call.predicates);
    else
        call.state->fractional_shift(call.targets, fraction, call.predicates);
    call = prepare_gate({target}, records);
    call.state->fractional_clock(call.targets, 0.5, call.predicates);
}

}  // namespace vortan::api

using namespace vortan;
using namespace vortan::api;

extern "C" {

VORTAN_API vortan_result vortan_shift_operation(vortan_quantum_property* property, double fraction,
                                                vortan_predicate* const* predicates, size_t predicate_count,
                                                vortan_error_info* error_info) {
    return whole_or_fractional(error_info, VORTAN_SITE, &qudit::IState::shift, &qudit::IState::fractional_shift,
                               property, fraction, predicates, predicate_count);
}

VORTAN_API vortan_result vortan_x_operation(vortan_quantum_property* property, double fraction,
                                            vortan_predicate* const* predicates, size_t predicate_count,
                                            vortan_error_info* error_info) {
    return whole_or_fractional(error_info, VORTAN_SITE, &qudit::IState::shift, &qudit::IState::fractional_shift,
                               property, fraction, predicates, predicate_count);
}

VORTAN_API vortan_result vortan_clock_operation(vortan_quantum_property* property, double fraction,
                                                vortan_predicate* const* predicates, size_t predicate_count,
                                                vortan_error_info* error_info) {
    return whole_or_fractional(error_info, VORTAN_SITE, &qudit::IState::clock, &qudit::IState::fractional_clock,
                               property, fraction, predicates, predicate_count);
}

VORTAN_API vortan_result vortan_z_operation(vortan_quantum_property* property, double fraction,
                                            vortan_predicate* const* predicates, size_t predicate_count,
                                            vortan_error_info* error_info) {
    return whole_or_fractional(error_info, VORTAN_SITE, &qudit::IState::clock, &qudit::IState::fractional_clock,
                               property, fraction, predicates, predicate_count);
}

VORTAN_API vortan_result vortan_cycle_operation(vortan_quantum_property* property, double fraction,
                                                vortan_predicate* const* predicates, size_t predicate_count,
                                                vortan_error_info* error_info) {
    return whole_or_fractional(error_info, VORTAN_SITE, &qudit::IState::cycle, &qudit::IState::fractional_cycle,
                               property, fraction, predicates, predicate_count);
}

VORTAN_API vortan_result vortan_y_operation(vortan_quantum_property* property, double fraction,
                                            vortan_predicate* const* predicates, size_t predicate_count,
                                            vortan_error_info* error_info) {
    if (const vortan_result status =
            check_fractional(error_info, VORTAN_SITE, property, fraction, predicates, predicate_count))
        return status;
    return guarded<YClauses>(error_info, VORTAN_SITE, [&] {
        const auto records = collect_predicates(predicates, predicate_count);
        apply_y(from_handle(property), records, fraction == 1.0, fraction);
    });
}

VORTAN_API vortan_result vortan_hadamard_operation(vortan_quantum_property* property,
                                                   vortan_predicate* const* predicates, size_t predicate_count,
                                                   vortan_error_info* error_info) {
    return one_target(error_info, VORTAN_SITE, &qudit::IState::hadamard, property, predicates, predicate_count);
}

VORTAN_API vortan_result vortan_inverse_hadamard_operation(vortan_quantum_property* property,
                                                           vortan_predicate* const* predicates,
                                                           size_t predicate_count, vortan_error_info* error_info) {
    return one_target(error_info, VORTAN_SITE, &qudit::IState::inverse_hadamard, property, predicates,
                      predicate_count);
}

VORTAN_API vortan_result vortan_fractional_hadamard_operation(vortan_quantum_property* property, double fraction,
                                                              vortan_predicate* const* predicates,
                                                              size_t predicate_count, vortan_error_info* error_info) {
    if (const vortan_result status =
            check_fractional(error_info, VORTAN_SITE, property, fraction, predicates, predicate_count))
        return status;
    // Every fraction, 1 included, takes the fractional operation.
    return guarded<GateClauses>(error_info, VORTAN_SITE, [&] {
        GateCall call = prepare_gate({from_handle(property)}, collect_predicates(predicates, predicate_count));
        call.state->fractional_hadamard(call.targets, fraction, call.predicates);
    });
}

VORTAN_API vortan_result vortan_swap_operation(vortan_quantum_property* property1, vortan_quantum_property* property2,
                                               vortan_predicate* const* predicates, size_t predicate_count,
                                               vortan_error_info* error_info) {
    if (const vortan_result status =
            check_pair_and_predicates(error_info, VORTAN_SITE, property1, property2, predicates, predicate_count))
        return status;
    return guarded<SwapClauses>(error_info, VORTAN_SITE, [&] {
        GateCall call = prepare_gate({from_handle(property1), from_handle(property2)},
                                     collect_predicates(predicates, predicate_count));
        call.state->swap(call.targets[0], call.targets[1], call.predicates);
    });
}

VORTAN_API vortan_result vortan_i_swap_operation(vortan_quantum_property* property1,
                                                 vortan_quantum_property* property2, double fraction,
                                                 vortan_predicate* const* predicates, size_t predicate_count,
                                                 vortan_error_info* error_info) {
    if (property1 == nullptr || property2 == nullptr)
        return fail(error_info, VORTAN_ERROR_NULL_POINTER, "properties cannot be NULL", VORTAN_SITE);
    if (const vortan_result status =
            check_fractional(error_info, VORTAN_SITE, property1, fraction, predicates, predicate_count))
        return status;
    return guarded<ISwapClauses>(error_info, VORTAN_SITE, [&] {
        GateCall call = prepare_gate({from_handle(property1), from_handle(property2)},
                                     collect_predicates(predicates, predicate_count));
        call.state->i_swap(call.targets[0], call.targets[1], fraction, call.predicates);
    });
}

VORTAN_API vortan_result vortan_phase_rotate_operation(vortan_predicate* const* predicates, size_t predicate_count,
                                                       double angle, vortan_error_info* error_info) {
    // Here predicates are required: they alone say where the phase acts.
    if (predicates == nullptr)
        return fail(error_info, VORTAN_ERROR_NULL_POINTER, "predicates cannot be NULL", VORTAN_SITE);
    if (predicate_count == 0)
        return fail(error_info, VORTAN_ERROR_INVALID_ARGUMENT, "predicate_count must be > 0", VORTAN_SITE);
    if (!is_finite(angle)) return fail(error_info, VORTAN_ERROR_INVALID_ARGUMENT, "angle must be finite", VORTAN_SITE);
    return guarded<GateClauses>(error_info, VORTAN_SITE, [&] {
        GateCall call = prepare_gate({}, collect_predicates(predicates, predicate_count));
        call.state->phase_rotate(call.predicates, angle);
    });
}

}  // extern "C"
