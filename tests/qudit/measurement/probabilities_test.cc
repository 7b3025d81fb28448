// Outcome distributions on both forms: records in order of first occurrence
// with no threshold, repeated indices, and the index check's text.

#include "qudit/state_forms.h"

using namespace vortan::qudit;
using namespace vortan::qudit::testing;

TEST(Probabilities, list_records_by_first_occurrence_without_a_threshold) {
    for (Form form : {Form::packed, Form::dynamic}) {
        // Qudit 1 listed twice; 1e-200 squared is 0.0, and its record stays.
        auto state = state_of({2, 3}, {{{1, 2}, 2.0}, {{0, 0}, 1e-200}, {{0, 2}, 0.5}, {{1, 1}, 1.0}}, form);
        Terms records;
        const OutcomeDistribution found = state->probabilities({1, 1});
        for (std::size_t r = 0; r < found.size(); ++r) {
            const std::span<const std::int32_t> outcome = found.outcome(r);
            records.push_back({{outcome.begin(), outcome.end()}, found.probability(r)});
        }
        EXPECT_EQ(records, (Terms{{{2, 2}, 4.25}, {{0, 0}, 0.0}, {{1, 1}, 1.0}})) << int(form);
    }
    auto state = state_of({2, 3}, {{{0, 0}, 1.0}});
    EXPECT_EQ(message_of([&] { state->probabilities({0, -1}); }), "probabilities: qudit index -1 out of range [0, 2)");
    EXPECT_EQ(message_of([&] { state->probabilities({2, 7}); }), "probabilities: qudit index 2 out of range [0, 2)");
}
