// Outcome distributions: record order, sums, index checks, and agreement
// with a plain linear-search version and with the dense reference.

#include <gtest/gtest.h>

#include <string>

#include "qudit/measurement/test_states.h"
#include "qudit/state_impl.h"
#include "reference/dense_state.h"

namespace vortan::qudit {
namespace {

using testing::Complex;
using testing::random_entries;
using testing::state_of;

// The distribution by its definition: linear search for the outcome, records
// appended on first occurrence, magnitudes summed in storage order.
std::vector<OutcomeProbability> plain_probabilities(const IState& state, const std::vector<std::int32_t>& qudits) {
    std::vector<OutcomeProbability> out;
    for (const DynamicBasisEntry& e : state.basis_entries()) {
        std::vector<std::int32_t> outcome;
        for (std::int32_t q : qudits) outcome.push_back(static_cast<std::int32_t>(e.dits.dits.at(q).value));
        const double p = e.amplitude.real() * e.amplitude.real() + e.amplitude.imag() * e.amplitude.imag();
        auto it = std::find_if(out.begin(), out.end(), [&](const auto& r) { return r.outcome == outcome; });
        if (it == out.end())
            out.push_back({outcome, p});
        else
            it->probability += p;
    }
    return out;
}

void expect_identical(const std::vector<OutcomeProbability>& got, const std::vector<OutcomeProbability>& want) {
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
        EXPECT_EQ(got[i].outcome, want[i].outcome) << "record " << i;
        EXPECT_EQ(got[i].probability, want[i].probability) << "record " << i;
    }
}

std::string failure_of(const IState& state, std::vector<std::int32_t> qudits) {
    try {
        state.probabilities(std::move(qudits));
    } catch (const BadQuditIndex& e) {
        return e.what();
    }
    return "no exception";
}

TEST(Probabilities, records_stand_in_order_of_first_occurrence) {
    const double h = 1 / std::sqrt(2.0);
    // Stored |1> first: its record comes first, whatever the values.
    auto state = state_of({2}, {{{1}, h}, {{0}, h}});
    const auto records = state->probabilities({0});
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].outcome, std::vector<std::int32_t>{1});
    EXPECT_EQ(records[1].outcome, std::vector<std::int32_t>{0});
    EXPECT_NEAR(records[0].probability, 0.5, 1e-15);
}

TEST(Probabilities, magnitudes_add_without_interference) {
    // Two entries that differ only on the unlisted qudit, with opposite signs.
    auto state = state_of({2, 3}, {{{1, 0}, 0.6}, {{0, 2}, Complex(0, 0.5)}, {{1, 2}, -0.6}});
    const auto records = state->probabilities({0});
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].outcome, std::vector<std::int32_t>{1});
    EXPECT_EQ(records[0].probability, 0.36 + 0.36);
    EXPECT_EQ(records[1].probability, 0.25);
}

TEST(Probabilities, an_empty_list_means_every_qudit_in_order) {
    auto state = state_of({3, 2, 2}, {{{2, 0, 1}, 1.0}});
    const auto records = state->probabilities({});
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].outcome, (std::vector<std::int32_t>{2, 0, 1}));
}

TEST(Probabilities, a_repeated_index_repeats_the_dit) {
    auto state = state_of({2, 2}, {{{0, 1}, 0.6}, {{1, 0}, 0.8}});
    const auto records = state->probabilities({1, 0, 1});
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].outcome, (std::vector<std::int32_t>{1, 0, 1}));
    EXPECT_EQ(records[1].outcome, (std::vector<std::int32_t>{0, 1, 0}));
}

TEST(Probabilities, nothing_is_thresholded_or_normalised) {
    // 1e-200 squared underflows to 0.0: the record stays, with probability 0.
    auto state = state_of({2}, {{{0}, 2.0}, {{1}, 1e-200}});
    const auto records = state->probabilities({0});
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].probability, 4.0) << "the squared norm, not 1";
    EXPECT_EQ(records[1].probability, 0.0);
}

