// Giving a property back with its qudit: who is measured, who is warned
// about, who is renumbered, and what the partners are left with.

#include <gtest/gtest.h>

#include <cmath>

#include "api/handles.h"
#include "property/entangle.h"
#include "property/remove_qudit.h"
#include "reference/dense_state.h"
#include "vortan.h"

namespace {

using vortan::QuantumProperty;
using vortan::api::from_handle;

struct Group {
    explicit Group(std::vector<int32_t> dims) {
        for (int32_t d : dims) {
            props.push_back(nullptr);
            EXPECT_EQ(vortan_quantum_property_create(d, &props.back(), nullptr), VORTAN_SUCCESS);
        }
    }
    ~Group() {
        for (auto& p : props) vortan_quantum_property_destroy(&p);
    }
    void merge() {
        std::vector<QuantumProperty*> all;
        for (auto* p : props) all.push_back(from_handle(p));
        vortan::tensor_state(all);
    }
    vortan_predicate* predicate(std::size_t i, int32_t value) {
        vortan_predicate* p = nullptr;
        vortan_predicate_create(props[i], value, true, &p);
        return p;
    }
    size_t qudits(std::size_t i) const {
        size_t n = 0;
        vortan_quantum_property_get_num_active_qudits(props[i], &n);
        return n;
    }
    std::vector<vortan_quantum_property*> props;
};

std::string destroy_capturing_stderr(vortan_quantum_property** p, vortan_result expected = VORTAN_SUCCESS) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(vortan_quantum_property_factorize_and_destroy(p, nullptr), expected);
    return testing::internal::GetCapturedStderr();
}

TEST(Removal, null_and_lone_properties_go_without_measurement_or_warning) {
    EXPECT_EQ(vortan_quantum_property_factorize_and_destroy(nullptr, nullptr), VORTAN_SUCCESS);
    vortan_quantum_property* none = nullptr;
    EXPECT_EQ(vortan_quantum_property_factorize_and_destroy(&none, nullptr), VORTAN_SUCCESS);
    Group g({2, 3});
    ASSERT_EQ(vortan_hadamard_operation(g.props[1], nullptr, 0, nullptr), VORTAN_SUCCESS);  // superposed, alone
    EXPECT_EQ(destroy_capturing_stderr(&g.props[0]), "");
    EXPECT_EQ(destroy_capturing_stderr(&g.props[1]), "");
    EXPECT_EQ(g.props[0], nullptr);
    EXPECT_EQ(g.props[1], nullptr);
}

TEST(Removal, an_entangled_partner_is_measured_with_a_warning_and_left_definite) {
    for (int round = 0; round < 20; ++round) {
        Group g({2, 2});
        vortan_predicate* a_is_1 = g.predicate(0, 1);
        vortan_hadamard_operation(g.props[0], nullptr, 0, nullptr);
        vortan_cycle_operation(g.props[1], 1.0, &a_is_1, 1, nullptr);
        vortan_predicate_destroy(&a_is_1);
        // The gate's target b is the anchor of the merge, so a stands at index 1.
        EXPECT_EQ(destroy_capturing_stderr(&g.props[0]),
                  "[Vortan] Warning: destroying entangled property (qudit 1 in 2-qudit shared state). Measurement "
                  "will collapse entangled partners.\n");
        EXPECT_EQ(g.qudits(1), 1u);
        const auto entries = from_handle(g.props[1])->shared->state->basis_entries();
        ASSERT_EQ(entries.size(), 1u);
        EXPECT_NEAR(std::abs(entries[0].amplitude), 1.0, 1e-6);
        EXPECT_EQ(from_handle(g.props[1])->qudit_index, 0);
    }
}

