// Asking by measurement whether predicates hold.

#include <gtest/gtest.h>

#include <cmath>

#include "api/handles.h"
#include "vortan.h"

namespace {

using vortan::api::from_handle;

struct Pair {
    Pair() {
        vortan_quantum_property_create(2, &a, nullptr);
        vortan_quantum_property_create(3, &b, nullptr);
    }
    ~Pair() {
        vortan_predicate_destroy(&pred);
        vortan_quantum_property_destroy(&a);
        vortan_quantum_property_destroy(&b);
    }
    vortan_quantum_property *a = nullptr, *b = nullptr;
    vortan_predicate* pred = nullptr;
};

int32_t project(vortan_predicate* pred, vortan_error_info* info = nullptr) {
    int32_t result = -1;
    EXPECT_EQ(vortan_stochastic_projection_modern(&pred, 1, &result, info), VORTAN_SUCCESS);
    return result;
}

TEST(Projection, checks_its_arguments_in_order) {
    Pair p;
    vortan_predicate_create(p.a, 1, true, &p.pred);
    int32_t result = 7;
    vortan_error_info info{};
    EXPECT_EQ(vortan_stochastic_projection_modern(nullptr, 0, nullptr, &info), VORTAN_ERROR_NULL_POINTER);
    EXPECT_STREQ(info.message, "predicates cannot be NULL");
    EXPECT_EQ(vortan_stochastic_projection_modern(&p.pred, 0, nullptr, &info), VORTAN_ERROR_INVALID_ARGUMENT);
    EXPECT_STREQ(info.message, "predicate_count must be > 0");
    EXPECT_EQ(vortan_stochastic_projection_modern(&p.pred, 1, nullptr, &info), VORTAN_ERROR_NULL_POINTER);
    EXPECT_STREQ(info.message, "result cannot be NULL");
    vortan_predicate* with_null[] = {p.pred, nullptr};
    EXPECT_EQ(vortan_stochastic_projection_modern(with_null, 2, &result, &info), VORTAN_ERROR_INTERNAL);
    EXPECT_STREQ(info.message, "predicate array contains null pointer");
    EXPECT_EQ(result, 7) << "untouched on failure";
}

TEST(Projection, holding_everywhere_or_nowhere_is_certain_and_leaves_the_state) {
    Pair p;
    vortan_hadamard_operation(p.b, nullptr, 0, nullptr);  // b over 0, 1, 2
    vortan_predicate_create(p.b, 5, false, &p.pred);       // b != 5 holds everywhere
    EXPECT_EQ(project(p.pred), 1);
    size_t size = 0, qudits = 0;
    vortan_quantum_property_get_state_vector_size(p.b, &size);
    vortan_quantum_property_get_num_active_qudits(p.b, &qudits);
    EXPECT_EQ(size, 3u);
    EXPECT_EQ(qudits, 1u) << "the ancilla is gone again";
    vortan_predicate_destroy(&p.pred);
    vortan_predicate_create(p.b, 5, true, &p.pred);  // holds nowhere
    EXPECT_EQ(project(p.pred), 0);
    vortan_quantum_property_get_state_vector_size(p.b, &size);
    EXPECT_EQ(size, 3u);
}

TEST(Projection, half_the_weight_projects_onto_the_side_drawn_and_repeats) {
    int ones = 0;
    const int trials = 400;
    for (int t = 0; t < trials; ++t) {
        Pair p;
        vortan_hadamard_operation(p.a, nullptr, 0, nullptr);
        vortan_predicate_create(p.a, 1, true, &p.pred);
        const int32_t answer = project(p.pred);
        ones += answer;
        const auto entries = from_handle(p.a)->shared->state->basis_entries();
        ASSERT_EQ(entries.size(), 1u);
        ASSERT_EQ(entries[0].dits.dits[0].value, static_cast<uint64_t>(answer)) << "only that side is left";
        ASSERT_EQ(project(p.pred), answer) << "asking again gives the same answer";
    }
    // p = 1/2: six standard deviations around 200 never fail by chance.
    EXPECT_NEAR(ones, trials / 2, 6 * std::sqrt(trials * 0.25));
}

TEST(Projection, a_full_group_has_no_room_for_the_ancilla) {
    std::vector<vortan_quantum_property*> props(12, nullptr);
    for (auto& p : props) vortan_quantum_property_create(2, &p, nullptr);
    std::vector<vortan_predicate*> preds(12, nullptr);
    for (std::size_t i = 0; i < 12; ++i) vortan_predicate_create(props[i], 0, true, &preds[i]);
    ASSERT_EQ(vortan_phase_rotate_operation(preds.data(), 12, 0.1, nullptr), VORTAN_SUCCESS);  // one group of 12
    int32_t result = -1;
    vortan_error_info info{};
    EXPECT_EQ(vortan_stochastic_projection_modern(preds.data(), 1, &result, &info), VORTAN_ERROR_INVALID_QUDIT_NUMBER);
    EXPECT_STREQ(info.message,
                 "num_qudits 13 exceeds compile-time MAX_NUM_QUDITS (12) and dynamic fallback is disabled");
    for (auto& p : preds) vortan_predicate_destroy(&p);
    for (auto& p : props) vortan_quantum_property_destroy(&p);
}

TEST(Projection, an_emptied_state_is_refused_rather_than_read_past) {
    Pair p;
    vortan_predicate_create(p.a, 0, true, &p.pred);
    from_handle(p.a)->shared->state = vortan::qudit::make_state(2, 1, {});
    int32_t result = -1;
    vortan_error_info info{};
    EXPECT_EQ(vortan_stochastic_projection_modern(&p.pred, 1, &result, &info), VORTAN_ERROR_INTERNAL);
    EXPECT_STREQ(info.message, "Cannot project an empty quantum state");
    EXPECT_EQ(result, -1);
}

}  // namespace
