// Outcome distributions: no threshold, the index check, and agreement bit
// for bit with a plain linear-search version on random states.

#include <gtest/gtest.h>

#include <string>

#include "qudit/measurement/test_states.h"
#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

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

std::string failure_of(const IState& state, std::vector<std::int32_t> qudits) {
    try {
        state.probabilities(std::move(qudits));
    } catch (const BadQuditIndex& e) {
        return e.what();
    }
    return "no exception";
}

TEST(Probabilities, keep_zero_records_and_the_unnormalised_total) {
    // 1e-200 squared underflows to 0.0: the record stays, with probability 0.
    auto state = state_of({2}, {{{0}, 2.0}, {{1}, 1e-200}});
    const auto records = state->probabilities({0});
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].probability, 4.0);
    EXPECT_EQ(records[1].probability, 0.0);
}

TEST(Probabilities, refuse_indices_outside_the_state_by_number) {
    auto state = state_of({2, 2, 3}, {{{0, 1, 2}, 1.0}});
    EXPECT_EQ(failure_of(*state, {0, -1}), "probabilities: qudit index -1 out of range [0, 3)");
    EXPECT_EQ(failure_of(*state, {3, 7}), "probabilities: qudit index 3 out of range [0, 3)");
    auto empty = make_state(3, 2, {});
    EXPECT_TRUE(empty->probabilities({0, 1}).empty());
    EXPECT_EQ(failure_of(*empty, {2}), "probabilities: qudit index 2 out of range [0, 2)");
    State<DynamicDitArray> dynamic(3, 2, {testing::entry({3, 2}, {2, 1}, 1.0)});
    EXPECT_EQ(failure_of(dynamic, {2}), "probabilities: qudit index 2 out of range [0, 2)");
}

// Random lists (repeats and the empty list included) over random states of
// every form: the grouping by masked word must give the records of the linear
// search, in the same order and with the same bits.
TEST(Probabilities, agree_bit_for_bit_with_the_linear_search) {
    std::mt19937_64 rng(11);
    for (int round = 0; round < 60; ++round) {
        std::vector<int> dims;
        const std::size_t n = 1 + rng() % 7;
        for (std::size_t q = 0; q < n; ++q) dims.push_back(2 + static_cast<int>(rng() % 2));
        const auto list = testing::random_entries(rng, dims, 1 + rng() % 300);
        std::vector<std::int32_t> qudits;
        for (std::size_t k = rng() % (n + 3); k > 0; --k) qudits.push_back(static_cast<std::int32_t>(rng() % n));
        std::vector<std::int32_t> effective = qudits;
        for (std::size_t q = 0; qudits.empty() && q < n; ++q) effective.push_back(static_cast<std::int32_t>(q));
        auto packed = make_state(3, n, list);
        State<DynamicDitArray> dynamic(3, n, list);
        for (const IState* state : {static_cast<const IState*>(packed.get()), static_cast<const IState*>(&dynamic)}) {
            const auto got = state->probabilities(qudits);
            const auto want = plain_probabilities(*state, effective);
            ASSERT_EQ(got.size(), want.size()) << "round " << round;
            for (std::size_t i = 0; i < got.size(); ++i) {
                EXPECT_EQ(got[i].outcome, want[i].outcome) << "round " << round;
                EXPECT_EQ(got[i].probability, want[i].probability) << "round " << round;
            }
        }
    }
}

}  // namespace
}  // namespace vortan::qudit