TEST(Removal, a_product_partner_keeps_its_amplitudes_against_a_dense_computation) {
    Group g({3, 2, 3});
    // Qudit 0 in its own superposition; qudits 1 and 2 entangled with a phase.
    vortan_hadamard_operation(g.props[0], nullptr, 0, nullptr);
    vortan_hadamard_operation(g.props[1], nullptr, 0, nullptr);
    vortan_predicate* b_is_1 = g.predicate(1, 1);
    vortan_cycle_operation(g.props[2], 0.5, &b_is_1, 1, nullptr);
    vortan_predicate_destroy(&b_is_1);
    g.merge();  // touched together, still a product
    // The survivors' state, computed densely from the same gates.
    vortan::reference::DenseState dense({2, 3});
    dense.apply(0, vortan::reference::fourier_matrix(2, -1), {});
    dense.apply(1, vortan::reference::cycle_matrix(3, 0.5), {{0, 1, true}});

    EXPECT_EQ(destroy_capturing_stderr(&g.props[0]), "") << "a factor is removed without a warning";
    ASSERT_EQ(g.qudits(1), 2u);
    // The gate merged (2, 1) with 2 as anchor, the touch appended that group
    // behind 0: (0, 2, 1). Removing 0 moves the last qudit, 1's, into place 0.
    EXPECT_EQ(from_handle(g.props[1])->qudit_index, 0);
    EXPECT_EQ(from_handle(g.props[2])->qudit_index, 1);
    double norm = 0;
    for (const auto& e : from_handle(g.props[1])->shared->state->basis_entries()) {
        const int b = static_cast<int>(e.dits.dits[0].value), c = static_cast<int>(e.dits.dits[1].value);
        EXPECT_NEAR(std::abs(e.amplitude - dense.at({b, c})), 0.0, 1e-6);
        norm += std::norm(e.amplitude);
    }
    EXPECT_NEAR(norm, 1.0, 1e-6);
}

TEST(Removal, renumbers_only_the_property_of_the_last_qudit) {
    {
        Group g({2, 2, 2});
        g.merge();
        EXPECT_EQ(destroy_capturing_stderr(&g.props[0]), "");
        EXPECT_EQ(from_handle(g.props[1])->qudit_index, 1);
        EXPECT_EQ(from_handle(g.props[2])->qudit_index, 0);
    }
    {
        Group g({2, 2, 2});
        g.merge();
        EXPECT_EQ(destroy_capturing_stderr(&g.props[2]), "");
        EXPECT_EQ(from_handle(g.props[0])->qudit_index, 0);
        EXPECT_EQ(from_handle(g.props[1])->qudit_index, 1);
        EXPECT_EQ(g.qudits(0), 2u);
    }
}

TEST(Removal, an_orphaned_qudit_stays_in_the_shrunk_group) {
    Group g({2, 2, 2});
    g.merge();
    vortan_quantum_property_destroy(&g.props[1]);  // qudit 1 stays, unnamed
    EXPECT_EQ(destroy_capturing_stderr(&g.props[0]), "");
    EXPECT_EQ(g.qudits(2), 2u);
    EXPECT_EQ(from_handle(g.props[2])->qudit_index, 0);
    EXPECT_EQ(from_handle(g.props[2])->shared->properties.size(), 1u);
}

TEST(RemoveQudit, a_superposed_entangled_qudit_collapses_to_its_heaviest_value_with_a_warning) {
    Group g({2, 2});
    vortan_predicate* a_is_1 = g.predicate(0, 1);
    vortan_hadamard_operation(g.props[0], nullptr, 0, nullptr);
    vortan_cycle_operation(g.props[1], 1.0, &a_is_1, 1, nullptr);
    vortan_predicate_destroy(&a_is_1);
    QuantumProperty* b = from_handle(g.props[1]);
    testing::internal::CaptureStderr();
    vortan::remove_qudit(*b->shared, *b);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "[Vortan] Warning: removing qudit 0 while it is both superposed and entangled; collapsing it to value "
              "0. Measure the property first to choose the branch deliberately.\n");
    const auto entries = from_handle(g.props[0])->shared->state->basis_entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].dits.dits[0].value, 0u);
    EXPECT_NEAR(entries[0].amplitude.real(), 1.0, 1e-12) << "normalised after dropping a branch";
    b->shared.reset();  // the removal left it off the list; the caller lets go
}

TEST(RemoveQudit, a_measured_qudit_goes_without_the_second_warning) {
    Group g({2, 2});
    vortan_predicate* a_is_1 = g.predicate(0, 1);
    vortan_hadamard_operation(g.props[0], nullptr, 0, nullptr);
    vortan_cycle_operation(g.props[1], 1.0, &a_is_1, 1, nullptr);
    vortan_predicate_destroy(&a_is_1);
    int32_t outcome[2];
    ASSERT_EQ(vortan_measure_properties(g.props.data(), 2, outcome, 2, nullptr), VORTAN_SUCCESS);
    EXPECT_EQ(destroy_capturing_stderr(&g.props[1]), "");
    EXPECT_EQ(g.qudits(0), 1u);
}

}  // namespace
