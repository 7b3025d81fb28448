// The draw through its seam, from fixed generator outputs: the low half comes
// first, ties go to the lower record, zero weights are drawn only at the
// edges, and a u of 1.0 is drawn again. Each row takes exactly its outputs.

#include <gtest/gtest.h>

#include "qudit/measurement/random_source.h"

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
        EXPECT_EQ(vortan::qudit::draw_index(weights, source), index) << ::testing::PrintToString(outputs);
        EXPECT_EQ(taken, outputs.size()) << ::testing::PrintToString(outputs);
    }
}
