// Packing, limits, ordering and hashing of the two dit-array forms.

#include <utility>

#include "qudit/state_forms.h"

namespace vortan::qudit {
using testing::message_of;
using Dyn = DynamicDitArray;
using Dits = std::vector<std::pair<std::uint64_t, std::uint64_t>>;
// Every dit as (value, dimension), read back through the array's own index.
static Dits dits(const auto& a) {
    Dits out;
    for (std::uint64_t i = 0; i < a.size(); ++i) {
        const Dit dit = std::as_const(a)[static_cast<std::int32_t>(i)];
        out.emplace_back(dit.value, dit.dimension);
    }
    return out;
}

// Dits of one dimension, each written through the checked proxy.
template <class T>
static T of(const std::vector<std::uint64_t>& values, std::uint64_t dimension = 2) {
    std::vector<Dit> dits;
    for (std::uint64_t v : values) dits.push_back({v, dimension});
    return make_basis_state<T>(dits);
}

TEST(DitArray, writes_limits_indices_and_additions) {
    auto a = of<DitArray<3, 4>>({2, 2, 2, 2}, 3);
    auto b = of<DitArray<2, 12>>({1});
    a[2] = Dit{1, 2};
    a[1] = a[2];  // proxy to proxy copies both fields
    EXPECT_EQ(dits(a), (Dits{{2, 3}, {1, 2}, {1, 2}, {2, 3}}));
    // Dits past a short list stay value 0, dimension 1.
    Dits short_list{{0, 2}, {1, 2}, {1, 2}};
    short_list.resize(12, {0, 1});
    EXPECT_EQ(dits(of<DitArray<2, 12>>({0, 1, 1})), short_list);
    EXPECT_EQ(message_of<BadQuditIndex>([] { of<DitArray<2, 2>>({0, 0, 0}); }), "make_basis_state: 3 dits supplied for a 2-dit basis state");
    // The value is tested first, and against D rather than the dit's own dimension.
    const std::string value = "DitArray::operator=: v.value >= MAX_DIMENSION", dimension = "DitArray::operator=: v.dimension > MAX_DIMENSION";
    auto refused = [](auto array, Dit dit, const std::string& text) {
        const Dits before = dits(array);
        EXPECT_TRUE(message_of<std::out_of_range>([&] { array[0] = dit; }) == text && dits(array) == before) << dit.value << "/" << dit.dimension;
    };
    refused(a, {3, 2}, value), refused(a, {0, 4}, dimension), refused(b, {2, 3}, value), refused(b, {0, 3}, dimension);
    Dyn dyn({{2, 3}, {1, 2}});
    EXPECT_EQ(message_of<BadQuditIndex>([&] { b[12]; }), "DitArray index 12 out of range [0, 12)");
    EXPECT_EQ(message_of<BadQuditIndex>([&] { b[-1]; }), "DitArray index -1 out of range [0, 12)");
    EXPECT_EQ(message_of<BadQuditIndex>([&] { dyn[2]; }), "DynamicDitArray index 2 out of range [0, 2)");
    EXPECT_EQ(message_of<BadQuditIndex>([&] { dyn[-1]; }), "DynamicDitArray index -1 out of range [0, 2)");
    // Addition wraps within the dit's own dimension; an unwritten dit has dimension 1.
    EXPECT_TRUE(a[1] + 1 == (Dit{0, 2}) && dyn[0] + 2 == (Dit{1, 3}));
    EXPECT_EQ(message_of<std::out_of_range>([&] { b[1] + 1; }), "DitArray::operator+: v >= dimension()");
    EXPECT_EQ(message_of<std::out_of_range>([&] { dyn[1] + 2; }), "DynamicDitArray::DitProxy::operator+: v >= dimension()");
}

TEST(DitArray, equality_and_hash_ignore_dimensions_and_order_is_packed_high_first_or_lexicographic) {
    const auto a = of<DitArray<3, 2>>({1}), b = of<DitArray<3, 2>>({1}, 3), c = of<DitArray<3, 2>>({0, 1});
    const Dyn x({{1, 2}, {0, 2}}), y({{1, 3}, {0, 1}}), prefix({{1, 3}});
    EXPECT_TRUE(a == b && hash_value(a) == hash_value(b) && x == y && hash_value(x) == hash_value(y));
    EXPECT_FALSE(a == c || hash_value(a) == hash_value(c) || x == prefix || hash_value(x) == hash_value(prefix));
    // Both lists strictly increasing; a prefix comes first.
    using P = DitArray<2, 3>;
    const std::vector<P> packed{of<P>({}), of<P>({1}), of<P>({0, 1}), of<P>({1, 1}), of<P>({0, 0, 1}), of<P>({0, 1, 1})};
    const std::vector<Dyn> dynamic{of<Dyn>({}), of<Dyn>({0}), of<Dyn>({0, 0, 5}), of<Dyn>({0, 1}), of<Dyn>({0, 1, 0}), of<Dyn>({1})};
    for (std::size_t i = 0; i < 6; ++i)
        for (std::size_t j = 0; j < 6; ++j) EXPECT_TRUE((packed[i] < packed[j]) == (i < j) && (dynamic[i] < dynamic[j]) == (i < j)) << i << j;
}

}  // namespace vortan::qudit
