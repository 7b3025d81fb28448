// Outcome distributions on both forms: records in order of first occurrence
// with no threshold, repeated indices, many outcomes, none for no qudits, and
// the index check's text.

#include <random>
#include <utility>

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

// Lists whose outcomes are too many for a direct table, on both forms, against
// a plain walk that searches the records found so far: the same records in the
// same order, with sums equal to the last bit.
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
    const std::vector<std::vector<std::int32_t>> lists = {
        {11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 5}, {0, 11, 6}, {}};
    for (Form form : {Form::packed, Form::dynamic}) {
        const auto state = state_of(std::vector<int>(12, 3), terms, form);
        for (const std::vector<std::int32_t>& list : lists) {
            std::vector<std::int32_t> qudits = list;
            if (qudits.empty())
                for (std::int32_t q = 0; q < 12; ++q) qudits.push_back(q);
            std::vector<std::pair<std::vector<int>, double>> want;
            for (const Term& entry : terms_of(*state)) {
                std::vector<int> outcome;
                for (const std::int32_t q : qudits) outcome.push_back(entry.values[static_cast<std::size_t>(q)]);
                const double p = squared_magnitude(entry.amplitude);
                const auto found = std::find_if(want.begin(), want.end(), [&](const auto& w) { return w.first == outcome; });
                if (found != want.end()) found->second += p;
                else want.emplace_back(outcome, p);
            }
            const OutcomeDistribution got = state->probabilities(list);
            ASSERT_EQ(got.size(), want.size()) << int(form) << " " << list.size();
            EXPECT_EQ(got.width(), qudits.size());
            for (std::size_t r = 0; r < got.size(); ++r) {
                EXPECT_TRUE(std::ranges::equal(got.outcome(r), want[r].first)) << r;
                EXPECT_EQ(got.probability(r), want[r].second) << r;
            }
        }
    }
}

// No qudits: one record with an empty outcome per state that has an entry.
TEST(Probabilities, a_state_without_qudits_has_one_empty_outcome) {
    const State<DynamicDitArray> state(2, 0, {{{}, {0.0, 2.0}}});
    const OutcomeDistribution got = state.probabilities({});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got.width(), 0u);
    EXPECT_TRUE(got.outcome(0).empty());
    EXPECT_EQ(got.probability(0), 4.0);
    EXPECT_TRUE(State<DynamicDitArray>(2, 0, {}).probabilities({}).empty());
}
