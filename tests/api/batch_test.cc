// The batch as a host drives it: staged validation and the run without
// rollback. Its equality with the single calls, bit for bit, is checked on
// random circuits in differential_test.cc.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "api/handles.h"
#include "vortan.h"

namespace {

// The return code, the result's code, ops_executed and text, which the error
// record repeats; both records start dirty.
std::string run(const std::vector<vortan_batch_op>& ops, size_t count_without_ops = 0) {
    vortan_batch_result result;
    vortan_error_info info{};
    std::memset(&result, 0x55, sizeof result);
    const vortan_result code = vortan_execute_batch(ops.empty() ? nullptr : ops.data(), ops.size() + count_without_ops, &result, &info);
    EXPECT_STREQ(info.message, result.error_message);
    EXPECT_STREQ(info.function, code ? "vortan_execute_batch" : nullptr);
    return std::to_string(code) + " " + std::to_string(result.error_code) + " " + std::to_string(result.ops_executed) + " " + result.error_message;
}

TEST(Batch, each_stage_reports_its_code_text_and_count_and_what_ran_stays) {
    vortan_error_info info{};
    EXPECT_EQ(vortan_execute_batch(nullptr, 0, nullptr, &info), VORTAN_ERROR_NULL_POINTER);
    EXPECT_STREQ(info.message, "result cannot be NULL");
    EXPECT_EQ(run({}), "0 0 0 ");
    EXPECT_EQ(run({}, 3), "1 1 0 ops cannot be NULL when op_count > 0");

    vortan_quantum_property* p[3] = {};
    vortan_predicate *on_1 = nullptr, *on_0 = nullptr;
    for (int32_t i = 0; i < 3; ++i) vortan_quantum_property_create(i == 1 ? 3 : 2, &p[i], nullptr);
    vortan_predicate_create(p[1], 1, true, &on_1);
    vortan_predicate_create(p[0], 1, true, &on_0);
    const auto op = [](uint32_t opcode, vortan_quantum_property* target, vortan_predicate* const* preds = nullptr, size_t count = 0) {
        return vortan_batch_op{opcode, 0, target, nullptr, NAN, 0.0, preds, count};
    };
    // The value of each property's dit, read in its group.
    const auto dits = [&] {
        std::string out;
        for (auto* h : p) {
            const vortan::QuantumProperty* q = vortan::api::from_handle(h);
            out += std::to_string(q->shared->state->basis_entries().at(0).dits.dits[q->qudit_index].value);
        }
        return out;
    };
    const auto qudits = [&](int i) { size_t n = 0; return vortan_quantum_property_get_num_active_qudits(p[i], &n), n; };
    // Validation names the first faulty record; nothing runs or merges.
    vortan_predicate* with_null[] = {on_1, nullptr};
    const std::pair<vortan_batch_op, const char*> faults[] = {
        {op(VORTAN_OP_SHIFT, nullptr), "op 2 (VORTAN_OP_SHIFT): target cannot be NULL"},
        {op(VORTAN_OP_SWAP, p[0]), "op 2 (VORTAN_OP_SWAP): target2 cannot be NULL"},
        {op(VORTAN_OP_CLOCK, p[0], nullptr, 1), "op 2 (VORTAN_OP_CLOCK): predicates cannot be NULL when predicate_count > 0"},
        {op(VORTAN_OP_PHASE_ROTATE, nullptr, with_null, 2), "op 2 (VORTAN_OP_PHASE_ROTATE): predicates[1] cannot be NULL"},
        {op(11, nullptr), "op 2 (<unknown opcode>): target cannot be NULL"},
    };
    for (const auto& [bad, text] : faults) EXPECT_EQ(run({op(VORTAN_OP_X, p[0]), op(VORTAN_OP_X, p[1]), bad}), std::string("1 1 0 ") + text);
    // An unknown opcode with a target passes validation and fails conversion.
    EXPECT_EQ(run({op(VORTAN_OP_X, p[0]), op(11, p[1])}), "2 2 0 Unknown opcode: 11");
    EXPECT_EQ(dits() + std::to_string(qudits(0)) + std::to_string(qudits(1)), "00011") << "nothing ran, nothing merged";
    // A failure in the run is 900 at the failing index, and what ran stays.
    EXPECT_EQ(run({op(VORTAN_OP_X, p[0]), op(VORTAN_OP_HADAMARD, p[0], &on_0, 1), op(VORTAN_OP_X, p[2])}),
              "900 900 1 Hadamard operation has overlapping targets and controls");
    EXPECT_EQ(run({op(VORTAN_OP_Y, p[1])}), "900 900 0 Y gate requires dimension 2 (qubit)");
    EXPECT_EQ(dits(), "100");
    // A phase rotation without predicates counts; a target2 is merged though the shift ignores it.
    vortan_batch_op shift = op(VORTAN_OP_SHIFT, p[2]);
    shift.target2 = p[1];
    EXPECT_EQ(run({op(VORTAN_OP_PHASE_ROTATE, nullptr), shift}), "0 0 2 ");
    EXPECT_EQ(dits() + std::to_string(qudits(1)), "1012");
    vortan_predicate_destroy(&on_0), vortan_predicate_destroy(&on_1);
    for (auto*& h : p) vortan_quantum_property_destroy(&h);
}

}  // namespace
