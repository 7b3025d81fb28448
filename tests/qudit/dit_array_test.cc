// Packing, limits, ordering and hashing of the two dit-array forms.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "qudit/dit_array.h"

namespace vortan::qudit {
namespace {

// Runs `f`, which must throw E, and gives its text; any other type escapes.
template <class E, class F>
std::string message_of(F&& f) {
    try {
        f();
    } catch (const E& e) {
        return e.what();
    }
    ADD_FAILURE() << "nothing thrown";
    return {};
}

TEST(DitArray, writes_value_and_dimension_less_one_into_the_dits_field) {
    DitArray<2, 12> binary;
    binary[3] = Dit{1, 2};
    EXPECT_EQ(binary.values, 8u);
    EXPECT_EQ(binary.dimensions, 8u);

    DitArray<3, 12> ternary;
    ternary[1] = Dit{2, 3};
    EXPECT_EQ(ternary.values, 8u);
    EXPECT_EQ(ternary.dimensions, 8u);
    EXPECT_EQ(static_cast<Dit>(ternary[1]), (Dit{2, 3}));
    // A field nobody wrote reads as value 0 of dimension 1.
    EXPECT_EQ(static_cast<Dit>(ternary[0]), (Dit{0, 1}));
}

TEST(DitArray, overwriting_a_dit_clears_its_old_bits_and_no_others) {
    DitArray<3, 4> a;
    for (int i = 0; i < 4; ++i) a[i] = Dit{2, 3};  // every field 0b10 / 0b10
    a[2] = Dit{1, 2};
    EXPECT_EQ(a.values, 0b10'01'10'10u);
    EXPECT_EQ(a.dimensions, 0b10'01'10'10u);
    a[1] = a[2];  // proxy to proxy copies both fields
    EXPECT_EQ(a.values, 0b10'01'01'10u);
    EXPECT_EQ(a.dimensions, 0b10'01'01'10u);
}

// The value is tested against D, not against the dit's own dimension, and
// before the dimension; a refused write stores nothing.
template <class T>
void expect_refused(Dit dit, const std::string& text) {
    T a;
    for (int i = 0; i < static_cast<int>(T::size()); ++i) a[i] = Dit{1, 2};
    const T before = a;
    EXPECT_EQ(message_of<std::out_of_range>([&] { a[0] = dit; }), text) << dit.value << "/" << dit.dimension;
    EXPECT_EQ(a.values, before.values);
    EXPECT_EQ(a.dimensions, before.dimensions);
}

TEST(DitArray, assignment_refuses_values_and_dimensions_beyond_D_and_changes_nothing) {
    const std::string value_text = "DitArray::operator=: v.value >= MAX_DIMENSION";
    const std::string dimension_text = "DitArray::operator=: v.dimension > MAX_DIMENSION";
    expect_refused<DitArray<2, 3>>({0, 3}, dimension_text);
    expect_refused<DitArray<2, 3>>({2, 3}, value_text);
    expect_refused<DitArray<3, 3>>({0, 4}, dimension_text);
    expect_refused<DitArray<3, 3>>({3, 2}, value_text);

    DitArray<3, 1> a;
    a[0] = Dit{2, 2};
    EXPECT_EQ(static_cast<Dit>(a[0]), (Dit{2, 2}));
}

TEST(DitArray, index_check_reads_negative_as_out_of_range) {
    DitArray<2, 12> a;
    const DitArray<3, 1> b;
    DynamicDitArray dyn(std::vector<Dit>{{0, 2}, {1, 2}});
    const DynamicDitArray empty;
    EXPECT_EQ(message_of<BadQuditIndex>([&] { a[12]; }), "DitArray index 12 out of range [0, 12)");
    EXPECT_EQ(message_of<BadQuditIndex>([&] { a[-1]; }), "DitArray index -1 out of range [0, 12)");
    EXPECT_EQ(message_of<BadQuditIndex>([&] { b[1]; }), "DitArray index 1 out of range [0, 1)");
    EXPECT_EQ(message_of<BadQuditIndex>([&] { dyn[2]; }), "DynamicDitArray index 2 out of range [0, 2)");
    EXPECT_EQ(message_of<BadQuditIndex>([&] { dyn[-1]; }), "DynamicDitArray index -1 out of range [0, 2)");
    EXPECT_EQ(message_of<BadQuditIndex>([&] { empty[0]; }), "DynamicDitArray index 0 out of range [0, 0)");
}

TEST(DitArray, addition_wraps_within_the_dits_own_dimension) {
    DitArray<3, 2> a;
    a[1] = Dit{1, 3};
    EXPECT_EQ(a[1] + 2, (Dit{0, 3}));
    a[1] = Dit{0, 3};
    EXPECT_EQ(a[1] + 2, (Dit{2, 3}));
    a[1] = a[1] + 2;  // the way a gate moves a dit
    EXPECT_EQ(a.values, 0b10'00u);
    // Dit 0 was never written: dimension 1, so only + 0 is legal.
    EXPECT_EQ(a[0] + 0, (Dit{0, 1}));
    EXPECT_EQ(message_of<std::out_of_range>([&] { a[0] + 1; }), "DitArray::operator+: v >= dimension()");

    DynamicDitArray dyn(std::vector<Dit>{{2, 3}});
    EXPECT_EQ(dyn[0] + 2, (Dit{1, 3}));
    EXPECT_EQ(message_of<std::out_of_range>([&] { dyn[0] + 3; }),
              "DynamicDitArray::DitProxy::operator+: v >= dimension()");
}

TEST(DitArray, equality_and_hash_ignore_recorded_dimensions) {
    DitArray<3, 2> a, b, c;
    a[0] = Dit{1, 2};
    b[0] = Dit{1, 3};
    c[1] = Dit{1, 3};
    EXPECT_TRUE(a == b);
    EXPECT_EQ(hash_value(a), hash_value(b));
    EXPECT_FALSE(a == c);
    EXPECT_NE(hash_value(a), hash_value(c));

    const DynamicDitArray x(std::vector<Dit>{{1, 2}, {0, 2}});
    const DynamicDitArray y(std::vector<Dit>{{1, 3}, {0, 1}});
    const DynamicDitArray prefix(std::vector<Dit>{{1, 3}});
    EXPECT_TRUE(x == y);
    EXPECT_EQ(hash_value(x), hash_value(y));
    EXPECT_FALSE(x == prefix);
    EXPECT_NE(hash_value(x), hash_value(prefix));
    EXPECT_EQ(hash_value(DynamicDitArray{}), FNV_OFFSET_BASIS);
}

TEST(DitArray, packed_order_takes_the_highest_dit_as_most_significant) {
    DitArray<2, 3> low, high;
    low[0] = Dit{1, 2};
    high[2] = Dit{1, 2};
    EXPECT_TRUE(low < high);
    EXPECT_FALSE(high < low);
    EXPECT_FALSE(low < low);
}

TEST(DitArray, dynamic_order_is_lexicographic_from_dit_0_with_a_prefix_first) {
    auto of = [](std::vector<std::uint64_t> values) {
        DynamicDitArray a;
        for (std::uint64_t v : values) a.dits.push_back({v, 9});
        return a;
    };
    const DynamicDitArray middle = of({0, 1});
    for (const DynamicDitArray& later : {of({0, 1, 0}), of({1})}) {
        EXPECT_TRUE(middle < later);
        EXPECT_FALSE(later < middle);
    }
    EXPECT_TRUE(of({0, 0, 5}) < middle);
    EXPECT_FALSE(middle < of({0, 0, 5}));
    EXPECT_FALSE(middle < middle);
    EXPECT_TRUE(of({}) < of({0}));
}

TEST(DitArray, make_basis_state_fills_from_dit_0_and_leaves_the_rest_at_dimension_1) {
    EXPECT_EQ(message_of<BadQuditIndex>([] { make_basis_state<DitArray<2, 2>>({{0, 2}, {0, 2}, {0, 2}}); }),
              "make_basis_state: 3 dits supplied for a 2-dit basis state");
    // Each dit goes through the checked assignment.
    EXPECT_EQ(message_of<std::out_of_range>([] { make_basis_state<DitArray<2, 2>>({{0, 2}, {2, 2}}); }),
              "DitArray::operator=: v.value >= MAX_DIMENSION");

    const auto zero = make_basis_state<DitArray<3, 4>>({});
    EXPECT_EQ(zero.values, 0u);
    EXPECT_EQ(zero.dimensions, 0u);

    const auto shorter = make_basis_state<DitArray<3, 4>>({{1, 2}, {2, 3}});
    EXPECT_EQ(shorter.values, 0b10'01u);
    EXPECT_EQ(shorter.dimensions, 0b10'01u);
    EXPECT_EQ(shorter[3], (Dit{0, 1}));
}

}  // namespace
}  // namespace vortan::qudit
