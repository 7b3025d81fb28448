// The gate entry points as a host calls them: argument checks in order, the
// whole road only at exactly 1.0, the clause lists, and merges that stay.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "api/handles.h"
#include "vortan.h"

namespace {

using Gate = vortan_result (*)(vortan_quantum_property*, double, vortan_predicate* const*, size_t, vortan_error_info*);

struct Host {
    vortan_quantum_property* create(int32_t d) {
        props.push_back(nullptr);
        EXPECT_EQ(vortan_quantum_property_create(d, &props.back(), nullptr), VORTAN_SUCCESS);
        return props.back();
    }
    vortan_predicate* predicate(vortan_quantum_property* p, int32_t value, bool equal) {
        preds.push_back(nullptr);
        EXPECT_EQ(vortan_predicate_create(p, value, equal, &preds.back()), VORTAN_SUCCESS);
        return preds.back();
    }
    ~Host() {
        for (auto& p : preds) vortan_predicate_destroy(&p);
        for (auto& p : props) vortan_quantum_property_destroy(&p);
    }
    std::vector<vortan_quantum_property*> props;
    std::vector<vortan_predicate*> preds;
};

std::vector<vortan::qudit::DynamicBasisEntry> entries_of(vortan_quantum_property* p) {
    return vortan::api::from_handle(p)->shared->state->basis_entries();
}

const std::pair<Gate, const char*> fractional_gates[] = {
    {vortan_shift_operation, "vortan_shift_operation"}, {vortan_x_operation, "vortan_x_operation"},
    {vortan_clock_operation, "vortan_clock_operation"}, {vortan_z_operation, "vortan_z_operation"},
    {vortan_cycle_operation, "vortan_cycle_operation"}, {vortan_y_operation, "vortan_y_operation"},
};

TEST(GateEntry, checks_come_in_order_with_their_codes_and_texts) {
    Host host;
    vortan_quantum_property* q = host.create(2);
    vortan_error_info info{};
    const double nan = std::nan(""), inf = std::numeric_limits<double>::infinity();
    for (const auto& [gate, name] : fractional_gates) {
        EXPECT_EQ(gate(nullptr, nan, nullptr, 3, &info), VORTAN_ERROR_NULL_POINTER) << name;
        EXPECT_STREQ(info.message, "property cannot be NULL");
        EXPECT_STREQ(info.function, name);
        for (double bad : {nan, inf, -inf}) {
            EXPECT_EQ(gate(q, bad, nullptr, 3, &info), VORTAN_ERROR_INVALID_ARGUMENT) << name;
            EXPECT_STREQ(info.message, "fraction must be finite");
        }
        EXPECT_EQ(gate(q, 0.5, nullptr, 1, &info), VORTAN_ERROR_NULL_POINTER) << name;
        EXPECT_STREQ(info.message, "predicates cannot be NULL when predicate_count > 0");
        EXPECT_EQ(gate(q, 1.0, nullptr, 0, &info), VORTAN_SUCCESS) << name;
    }
    EXPECT_EQ(vortan_hadamard_operation(nullptr, nullptr, 1, &info), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(vortan_inverse_hadamard_operation(q, nullptr, 1, &info), VORTAN_ERROR_NULL_POINTER);
    EXPECT_STREQ(info.message, "predicates cannot be NULL when predicate_count > 0");

    vortan_predicate* p = host.predicate(q, 1, true);
    EXPECT_EQ(vortan_phase_rotate_operation(nullptr, 0, nan, &info), VORTAN_ERROR_NULL_POINTER);
    EXPECT_STREQ(info.message, "predicates cannot be NULL");
    EXPECT_EQ(vortan_phase_rotate_operation(&p, 0, nan, &info), VORTAN_ERROR_INVALID_ARGUMENT);
    EXPECT_STREQ(info.message, "predicate_count must be > 0");
    EXPECT_EQ(vortan_phase_rotate_operation(&p, 1, inf, &info), VORTAN_ERROR_INVALID_ARGUMENT);
    EXPECT_STREQ(info.message, "angle must be finite");
    EXPECT_EQ(vortan_phase_rotate_operation(&p, 1, 0.5, &info), VORTAN_SUCCESS);
}

TEST(GateEntry, only_exactly_one_takes_the_whole_gate) {
    Host host;
    vortan_quantum_property* whole = host.create(3);
    vortan_quantum_property* nearly = host.create(3);
    ASSERT_EQ(vortan_shift_operation(whole, 1.0, nullptr, 0, nullptr), VORTAN_SUCCESS);
    ASSERT_EQ(vortan_shift_operation(nearly, 1.0000000000000002, nullptr, 0, nullptr), VORTAN_SUCCESS);
    // The whole shift relabels: amplitude 1 exactly at value 2. The fractional
    // road goes through two Fourier transforms and carries their rounding.
    const auto w = entries_of(whole), n = entries_of(nearly);
    ASSERT_EQ(w.size(), 1u);
    EXPECT_EQ(w[0].dits.dits[0].value, 2u);
    EXPECT_EQ(w[0].amplitude, std::complex<double>(1.0, 0.0));
    ASSERT_EQ(n.size(), 1u);
    EXPECT_EQ(n[0].dits.dits[0].value, 2u);
    EXPECT_NE(n[0].amplitude, std::complex<double>(1.0, 0.0));
    EXPECT_NEAR(std::abs(n[0].amplitude), 1.0, 1e-12);
}

TEST(GateEntry, null_predicate_elements_and_qutrits_in_y) {
    Host host;
    vortan_quantum_property* qubit = host.create(2);
    vortan_quantum_property* qutrit = host.create(3);
    vortan_predicate* with_null[] = {host.predicate(qutrit, 0, true), nullptr};
    vortan_error_info info{};
    EXPECT_EQ(vortan_x_operation(qubit, 1.0, with_null, 2, &info), VORTAN_ERROR_INTERNAL);
    EXPECT_STREQ(info.message, "predicate array contains null pointer");
    EXPECT_EQ(vortan_hadamard_operation(qubit, with_null, 2, &info), VORTAN_ERROR_INTERNAL);
    EXPECT_EQ(vortan_y_operation(qubit, 1.0, with_null, 2, &info), VORTAN_ERROR_INVALID_ARGUMENT);
    EXPECT_STREQ(info.message, "predicate array contains null pointer");

    EXPECT_EQ(vortan_y_operation(qutrit, 0.5, nullptr, 0, &info), VORTAN_ERROR_INVALID_ARGUMENT);
    EXPECT_STREQ(info.message, "Y gate requires dimension 2 (qubit)");
    EXPECT_STREQ(info.function, "vortan_y_operation");
    EXPECT_EQ(entries_of(qutrit).size(), 1u);
    EXPECT_EQ(vortan_x_operation(qutrit, 0.5, nullptr, 0, &info), VORTAN_SUCCESS);
    EXPECT_EQ(vortan_z_operation(qutrit, 0.5, nullptr, 0, &info), VORTAN_SUCCESS);
}

TEST(GateEntry, an_overlap_is_refused_after_the_merge_which_stays) {
    Host host;
    vortan_quantum_property* a = host.create(2);
    vortan_quantum_property* b = host.create(3);
    vortan_predicate* preds[] = {host.predicate(b, 1, true), host.predicate(a, 0, true)};
    vortan_error_info info{};
    EXPECT_EQ(vortan_cycle_operation(a, 0.5, preds, 2, &info), VORTAN_ERROR_TARGET_CONTROL_OVERLAP);
    EXPECT_STREQ(info.message, "Fractional cycle operation has overlapping targets and controls");
    size_t qudits = 0;
    vortan_quantum_property_get_num_active_qudits(b, &qudits);
    EXPECT_EQ(qudits, 2u);
    EXPECT_EQ(entries_of(a).size(), 1u);
}

TEST(GateEntry, size_limit_comes_out_as_102_and_leaves_the_state) {
    Host host;
    vortan_quantum_property* q = host.create(3);
    // Make q's group large by hand: 50001 entries over twelve qutrits.
    std::vector<vortan::qudit::DynamicBasisEntry> list;
    for (std::uint64_t code = 0; code < 50001; ++code) {
        std::vector<vortan::qudit::Dit> dits{{0, 2}};
        for (std::uint64_t k = 1, c = code; k < 12; ++k, c /= 3) dits.push_back({c % 3, 3});
        list.push_back({vortan::qudit::DynamicDitArray(std::move(dits)), {1.0, 0.0}});
    }
    vortan::api::from_handle(q)->shared->state = vortan::qudit::make_state(3, 12, list);
    vortan_error_info info{};
    EXPECT_EQ(vortan_hadamard_operation(q, nullptr, 0, &info), VORTAN_ERROR_STATE_SIZE_EXCEEDED);
    EXPECT_EQ(std::string(info.message).substr(0, 41), "Hadamard on 1 target(s) would produce ~10");
    EXPECT_EQ(entries_of(q).size(), 50001u);
}

TEST(GateEntry, two_qudit_gates_check_both_properties_and_map_dimensions_to_101) {
    Host host;
    vortan_quantum_property* qubit = host.create(2);
    vortan_quantum_property* qutrit = host.create(3);
    vortan_error_info info{};
    EXPECT_EQ(vortan_swap_operation(qubit, nullptr, nullptr, 0, &info), VORTAN_ERROR_NULL_POINTER);
    EXPECT_STREQ(info.message, "properties cannot be NULL");
    EXPECT_EQ(vortan_i_swap_operation(nullptr, qubit, std::nan(""), nullptr, 0, &info), VORTAN_ERROR_NULL_POINTER);
    EXPECT_STREQ(info.message, "properties cannot be NULL");
    EXPECT_EQ(vortan_i_swap_operation(qutrit, qubit, std::nan(""), nullptr, 0, &info), VORTAN_ERROR_INVALID_ARGUMENT);
    EXPECT_STREQ(info.message, "fraction must be finite");
    EXPECT_EQ(vortan_swap_operation(qubit, qutrit, nullptr, 2, &info), VORTAN_ERROR_NULL_POINTER);
    EXPECT_STREQ(info.message, "predicates cannot be NULL when predicate_count > 0");
    EXPECT_EQ(vortan_fractional_hadamard_operation(qubit, INFINITY, nullptr, 0, &info), VORTAN_ERROR_INVALID_ARGUMENT);

    EXPECT_EQ(vortan_swap_operation(qubit, qutrit, nullptr, 0, &info), VORTAN_ERROR_INCOMPATIBLE_DIMENSIONS);
    EXPECT_STREQ(info.message, "Targets of swap operation have different dimensions");
    EXPECT_STREQ(info.function, "vortan_swap_operation");
    EXPECT_EQ(vortan_i_swap_operation(qutrit, qubit, 0.5, nullptr, 0, &info), VORTAN_ERROR_INCOMPATIBLE_DIMENSIONS);
    size_t qudits = 0;
    vortan_quantum_property_get_num_active_qudits(qubit, &qudits);
    EXPECT_EQ(qudits, 2u) << "the merge stays";

    vortan_quantum_property* other = host.create(2);
    EXPECT_EQ(vortan_x_operation(qubit, 1.0, nullptr, 0, &info), VORTAN_SUCCESS);
    EXPECT_EQ(vortan_i_swap_operation(qubit, other, 1.0, nullptr, 0, &info), VORTAN_SUCCESS);
    const auto e = entries_of(other);
    ASSERT_EQ(e.size(), 1u);  // |1,0> on (qubit, other) went to i|0,1>
    EXPECT_EQ(e[0].amplitude, std::complex<double>(0.0, 1.0));
}

}  // namespace
