// The packed kernels of the in-place gates and of the outcome tests against
// the checked per-entry road, on seeded random states that include odd ones.
// Each call must leave the same entries bit for bit, in the same order, and
// throw the same text, also where a refusal comes after some entries changed.

#include <algorithm>
#include <array>
#include <functional>
#include <limits>
#include <random>
#include <typeinfo>

#include "qudit/gates/entry_kernels.h"
#include "qudit/state_forms.h"

namespace vortan::qudit {
namespace {

using testing::same_bits, testing::same_entries;

/// What a call threw, its type and text; empty when nothing.
std::string thrown(const std::function<void()>& f) {
    try { f(); } catch (const std::exception& e) { return std::string(typeid(e).name()) + ": " + e.what(); }
    return {};
}

/// Random entries over the packed form T, all of the same dimensions, or odd:
/// some entries with other dimensions, values past a dit's dimension, trailing
/// dits unwritten (dimension 1), a dimension 0 whose unmasked bits raise the
/// fields above past D, or amplitude parts that products must treat with care.
constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double SPECIAL_PARTS[] = {INF, -INF, std::numeric_limits<double>::quiet_NaN(), -0.0, 0.0,
                                    std::numeric_limits<double>::max(), -std::numeric_limits<double>::denorm_min()};

template <class T>
std::vector<DynamicBasisEntry> random_list(std::mt19937& rng) {
    const auto pick = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
    const int n = static_cast<int>(T::size()), d_max = static_cast<int>(T::max_dimension);
    std::vector<std::uint64_t> dims(n);
    for (auto& d : dims) d = static_cast<std::uint64_t>(2 + pick(d_max - 1));
    const bool odd = pick(3) == 0;
    std::normal_distribution<double> gauss;
    std::vector<DynamicBasisEntry> list;
    // Now and then past 64 entries, so that a bitmap of them spans several words.
    for (int count = 1 + pick(pick(4) == 0 ? 300 : 40); count > 0; --count) {
        std::vector<Dit> dits;
        for (int q = 0; q < n; ++q) dits.push_back({static_cast<std::uint64_t>(pick(static_cast<int>(dims[q]))), dims[q]});
        if (odd && pick(4) == 0) {
            Dit& dit = dits[static_cast<std::size_t>(pick(n))];
            switch (pick(4)) {
                case 0: dit.dimension = static_cast<std::uint64_t>(1 + pick(d_max)); break;
                case 1: dit.value = static_cast<std::uint64_t>(pick(d_max)); break;
                case 2: dits.resize(static_cast<std::size_t>(pick(n))); break;
                default: dit.dimension = pick(8) == 0 ? 0 : 1; break;
            }
        }
        std::complex<double> amplitude(gauss(rng), gauss(rng));
        if (odd && pick(8) == 0) {
            const double special = SPECIAL_PARTS[static_cast<std::size_t>(pick(static_cast<int>(std::size(SPECIAL_PARTS))))];
            amplitude = pick(2) ? std::complex<double>(special, amplitude.imag()) : std::complex<double>(amplitude.real(), special);
        }
        list.push_back({DynamicDitArray(std::move(dits)), amplitude});
    }
    return list;
}

// The packed walks multiply with a Multiplier: every pair of parts from the list,
// as an amplitude and as a factor, must give the bits of the complex product,
// also where that product recovers infinities from NaN parts.
TEST(PackedKernels, multiplier_is_the_complex_product_bit_for_bit) {
    std::vector<double> parts(std::begin(SPECIAL_PARTS), std::end(SPECIAL_PARTS));
    parts.insert(parts.end(), {1.0, -1.0, 0.5, 1.2246467991473532e-16, -1e300, 3e-310});
    for (const double ar : parts)
        for (const double ai : parts)
            for (const double br : parts)
                for (const double bi : parts) {
                    const std::complex<double> a(ar, ai), b(br, bi);
                    const std::complex<double> got = Multiplier(b)(a);
                    EXPECT_TRUE(same_bits(got, a * b)) << a << " * " << b << ": " << got << " vs " << a * b;
                }
}

template <class T>
class PackedKernels : public ::testing::Test {};
using Shapes = ::testing::Types<DitArray<2, 3>, DitArray<2, 12>, DitArray<3, 4>, DitArray<3, 12>>;
TYPED_TEST_SUITE(PackedKernels, Shapes);

// Controls of both senses with values from -1 to 4 (past every field), now
// and then naming a qudit out of range; targets likewise, sometimes twice.
// Swaps and whole i-swaps at odd quarter turns take valid pairs and controls
// (their checks come first and are unchanged), refused when the first entry's
// pair differs in dimension.
TYPED_TEST(PackedKernels, in_place_gates_match_the_checked_road) {
    using T = TypeParam;
    std::mt19937 rng(7);
    const auto pick = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
    const int n = static_cast<int>(T::size());
    const auto index = [&] { return pick(30) == 0 ? (pick(2) ? n : -1) : pick(n); };
    for (int round = 0; round < 5000; ++round) {
        State<T> state(T::max_dimension, T::size(), random_list<T>(rng));
        std::vector<BasisEntry<T>> want = state.entries();
        const int gate = pick(7), q1 = pick(n), q2 = (q1 + 1 + pick(n - 1)) % n;
        const bool pair = gate >= 5;
        Targets targets{pair ? q1 : index()};
        if (pair) targets.push_back(q2);
        else if (pick(4) == 0) targets.push_back(pick(3) == 0 ? targets[0] : index());
        Predicates predicates;
        for (int k = pick(4); k > 0; --k) {
            const Predicate p{pair ? pick(n) : index(), pick(6) - 1, pick(2) == 1};
            if (std::find(targets.begin(), targets.end(), p.qudit_index) == targets.end()) predicates.push_back(p);
        }
        const double fraction = gate == 6 ? std::array{1.0, -1.0, 3.0}[pick(3)]
                                : pick(2)  ? 1.0 : std::uniform_real_distribution<double>(-2.0, 2.0)(rng);
        const std::string got = thrown([&] {
            switch (gate) {
                case 0: state.shift(targets, predicates); break;
                case 1: state.cycle(targets, predicates); break;
                case 2: state.clock(targets, predicates); break;
                case 3: state.fractional_clock(targets, fraction, predicates); break;
                case 4: state.phase_rotate(predicates, fraction); break;
                case 5: state.swap(q1, q2, predicates); break;
                default: state.i_swap(q1, q2, fraction, predicates); break;
            }
        });
        ClockFactors factor(gate == 2 ? 1.0 : fraction);
        const std::complex<double> turn(std::cos(fraction), std::sin(fraction)), i_turn(0.0, std::sin(fraction * 1.5707963267948966));
        const std::string expected = thrown([&] {
            if (pair && !want.empty() && std::as_const(want.front().dits)[q1].dimension != std::as_const(want.front().dits)[q2].dimension)
                throw DifferentDimensions(gate == 6 ? "Targets of fractional-i-swap operation have different dimensions"
                                                    : "Targets of swap operation have different dimensions");
            for (BasisEntry<T>& entry : want) {
                if (!entry_passes_predicates(entry.dits, predicates)) continue;
                if (gate < 2) step_levels(entry.dits, targets, gate == 1);
                else if (gate < 4) turn_clock(entry.amplitude, entry.dits, targets, factor);
                else if (gate == 4) entry.amplitude = entry.amplitude * turn;
                else if (gate == 5) exchange(entry.dits, q1, q2);
                else if (std::as_const(entry.dits)[q1].value != std::as_const(entry.dits)[q2].value)
                    entry.amplitude = entry.amplitude * i_turn, exchange(entry.dits, q1, q2);
            }
        });
        EXPECT_EQ(got, expected) << "round " << round << " gate " << gate;
        EXPECT_TRUE(same_entries(state.entries(), want)) << "round " << round << " gate " << gate;
    }
}

// The dynamic form reads every dit through its checked road and keys its
// records by plain lists: forced measurement and probabilities on the same
// list must agree with it in the order of records and survivors, and bit for
// bit, whether the packed form tallies by the word moved down, by a gathered
// code or by hashing.
TYPED_TEST(PackedKernels, outcome_tests_match_the_dynamic_form) {
    using T = TypeParam;
    std::mt19937 rng(13);
    const auto pick = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
    const int n = static_cast<int>(T::size());
    for (int round = 0; round < 2000; ++round) {
        // Unwritten dits read as 0 in both forms once the lists are full length.
        std::vector<DynamicBasisEntry> list = random_list<T>(rng);
        for (DynamicBasisEntry& entry : list) entry.dits.dits.resize(T::size(), Dit{0, 1});
        State<T> packed(T::max_dimension, T::size(), list);
        State<DynamicDitArray> dynamic(T::max_dimension, T::size(), list);
        // Now and then every qudit, highest first, and a repeat: on twelve
        // qutrits too many outcomes for a table, so they are hashed.
        std::vector<std::int32_t> qudits;
        for (int k = pick(4); k > 0; --k) qudits.push_back(pick(n));
        for (int q = n - 1; round % 8 == 0 && q >= 0; --q) qudits.push_back(q);
        const auto p = packed.probabilities(qudits), q = dynamic.probabilities(qudits);
        ASSERT_TRUE(p.size() == q.size() && p.width() == q.width()) << round;
        for (std::size_t i = 0; i < p.size(); ++i)
            EXPECT_TRUE(std::ranges::equal(p.outcome(i), q.outcome(i)) && same_bits(p.probability(i), q.probability(i))) << round;
        // An outcome that mostly occurs; a collapse that leaves nothing throws alike.
        std::vector<std::int32_t> outcome;
        const T& some = packed.entries()[static_cast<std::size_t>(pick(static_cast<int>(packed.entries().size())))].dits;
        for (const std::int32_t qudit : qudits) outcome.push_back(pick(8) ? static_cast<std::int32_t>(some[qudit].value) : pick(3));
        EXPECT_EQ(thrown([&] { packed.collapse_to_outcome(qudits, outcome); }), thrown([&] { dynamic.collapse_to_outcome(qudits, outcome); })) << round;
        // Values only: the forms read an odd dimension field differently.
        EXPECT_TRUE(std::ranges::equal(packed.basis_entries(), dynamic.basis_entries(), [](const auto& x, const auto& y) {
            return x.dits == y.dits && same_bits(x.amplitude, y.amplitude);
        })) << round;
    }
}

}  // namespace
}  // namespace vortan::qudit
