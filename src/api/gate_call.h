#pragma once
// The road every gate entry point takes once its arguments have passed: copy
// the predicates, merge the properties involved, read indices afterwards.

#include <cmath>
#include <cfloat>
#include <initializer_list>
#include <new>
#include <vector>

#include "api/boundary.h"
#include "api/handles.h"
#include "property/entangle.h"
#include "qudit/errors.h"
#include "qudit/predicate.h"

namespace vortan::api {

/// The clause list of the single-target gates and the fractional Hadamard.
using GateClauses =
    ClauseList<Catch<qudit::TargetControlOverlap, VORTAN_ERROR_TARGET_CONTROL_OVERLAP>,
               Catch<qudit::StateSizeExceeded, VORTAN_ERROR_STATE_SIZE_EXCEEDED>,
               Catch<std::bad_alloc, VORTAN_ERROR_OUT_OF_MEMORY>, Catch<std::exception, VORTAN_ERROR_INTERNAL>>;

/// Finite means |x| is not above the largest double: NaN and both infinities fail.
inline bool is_finite(double x) { return std::fabs(x) <= DBL_MAX; }

/// A gate ready to run: the state its operands now share, the targets' qudit
/// indices, and the controls with indices read after the merge.
struct GateCall {
    qudit::IState* state;
    qudit::Targets targets;
    qudit::Predicates predicates;
};

/// Merges the targets (in order, the first the anchor) with the predicates'
/// properties, then reads every index, which the merge may have changed.
inline GateCall prepare_gate(std::initializer_list<QuantumProperty*> targets,
                             const std::vector<vortan_predicate_record>& records) {
    std::vector<QuantumProperty*> list(targets);
    GateCall call{tensor_state(list, records), {}, {}};
    call.predicates.reserve(records.size());
    for (const vortan_predicate_record& record : records)
        call.predicates.push_back({record.property->qudit_index, record.value, record.is_equal});
    call.targets.reserve(targets.size());
    for (QuantumProperty* target : targets) call.targets.push_back(target->qudit_index);
    return call;
}

/// Y on a qubit as three complete gates, Z^(1/2) X^f Z^(-1/2), each merging
/// and reading indices for itself; `whole` takes shift for X. Throws
/// std::invalid_argument if the target, in its state as it is, is no qubit.
void apply_y(QuantumProperty* target, const std::vector<vortan_predicate_record>& records, bool whole,
             double fraction);

}  // namespace vortan::api
