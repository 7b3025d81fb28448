// Outcome distributions on both forms: records in order of first occurrence
// with no threshold, repeated indices, many outcomes, none for no qudits.

#include <utility>

#include "qudit/state_forms.h"

using namespace vortan::qudit;
using namespace vortan::qudit::testing;

using Records = std::vector<std::pair<std::vector<int>, double>>;

static Records records_of(const OutcomeDistribution& found) {
    Records records;
    for (std::size_t r = 0; r < found.size(); ++r) records.emplace_back(std::vector<int>(found.outcome(r).begin(), found.outcome(r).end()), found.probability(r));
    return records;
}

TEST(Probabilities, list_records_by_first_occurrence_without_a_threshold) {
    for (Form form : {Form::packed, Form::dynamic}) {
        // Qudit 1 listed twice; 1e-200 squared is 0.0, and its record stays.
        auto state = state_of({2, 3}, {{{1, 2}, 2.0}, {{0, 0}, 1e-200}, {{0, 2}, 0.5}, {{1, 1}, 1.0}}, form);
        EXPECT_EQ(records_of(state->probabilities({1, 1})), (Records{{{2, 2}, 4.25}, {{0, 0}, 0.0}, {{1, 1}, 1.0}})) << int(form);
    }
    auto state = state_of({2, 3}, {{{0, 0}, 1.0}});
    EXPECT_EQ(message_of([&] { state->probabilities({0, -1}); }), "probabilities: qudit index -1 out of range [0, 2)");
    EXPECT_EQ(message_of([&] { state->probabilities({2, 7}); }), "probabilities: qudit index 2 out of range [0, 2)");
    // No qudits: one empty outcome per state that has an entry.
    const OutcomeDistribution none = State<DynamicDitArray>(2, 0, {{{}, {0.0, 2.0}}}).probabilities({});
    EXPECT_TRUE(none.width() == 0 && records_of(none) == (Records{{{}, 4.0}}));
    EXPECT_TRUE(State<DynamicDitArray>(2, 0, {}).probabilities({}).empty());
}
