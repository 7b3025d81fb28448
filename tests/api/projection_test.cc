// Asking by measurement whether predicates hold.

#include <deque>

#include "api/measurement_test.h"

namespace vortan::testing {
namespace {

// The answer to whether h's property equals (or differs from) value.
int32_t project(const Handle& h, int32_t value, bool is_equal) {
    vortan_predicate* pred = nullptr;
    vortan_predicate_create(h.p, value, is_equal, &pred);
    int32_t result = -1;
    EXPECT_EQ(vortan_stochastic_projection_modern(&pred, 1, &result, nullptr), VORTAN_SUCCESS);
    vortan_predicate_destroy(&pred);
    return result;
}

TEST(Projection, refuses_bad_arguments_in_order_a_full_group_and_an_emptied_state) {
    // preds[0] asks about an emptied state, preds[2] about a group of 12.
    std::deque<Handle> handles;
    std::vector<QuantumProperty*> group;
    for (int i = 0; i < 13; ++i) group.push_back(&handles.emplace_back(2).property());
    tensor_state(std::vector<QuantumProperty*>(group.begin() + 1, group.end()));
    group[0]->shared->state = qudit::make_state(2, 1, {});
    vortan_predicate* preds[3] = {};
    vortan_predicate_create(handles[0].p, 0, true, &preds[0]);
    vortan_predicate_create(handles[1].p, 0, true, &preds[2]);
    int32_t result = 7;
    const struct { vortan_predicate** list; size_t count; int32_t* out; int32_t code; const char* text; } rows[] = {
        {nullptr, 0, nullptr, 1, "predicates cannot be NULL"},
        {preds, 0, nullptr, 2, "predicate_count must be > 0"},
        {preds, 1, nullptr, 1, "result cannot be NULL"},
        {preds, 2, &result, 900, "predicate array contains null pointer"},
        {preds, 1, &result, 900, "Cannot project an empty quantum state"},
        {preds + 2, 1, &result, 5,
         "num_qudits 13 exceeds compile-time MAX_NUM_QUDITS (12) and dynamic fallback is disabled"}};
    for (const auto& r : rows) EXPECT_REPORT(r.code, r.text, vortan_stochastic_projection_modern, r.list, r.count, r.out);
    EXPECT_EQ(result, 7);
    for (auto& pred : preds) vortan_predicate_destroy(&pred);
}

// Asked about a superposed qubit, a predicate holding everywhere or nowhere
// has a certain answer and leaves the state; holding on half the weight, the
// answer is drawn, the state projected onto it, and asking again repeats it.
TEST(Projection, answers_certainly_or_by_a_fair_draw_that_projects_and_repeats) {
    int ones = 0;
    const int trials = 400;
    for (int t = 0; t < trials; ++t) {
        Handle h(2);
        vortan_hadamard_operation(h.p, nullptr, 0, nullptr);
        ASSERT_EQ(project(h, 5, false), 1);
        ASSERT_EQ(project(h, 5, true), 0);
        ASSERT_EQ(h.property().shared->state->state_size(), 2u);
        const int32_t answer = project(h, 1, true);
        ones += answer;
        // One entry of one qudit: only that side is left, and the ancilla is gone.
        ASSERT_EQ(qudit::testing::digits_of(*h.property().shared->state), (std::vector<std::vector<int>>{{answer}}));
        ASSERT_EQ(project(h, 1, true), answer);
    }
    // p = 1/2: six standard deviations around 200 never fail by chance.
    EXPECT_NEAR(ones, trials / 2, 6 * std::sqrt(trials * 0.25));
}

}  // namespace
}  // namespace vortan::testing
