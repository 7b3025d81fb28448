// Gate behaviour the differential tests cannot see: refusals before any
// change, the size limits with their texts, rollback, and the merge rules.

#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

using Qubits3 = State<DitArray<2, 3>>;

DynamicBasisEntry entry(std::vector<std::uint64_t> values, std::complex<double> amplitude, std::uint64_t d = 2) {
    std::vector<Dit> dits;
    for (std::uint64_t v : values) dits.push_back({v, d});
    return {DynamicDitArray(std::move(dits)), amplitude};
}

// `count` distinct entries of twelve qudits: qudit 0 a qubit and qudit 1 a
// qutrit, both at 0, and qutrits 2 to 11 counting.
std::unique_ptr<IState> group(std::uint64_t count) {
    std::vector<DynamicBasisEntry> list;
    for (std::uint64_t code = 0; code < count; ++code) {
        std::vector<Dit> dits{{0, 2}, {0, 3}};
        for (std::uint64_t q = 2, c = code; q < 12; ++q, c /= 3) dits.push_back({c % 3, 3});
        list.push_back({DynamicDitArray(std::move(dits)), {1.0 / double(code + 1), 0.25}});
    }
    return make_state(3, 12, list);
}

std::unique_ptr<IState> qubits(std::uint64_t n, std::uint64_t count) {
    std::vector<DynamicBasisEntry> list;
    for (std::uint64_t code = 0; code < count; ++code) {
        std::vector<std::uint64_t> values;
        for (std::uint64_t q = 0; q < n; ++q) values.push_back((code >> q) & 1);
        list.push_back(entry(values, {1.0 / double(code + 1), 0.25}));
    }
    return make_state(2, n, list);
}

bool bitwise_equal(const std::vector<DynamicBasisEntry>& a, const std::vector<DynamicBasisEntry>& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (!(a[i].dits == b[i].dits) || std::memcmp(&a[i].amplitude, &b[i].amplitude, sizeof(a[i].amplitude)) != 0)
            return false;
    return true;
}

std::string what(const std::function<void()>& f) {
    try {
        f();
    } catch (const std::exception& e) {
        return e.what();
    }
    return "no exception";
}

TEST(Gates, refuse_an_overlap_before_anything_else_also_on_an_empty_state) {
    const Predicates on_target{{1, 7, true}};  // can never pass; still an overlap
    const Targets t{1};
    const std::pair<std::function<void(IState&)>, const char*> gates[] = {
        {[&](IState& s) { s.shift(t, on_target); }, "Shift operation has overlapping targets and controls"},
        {[&](IState& s) { s.fractional_shift(t, 0.3, on_target); }, "Fractional shift operation has overlap targets and controls"},
        {[&](IState& s) { s.cycle(t, on_target); }, "Cycle operation has overlapping targets and controls"},
        {[&](IState& s) { s.fractional_cycle(t, 0.3, on_target); }, "Fractional cycle operation has overlapping targets and controls"},
        {[&](IState& s) { s.clock(t, on_target); }, "Clock operation has overlapping targets and controls"},
        {[&](IState& s) { s.fractional_clock(t, 0.3, on_target); }, "Fractional Clock operation has overlapped targets and controls"},
        {[&](IState& s) { s.hadamard(t, on_target); }, "Hadamard operation has overlapping targets and controls"},
        {[&](IState& s) { s.inverse_hadamard(t, on_target); }, "inverse-Hadamard operation has overlapping targets and controls"},
    };
    for (const auto& [gate, text] : gates) {
        auto full = qubits(3, 5);
        const auto before = full->basis_entries();
        EXPECT_EQ(what([&] { gate(*full); }), text);
        EXPECT_TRUE(bitwise_equal(full->basis_entries(), before)) << text;
        auto empty = make_state(2, 3, {});
        EXPECT_THROW(gate(*empty), TargetControlOverlap) << text;
    }
}

TEST(Gates, hadamard_accepts_exactly_the_limit_and_names_the_estimate_past_it) {
    auto at_limit = group(50000);
    at_limit->hadamard({0}, {});
    EXPECT_EQ(at_limit->state_size(), 100000u);

    auto over = group(50001);
    const auto before = over->basis_entries();
    EXPECT_EQ(what([&] { over->hadamard({0}, {}); }),
              "Hadamard on 1 target(s) would produce ~100002 intermediate basis states (current: 50001), exceeding "
              "limit of 100000. Measure some qudits first to reduce state size.");
    EXPECT_EQ(what([&] { over->inverse_hadamard({0}, {{1, 0, true}}); }),
              "Inverse hadamard on 1 target(s) would produce ~100002 intermediate basis states (current: 50001), "
              "exceeding limit of 100000. Measure some qudits first to reduce state size.");
    EXPECT_TRUE(bitwise_equal(over->basis_entries(), before));

    // The estimate stops at the first target that goes over.
    auto three = group(30000);
    EXPECT_EQ(what([&] { three->hadamard({0, 1, 2}, {}); }),
              "Hadamard on 3 target(s) would produce ~180000 intermediate basis states (current: 30000), exceeding "
              "limit of 100000. Measure some qudits first to reduce state size.");
}

