// Measurement: outcome records, the draw from fixed generator outputs,
// sampled frequencies, the order of survivors, renormalisation at float
// precision, and forced outcomes with their refusals.

#include <random>

#include "qudit/measurement/random_source.h"
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
    EXPECT_EQ(message_of([] { state_of({2, 3}, {{{0, 0}, 1.0}})->probabilities({0, -1}); }), "probabilities: qudit index -1 out of range [0, 2)");
    // No qudits: one empty outcome per state that has an entry.
    const OutcomeDistribution none = State<DynamicDitArray>(2, 0, {{{}, {0.0, 2.0}}}).probabilities({});
    EXPECT_TRUE(none.width() == 0 && records_of(none) == (Records{{{}, 4.0}}));
    EXPECT_TRUE(State<DynamicDitArray>(2, 0, {}).probabilities({}).empty());
}

// The draw through its seam, from fixed generator outputs: the low half comes
// first, ties go to the lower record, zero weights are drawn only at the
// edges, and a u of 1.0 is drawn again. Each row takes exactly its outputs.
TEST(RandomDraw, picks_the_lower_bound_of_u_from_fixed_outputs) {
    const std::uint32_t HALF = 0x80000000u, ALL = 0xFFFFFFFFu;  // HALF: the high word of u = 0.5
    const std::tuple<std::vector<float>, std::vector<std::uint32_t>, std::int32_t> rows[] = {
        // u just above 0.25 picks the second of four; read high first, the last. Fewer than two records
        // take no number.
        {{1, 1, 1, 1}, {ALL, 0x40000000u}, 1}, {{0.25f}, {}, 0}, {{}, {}, 0},
        // u equal to a cumulative value; 2^63 + 1024 rounds back to u = 0.5, 2^63 + 2048 does not.
        {{0.5f, 0.5f}, {0, HALF}, 0}, {{0.5f, 0.5f}, {1024, HALF}, 0}, {{0.5f, 0.5f}, {2048, HALF}, 1},
        // A cumulative value repeated behind a zero weight: the first. All zero: NaNs send the search
        // to the first. A u of 1.0 is refused and drawn again.
        {{0.5f, 0, 0.5f}, {0, HALF}, 0}, {{0.5f, 0, 0.5f}, {2048, HALF}, 2}, {{0, 0, 0}, {7, ALL - 1}, 0},
        {{0.5f, 0.5f}, {ALL, ALL, 0, 0xC0000000u}, 1},
        // A leading zero weight takes u = 0 only; seven ones sum to 1 - 2^-52
        // once divided, and the last value, forced to 1.0, leaves a trailing
        // zero weight room for u = 1 - 2^-53.
        {{0, 1}, {0, 0}, 0}, {{0, 1}, {1, 0}, 1}, {{1, 1, 1, 1, 1, 1, 1, 0}, {0xFFFFF800u, ALL}, 7}};
    for (const auto& [weights, outputs, index] : rows) {
        std::size_t taken = 0;
        auto source = [&taken, &list = outputs] { return list.at(taken++); };
        EXPECT_EQ(draw_index(weights, source), index) << ::testing::PrintToString(outputs);
        EXPECT_EQ(taken, outputs.size()) << ::testing::PrintToString(outputs);
    }
}

// Counts within 6 standard deviations of 20000 draws: odds of a false alarm
// about 1e-9 per outcome.
TEST(Measure, frequencies_follow_the_probabilities) {
    const double p[] = {0.2, 0.5, 0.3};
    auto original = state_of({3, 2}, {{{0, 1}, std::sqrt(p[0])}, {{1, 0}, Complex(0, std::sqrt(p[1]))}, {{2, 1}, -std::sqrt(p[2])}});
    std::vector<int> counts(3, 0);
    for (int i = 0; i < 20000; ++i) ++counts.at(original->clone()->measure({0}).at(0));
    for (int v = 0; v < 3; ++v) EXPECT_NEAR(counts[v], 20000 * p[v], 6 * std::sqrt(20000 * p[v] * (1 - p[v]))) << v;
    EXPECT_TRUE(make_state(2, 3, {})->measure({0, 2}).empty());
}

