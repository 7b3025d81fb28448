// The gate entry points as a host calls them: argument checks in order, the
// whole road only at exactly 1.0, the clause lists, and merges that stay.

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "api/handles.h"
#include "vortan.h"

namespace {

using Handle = vortan_quantum_property*;
vortan_error_info info;
std::string described(vortan_result code) { return std::to_string(code) + " " + info.message; }
// The code and the text of a call made on a cleared record.
#define RESULT(call) (info = {}, described(call))

struct Host {
    std::vector<Handle> props;
    std::vector<vortan_predicate*> preds;
    Handle create(int32_t d) { return vortan_quantum_property_create(d, &props.emplace_back(), nullptr), props.back(); }
    vortan_predicate* predicate(Handle p, int32_t v) { return vortan_predicate_create(p, v, true, &preds.emplace_back()), preds.back(); }
    ~Host() {
        for (auto& p : preds) vortan_predicate_destroy(&p);
        for (auto& p : props) vortan_quantum_property_destroy(&p);
    }
};
size_t qudits(Handle p) { size_t n = 0; return vortan_quantum_property_get_num_active_qudits(p, &n), n; }
std::vector<vortan::qudit::DynamicBasisEntry> entries_of(Handle p) { return vortan::api::from_handle(p)->shared->state->basis_entries(); }

TEST(GateEntry, checks_come_in_order_with_their_codes_and_texts_and_only_exactly_one_is_whole) {
    Host host;
    Handle q = host.create(2), qutrit = host.create(3), nearly = host.create(3);
    using Gate = vortan_result (*)(Handle, double, vortan_predicate* const*, size_t, vortan_error_info*);
#define NAMED(gate) {gate, #gate}
    const std::pair<Gate, const char*> gates[] = {NAMED(vortan_shift_operation), NAMED(vortan_x_operation), NAMED(vortan_clock_operation),
                                                  NAMED(vortan_z_operation), NAMED(vortan_cycle_operation), NAMED(vortan_y_operation),
                                                  NAMED(vortan_fractional_hadamard_operation)};
    const double nan = std::nan(""), inf = INFINITY;
    for (const auto& [gate, name] : gates) {
        EXPECT_EQ(RESULT(gate(nullptr, nan, nullptr, 3, &info)), "1 property cannot be NULL") << name;
        EXPECT_STREQ(info.function, name);
        const uint32_t null_check = info.line;
        for (double bad : {nan, inf, -inf}) EXPECT_EQ(RESULT(gate(q, bad, nullptr, 3, &info)), "2 fraction must be finite") << name;
        EXPECT_TRUE(info.line != null_check && null_check != 0) << "each check names its own line";
        EXPECT_EQ(RESULT(gate(q, 0.5, nullptr, 1, &info)), "1 predicates cannot be NULL when predicate_count > 0") << name;
        EXPECT_EQ(gate(q, 1.0, nullptr, 0, &info), VORTAN_SUCCESS) << name;
    }
    EXPECT_EQ(RESULT(vortan_hadamard_operation(nullptr, nullptr, 1, &info)), "1 property cannot be NULL");
    EXPECT_EQ(RESULT(vortan_inverse_hadamard_operation(q, nullptr, 1, &info)), "1 predicates cannot be NULL when predicate_count > 0");
    vortan_predicate* p = host.predicate(q, 1);
    EXPECT_EQ(RESULT(vortan_phase_rotate_operation(nullptr, 0, nan, &info)), "1 predicates cannot be NULL");
    EXPECT_EQ(RESULT(vortan_phase_rotate_operation(&p, 0, nan, &info)), "2 predicate_count must be > 0");
    EXPECT_EQ(RESULT(vortan_phase_rotate_operation(&p, 1, inf, &info)), "2 angle must be finite");
    // A null element is 900 from the clause list, but 2 from Y's own check.
    vortan_predicate* with_null[] = {host.predicate(qutrit, 0), nullptr};
    EXPECT_EQ(RESULT(vortan_x_operation(q, 1.0, with_null, 2, &info)), "900 predicate array contains null pointer");
    EXPECT_EQ(RESULT(vortan_hadamard_operation(q, with_null, 2, &info)), "900 predicate array contains null pointer");
    EXPECT_EQ(RESULT(vortan_y_operation(q, 1.0, with_null, 2, &info)), "2 predicate array contains null pointer");
    EXPECT_EQ(RESULT(vortan_y_operation(qutrit, 0.5, nullptr, 0, &info)), "2 Y gate requires dimension 2 (qubit)");

    // Only exactly 1.0 takes the whole shift, which relabels: amplitude 1 exactly
    // at value 2. The fractional road goes through two Fourier transforms and carries their rounding.
    for (Handle h : {qutrit, nearly}) {
        ASSERT_EQ(vortan_shift_operation(h, h == qutrit ? 1.0 : 1.0000000000000002, nullptr, 0, nullptr), VORTAN_SUCCESS);
        const auto e = entries_of(h);
        ASSERT_TRUE(e.size() == 1 && e[0].dits.dits[0].value == 2);
        EXPECT_TRUE((e[0].amplitude == 1.0) == (h == qutrit) && std::abs(std::abs(e[0].amplitude) - 1.0) < 1e-12);
    }
}

TEST(GateEntry, failures_after_the_merge_keep_it_and_leave_the_state) {
    Host host;
    Handle a = host.create(2), b = host.create(3), c = host.create(2), big = host.create(3);
    vortan_predicate* preds[] = {host.predicate(b, 1), host.predicate(a, 0)};
    EXPECT_EQ(RESULT(vortan_cycle_operation(a, 0.5, preds, 2, &info)), "100 Fractional cycle operation has overlapping targets and controls");
    EXPECT_EQ(qudits(b) * 10 + entries_of(a).size(), 21u);
    EXPECT_EQ(RESULT(vortan_swap_operation(a, nullptr, nullptr, 0, &info)), "1 properties cannot be NULL");
    EXPECT_EQ(RESULT(vortan_i_swap_operation(nullptr, a, NAN, nullptr, 0, &info)), "1 properties cannot be NULL");
    EXPECT_EQ(RESULT(vortan_i_swap_operation(b, a, NAN, nullptr, 0, &info)), "2 fraction must be finite");
    EXPECT_EQ(RESULT(vortan_swap_operation(a, b, nullptr, 2, &info)), "1 predicates cannot be NULL when predicate_count > 0");
    EXPECT_EQ(RESULT(vortan_swap_operation(c, b, nullptr, 0, &info)), "101 Targets of swap operation have different dimensions");
    EXPECT_EQ(RESULT(vortan_i_swap_operation(b, c, 0.5, nullptr, 0, &info)), "101 Targets of fractional-i-swap operation have different dimensions");
    EXPECT_EQ(qudits(c), 3u) << "the merge stays";

    std::vector<vortan::qudit::DynamicBasisEntry> list(50001);  // twelve qutrits counting, in big's group
    for (std::uint64_t code = 0; code < list.size(); ++code) {
        list[code].amplitude = 1.0;
        for (std::uint64_t k = 0, c = code; k < 12; ++k, c /= 3) list[code].dits.dits.push_back({c % 3, 3});
    }
    vortan::api::from_handle(big)->shared->state = vortan::qudit::make_state(3, 12, list);
    EXPECT_EQ(RESULT(vortan_hadamard_operation(big, nullptr, 0, &info)).substr(0, 49), "102 Hadamard on 1 target(s) would produce ~150003");
    EXPECT_EQ(entries_of(big).size(), 50001u);
}

// A swap or i-swap whose merge would make a thirteenth qudit is refused as a
// bad qudit number, unlike the other gates; both groups stay as they were.
TEST(GateEntry, swaps_past_twelve_qudits_report_an_invalid_qudit_number) {
    Host host;
    Handle first = host.create(2);
    for (int i = 1; i < 12; ++i) {
        vortan_predicate* control = host.predicate(host.props.back(), 1);
        ASSERT_EQ(vortan_cycle_operation(host.create(2), 1.0, &control, 1, nullptr), VORTAN_SUCCESS);
    }
    Handle outside = host.create(2);
    const std::string text = "5 num_qudits 13 exceeds compile-time MAX_NUM_QUDITS (12) and dynamic fallback is disabled";
    EXPECT_EQ(RESULT(vortan_swap_operation(first, outside, nullptr, 0, &info)), text);
    EXPECT_EQ(RESULT(vortan_i_swap_operation(outside, first, 0.5, nullptr, 0, &info)), text);
    EXPECT_EQ(RESULT(vortan_shift_operation(outside, 1.0, &host.preds.back(), 1, &info)), "900" + text.substr(1));
    EXPECT_EQ(qudits(first) * 100 + qudits(outside), 1201u);
}

}  // namespace