TEST(Probabilities, an_empty_state_gives_no_records_after_the_index_check) {
    auto state = make_state(3, 2, {});
    EXPECT_TRUE(state->probabilities({0, 1}).empty());
    EXPECT_EQ(failure_of(*state, {2}), "probabilities: qudit index 2 out of range [0, 2)");
}

TEST(Probabilities, out_of_range_indices_are_named_in_the_message) {
    auto state = state_of({2, 2, 3}, {{{0, 1, 2}, 1.0}});
    EXPECT_EQ(failure_of(*state, {0, -1}), "probabilities: qudit index -1 out of range [0, 3)");
    EXPECT_EQ(failure_of(*state, {3, 7}), "probabilities: qudit index 3 out of range [0, 3)");
    const std::vector<std::int32_t> list{7};
    EXPECT_EQ(failure_of(*state, list), "probabilities: qudit index 7 out of range [0, 3)");
}

TEST(Probabilities, the_dynamic_form_checks_against_its_dit_count) {
    State<DynamicDitArray> state(3, 2, {testing::entry({3, 2}, {2, 1}, 1.0)});
    EXPECT_EQ(failure_of(state, {2}), "probabilities: qudit index 2 out of range [0, 2)");
    EXPECT_EQ(failure_of(state, {-4}), "probabilities: qudit index -4 out of range [0, 2)");
    State<DynamicDitArray> empty(3, 5, {});
    EXPECT_EQ(failure_of(empty, {5}), "probabilities: qudit index 5 out of range [0, 5)");
}

// Random lists over random states, every form: the grouping by masked word
// must give the records of the linear search, bit for bit.
TEST(Probabilities, agree_bit_for_bit_with_the_linear_search) {
    std::mt19937_64 rng(11);
    for (int round = 0; round < 60; ++round) {
        std::vector<int> dims;
        const std::size_t n = 1 + rng() % 7;
        for (std::size_t q = 0; q < n; ++q) dims.push_back(2 + static_cast<int>(rng() % 2));
        const auto list = random_entries(rng, dims, 1 + rng() % 300);
        std::vector<std::int32_t> qudits;
        for (std::size_t k = rng() % (n + 3); k > 0; --k) qudits.push_back(static_cast<std::int32_t>(rng() % n));
        auto packed = make_state(3, n, list);
        State<DynamicDitArray> dynamic(3, n, list);
        std::vector<std::int32_t> effective = qudits;
        if (effective.empty())
            for (std::size_t q = 0; q < n; ++q) effective.push_back(static_cast<std::int32_t>(q));
        SCOPED_TRACE(round);
        expect_identical(packed->probabilities(qudits), plain_probabilities(*packed, effective));
        expect_identical(dynamic.probabilities(qudits), plain_probabilities(dynamic, effective));
    }
}

TEST(Probabilities, match_the_dense_reference) {
    std::mt19937_64 rng(5);
    const std::vector<int> dims{2, 3, 2, 3};
    reference::DenseState dense(dims);
    const auto list = random_entries(rng, dims, 25);
    for (std::size_t i = 0; i < dense.size(); ++i) dense.at(i) = 0;
    for (const auto& e : list) {
        std::vector<int> digits;
        for (const Dit& d : e.dits.dits) digits.push_back(static_cast<int>(d.value));
        dense.at(digits) = e.amplitude;
    }
    auto state = make_state(3, 4, list);
    for (const std::vector<int>& qudits : {std::vector<int>{1}, {3, 0}, {2, 1, 3}}) {
        const std::vector<double> want = dense.probabilities(qudits);
        std::vector<double> got(want.size(), 0.0);
        reference::DenseState marginal([&] {
            std::vector<int> sub;
            for (int q : qudits) sub.push_back(dims[q]);
            return sub;
        }());
        for (const auto& r : state->probabilities(std::vector<std::int32_t>(qudits.begin(), qudits.end())))
            got[marginal.index(std::vector<int>(r.outcome.begin(), r.outcome.end()))] += r.probability;
        for (std::size_t k = 0; k < want.size(); ++k) EXPECT_NEAR(got[k], want[k], 1e-12);
    }
}

}  // namespace
}  // namespace vortan::qudit
