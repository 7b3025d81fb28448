// Reduced density matrices: the elements of small known states, agreement
// bit for bit with the plain pair loop, and with the dense reference.

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "qudit/measurement/naive_density.h"
#include "qudit/measurement/test_states.h"
#include "qudit/state_impl.h"
#include "reference/dense_state.h"

namespace vortan::qudit {
namespace {

using testing::Complex;
using testing::naive_density;
using testing::random_entries;
using testing::state_of;
using Values = std::vector<std::int32_t>;

void expect_identical(const std::vector<DensityElement>& got, const std::vector<DensityElement>& want) {
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t k = 0; k < got.size(); ++k) {
        EXPECT_EQ(got[k].row, want[k].row) << "element " << k;
        EXPECT_EQ(got[k].column, want[k].column) << "element " << k;
        // Bit for bit: the same products added in the same order.
        EXPECT_EQ(got[k].value.real(), want[k].value.real()) << "element " << k;
        EXPECT_EQ(got[k].value.imag(), want[k].value.imag()) << "element " << k;
    }
}

TEST(DensityMatrix, of_one_half_of_a_bell_pair_has_no_coherence) {
    const double h = 1 / std::sqrt(2.0);
    auto state = state_of({2, 2}, {{{0, 0}, h}, {{1, 1}, h}});
    const auto half = state->reduced_density_matrix({0});
    ASSERT_EQ(half.size(), 2u);
    EXPECT_EQ(half[0].row, Values{0});
    EXPECT_EQ(half[0].column, Values{0});
    EXPECT_EQ(half[1].row, Values{1});
    EXPECT_EQ(half[1].column, Values{1});
    EXPECT_NEAR(half[0].value.real(), 0.5, 1e-15);
    EXPECT_NEAR(half[1].value.real(), 0.5, 1e-15);

    const auto whole = state->reduced_density_matrix({0, 1});
    ASSERT_EQ(whole.size(), 4u);
    const std::vector<std::pair<Values, Values>> places{
        {{0, 0}, {0, 0}}, {{0, 0}, {1, 1}}, {{1, 1}, {0, 0}}, {{1, 1}, {1, 1}}};
    for (std::size_t k = 0; k < 4; ++k) {
        EXPECT_EQ(whole[k].row, places[k].first);
        EXPECT_EQ(whole[k].column, places[k].second);
        EXPECT_NEAR(whole[k].value.real(), 0.5, 1e-15);
    }
}

TEST(DensityMatrix, puts_the_ket_first) {
    const double h = 1 / std::sqrt(2.0);
    auto state = state_of({2}, {{{0}, h}, {{1}, Complex(0, h)}});
    const auto rho = state->reduced_density_matrix({0});
    ASSERT_EQ(rho.size(), 4u);
    EXPECT_EQ(rho[1].row, Values{0});
    EXPECT_EQ(rho[1].column, Values{1});
    EXPECT_NEAR(rho[1].value.imag(), -0.5, 1e-15);
    EXPECT_EQ(rho[2].row, Values{1});
    EXPECT_NEAR(rho[2].value.imag(), 0.5, 1e-15);
}

TEST(DensityMatrix, of_a_basis_state_is_its_squared_magnitude_once) {
    auto state = state_of({3, 2}, {{{2, 1}, Complex(0.3, -0.4)}});
    const auto rho = state->reduced_density_matrix({1});
    ASSERT_EQ(rho.size(), 1u);
    EXPECT_EQ(rho[0].row, Values{1});
    EXPECT_NEAR(rho[0].value.real(), 0.25, 1e-16);
    EXPECT_EQ(rho[0].value.imag(), 0.0);
}

TEST(DensityMatrix, of_an_empty_list_is_the_trace) {
    auto state = state_of({2, 2}, {{{0, 1}, 2.0}, {{1, 0}, Complex(0, 1)}});
    const auto rho = state->reduced_density_matrix({});
    ASSERT_EQ(rho.size(), 1u);
    EXPECT_TRUE(rho[0].row.empty() && rho[0].column.empty());
    EXPECT_EQ(rho[0].value, Complex(5.0, 0.0)) << "not normalised";
}

TEST(DensityMatrix, bad_indices_fail_at_the_first_dit_read) {
    auto state = state_of({2, 2}, {{{0, 1}, 1.0}});
    std::string message;
    try {
        state->reduced_density_matrix({1, 5, -1});
    } catch (const BadQuditIndex& e) {
        message = e.what();
    }
    EXPECT_EQ(message, "DitArray index 5 out of range [0, 2)");
    EXPECT_TRUE(make_state(2, 2, {})->reduced_density_matrix({5}).empty()) << "no entry, no read";

    State<DynamicDitArray> dynamic(2, 2, {testing::entry({2, 2}, {0, 1}, 1.0)});
    try {
        dynamic.reduced_density_matrix({-1});
    } catch (const BadQuditIndex& e) {
        message = e.what();
    }
    EXPECT_EQ(message, "DynamicDitArray index -1 out of range [0, 2)");
}

// Digits drawn from two values per qudit make large groups of entries that
// share their traced dits, so many pairs meet and sums run long.
TEST(DensityMatrix, agrees_bit_for_bit_with_the_plain_pair_loop) {
    std::mt19937_64 rng(3);
    for (int round = 0; round < 50; ++round) {
        std::vector<int> dims;
        const std::size_t n = 1 + rng() % 8;
        for (std::size_t q = 0; q < n; ++q) dims.push_back(2 + static_cast<int>(rng() % 2));
        const auto list = random_entries(rng, dims, 1 + rng() % 200, round % 2 == 0 ? 2 : 3);
        Values qudits;
        for (std::size_t k = rng() % (n + 2); k > 0; --k) qudits.push_back(static_cast<std::int32_t>(rng() % n));
        auto packed = make_state(3, n, list);
        State<DynamicDitArray> dynamic(3, n, list);
        SCOPED_TRACE(round);
        expect_identical(packed->reduced_density_matrix(qudits), naive_density(*packed, qudits));
        expect_identical(dynamic.reduced_density_matrix(qudits), naive_density(dynamic, qudits));
    }
}

TEST(DensityMatrix, matches_the_dense_reference) {
    std::mt19937_64 rng(8);
    const std::vector<int> dims{3, 2, 2, 3};
    const auto list = random_entries(rng, dims, 30);
    reference::DenseState dense(dims);
    dense.at(0) = 0;
    for (const auto& e : list) {
        std::vector<int> digits;
        for (const Dit& d : e.dits.dits) digits.push_back(static_cast<int>(d.value));
        dense.at(digits) = e.amplitude;
    }
    auto state = make_state(3, 4, list);
    for (const std::vector<int>& qudits : {std::vector<int>{0}, {3, 1}, {1, 3}, {2, 0, 3}}) {
        std::vector<int> sub;
        for (int q : qudits) sub.push_back(dims[q]);
        reference::DenseState kept(sub);
        const reference::Matrix want = dense.reduced_density_matrix(qudits);
        reference::Matrix got(want.size(), std::vector<Complex>(want.size()));
        for (const auto& d : state->reduced_density_matrix(Values(qudits.begin(), qudits.end())))
            got[kept.index({d.row.begin(), d.row.end()})][kept.index({d.column.begin(), d.column.end()})] = d.value;
        for (std::size_t r = 0; r < want.size(); ++r)
            for (std::size_t c = 0; c < want.size(); ++c) EXPECT_NEAR(std::abs(got[r][c] - want[r][c]), 0.0, 1e-12);
    }
}

}  // namespace
}  // namespace vortan::qudit
