// The factory: its refusals in their order, and the exact form it picks for
// each of the 24 compiled shapes.

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <typeindex>
#include <utility>
#include <vector>

#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

struct Refusal {
    std::type_index type;
    std::string text;
};

// The exact dynamic type and text of what make_state throws.
Refusal refusal_of(std::uint64_t dimension, std::uint64_t num_qudits, const std::vector<DynamicBasisEntry>& list) {
    try {
        make_state(dimension, num_qudits, list);
    } catch (const std::exception& e) {
        return {typeid(e), e.what()};
    }
    ADD_FAILURE() << "accepted " << dimension << "/" << num_qudits;
    return {typeid(void), ""};
}

DynamicBasisEntry entry(std::vector<Dit> dits) { return {DynamicDitArray(std::move(dits)), 1.0}; }

TEST(MakeState, refuses_size_then_dimension_then_qudit_count_in_that_order) {
    // One basis state repeated: merging would leave a single entry.
    const std::vector<DynamicBasisEntry> over(MAX_STATE_SIZE + 1, entry({{0, 2}}));
    const std::string size_text = "State has 100001 basis states, exceeding limit of 100000";
    const std::string dimension_text = "Dimension 4 exceeds compile-time MAX_DIMENSION (3) and dynamic fallback is disabled";
    const struct {
        const std::vector<DynamicBasisEntry>* list;
        std::uint64_t dimension, num_qudits;
        std::type_index type;
        std::string text;
    } cases[] = {
        {&over, 7, 0, typeid(StateSizeExceeded), size_text},
        {&over, 2, 1, typeid(StateSizeExceeded), size_text},
        {nullptr, 1, 1, typeid(BadDimension), "dim must be >= 2"},
        {nullptr, 0, 0, typeid(BadDimension), "dim must be >= 2"},
        {nullptr, 5, 0, typeid(std::invalid_argument), "num_qudits must be >= 1"},
        {nullptr, 4, 1, typeid(BadDimension), dimension_text},
        {nullptr, 4, 13, typeid(BadDimension), dimension_text},
        {nullptr, 3, 13, typeid(BadQuditNumber),
         "num_qudits 13 exceeds compile-time MAX_NUM_QUDITS (12) and dynamic fallback is disabled"},
        {nullptr, 2, 1000, typeid(BadQuditNumber),
         "num_qudits 1000 exceeds compile-time MAX_NUM_QUDITS (12) and dynamic fallback is disabled"},
    };
    for (const auto& c : cases) {
        const Refusal r = refusal_of(c.dimension, c.num_qudits, c.list ? *c.list : std::vector<DynamicBasisEntry>{});
        EXPECT_EQ(r.type, c.type) << c.dimension << "/" << c.num_qudits;
        EXPECT_EQ(r.text, c.text);
    }
    // The limit itself is legal, and then the repeats merge.
    const std::vector<DynamicBasisEntry> limit(over.begin(), over.end() - 1);
    EXPECT_EQ(make_state(2, 1, limit)->state_size(), 1u);
}

template <std::uint64_t D, std::uint64_t N>
void expect_exact_form() {
    SCOPED_TRACE(std::to_string(D) + "/" + std::to_string(N));
    const auto empty = make_state(D, N, {});
    EXPECT_NE((dynamic_cast<const State<DitArray<D, N>>*>(empty.get())), nullptr);
    EXPECT_EQ(empty->dimension(), D);
    EXPECT_EQ(empty->num_qudits(), N);
    EXPECT_EQ(empty->state_size(), 0u);
    EXPECT_EQ(empty->qudit_dimension(N - 1), D);

    // A full entry at the top value of every dit comes back whole.
    const std::vector<Dit> top(N, Dit{D - 1, D});
    const auto full = make_state(D, N, {entry(top)});
    ASSERT_EQ(full->state_size(), 1u);
    EXPECT_EQ(full->basis_entries()[0].dits.dits, top);
}

template <std::uint64_t D, std::uint64_t... I>
void expect_exact_forms(std::integer_sequence<std::uint64_t, I...>) {
    (expect_exact_form<D, I + 1>(), ...);
}

TEST(MakeState, builds_the_exact_form_for_each_of_the_24_shapes) {
    expect_exact_forms<2>(std::make_integer_sequence<std::uint64_t, MAX_NUM_QUDITS>{});
    expect_exact_forms<3>(std::make_integer_sequence<std::uint64_t, MAX_NUM_QUDITS>{});
}

TEST(MakeState, entries_must_fit_the_chosen_form) {
    const struct {
        std::uint64_t dimension, num_qudits;
        std::vector<Dit> dits;
        std::type_index type;
        std::string text;
    } cases[] = {
        {2, 1, {{2, 2}}, typeid(std::out_of_range), "DitArray::operator=: v.value >= MAX_DIMENSION"},
        {2, 1, {{1, 3}}, typeid(std::out_of_range), "DitArray::operator=: v.dimension > MAX_DIMENSION"},
        {3, 2, {{0, 3}, {3, 3}}, typeid(std::out_of_range), "DitArray::operator=: v.value >= MAX_DIMENSION"},
        {2, 2, {{0, 2}, {0, 2}, {0, 2}}, typeid(BadQuditIndex),
         "make_basis_state: 3 dits supplied for a 2-dit basis state"},
    };
    for (const auto& c : cases) {
        // A later, bad entry spoils a good first one.
        const Refusal r = refusal_of(c.dimension, c.num_qudits, {entry({{0, 2}}), entry(c.dits)});
        EXPECT_EQ(r.type, c.type) << c.text;
        EXPECT_EQ(r.text, c.text);
    }
}

TEST(MakeState, mixed_dimensions_and_short_entries_are_taken) {
    const auto mixed = make_state(3, 3, {entry({{1, 2}, {2, 3}})});
    EXPECT_EQ(mixed->qudit_dimension(0), 2u);
    EXPECT_EQ(mixed->qudit_dimension(1), 3u);
    // The dit the entry lacks is value 0 of dimension 1.
    EXPECT_EQ(mixed->basis_entries()[0].dits.dits, (std::vector<Dit>{{1, 2}, {2, 3}, {0, 1}}));
}

}  // namespace
}  // namespace vortan::qudit
