// Construction by the factory, in each compiled shape, with its refusals in
// their order; normalisation and storage of a state, on both forms.

#include <limits>
#include <typeindex>

#include "qudit/state_forms.h"

namespace vortan::qudit {
using namespace testing;
const double nan = std::numeric_limits<double>::quiet_NaN();

class StateTest : public BothForms {};
VORTAN_BOTH_FORMS(StateTest);

TEST_P(StateTest, construction_merges_into_the_first_occurrence_and_drops_exact_zeros_only) {
    expect_near(terms_of(*build({3, 2}, {{{1, 0}, {.6, .1}}, {{2, 1}, .3}, {{1, 0}, {.2, -.3}}})), {{{1, 0}, {.8, -.2}}, {{2, 1}, .3}});
    // The first copy's dimensions stay; value 0 is legal at dimension 1.
    const std::vector<DynamicBasisEntry> list{{DynamicDitArray({{0, 1}, {1, 2}}), .5}, {DynamicDitArray({{0, 3}, {1, 3}}), .25}};
    const auto s = GetParam() == Form::packed ? make_state(3, 2, list) : std::make_unique<State<DynamicDitArray>>(3, 2, list);
    EXPECT_TRUE(s->basis_entries()[0].dits.dits == list[0].dits.dits && terms_of(*s) == (Terms{{{0, 1}, .75}}));
    const Terms zeros[] = {{{{0}, .5}, {{0}, -.5}}, {{{0}, {-0.0, -0.0}}}, {{{0}, 1e-15}}, {{{0}, {0, 1e-15}}}, {{{0}, nan}}};
    for (int c = 0; c < 5; ++c) EXPECT_EQ(build({2}, zeros[c])->state_size(), c < 2 ? 0u : 1u) << c;
}

TEST_P(StateTest, normalize_scales_unless_the_norm_is_negligible_or_within_1e_12_of_1) {
    const double tiny = std::sqrt(2e-20), off = std::sqrt(1 + 1e-11);
    const std::pair<Terms, double> cases[] = {
        {{{{0}, std::sqrt(1e-21)}}, 1}, {{{{0}, std::sqrt(1 + 1e-13)}}, 1}, {{{{0}, 1.2}, {{1}, {0, 1.6}}}, .5},
        {{{{1}, {-1.2, 1.6}}}, .5},     {{{{0}, tiny}}, 1 / tiny},         {{{{0}, off}}, 1 / off}};
    for (auto [terms, scale] : cases) {
        const auto s = build({2}, terms);
        s->normalize();
        for (Term& t : terms) t.amplitude *= scale;
        expect_near(terms_of(*s), terms);
    }
    const auto s = build({2}, {{{0}, nan}, {{1}, .5}});
    s->normalize();  // a NaN norm scales nothing
    EXPECT_EQ(terms_of(*s)[1].amplitude, .5);
}

TEST_P(StateTest, qudit_dimensions_come_from_the_first_entry_and_indices_are_checked) {
    EXPECT_EQ(build({3, 2}, {})->qudit_dimension(1), 3u);  // none: D
    const auto s = build({3, 1, 2}, {{{2, 0, 1}, 1}, {{0, 0, 0}, 1}});
    EXPECT_TRUE(s->qudit_dimension(0) == 3 && s->qudit_dimension(1) == 1 && s->qudit_dimension(2) == 2);
    EXPECT_EQ(message_of<BadQuditIndex>([&] { s->qudit_dimension(3); }), "qudit_dimension: qudit index 3 out of range [0, 3)");
    EXPECT_EQ(message_of<BadQuditIndex>([&] { s->qudit_dimension(-1); }), "qudit_dimension: qudit index -1 out of range [0, 3)");
}

TEST_P(StateTest, clone_copies_entries_in_order_including_zeros_and_stands_alone) {
    const auto s = build({2}, {{{1}, 1e10}, {{0}, std::numeric_limits<double>::denorm_min()}});
    const auto before = s->clone();
    s->normalize();  // 1e-10 times the smallest subnormal is an exact zero
    const auto after = s->clone();
    EXPECT_TRUE(typeid(*after) == typeid(*s) && terms_of(*after) == terms_of(*s) && terms_of(*after)[1] == (Term{{0}, 0.0}));
    EXPECT_EQ(terms_of(*before)[0].amplitude, 1e10);
}

TEST(State, size_check_allows_exactly_the_limit) {
    std::vector<DynamicBasisEntry> list;
    for (std::uint64_t k = 0; k <= MAX_STATE_SIZE; ++k) list.push_back({DynamicDitArray({{k, k + 1}}), 1.0});
    EXPECT_EQ(message_of<StateSizeExceeded>([&] { State<DynamicDitArray>(3, 1, list).check_state_size(); }),
              "State has 100001 basis states, exceeding limit of 100000");
    EXPECT_NO_THROW(State<DynamicDitArray>(3, 1, {list.begin(), list.end() - 1}).check_state_size());
}

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
