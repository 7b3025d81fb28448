// The batch as a host drives it: staged validation, the run without rollback,
// and equality with the same gates called one by one.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>

#include "api/boundary.h"
#include "api/handles.h"
#include "vortan.h"

namespace {

const double WHOLE = std::nan("");

struct Host {
    explicit Host(std::vector<int32_t> dims) {
        for (int32_t d : dims) {
            props.push_back(nullptr);
            EXPECT_EQ(vortan_quantum_property_create(d, &props.back(), nullptr), VORTAN_SUCCESS);
        }
    }
    vortan_predicate* predicate(std::size_t p, int32_t value, bool equal) {
        preds.push_back(nullptr);
        EXPECT_EQ(vortan_predicate_create(props[p], value, equal, &preds.back()), VORTAN_SUCCESS);
        return preds.back();
    }
    ~Host() {
        for (auto& p : preds) vortan_predicate_destroy(&p);
        for (auto& p : props) vortan_quantum_property_destroy(&p);
    }
    size_t qudits(std::size_t p) const {
        size_t n = 0;
        vortan_quantum_property_get_num_active_qudits(props[p], &n);
        return n;
    }
    std::vector<vortan_quantum_property*> props;
    std::vector<vortan_predicate*> preds;
};

vortan_batch_op op(uint32_t opcode, vortan_quantum_property* target, double fraction = WHOLE) {
    vortan_batch_op o;
    std::memset(&o, 0, sizeof o);
    o.opcode = opcode;
    o.target = target;
    o.fraction = fraction;
    return o;
}

TEST(Batch, start_checks_the_result_then_the_array) {
    vortan_error_info info{};
    EXPECT_EQ(vortan_execute_batch(nullptr, 0, nullptr, &info), VORTAN_ERROR_NULL_POINTER);
    EXPECT_STREQ(info.message, "result cannot be NULL");
    vortan_batch_result result;
    std::memset(&result, 0x55, sizeof result);
    EXPECT_EQ(vortan_execute_batch(nullptr, 0, &result, &info), VORTAN_SUCCESS);
    EXPECT_EQ(result.ops_executed, 0u);
    EXPECT_EQ(result.error_code, 0);
    EXPECT_STREQ(result.error_message, "");
    EXPECT_EQ(vortan_execute_batch(nullptr, 3, &result, &info), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(result.error_code, 1);
    EXPECT_STREQ(result.error_message, "ops cannot be NULL when op_count > 0");
    EXPECT_STREQ(info.message, result.error_message);
    EXPECT_STREQ(info.function, "vortan_execute_batch");
}

TEST(Batch, validation_names_the_first_faulty_record_and_nothing_runs) {
    Host host({2, 2});
    vortan_predicate* good = host.predicate(1, 1, true);
    vortan_predicate* with_null[] = {good, nullptr};
    struct Case {
        vortan_batch_op bad;
        const char* text;
    };
    vortan_batch_op null_preds = op(VORTAN_OP_CLOCK, host.props[0]);
    null_preds.predicate_count = 1;
    vortan_batch_op null_element = op(VORTAN_OP_PHASE_ROTATE, nullptr);
    null_element.predicates = with_null;
    null_element.predicate_count = 2;
    const Case cases[] = {
        {op(VORTAN_OP_SHIFT, nullptr), "op 2 (VORTAN_OP_SHIFT): target cannot be NULL"},
        {op(VORTAN_OP_SWAP, host.props[0]), "op 2 (VORTAN_OP_SWAP): target2 cannot be NULL"},
        {null_preds, "op 2 (VORTAN_OP_CLOCK): predicates cannot be NULL when predicate_count > 0"},
        {null_element, "op 2 (VORTAN_OP_PHASE_ROTATE): predicates[1] cannot be NULL"},
        {op(11, nullptr), "op 2 (<unknown opcode>): target cannot be NULL"},
    };
    for (const Case& c : cases) {
        const vortan_batch_op ops[] = {op(VORTAN_OP_X, host.props[0]), op(VORTAN_OP_X, host.props[1]), c.bad};
        vortan_batch_result result;
        vortan_error_info info{};
        EXPECT_EQ(vortan_execute_batch(ops, 3, &result, &info), VORTAN_ERROR_NULL_POINTER) << c.text;
        EXPECT_STREQ(result.error_message, c.text);
        EXPECT_STREQ(info.message, c.text);
        EXPECT_EQ(result.ops_executed, 0u);
        EXPECT_EQ(host.qudits(0), 1u) << "nothing ran, nothing merged";
    }
    // An unknown opcode with a target passes validation and fails conversion.
    const vortan_batch_op ops[] = {op(VORTAN_OP_X, host.props[0]), op(11, host.props[1])};
    vortan_batch_result result;
    EXPECT_EQ(vortan_execute_batch(ops, 2, &result, nullptr), VORTAN_ERROR_INVALID_ARGUMENT);
    EXPECT_STREQ(result.error_message, "Unknown opcode: 11");
    EXPECT_EQ(result.ops_executed, 0u);
    size_t size = 0;
    vortan_quantum_property_get_state_vector_size(host.props[0], &size);
    const auto entry = vortan::api::from_handle(host.props[0])->shared->state->basis_entries();
    EXPECT_EQ(entry[0].dits.dits[0].value, 0u) << "the first X did not run";
}

TEST(Batch, a_failure_in_the_run_is_900_and_what_ran_stays) {
    Host host({2, 3, 2});
    vortan_predicate* on_target = host.predicate(0, 1, true);
    vortan_batch_op overlap = op(VORTAN_OP_HADAMARD, host.props[0]);
    overlap.predicates = &on_target;
    overlap.predicate_count = 1;
    const vortan_batch_op ops[] = {op(VORTAN_OP_X, host.props[0]), overlap, op(VORTAN_OP_X, host.props[2])};
    vortan_batch_result result;
    vortan_error_info info{};
    EXPECT_EQ(vortan_execute_batch(ops, 3, &result, &info), VORTAN_ERROR_INTERNAL);
    EXPECT_EQ(result.error_code, VORTAN_ERROR_INTERNAL);
    EXPECT_EQ(result.ops_executed, 1u) << "also the index of the failing operation";
    EXPECT_STREQ(result.error_message, "Hadamard operation has overlapping targets and controls");
    EXPECT_EQ(vortan::api::from_handle(host.props[0])->shared->state->basis_entries()[0].dits.dits[0].value, 1u);
    EXPECT_EQ(vortan::api::from_handle(host.props[2])->shared->state->basis_entries()[0].dits.dits[0].value, 0u);

    const vortan_batch_op y_on_qutrit[] = {op(VORTAN_OP_Y, host.props[1])};
    EXPECT_EQ(vortan_execute_batch(y_on_qutrit, 1, &result, &info), VORTAN_ERROR_INTERNAL);
    EXPECT_STREQ(result.error_message, "Y gate requires dimension 2 (qubit)");
}

TEST(Batch, phase_rotation_without_predicates_counts_and_target2_is_merged) {
    Host host({2, 3, 2});
    vortan_batch_op shift = op(VORTAN_OP_SHIFT, host.props[0]);
    shift.target2 = host.props[1];
    const vortan_batch_op ops[] = {op(VORTAN_OP_PHASE_ROTATE, nullptr), shift};
    vortan_batch_result result;
    ASSERT_EQ(vortan_execute_batch(ops, 2, &result, nullptr), VORTAN_SUCCESS);
    EXPECT_EQ(result.ops_executed, 2u);
    EXPECT_EQ(host.qudits(1), 2u);
    const auto entries = vortan::api::from_handle(host.props[0])->shared->state->basis_entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].dits.dits[0].value, 1u);  // the shift acted on the target alone
    EXPECT_EQ(entries[0].dits.dits[1].value, 0u);
}

