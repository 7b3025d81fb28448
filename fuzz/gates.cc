// The twelve gate exports and the batch. Their outputs are the state alone,
// which the norm checks read; here the codes, the record and which groups
// the call joins and may leave unnormalised.

#include <cmath>
#include <cstring>
#include <limits>

#include "session.h"

namespace vortan::fuzz {
namespace {

const std::initializer_list<vortan_result> GATE_CODES = {
    VORTAN_SUCCESS,          VORTAN_ERROR_NULL_POINTER,        VORTAN_ERROR_INVALID_ARGUMENT,
    VORTAN_ERROR_TARGET_CONTROL_OVERLAP, VORTAN_ERROR_STATE_SIZE_EXCEEDED, VORTAN_ERROR_OUT_OF_MEMORY,
    VORTAN_ERROR_INTERNAL};

// Swap and i-swap add different dimensions, and a merge past 12 qudits
// comes out of them as 5 (the other gates give 900 for it).
const std::initializer_list<vortan_result> PAIR_CODES = {
    VORTAN_SUCCESS,          VORTAN_ERROR_NULL_POINTER,        VORTAN_ERROR_INVALID_ARGUMENT,
    VORTAN_ERROR_TARGET_CONTROL_OVERLAP, VORTAN_ERROR_STATE_SIZE_EXCEEDED, VORTAN_ERROR_OUT_OF_MEMORY,
    VORTAN_ERROR_INTERNAL,   VORTAN_ERROR_INCOMPATIBLE_DIMENSIONS, VORTAN_ERROR_INVALID_QUDIT_NUMBER};

using OneTarget = vortan_result (*)(vortan_quantum_property*, double, vortan_predicate* const*, size_t,
                                    vortan_error_info*);

bool predicates_given(const PredicateList& list) { return list.count == 0 || !list.null_array; }

}  // namespace

void Session::one_target_gate() {
    static constexpr OneTarget gates[] = {vortan_shift_operation, vortan_clock_operation, vortan_cycle_operation,
                                          vortan_x_operation,     vortan_y_operation,     vortan_z_operation};
    static constexpr const char* names[] = {"vortan_shift_operation", "vortan_clock_operation",
                                            "vortan_cycle_operation", "vortan_x_operation",
                                            "vortan_y_operation",     "vortan_z_operation"};
    const std::uint32_t which = in_.below(6);
    const int target = pick_property();
    const double fraction = in_.one_in(3) ? 1.0 : in_.number();
    PredicateList predicates = predicate_list(true);
    Call call(names[which], true, !in_.one_in(6));
    const vortan_result code = call.check(
        gates[which](properties_[target].handle, fraction, predicates.data(), predicates.count, call.record()),
        GATE_CODES);
    if (properties_[target].handle != nullptr && std::isfinite(fraction) && predicates_given(predicates) &&
        code == VORTAN_ERROR_NULL_POINTER)
        broken(call.function(), "returned 1 for arguments it takes");
    std::vector<int> named{target};
    add_predicate_properties(predicates, named);
    join(named, code == VORTAN_SUCCESS);
}

void Session::hadamard_gate() {
    const std::uint32_t which = in_.below(3);
    const int target = pick_property();
    const double fraction = in_.number();
    PredicateList predicates = predicate_list(true);
    static constexpr const char* names[] = {"vortan_hadamard_operation", "vortan_inverse_hadamard_operation",
                                            "vortan_fractional_hadamard_operation"};
    Call call(names[which], true, !in_.one_in(6));
    vortan_quantum_property* const handle = properties_[target].handle;
    vortan_result code;
    if (which == 0)
        code = vortan_hadamard_operation(handle, predicates.data(), predicates.count, call.record());
    else if (which == 1)
        code = vortan_inverse_hadamard_operation(handle, predicates.data(), predicates.count, call.record());
    else
        code = vortan_fractional_hadamard_operation(handle, fraction, predicates.data(), predicates.count,
                                                    call.record());
    call.check(code, GATE_CODES);
    std::vector<int> named{target};
    add_predicate_properties(predicates, named);
    join(named, code == VORTAN_SUCCESS);
}

void Session::two_target_gate() {
    const bool i_swap = in_.below(2) == 0;
    const int first = pick_property(), second = pick_property();
    const double fraction = in_.one_in(3) ? 1.0 : in_.number();
    PredicateList predicates = predicate_list(true);
    Call call(i_swap ? "vortan_i_swap_operation" : "vortan_swap_operation", true, !in_.one_in(6));
    vortan_quantum_property* const a = properties_[first].handle;
    vortan_quantum_property* const b = properties_[second].handle;
    const vortan_result code =
        i_swap ? vortan_i_swap_operation(a, b, fraction, predicates.data(), predicates.count, call.record())
               : vortan_swap_operation(a, b, predicates.data(), predicates.count, call.record());
    call.check(code, PAIR_CODES);
    if (code == VORTAN_ERROR_INCOMPATIBLE_DIMENSIONS && properties_[first].dimension == properties_[second].dimension)
        broken(call.function(), "refused two qudits of dimension %u as incompatible", properties_[first].dimension);
    std::vector<int> named{first, second};
    add_predicate_properties(predicates, named);
    join(named, code == VORTAN_SUCCESS);
}

void Session::phase_rotate() {
    PredicateList predicates = predicate_list(true);
    const double angle = in_.number();
    Call call("vortan_phase_rotate_operation", true, !in_.one_in(6));
    const vortan_result code = call.check(
        vortan_phase_rotate_operation(predicates.data(), predicates.count, angle, call.record()), GATE_CODES);
    std::vector<int> named;
    add_predicate_properties(predicates, named);
    join(named, code == VORTAN_SUCCESS);
}

void Session::batch() {
    const std::size_t length = in_.below(7);
    auto ops = std::make_unique<vortan_batch_op[]>(length);
    std::vector<std::unique_ptr<vortan_predicate*[]>> arrays;
    std::vector<std::vector<int>> named(length);
    std::vector<bool> unnormalising(length, false);
    // Y leaves target2 alone, and a phase rotation without predicates merges
    // nothing; every other operation that ran merged all it names.
    std::vector<bool> merges_all(length, false);
    for (std::size_t i = 0; i < length; ++i) {
        vortan_batch_op& op = ops[i];
        std::memset(static_cast<void*>(&op), CANARY, sizeof op);
        const std::uint32_t kind = in_.below(16);
        op.opcode = kind <= 11 ? kind : kind == 12 ? static_cast<std::uint32_t>(in_.u64()) : in_.below(11);
        const int target = pick_property(), target2 = pick_property();
        op.target = in_.one_in(12) ? nullptr : properties_[target].handle;
        const bool pair = op.opcode == VORTAN_OP_SWAP || op.opcode == VORTAN_OP_I_SWAP;
        op.target2 = (pair ? !in_.one_in(12) : in_.one_in(6)) ? properties_[target2].handle : nullptr;
        op.fraction = in_.one_in(2) ? std::numeric_limits<double>::quiet_NaN() : in_.number();
        op.angle = in_.number();
        PredicateList predicates = predicate_list(false);
        op.predicates = predicates.data();
        op.predicate_count = predicates.count;
        if (op.target != nullptr) named[i].push_back(target);
        if (op.target2 != nullptr) named[i].push_back(target2);
        for (std::size_t j = 0; j < predicates.slots.size() && j < predicates.count; ++j)
            if (predicates_[predicates.slots[j]].handle != nullptr)
                named[i].push_back(predicates_[predicates.slots[j]].property);
        // The batch runs an infinite power or angle as given (only NaN means
        // something there), so such an operation may leave any norm.
        unnormalising[i] = std::isinf(op.fraction) || !std::isfinite(op.angle);
        merges_all[i] = op.opcode <= VORTAN_OP_PHASE_ROTATE && op.opcode != VORTAN_OP_Y &&
                        !(op.opcode == VORTAN_OP_PHASE_ROTATE && op.predicate_count == 0);
        arrays.push_back(std::move(predicates.array));
    }
    const bool null_ops = in_.one_in(16);
    std::size_t count = length;
    if (null_ops && in_.one_in(2)) count = in_.one_in(2) ? 0 : std::numeric_limits<std::size_t>::max();
    if (!null_ops && in_.one_in(16)) count = 0;
    const bool null_result = in_.one_in(16);
    Guarded<vortan_batch_result> result(1);
    Call call("vortan_execute_batch", true, !in_.one_in(6));
    const vortan_result code =
        call.check(vortan_execute_batch(null_ops ? nullptr : ops.get(), count, null_result ? nullptr : result.data(),
                                        call.record()),
                   {VORTAN_SUCCESS, VORTAN_ERROR_NULL_POINTER, VORTAN_ERROR_INVALID_ARGUMENT, VORTAN_ERROR_INTERNAL});
    result.check_guard(call.function());
    if (null_result) {
        if (code != VORTAN_ERROR_NULL_POINTER) broken(call.function(), "returned %d without a result record", code);
        if (!result.untouched(0, 1)) broken(call.function(), "wrote a result record it was not given");
        return;
    }
    const vortan_batch_result& r = result[0];
    if (r.error_code != code) broken(call.function(), "returned %d but its result says %d", code, r.error_code);
    if (std::memchr(r.error_message, 0, sizeof r.error_message) == nullptr)
        broken(call.function(), "left the result's message unterminated");
    if (code == VORTAN_SUCCESS) {
        if (r.ops_executed != count || r.error_message[0] != 0)
            broken(call.function(), "succeeded with %llu of %zu operations run, message \"%s\"",
                   static_cast<unsigned long long>(r.ops_executed), count, r.error_message);
    } else {
        if (r.ops_executed >= (count == 0 ? 1 : count) ||
            (code != VORTAN_ERROR_INTERNAL && r.ops_executed != 0))
            broken(call.function(), "failed with %d after %llu of %zu operations", code,
                   static_cast<unsigned long long>(r.ops_executed), count);
        if (call.record() != nullptr && std::strcmp(r.error_message, call.message()) != 0)
            broken(call.function(), "result says \"%s\", record \"%s\"", r.error_message, call.message());
    }
    // Operations that ran, and the one that failed, have merged what they name.
    const std::size_t reached = code == VORTAN_SUCCESS ? count : code == VORTAN_ERROR_INTERNAL ? r.ops_executed + 1 : 0;
    for (std::size_t i = 0; i < reached && i < length; ++i) {
        join(named[i], i < r.ops_executed && i < length && merges_all[i]);
        if (unnormalising[i]) taint(named[i]);
    }
}

}  // namespace vortan::fuzz