TEST(ForcedMeasure, collapses_in_a_fixed_order_and_refuses_in_order) {
    // A+ B- C+ D- E+ on qudit 0 = 0 becomes A+ E+ C+.
    const Complex a(0.1), c(0.3, 0.4), e(0.4);
    auto state = state_of({2, 3}, {{{0, 0}, a}, {{1, 0}, 0.6}, {{0, 1}, c}, {{1, 1}, 0.2}, {{0, 2}, e}});
    EXPECT_EQ(state->forced_measure({0}, {0}), std::vector<std::int32_t>{0});
    // Squares summed into a float, rounded at each step (a sum in double ends
    // one float step lower and changes the factor); 1 / sqrt in float.
    float sum = static_cast<float>(0.1 * 0.1);
    sum = static_cast<float>(static_cast<float>(sum + 0.4 * 0.4) + (0.3 * 0.3 + 0.4 * 0.4));
    const double f = 1.0f / std::sqrt(sum);
    EXPECT_EQ(terms_of(*state), (Terms{{{0, 0}, a * f}, {{0, 2}, e * f}, {{0, 1}, c * f}}));

    const std::string index = "Qudit index out of range for forced measurement",
                      range = "Forced measurement outcome value is out of range for the qudit dimension",
                      absent = "Forced measurement outcome is inconsistent with the current state amplitudes";
    EXPECT_EQ(message_of([] { make_state(2, 1, {})->forced_measure({0, 0}, {0}); }),
              "Forced measurement requires the same number of qudit indices and outcome values");
    EXPECT_EQ(message_of([] { make_state(2, 1, {})->forced_measure({5}, {0}); }), "Cannot measure an empty quantum state");
    // The value limit is the named qudit's own; position by position, index then value.
    const std::tuple<std::vector<std::int32_t>, std::vector<std::int32_t>, std::string> rows[] = {
        {{-1}, {0}, index}, {{2}, {9}, index}, {{0}, {2}, range}, {{0}, {-1}, range},
        {{1}, {2}, absent}, {{0, 5}, {3, 0}, range}, {{1, 1}, {0, 1}, absent}};
    state = state_of({2, 3}, {{{0, 0}, 0.6}, {{1, 1}, Complex(0, 0.8)}});
    for (const auto& [qudits, values, text] : rows)
        EXPECT_EQ(message_of([&, &q = qudits, &v = values] { state->forced_measure(q, v); }), text) << ::testing::PrintToString(qudits);
    EXPECT_EQ(terms_of(*state), (Terms{{{0, 0}, 0.6}, {{1, 1}, Complex(0, 0.8)}})) << "refusals leave the state";
    // Two survivors of 2^-24 sum to exactly float epsilon: refused after the
    // others are gone. Three pass.
    const double tiny = 0x1p-12;
    state = state_of({2, 3}, {{{0, 0}, tiny}, {{1, 0}, 1.0}, {{0, 1}, tiny}});
    EXPECT_EQ(message_of([&] { state->forced_measure({0}, {0}); }), "State collapsed to zero amplitude");
    EXPECT_EQ(terms_of(*state), (Terms{{{0, 0}, tiny}, {{0, 1}, tiny}}));
    state = state_of({2, 3}, {{{0, 0}, tiny}, {{1, 0}, 1.0}, {{0, 1}, tiny}, {{0, 2}, tiny}});
    EXPECT_EQ(state->forced_measure({0}, {0}), std::vector<std::int32_t>{0});
}

// A sampled collapse on the packed form keeps the entries of the drawn record
// by the record each entry was tallied to; forcing that outcome on the
// dynamic form, which tests every dit, is the reference. Same survivors, same
// order, same bits. Lists cover adjacent and far fields, a repeat, up to 255
// outcomes and past it, over qutrits and over mixed dimensions.
TEST(Measure, collapse_by_record_matches_forcing_the_outcome) {
    std::mt19937_64 rng(11);
    std::normal_distribution<double> gauss;
    for (const std::vector<int>& dims : {std::vector<int>(12, 3), std::vector<int>{2, 3, 2, 3, 3, 2, 3, 2, 3}}) {
        Terms terms;
        for (int i = 0; i < 700; ++i) {
            Term term{{}, {gauss(rng), gauss(rng)}};
            for (const int d : dims) term.values.push_back(static_cast<int>(rng() % static_cast<std::uint64_t>(d)));
            terms.push_back(term);
        }
        const auto packed = state_of(dims, terms);
        const auto dynamic = state_of(dims, terms_of(*packed), Form::dynamic);
        const std::vector<std::int32_t> lists[] = {{0}, {1, 0}, {0, 8}, {5, 5, 2}, {0, 2, 4, 6, 8}, {1, 2, 3, 4, 5, 6}};
        for (const std::vector<std::int32_t>& qudits : lists)
            for (int draw = 0; draw < 4; ++draw) {
                auto sampled = packed->clone();
                const std::vector<std::int32_t> outcome = sampled->measure(qudits);
                auto forced = dynamic->clone();
                forced->forced_measure(qudits, outcome);
                EXPECT_EQ(terms_of(*sampled), terms_of(*forced)) << ::testing::PrintToString(qudits);
            }
    }
    auto state = state_of({3, 3}, {{{0, 0}, 1.0}});
    EXPECT_EQ(message_of([&] { state->measure({1, 2}); }), "probabilities: qudit index 2 out of range [0, 2)");
}
