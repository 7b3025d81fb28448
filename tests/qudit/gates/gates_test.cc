// Gate behaviour the differential tests cannot see: refusals before any
// change, the size limits with their texts, rollback, and the pruning rule.

#include <cmath>
#include <functional>

#include "qudit/state_forms.h"

namespace vortan::qudit {
namespace {

// `count` distinct entries of twelve qudits: qudit 0 a qubit and qudit 1 a
// qutrit, both at 0, and qutrits 2 to 11 counting.
std::unique_ptr<IState> group(std::uint64_t count) {
    std::vector<DynamicBasisEntry> list;
    for (std::uint64_t code = 0; code < count; ++code) {
        std::vector<Dit> dits{{0, 2}, {0, 3}};
        for (std::uint64_t c = code; dits.size() < 12; c /= 3) dits.push_back({c % 3, 3});
        list.push_back({DynamicDitArray(std::move(dits)), {1.0 / double(code + 1), 0.25}});
    }
    return make_state(3, 12, list);
}

// The text of what `f` throws on `s`, whose entries must stay bit for bit as they were.
std::string what(const std::unique_ptr<IState>& s, const std::function<void()>& f) {
    const auto before = s->basis_entries();
    std::string text = "no exception";
    try { f(); } catch (const std::exception& e) { text = e.what(); }
    EXPECT_TRUE(testing::same_entries(s->basis_entries(), before)) << text;
    return text;
}

// Overlaps and bad indices are refused on any state, different dimensions only
// where an entry has them; qudit 0 is a qubit and 1 a qutrit.
TEST(Gates, refuse_before_any_change_with_their_texts) {
    const Predicates on_1{{1, 7, true}};  // can never pass; still an overlap
    const Targets t{1};
    const std::tuple<std::function<void(IState&)>, const char*, bool> gates[] = {
        {[&](IState& s) { s.shift(t, on_1); }, "Shift operation has overlapping targets and controls", true},
        {[&](IState& s) { s.fractional_shift(t, 0.3, on_1); }, "Fractional shift operation has overlap targets and controls", true},
        {[&](IState& s) { s.cycle(t, on_1); }, "Cycle operation has overlapping targets and controls", true},
        {[&](IState& s) { s.fractional_cycle(t, 0.3, on_1); }, "Fractional cycle operation has overlapping targets and controls", true},
        {[&](IState& s) { s.clock(t, on_1); }, "Clock operation has overlapping targets and controls", true},
        {[&](IState& s) { s.fractional_clock(t, 0.3, on_1); }, "Fractional Clock operation has overlapped targets and controls", true},
        {[&](IState& s) { s.hadamard(t, on_1); }, "Hadamard operation has overlapping targets and controls", true},
        {[&](IState& s) { s.inverse_hadamard(t, on_1); }, "inverse-Hadamard operation has overlapping targets and controls", true},
        {[&](IState& s) { s.swap(0, 1, on_1); }, "Swap operation has overlapping targets and controls", true},
        {[&](IState& s) { s.swap(-1, 1, {}); }, "swap: qudit index -1 is negative", true},
        {[&](IState& s) { s.swap(0, 1, {}); }, "Targets of swap operation have different dimensions", false},
        {[&](IState& s) { s.i_swap(1, 0, 0.5, {}); }, "Targets of fractional-i-swap operation have different dimensions", false},
    };
    for (const auto& [gate, text, on_empty] : gates) {
        auto full = group(5), empty = make_state(3, 12, {});
        EXPECT_EQ(what(full, [&] { gate(*full); }), text);
        EXPECT_EQ(what(empty, [&] { gate(*empty); }), on_empty ? text : "no exception");
    }
}

// The text of a refused Hadamard.
std::string estimate(const std::string& gate, int targets, int size, int current) {
    return gate + " on " + std::to_string(targets) + " target(s) would produce ~" + std::to_string(size) +
           " intermediate basis states (current: " + std::to_string(current) +
           "), exceeding limit of 100000. Measure some qudits first to reduce state size.";
}

TEST(Gates, hadamard_and_i_swap_accept_exactly_the_limit_and_name_the_estimate_past_it) {
    auto s = group(50000);
    s->hadamard({0}, {});
    EXPECT_EQ(s->state_size(), 100000u);
    s = group(50001);
    EXPECT_EQ(what(s, [&] { s->hadamard({0}, {}); }), estimate("Hadamard", 1, 100002, 50001));
    EXPECT_EQ(what(s, [&] { s->inverse_hadamard({0}, {{1, 0, true}}); }), estimate("Inverse hadamard", 1, 100002, 50001));
    // i_swap's general path counts each entry twice, even at fraction 0; 1 takes the exact path.
    EXPECT_EQ(what(s, [&] { s->i_swap(2, 3, 0.0, {{4, 9, true}}); }),
              "i_swap could produce up to 100002 basis states (current: 50001), exceeding limit of 100000. "
              "Measure some qudits first to reduce state size.");
    EXPECT_NO_THROW(s->i_swap(2, 3, 1.0, {}); group(50000)->i_swap(2, 3, 0.25, {}));
    // The estimate stops at the first target that goes over: 30000 * 2 * 3.
    s = group(30000);
    EXPECT_EQ(what(s, [&] { s->hadamard({0, 1, 2}, {}); }), estimate("Hadamard", 3, 180000, 30000));

    // A fractional shift or cycle is a Hadamard, a fractional clock and an
    // inverse Hadamard; here the last is refused and all of it is undone.
    s = group(10000);
    EXPECT_EQ(what(s, [&] { s->fractional_shift({0, 1}, 0.5, {}); }), estimate("Inverse hadamard", 2, 120000, 60000));
    EXPECT_EQ(what(s, [&] { s->fractional_cycle({1, 0}, 0.5, {{5, 7, false}}); }), estimate("Inverse hadamard", 2, 180000, 60000));
    // A bad index is reported by the Hadamard's own check, and rolled back too.
    EXPECT_EQ(what(s, [&] { s->fractional_shift({0, 12}, 0.5, {}); }), "hadamard: qudit index 12 out of range [0, 12)");
    EXPECT_EQ(what(s, [&] { s->fractional_cycle({0}, 0.5, {{-3, 0, true}}); }), "hadamard: qudit index -3 is negative");
}

// Both parts at most 1e-10 is negligible; 2e-10 and NaN stay, alone, in a
// short list and in a sorted one.
TEST(MergeEntries, prunes_both_parts_at_most_1e_10) {
    for (std::size_t n : {1, 3, 9}) {
        std::vector<BasisEntry<DitArray<2, 4>>> list{{{0, 0}, {1e-10, -1e-10}}, {{1, 0}, 2e-10}, {{15, 0}, NAN}};
        for (std::uint64_t v = 2; list.size() < n; ++v) list.push_back({{v, 0}, 1.0});
        list.resize(n);
        State<DitArray<2, 4>>::merge_entries(list);
        EXPECT_EQ(list.size(), n - 1) << n;
        EXPECT_TRUE(n == 1 || list[0].amplitude == 2e-10) << n;
    }
}

}  // namespace
}  // namespace vortan::qudit
