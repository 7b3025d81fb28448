// Reduced density matrices: the elements of small known states, and
// agreement bit for bit with the plain pair loop on random states.

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "qudit/measurement/naive_density.h"
#include "qudit/measurement/test_states.h"
#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

using testing::Complex;
using testing::state_of;
using Values = std::vector<std::int32_t>;

const double H = 1 / std::sqrt(2.0);

TEST(DensityMatrix, of_a_bell_pair_and_of_its_halves) {
    auto state = state_of({2, 2}, {{{0, 0}, H}, {{1, 1}, H}});
    // One half: the two diagonal places only, since the traced dits differ.
    const auto half = state->reduced_density_matrix({0});
    ASSERT_EQ(half.size(), 2u);
    EXPECT_EQ(half[1].row, Values{1});
    EXPECT_EQ(half[1].column, Values{1});
    EXPECT_NEAR(half[1].value.real(), 0.5, 1e-15);
    // Both: four places of 0.5, in first-met order.
    const auto whole = state->reduced_density_matrix({0, 1});
    ASSERT_EQ(whole.size(), 4u);
    EXPECT_EQ(whole[1].row, (Values{0, 0}));
    EXPECT_EQ(whole[1].column, (Values{1, 1}));
    for (const auto& e : whole) EXPECT_NEAR(e.value.real(), 0.5, 1e-15);
    // No qudit listed: the trace, unnormalised.
    auto heavy = state_of({2, 2}, {{{0, 1}, 2.0}, {{1, 0}, Complex(0, 1)}});
    const auto trace = heavy->reduced_density_matrix({});
    ASSERT_EQ(trace.size(), 1u);
    EXPECT_TRUE(trace[0].row.empty() && trace[0].column.empty());
    EXPECT_EQ(trace[0].value, Complex(5.0, 0.0));
}

TEST(DensityMatrix, puts_the_ket_first) {
    auto state = state_of({2}, {{{0}, H}, {{1}, Complex(0, H)}});
    const auto rho = state->reduced_density_matrix({0});
    ASSERT_EQ(rho.size(), 4u);
    EXPECT_EQ(rho[1].row, Values{0});
    EXPECT_EQ(rho[1].column, Values{1});
    EXPECT_NEAR(rho[1].value.imag(), -0.5, 1e-15) << "a[0] * conj(a[1])";
    EXPECT_NEAR(rho[2].value.imag(), 0.5, 1e-15);
}

TEST(DensityMatrix, bad_indices_fail_at_the_first_dit_read) {
    auto failure = [](const IState& state, Values qudits) -> std::string {
        try {
            state.reduced_density_matrix(std::move(qudits));
        } catch (const BadQuditIndex& e) {
            return e.what();
        }
        return "no exception";
    };
    EXPECT_EQ(failure(*state_of({2, 2}, {{{0, 1}, 1.0}}), {1, 5, -1}), "DitArray index 5 out of range [0, 2)");
    EXPECT_EQ(failure(*make_state(2, 2, {}), {5}), "no exception") << "no entry, no read";
    State<DynamicDitArray> dynamic(2, 2, {testing::entry({2, 2}, {0, 1}, 1.0)});
    EXPECT_EQ(failure(dynamic, {-1}), "DynamicDitArray index -1 out of range [0, 2)");
}

// Digits drawn from two values per qudit make large groups of entries that
// share their traced dits, so many pairs meet and sums run long.
TEST(DensityMatrix, agrees_bit_for_bit_with_the_plain_pair_loop) {
    std::mt19937_64 rng(3);
    for (int round = 0; round < 50; ++round) {
        std::vector<int> dims;
        const std::size_t n = 1 + rng() % 8;
        for (std::size_t q = 0; q < n; ++q) dims.push_back(2 + static_cast<int>(rng() % 2));
        const auto list = testing::random_entries(rng, dims, 1 + rng() % 200, round % 2 == 0 ? 2 : 3);
        Values qudits;
        for (std::size_t k = rng() % (n + 2); k > 0; --k) qudits.push_back(static_cast<std::int32_t>(rng() % n));
        auto packed = make_state(3, n, list);
        State<DynamicDitArray> dynamic(3, n, list);
        for (const IState* state : {static_cast<const IState*>(packed.get()), static_cast<const IState*>(&dynamic)}) {
            const auto got = state->reduced_density_matrix(qudits);
            const auto want = testing::naive_density(*state, qudits);
            ASSERT_EQ(got.size(), want.size()) << "round " << round;
            for (std::size_t k = 0; k < got.size(); ++k) {
                EXPECT_EQ(got[k].row, want[k].row) << "round " << round;
                EXPECT_EQ(got[k].column, want[k].column) << "round " << round;
                EXPECT_EQ(got[k].value.real(), want[k].value.real()) << "round " << round;
                EXPECT_EQ(got[k].value.imag(), want[k].value.imag()) << "round " << round;
            }
        }
    }
}

}  // namespace
}  // namespace vortan::qudit
