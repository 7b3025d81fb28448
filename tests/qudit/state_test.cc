// Construction, normalisation and the plain storage operations of State<T>,
// run once per form: the smallest and largest packed shapes of each D, and
// the dynamic form.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

using Amp = std::complex<double>;

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

template <class T>
struct Shape;
template <std::uint64_t D_, std::uint64_t N_>
struct Shape<DitArray<D_, N_>> {
    static constexpr std::uint64_t D = D_, N = N_;
};
template <>
struct Shape<DynamicDitArray> {  // its D and N are whatever the fields say
    static constexpr std::uint64_t D = 3, N = 4;
};

template <class T>
class StateTest : public ::testing::Test {
protected:
    static constexpr std::uint64_t D = Shape<T>::D, N = Shape<T>::N;

    // Basis state k read in base D, dit 0 the lowest digit; every dit of dimension D.
    static DynamicDitArray basis(std::uint64_t k) {
        DynamicDitArray a;
        for (std::uint64_t i = 0; i < N; ++i, k /= D) a.dits.push_back({k % D, D});
        return a;
    }
    static State<T> make(const std::vector<std::pair<std::uint64_t, Amp>>& list) {
        std::vector<DynamicBasisEntry> entries;
        for (const auto& [k, amp] : list) entries.push_back({basis(k), amp});
        return State<T>(D, N, entries);
    }
};

using Forms = ::testing::Types<DitArray<2, 1>, DitArray<2, 12>, DitArray<3, 1>, DitArray<3, 12>, DynamicDitArray>;
TYPED_TEST_SUITE(StateTest, Forms);

TYPED_TEST(StateTest, construction_sums_equal_dits_in_place_of_the_first) {
    const auto s = this->make({{1, {0.6, 0.1}}, {0, {0.3, 0}}, {1, {0.2, -0.3}}});
    const auto out = s.basis_entries();
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0].dits, this->basis(1));
    EXPECT_DOUBLE_EQ(out[0].amplitude.real(), 0.8);
    EXPECT_DOUBLE_EQ(out[0].amplitude.imag(), -0.2);
    EXPECT_EQ(out[1].dits, this->basis(0));
}

TYPED_TEST(StateTest, construction_keeps_the_first_recorded_dimensions) {
    // Value 0 is legal at dimension 1; the later copy records dimension D.
    DynamicDitArray ones;
    ones.dits.assign(this->N, Dit{0, 1});
    const State<TypeParam> s(this->D, this->N, {{ones, {0.5, 0}}, {this->basis(0), {0.25, 0}}});
    ASSERT_EQ(s.state_size(), 1u);
    EXPECT_EQ(s.basis_entries()[0].dits.dits, ones.dits);
    EXPECT_EQ(s.qudit_dimension(0), 1u);
    EXPECT_EQ(s.basis_entries()[0].amplitude, Amp(0.75));
}

TYPED_TEST(StateTest, construction_drops_exact_zeros_only) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const struct {
        std::vector<std::pair<std::uint64_t, Amp>> list;
        std::size_t kept;
    } cases[] = {
        {{{0, 0.5}, {0, -0.5}}, 0},
        {{{0, {-0.0, -0.0}}}, 0},
        {{{0, {1e-15, 0}}}, 1},
        {{{0, {0, 1e-15}}}, 1},
        {{{0, {nan, 0}}}, 1},
        {{{0, {0, 0}}, {1, 0.5}}, 1},
    };
    for (const auto& c : cases) EXPECT_EQ(this->make(c.list).state_size(), c.kept) << c.list.size();
    EXPECT_EQ(this->make({{0, 0.0}, {1, 0.5}}).basis_entries()[0].dits, this->basis(1));
}

TYPED_TEST(StateTest, normalize_leaves_negligible_and_near_unit_norms_alone) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const struct {
        std::vector<Amp> amps;  // amplitude of basis state i
        double scale;
    } cases[] = {
        {{}, 1.0},
        {{std::sqrt(1e-21)}, 1.0},
        {{std::sqrt(1 + 1e-13)}, 1.0},
        {{{1.2, 0}, {0, 1.6}}, 0.5},
        {{{-1.2, 1.6}}, 0.5},
        {{std::sqrt(2e-20)}, 1 / std::sqrt(2e-20)},
        {{std::sqrt(1 + 1e-11)}, 1 / std::sqrt(1 + 1e-11)},
        {{nan, 0.5}, 1.0},  // a NaN norm never scales the finite entries
    };
    for (const auto& c : cases) {
        std::vector<std::pair<std::uint64_t, Amp>> list;
        for (std::size_t i = 0; i < c.amps.size(); ++i) list.push_back({i, c.amps[i]});
        auto s = this->make(list);
        s.normalize();
        const auto out = s.basis_entries();
        ASSERT_EQ(out.size(), c.amps.size());
        for (std::size_t i = 0; i < out.size(); ++i) {
            if (std::isnan(c.amps[i].real())) continue;
            if (c.scale == 1.0) {
                EXPECT_EQ(out[i].amplitude, c.amps[i]) << "entry " << i << " of " << out.size();
            } else {
                EXPECT_DOUBLE_EQ(out[i].amplitude.real(), c.amps[i].real() * c.scale) << c.scale;
                EXPECT_DOUBLE_EQ(out[i].amplitude.imag(), c.amps[i].imag() * c.scale) << c.scale;
            }
        }
    }
}