TEST(Batch, its_message_field_is_cut_like_the_error_record) {
    vortan_batch_result result;
    std::memset(&result, 'z', sizeof result);
    const std::string long_text = std::string(255, 'a') + std::string(45, 'b');
    vortan::api::copy_message(result.error_message, long_text.c_str());
    EXPECT_EQ(std::string(result.error_message), std::string(255, 'a'));
    vortan::api::copy_message(result.error_message, "short");
    EXPECT_STREQ(result.error_message, "short");
    for (std::size_t i = 5; i < sizeof result.error_message; ++i) ASSERT_EQ(result.error_message[i], '\0');
}

// Random sequences of every opcode: the batch and the single calls, on two
// identical sets of properties, give the same entries bit for bit.
TEST(Batch, equals_the_same_gates_called_one_by_one) {
    for (unsigned seed = 1; seed <= 40; ++seed) {
        std::mt19937 rng(seed);
        const auto pick = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
        const std::vector<int32_t> dims{2, 3, 2, 3, 2};
        Host batch(dims), single(dims);
        std::vector<vortan_batch_op> ops;
        std::vector<std::vector<vortan_predicate*>> batch_preds(30), single_preds(30);
        for (int k = 0; k < 30; ++k) {
            const uint32_t opcode = static_cast<uint32_t>(pick(11));
            std::size_t t = static_cast<std::size_t>(pick(5));
            if (opcode == VORTAN_OP_Y) t = 2 * static_cast<std::size_t>(pick(3));
            static constexpr std::size_t partner[] = {2, 3, 4, 1, 0};  // same dimension
            const std::size_t t2 = partner[t];
            const bool whole = pick(2) == 0;
            const double f = whole ? WHOLE : (pick(2) ? 0.5 : -0.75);
            for (int c = pick(3); c > 0; --c) {
                const std::size_t q = static_cast<std::size_t>(pick(5));
                if (q == t || q == t2) continue;
                const int32_t value = pick(3);
                const bool equal = pick(2) == 0;
                batch_preds[k].push_back(batch.predicate(q, value, equal));
                single_preds[k].push_back(single.predicate(q, value, equal));
            }
            vortan_batch_op o = op(opcode, batch.props[t], f);
            if (opcode == VORTAN_OP_SWAP || opcode == VORTAN_OP_I_SWAP) o.target2 = batch.props[t2];
            if (opcode == VORTAN_OP_PHASE_ROTATE) o.target = nullptr;  // a target would be merged too
            o.angle = 0.3 * k;
            o.predicates = batch_preds[k].data();
            o.predicate_count = batch_preds[k].size();
            ops.push_back(o);

            vortan_quantum_property* p = single.props[t];
            vortan_predicate* const* sp = single_preds[k].data();
            const size_t n = single_preds[k].size();
            const double sf = whole ? 1.0 : f;
            vortan_result status = VORTAN_SUCCESS;
            switch (opcode) {
                case VORTAN_OP_CYCLE: status = vortan_cycle_operation(p, sf, sp, n, nullptr); break;
                case VORTAN_OP_SHIFT: status = vortan_shift_operation(p, sf, sp, n, nullptr); break;
                case VORTAN_OP_CLOCK: status = vortan_clock_operation(p, sf, sp, n, nullptr); break;
                case VORTAN_OP_X: status = vortan_x_operation(p, sf, sp, n, nullptr); break;
                case VORTAN_OP_Z: status = vortan_z_operation(p, sf, sp, n, nullptr); break;
                case VORTAN_OP_Y: status = vortan_y_operation(p, sf, sp, n, nullptr); break;
                case VORTAN_OP_HADAMARD:
                    status = whole ? vortan_hadamard_operation(p, sp, n, nullptr)
                                   : vortan_fractional_hadamard_operation(p, f, sp, n, nullptr);
                    break;
                case VORTAN_OP_INVERSE_HADAMARD: status = vortan_inverse_hadamard_operation(p, sp, n, nullptr); break;
                case VORTAN_OP_SWAP: status = vortan_swap_operation(p, single.props[t2], sp, n, nullptr); break;
                case VORTAN_OP_I_SWAP: status = vortan_i_swap_operation(p, single.props[t2], sf, sp, n, nullptr); break;
                default:
                    if (n > 0) status = vortan_phase_rotate_operation(sp, n, o.angle, nullptr);
                    break;
            }
            ASSERT_EQ(status, VORTAN_SUCCESS) << "seed " << seed << " op " << k;
        }
        vortan_batch_result result;
        ASSERT_EQ(vortan_execute_batch(ops.data(), ops.size(), &result, nullptr), VORTAN_SUCCESS) << result.error_message;
        EXPECT_EQ(result.ops_executed, ops.size());
        for (std::size_t i = 0; i < dims.size(); ++i) {
            const vortan::QuantumProperty* a = vortan::api::from_handle(batch.props[i]);
            const vortan::QuantumProperty* b = vortan::api::from_handle(single.props[i]);
            ASSERT_EQ(a->qudit_index, b->qudit_index);
            const auto ea = a->shared->state->basis_entries(), eb = b->shared->state->basis_entries();
            ASSERT_EQ(ea.size(), eb.size()) << "seed " << seed;
            for (std::size_t e = 0; e < ea.size(); ++e) {
                ASSERT_TRUE(ea[e].dits == eb[e].dits) << "seed " << seed;
                ASSERT_EQ(std::memcmp(&ea[e].amplitude, &eb[e].amplitude, sizeof(ea[e].amplitude)), 0) << "seed " << seed;
            }
        }
    }
}

}  // namespace
