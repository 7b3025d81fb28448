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

std::int32_t draw(const std::vector<float>& weights, std::vector<std::uint32_t> outputs, std::size_t* taken = nullptr) {
    FixedSource source{std::move(outputs)};
    const std::int32_t index = draw_index(weights, source);
    if (taken != nullptr) *taken = source.taken;
    return index;
}

constexpr std::uint32_t HALF = 0x80000000u;  // high word of u = 0.5

TEST(RandomDraw, first_output_is_the_low_half) {
    FixedSource source{{1, 0, 0, 1}};
    EXPECT_EQ(draw_unit(source), 0x1p-64);
    EXPECT_EQ(draw_unit(source), 0x1p-32);
    // u just above 0.25 picks the second of four; read high first, the last.
    EXPECT_EQ(draw({1, 1, 1, 1}, {0xFFFFFFFFu, 0x40000000u}), 1);
}

TEST(RandomDraw, ties_go_to_the_lower_record) {
    EXPECT_EQ(draw({0.5f, 0.5f}, {0, HALF}), 0);
    // 2^63 + 2048 is the first x whose double lies above 2^63; 2^63 + 1024
    // rounds back to u = 0.5 exactly.
    EXPECT_EQ(draw({0.5f, 0.5f}, {1024, HALF}), 0);
    EXPECT_EQ(draw({0.5f, 0.5f}, {2048, HALF}), 1);
    // Behind a zero weight the cumulative value repeats and the first wins.
    EXPECT_EQ(draw({0.5f, 0.0f, 0.5f}, {0, HALF}), 0);
    EXPECT_EQ(draw({0.5f, 0.0f, 0.5f}, {2048, HALF}), 2);
}

TEST(RandomDraw, a_zero_weight_is_drawn_only_at_the_edges) {
    EXPECT_EQ(draw({0.0f, 1.0f}, {0, 0}), 0) << "u = 0";
    EXPECT_EQ(draw({0.0f, 1.0f}, {1, 0}), 1);
    // Seven equal weights normalise to a sum of 1 - 2^-52, so the forced 1.0
    // behind a trailing zero weight leaves room for u = 1 - 2^-53.
    const std::vector<float> weights{1, 1, 1, 1, 1, 1, 1, 0};
    const std::vector<double> cumulative = cumulative_distribution(weights);
    EXPECT_EQ(cumulative[6], 1.0 - 0x1p-52);
    EXPECT_EQ(cumulative[7], 1.0);
    EXPECT_EQ(draw(weights, {0xFFFFF800u, 0xFFFFFFFFu}), 7);
}

TEST(RandomDraw, all_zero_weights_give_the_first_record) {
    const std::vector<double> cumulative = cumulative_distribution({0, 0, 0});
    EXPECT_TRUE(std::isnan(cumulative[0]) && std::isnan(cumulative[1]));
    EXPECT_EQ(cumulative[2], 1.0);
    for (std::uint32_t high : {0u, HALF, 0xFFFFFFFEu}) EXPECT_EQ(draw({0, 0, 0}, {7, high}), 0);
}

TEST(RandomDraw, takes_no_number_below_two_records_and_redraws_a_u_of_one) {
    std::size_t taken = 99;
    EXPECT_EQ(draw({0.25f}, {}, &taken), 0);
    EXPECT_EQ(taken, 0u);
    EXPECT_EQ(draw({}, {}, &taken), 0);
    EXPECT_EQ(taken, 0u);
    // 2^64 - 1 rounds to 2^64, u = 1.0: refused, and two new outputs are read.
    EXPECT_EQ(draw({0.5f, 0.5f}, {0xFFFFFFFFu, 0xFFFFFFFFu, 0, 0xC0000000u}, &taken), 1);
    EXPECT_EQ(taken, 4u);
}

TEST(RandomDraw, weights_are_narrowed_to_float_and_made_relative) {
    const std::vector<float> weights = weights_of(std::vector<OutcomeProbability>{{{0}, 1e-50}, {{1}, 0.1}, {{2}, 0.3}});
    EXPECT_EQ(weights, (std::vector<float>{0.0f, 0.1f, 0.3f}));
    const std::vector<double> cumulative = cumulative_distribution(weights);
    EXPECT_EQ(cumulative[1], static_cast<double>(0.1f) / (static_cast<double>(0.1f) + static_cast<double>(0.3f)));
    EXPECT_EQ(draw(weights, {1, 0}), 1) << "the vanished weight cannot be drawn above u = 0";
}

}  // namespace
}  // namespace vortan::qudit