TEST(Gates, fractional_shift_and_cycle_roll_back_a_failing_hadamard) {
    // The first Hadamard fits and spreads to 60000 entries, the fractional
    // clock runs, and the inverse Hadamard is refused: all of it is undone.
    auto state = group(10000);
    const auto before = state->basis_entries();
    EXPECT_THROW(state->fractional_shift({0, 1}, 0.5, {}), StateSizeExceeded);
    EXPECT_TRUE(bitwise_equal(state->basis_entries(), before));
    EXPECT_THROW(state->fractional_cycle({1, 0}, 0.5, {{5, 7, false}}), StateSizeExceeded);
    EXPECT_TRUE(bitwise_equal(state->basis_entries(), before));
    // A bad index is reported by the Hadamard's own check, and rolled back too.
    EXPECT_EQ(what([&] { state->fractional_shift({0, 12}, 0.5, {}); }), "hadamard: qudit index 12 out of range [0, 12)");
    EXPECT_EQ(what([&] { state->fractional_cycle({0}, 0.5, {{-3, 0, true}}); }), "hadamard: qudit index -3 is negative");
    EXPECT_EQ(what([&] { state->hadamard({-1}, {}); }), "hadamard: qudit index -1 is negative");
    EXPECT_TRUE(bitwise_equal(state->basis_entries(), before));
}

TEST(Gates, shift_and_cycle_move_levels_in_place_and_keep_order) {
    auto s = make_state(3, 2, {entry({0, 2}, 0.5, 3), entry({1, 0}, 0.25, 3), entry({2, 1}, 0.125, 3)});
    s->shift({0}, {});
    EXPECT_TRUE(bitwise_equal(s->basis_entries(), {entry({2, 2}, 0.5, 3), entry({0, 0}, 0.25, 3), entry({1, 1}, 0.125, 3)}));
    s->cycle({1, 1}, {{0, 2, false}});  // target listed twice moves twice; dit 0 == 2 stays
    EXPECT_TRUE(bitwise_equal(s->basis_entries(), {entry({2, 2}, 0.5, 3), entry({0, 2}, 0.25, 3), entry({1, 0}, 0.125, 3)}));
}

TEST(Gates, clock_turns_only_nonzero_values_and_phase_rotate_only_selected_entries) {
    auto s = make_state(3, 2, {entry({0, 1}, {0.6, 0.0}, 3), entry({2, 1}, {0.0, 0.8}, 3)});
    s->clock({0}, {});
    const auto after = s->basis_entries();
    EXPECT_EQ(after[0].amplitude, std::complex<double>(0.6, 0.0));
    EXPECT_NEAR(std::arg(after[1].amplitude), std::arg(std::complex<double>(0, 0.8) * std::polar(1.0, 4 * M_PI / 3)), 1e-12);
    s->phase_rotate({{0, 2, true}}, M_PI / 2);
    const auto rotated = s->basis_entries();
    EXPECT_EQ(rotated[0].amplitude, after[0].amplitude);
    EXPECT_NEAR(std::abs(rotated[1].amplitude - after[1].amplitude * std::complex<double>(0, 1)), 0, 1e-15);
    // An empty state reads no predicate at all.
    auto empty = make_state(2, 1, {});
    EXPECT_NO_THROW(empty->phase_rotate({{99, 0, true}}, 1.0));
    EXPECT_NO_THROW(empty->shift({0}, {{99, 0, true}}));
}

TEST(MergeEntries, short_lists_keep_first_occurrence_and_long_ones_come_out_sorted) {
    std::vector<BasisEntry<DitArray<2, 3>>> list;
    const auto add = [&](std::uint64_t values, std::complex<double> a) {
        list.push_back({DitArray<2, 3>{values, 0b111}, a});
    };
    for (std::uint64_t v : {5, 3, 5, 1, 7, 3, 6, 2}) add(v, 0.5);  // 8 entries
    Qubits3::merge_entries(list);
    std::vector<std::uint64_t> order;
    for (const auto& e : list) order.push_back(e.dits.values);
    EXPECT_EQ(order, (std::vector<std::uint64_t>{5, 3, 1, 7, 6, 2}));
    EXPECT_EQ(list[0].amplitude, std::complex<double>(1.0, 0.0));

    list.clear();
    for (std::uint64_t v : {5, 3, 5, 1, 7, 3, 6, 2, 4}) add(v, 0.5);  // 9 entries
    Qubits3::merge_entries(list);
    order.clear();
    for (const auto& e : list) order.push_back(e.dits.values);
    EXPECT_EQ(order, (std::vector<std::uint64_t>{1, 2, 3, 4, 5, 6, 7}));
}

TEST(MergeEntries, prunes_each_component_at_1e_10_inclusive_and_keeps_nan) {
    for (std::size_t extra : {0u, 1u, 9u}) {  // one entry, a short list and a sorted one
        std::vector<BasisEntry<DitArray<2, 4>>> list{{{0, 0}, {1e-10, -1e-10}}};
        for (std::uint64_t v = 1; v <= extra; ++v) list.push_back({{v, 0}, {v == 1 ? 2e-10 : 1.0, 0}});
        if (extra > 0) list.push_back({{15, 0}, {std::nan(""), 0}});
        State<DitArray<2, 4>>::merge_entries(list);
        for (const auto& e : list) EXPECT_NE(e.dits.values, 0u) << "(1e-10, -1e-10) is negligible";
        EXPECT_EQ(list.size(), extra == 0 ? 0 : extra + 1);  // 2e-10 and the NaN stay
    }
}

TEST(Gates, hadamard_twice_returns_the_input_and_keeps_a_residue) {
    auto s = make_state(2, 1, {entry({1}, {1.0, 0.0})});
    s->hadamard({0}, {});
    auto spread = s->basis_entries();
    ASSERT_EQ(spread.size(), 2u);
    EXPECT_NE(spread[0].amplitude.imag(), 0.0) << "the angle 2 pi j leaves its sine";
    s->hadamard({0}, {});
    const auto back = s->basis_entries();
    ASSERT_EQ(back.size(), 1u);
    EXPECT_EQ(back[0].dits.dits[0].value, 1u);
    EXPECT_NEAR(back[0].amplitude.real(), 1.0, 1e-15);
}

}  // namespace
}  // namespace vortan::qudit
