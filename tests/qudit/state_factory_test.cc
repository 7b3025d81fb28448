// The factory: its refusals in their order, and a state that fits each of the
// 24 compiled shapes.

#include <typeindex>

#include "qudit/state_forms.h"

namespace vortan::qudit {

TEST(MakeState, refuses_raw_size_then_dimension_then_qudit_count) {
    // One basis state repeated: merging would leave a single entry. Its row is wrong on every count.
    const std::vector<DynamicBasisEntry> over(MAX_STATE_SIZE + 1, {DynamicDitArray({{0, 2}}), 1.0}), none;
    const std::tuple<const std::vector<DynamicBasisEntry>*, int, int, std::type_index, std::string> cases[] = {
        {&over, 0, 0, typeid(StateSizeExceeded), "State has 100001 basis states, exceeding limit of 100000"},
        {&none, 1, 1, typeid(BadDimension), "dim must be >= 2"},
        {&none, 0, 0, typeid(BadDimension), "dim must be >= 2"},
        {&none, 5, 0, typeid(std::invalid_argument), "num_qudits must be >= 1"},
        {&none, 4, 13, typeid(BadDimension), "Dimension 4 exceeds compile-time MAX_DIMENSION (3) and dynamic fallback is disabled"},
        {&none, 3, 13, typeid(BadQuditNumber), "num_qudits 13 exceeds compile-time MAX_NUM_QUDITS (12) and dynamic fallback is disabled"}};
    for (const auto& [list, dimension, num_qudits, type, text] : cases) {
        try { make_state(dimension, num_qudits, *list); ADD_FAILURE() << "accepted " << text; }
        catch (const std::exception& e) { EXPECT_TRUE(std::type_index(typeid(e)) == type && e.what() == text) << e.what(); }
    }
    EXPECT_EQ(make_state(2, 1, {over.begin() + 1, over.end()})->state_size(), 1u);
}

TEST(MakeState, builds_a_state_holding_each_of_the_24_shapes_whole) {
    []<std::uint64_t... K>(std::integer_sequence<std::uint64_t, K...>) {
        ([] {
            constexpr std::uint64_t D = 2 + K / MAX_NUM_QUDITS, N = 1 + K % MAX_NUM_QUDITS;
            // The highest value on every qudit comes back whole, and no extra qudit.
            const std::vector<Dit> top(N, Dit{D - 1, D});
            const auto state = make_state(D, N, {{DynamicDitArray(top), 1.0}});
            EXPECT_TRUE(state->num_qudits() == N && state->dimension() == D && state->qudit_dimension(N - 1) == D &&
                        state->basis_entries()[0].dits.dits == top)
                << D << "/" << N;
        }(), ...);
    }(std::make_integer_sequence<std::uint64_t, 2 * MAX_NUM_QUDITS>{});
}

}  // namespace vortan::qudit
