// The draw from fixed generator outputs: which half comes first, the tie
// rules of the lower bound, weights of zero, and what takes no number.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "qudit/measurement/random_source.h"
#include "qudit/measurement/results.h"

namespace vortan::qudit {
namespace {

// Stands in for the generator: hands out a fixed sequence of outputs.
struct FixedSource {
    std::vector<std::uint32_t> outputs;
    std::size_t taken = 0;
    std::uint32_t operator()() { return outputs.at(taken++); }
};

std::int32_t draw(const std::vector<float>& weights, std::vector<std::uint32_t> outputs,
                  std::size_t* taken = nullptr) {
    FixedSource source{std::move(outputs)};
    const std::int32_t index = draw_index(weights, source);
    if (taken != nullptr) *taken = source.taken;
    return index;
}

constexpr std::uint32_t HALF = 0x80000000u;  // high word of u = 0.5

TEST(RandomDraw, first_output_is_the_low_half) {
    FixedSource source{{1, 0, 0, 1, 0xFFFFF800u, 0xFFFFFFFFu}};
    EXPECT_EQ(draw_unit(source), 0x1p-64);
    EXPECT_EQ(draw_unit(source), 0x1p-32);
    EXPECT_EQ(draw_unit(source), 1.0 - 0x1p-53);
    // Low half 0xFFFFFFFF, high half a quarter: u just above 0.25 picks the
    // second of four equal weights; read the other way round it would pick
    // the last.
    EXPECT_EQ(draw({1, 1, 1, 1}, {0xFFFFFFFFu, 0x40000000u}), 1);
}

TEST(RandomDraw, a_u_equal_to_a_cumulative_value_picks_the_lower_record) {
    EXPECT_EQ(draw({0.5f, 0.5f}, {0, HALF}), 0);
    // 2^63 + 2048 is the first x whose double lies above 2^63; smaller
    // additions round back to u = 0.5 exactly.
    EXPECT_EQ(draw({0.5f, 0.5f}, {1024, HALF}), 0);
    EXPECT_EQ(draw({0.5f, 0.5f}, {2048, HALF}), 1);
    EXPECT_EQ(draw({0.5f, 0.5f}, {0xFFFFFFFFu, 0xFFFFFFFFu, 0, 0xC0000000u}), 1);
}

TEST(RandomDraw, a_weight_of_zero_is_drawn_only_at_the_edges) {
    EXPECT_EQ(draw({0.0f, 1.0f}, {0, 0}), 0) << "u = 0 is the one way to the first record";
    EXPECT_EQ(draw({0.0f, 1.0f}, {1, 0}), 1);
    // Behind a zero weight the cumulative value repeats; the first wins, so
    // the zero-weight record in the middle is skipped.
    EXPECT_EQ(draw({0.5f, 0.0f, 0.5f}, {0, HALF}), 0);
    EXPECT_EQ(draw({0.5f, 0.0f, 0.5f}, {2048, HALF}), 2);
}

TEST(RandomDraw, the_forced_last_value_opens_a_gap_for_a_zero_weight) {
    // Seven equal weights normalise to a sum of 1 - 2^-52, so the forced 1.0
    // behind a trailing zero weight leaves room for u = 1 - 2^-53.
    const std::vector<float> weights{1, 1, 1, 1, 1, 1, 1, 0};
    const std::vector<double> cumulative = cumulative_distribution(weights);
    ASSERT_EQ(cumulative.size(), 8u);
    EXPECT_EQ(cumulative[6], 1.0 - 0x1p-52);
    EXPECT_EQ(cumulative[7], 1.0);
    EXPECT_EQ(draw(weights, {0xFFFFF800u, 0xFFFFFFFFu}), 7);
}

TEST(RandomDraw, all_zero_weights_give_the_first_record) {
    const std::vector<double> cumulative = cumulative_distribution({0, 0, 0});
    ASSERT_EQ(cumulative.size(), 3u);
    EXPECT_TRUE(std::isnan(cumulative[0]));
    EXPECT_TRUE(std::isnan(cumulative[1]));
    EXPECT_EQ(cumulative[2], 1.0);
    for (std::uint32_t high : {0u, HALF, 0xFFFFFFFEu}) EXPECT_EQ(draw({0, 0, 0}, {7, high}), 0);
}

TEST(RandomDraw, fewer_than_two_records_take_no_number) {
    std::size_t taken = 99;
    EXPECT_EQ(draw({0.25f}, {}, &taken), 0);
    EXPECT_EQ(taken, 0u);
    EXPECT_EQ(draw({}, {}, &taken), 0);
    EXPECT_EQ(taken, 0u);
    EXPECT_TRUE(cumulative_distribution({0.25f}).empty());
}

TEST(RandomDraw, a_u_rounding_up_to_one_is_drawn_again) {
    std::size_t taken = 0;
    // 2^64 - 1 rounds to 2^64, u = 1.0: refused, and two new outputs are read.
    EXPECT_EQ(draw({0.5f, 0.5f}, {0xFFFFFFFFu, 0xFFFFFFFFu, 0, 0x10000000u}, &taken), 0);
    EXPECT_EQ(taken, 4u);
    EXPECT_EQ(draw({0.5f, 0.5f}, {0xFFFFF800u, 0xFFFFFFFFu}, &taken), 1);
    EXPECT_EQ(taken, 2u);
}

TEST(RandomDraw, weights_are_narrowed_to_float_and_made_relative) {
    const std::vector<OutcomeProbability> records{{{0}, 1e-50}, {{1}, 0.1}, {{2}, 0.3}};
    const std::vector<float> weights = weights_of(records);
    EXPECT_EQ(weights, (std::vector<float>{0.0f, 0.1f, 0.3f}));
    // Unnormalised weights (total 0.4f) split at a quarter.
    const std::vector<double> cumulative = cumulative_distribution(weights);
    const double sum = static_cast<double>(0.1f) + static_cast<double>(0.3f);
    EXPECT_EQ(cumulative[0], 0.0);
    EXPECT_EQ(cumulative[1], static_cast<double>(0.1f) / sum);
    EXPECT_EQ(cumulative[2], 1.0);
    EXPECT_EQ(draw(weights, {1, 0}), 1) << "the vanished weight cannot be drawn above u = 0";
}

TEST(RandomDraw, each_seeding_reads_the_device_afresh) {
    // Equal first outputs would need equal 32-bit seeds.
    std::mt19937 a = seeded_generator(), b = seeded_generator();
    std::vector<std::uint32_t> from_a(4), from_b(4);
    for (auto& v : from_a) v = static_cast<std::uint32_t>(a());
    for (auto& v : from_b) v = static_cast<std::uint32_t>(b());
    EXPECT_NE(from_a, from_b);
}

}  // namespace
}  // namespace vortan::qudit