TYPED_TEST(StateTest, qudit_dimension_reads_each_dit_and_falls_back_to_D_when_empty) {
    const State<TypeParam> empty(this->D, this->N, {});
    EXPECT_EQ(empty.qudit_dimension(0), this->D);
    EXPECT_EQ(empty.qudit_dimension(static_cast<std::int32_t>(this->N - 1)), this->D);

    // Dimensions 1, 2, ... D, 1, ... with each dit at its top value.
    DynamicDitArray mixed;
    for (std::uint64_t i = 0; i < this->N; ++i) mixed.dits.push_back({i % this->D, i % this->D + 1});
    const State<TypeParam> s(this->D, this->N, {{mixed, 1.0}});
    EXPECT_EQ(s.dimension(), this->D);
    for (std::uint64_t i = 0; i < this->N; ++i)
        EXPECT_EQ(s.qudit_dimension(static_cast<std::int32_t>(i)), i % this->D + 1) << i;
    EXPECT_EQ(s.basis_entries()[0].dits.dits, mixed.dits);
}

TYPED_TEST(StateTest, index_checks_name_the_context_and_the_range) {
    const auto s = this->make({{0, 1.0}});
    const auto n = static_cast<std::int32_t>(this->N);
    const std::string range = " out of range [0, " + std::to_string(n) + ")";
    EXPECT_EQ(message_of<BadQuditIndex>([&] { s.qudit_dimension(n); }),
              "qudit_dimension: qudit index " + std::to_string(n) + range);
    EXPECT_EQ(message_of<BadQuditIndex>([&] { s.qudit_dimension(-1); }), "qudit_dimension: qudit index -1" + range);
    EXPECT_EQ(message_of<BadQuditIndex>([&] { s.check_qudit_index_signed(-1, "hadamard"); }),
              "hadamard: qudit index -1 is negative");
    EXPECT_EQ(message_of<BadQuditIndex>([&] { s.check_qudit_index_signed(n, "swap"); }),
              "swap: qudit index " + std::to_string(n) + range);
    EXPECT_NO_THROW(s.check_qudit_index_signed(n - 1, "swap"));
}

TYPED_TEST(StateTest, clone_copies_entries_in_order_including_zeros) {
    // Scaling by 1e-10 flushes the smallest subnormal to an exact zero, the
    // kind of entry a gate can leave behind and construction would drop.
    auto s = this->make({{1, 1e10}, {0, std::numeric_limits<double>::denorm_min()}});
    s.normalize();
    ASSERT_EQ(s.basis_entries()[1].amplitude, Amp(0.0));

    const auto c = s.clone();
    ASSERT_NE(dynamic_cast<State<TypeParam>*>(c.get()), nullptr);
    const auto original = s.basis_entries(), copy = c->basis_entries();
    ASSERT_EQ(copy.size(), 2u);
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(copy[i].dits.dits, original[i].dits.dits);
        EXPECT_EQ(copy[i].amplitude, original[i].amplitude);
    }

    auto t = this->make({{1, 2.0}});
    const auto u = t.clone();
    u->normalize();
    EXPECT_EQ(t.basis_entries()[0].amplitude, Amp(2.0));
    EXPECT_EQ(u->basis_entries()[0].amplitude, Amp(1.0));
}

TEST(State, dynamic_form_counts_qudits_from_its_first_entry) {
    const DynamicDitArray two(std::vector<Dit>{{0, 2}, {1, 2}});
    const State<DynamicDitArray> s(2, 5, {{two, 1.0}});
    EXPECT_EQ(message_of<BadQuditIndex>([&] { s.qudit_dimension(2); }),
              "qudit_dimension: qudit index 2 out of range [0, 2)");
    // With no entry and no qudits there is nothing to check against.
    const State<DynamicDitArray> none(2, 0, {});
    EXPECT_NO_THROW(none.check_qudit_index_signed(7, "swap"));
    EXPECT_EQ(message_of<BadQuditIndex>([&] { none.check_qudit_index(0, "probabilities"); }),
              "probabilities: qudit index 0 out of range [0, 0)");
}

TEST(State, size_check_allows_exactly_the_limit) {
    std::vector<DynamicBasisEntry> list;
    for (std::uint64_t k = 0; k <= MAX_STATE_SIZE; ++k) {
        DynamicDitArray dits;
        for (std::uint64_t i = 0, rest = k; i < 12; ++i, rest /= 3) dits.dits.push_back({rest % 3, 3});
        list.push_back({std::move(dits), 1.0});
    }
    const State<DitArray<3, 12>> over(3, 12, list);
    ASSERT_EQ(over.state_size(), 100001u);
    EXPECT_EQ(message_of<StateSizeExceeded>([&] { over.check_state_size(); }),
              "State has 100001 basis states, exceeding limit of 100000");
    list.pop_back();
    EXPECT_NO_THROW((State<DitArray<3, 12>>(3, 12, list).check_state_size()));
}

}  // namespace
}  // namespace vortan::qudit
