// Outcome distributions on both forms: records in order of first occurrence
// with no threshold, repeated indices, many outcomes, none for no qudits.

#include <random>
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

// Hashed (too many outcomes for a direct table), gathered from far fields
// into a dense code, and moved down from near ones, against a plain walk that
// searches the records found so far: the same records in the same order, sums
// to the last bit.
TEST(Probabilities, many_outcomes_match_a_plain_walk) {
    std::mt19937_64 rng(5);
    std::normal_distribution<double> gauss;
    Terms terms;
    for (std::uint64_t i = 0; i < 3000; ++i) {
        std::uint64_t code = rng() % 531441;
        Term term{{}, {gauss(rng), gauss(rng)}};
        for (int q = 0; q < 12; ++q, code /= 3) term.values.push_back(static_cast<int>(code % 3));
        terms.push_back(term);
    }
    for (Form form : {Form::packed, Form::dynamic}) {
        const auto state = state_of(std::vector<int>(12, 3), terms, form);
        for (const std::vector<std::int32_t>& list : {std::vector{11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 5}, std::vector{0, 11, 6}, std::vector<int>{},
                                                         std::vector{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, std::vector{2, 3}}) {
            std::vector<std::int32_t> qudits = list;
            for (std::int32_t q = 0; list.empty() && q < 12; ++q) qudits.push_back(q);  // none: all
            Records want;
            for (const Term& entry : terms_of(*state)) {
                std::vector<int> outcome;
                for (const std::int32_t q : qudits) outcome.push_back(entry.values[static_cast<std::size_t>(q)]);
                const auto found = std::find_if(want.begin(), want.end(), [&](const auto& w) { return w.first == outcome; });
                if (found != want.end()) found->second += squared_magnitude(entry.amplitude);
                else want.emplace_back(outcome, squared_magnitude(entry.amplitude));
            }
            const OutcomeDistribution got = state->probabilities(list);
            EXPECT_EQ(got.width(), qudits.size());
            EXPECT_TRUE(records_of(got) == want) << int(form) << " " << list.size();
        }
    }
}
