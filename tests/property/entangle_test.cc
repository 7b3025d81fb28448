// Merging groups by tensor product: order of qudits, renumbering, limits, and
// failures that leave both groups as they were.

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "property/entangle.h"
#include "qudit/errors.h"

namespace vortan {
namespace {

using qudit::Dit;
using qudit::DynamicBasisEntry;
using qudit::DynamicDitArray;

// A property whose group holds `count` distinct basis states of six qutrits.
std::unique_ptr<QuantumProperty> group_of(std::size_t count) {
    auto property = std::make_unique<QuantumProperty>(3);
    std::vector<DynamicBasisEntry> list;
    for (std::uint64_t code = 0; code < count; ++code) {
        std::vector<Dit> dits;
        for (std::uint64_t q = 0, c = code; q < 6; ++q, c /= 3) dits.push_back({c % 3, 3});
        list.push_back({DynamicDitArray(std::move(dits)), {1.0, 0.0}});
    }
    property->shared->state = qudit::make_state(3, 6, list);
    return property;
}

std::string what_of(QuantumProperty& a, QuantumProperty& b) {
    try {
        entangle(a, b);
    } catch (const std::exception& e) {
        return e.what();
    }
    return "no exception";
}

TEST(Entangle, appends_the_second_group_behind_the_first) {
    QuantumProperty a(2), b(3);
    // Give each side a recognisable amplitude pattern.
    a.shared->state = qudit::make_state(
        2, 1, {{DynamicDitArray({{0, 2}}), {0.6, 0}}, {DynamicDitArray({{1, 2}}), {0.8, 0}}});
    b.shared->state = qudit::make_state(
        3, 1, {{DynamicDitArray({{2, 3}}), {0, 1}}});
    entangle(a, b);

    ASSERT_EQ(a.shared, b.shared);
    EXPECT_EQ(a.qudit_index, 0);
    EXPECT_EQ(b.qudit_index, 1);
    const qudit::IState& s = *a.shared->state;
    EXPECT_EQ(s.dimension(), 3u);
    EXPECT_EQ(s.qudit_dimension(0), 2u);
    EXPECT_EQ(s.qudit_dimension(1), 3u);
    const auto entries = s.basis_entries();
    ASSERT_EQ(entries.size(), 2u);
    // A is the slow index; amplitudes multiply.
    EXPECT_EQ(entries[0].dits.dits, (std::vector<Dit>{{0, 2}, {2, 3}}));
    EXPECT_EQ(entries[0].amplitude, std::complex<double>(0, 0.6));
    EXPECT_EQ(entries[1].dits.dits, (std::vector<Dit>{{1, 2}, {2, 3}}));
    EXPECT_EQ(entries[1].amplitude, std::complex<double>(0, 0.8));
    EXPECT_EQ(a.shared->properties, (std::list<QuantumProperty*>{&a, &b}));
}

TEST(Entangle, renumbers_the_whole_second_group_and_keeps_its_orphans) {
    QuantumProperty a(2), b(2), c(2), d(2);
    entangle(c, d);  // group c d
    {
        QuantumProperty orphan(2);
        entangle(c, orphan);  // c d orphan; the orphan's handle goes next
    }
    entangle(a, b);
    entangle(a, c);
    EXPECT_EQ(a.shared->state->num_qudits(), 5u);  // a b c d + the orphaned qudit
    EXPECT_EQ(a.qudit_index, 0);
    EXPECT_EQ(b.qudit_index, 1);
    EXPECT_EQ(c.qudit_index, 2);
    EXPECT_EQ(d.qudit_index, 3);
    EXPECT_EQ(a.shared->properties, (std::list<QuantumProperty*>{&a, &b, &c, &d}));
    for (QuantumProperty* p : {&b, &c, &d}) EXPECT_EQ(p->shared, a.shared);
    EXPECT_EQ(a.shared.use_count(), 4);
}

TEST(Entangle, costs_nothing_within_one_group_or_one_property) {
    QuantumProperty a(2), b(2);
    entangle(a, a);
    EXPECT_EQ(a.shared->state->num_qudits(), 1u);
    entangle(a, b);
    const qudit::IState* before = a.shared->state.get();
    entangle(b, a);
    entangle(a, b);
    EXPECT_EQ(a.shared->state.get(), before);
    // A property listed twice is merged once.
    QuantumProperty c(3);
    tensor_state(std::vector<QuantumProperty*>{&c, &a, &c, &a});
    EXPECT_EQ(c.shared->state->num_qudits(), 3u);
}

TEST(Entangle, allows_exactly_the_limit_and_names_the_product_past_it) {
    auto a = group_of(400), b = group_of(250);
    // Two more qudits would pass 12, so merge two six-qutrit groups.
    entangle(*a, *b);
    EXPECT_EQ(a->shared->state->state_size(), 100000u);

    auto c = group_of(400), d = group_of(251);
    EXPECT_EQ(what_of(*c, *d),
              "Tensor product would produce ~100400 basis states, exceeding limit of 100000 (entangling 6 + 6 qudits)");
    EXPECT_THROW(entangle(*c, *d), qudit::StateSizeExceeded);
    EXPECT_NE(c->shared, d->shared);
    EXPECT_EQ(c->shared->state->state_size(), 400u);
    EXPECT_EQ(d->shared->state->state_size(), 251u);
    EXPECT_EQ(d->qudit_index, 0);
}

TEST(Entangle, refuses_a_thirteenth_qudit_and_keeps_the_twelve_together) {
    std::vector<std::unique_ptr<QuantumProperty>> owned;
    std::vector<QuantumProperty*> list;
    for (int i = 0; i < 13; ++i) {
        owned.push_back(std::make_unique<QuantumProperty>(i % 2 ? 3 : 2));
        list.push_back(owned.back().get());
    }
    try {
        tensor_state(list);
        FAIL() << "thirteen qudits merged";
    } catch (const qudit::BadQuditNumber& e) {
        EXPECT_STREQ(e.what(),
                     "num_qudits 13 exceeds compile-time MAX_NUM_QUDITS (12) and dynamic fallback is disabled");
    }
    EXPECT_EQ(list[0]->shared->state->num_qudits(), 12u);
    EXPECT_EQ(list[11]->qudit_index, 11);
    EXPECT_EQ(list[12]->shared->state->num_qudits(), 1u);
    EXPECT_EQ(list[12]->qudit_index, 0);
    EXPECT_EQ(list[0]->shared->properties.size(), 12u);
}

TEST(Entangle, refuses_different_contexts_before_touching_either_group) {
    QuantumProperty a(2), b(2);
    b.shared->simulation = reinterpret_cast<QuantumSimulation*>(&b);
    EXPECT_EQ(what_of(a, b), "Cannot entangle properties from different QuantumSimulation contexts");
    EXPECT_NE(a.shared, b.shared);
}

TEST(TensorState, lists_targets_then_predicates_and_anchors_on_the_first) {
    QuantumProperty target(2), control(2), other(3);
    std::vector<QuantumProperty*> targets{&other};
    const std::vector<vortan_predicate_record> predicates{{&control, 1, true}, {&target, 0, false}};
    const qudit::IState* state = tensor_state(targets, predicates);
    EXPECT_EQ(targets, (std::vector<QuantumProperty*>{&other, &control, &target}));
    EXPECT_EQ(state, other.shared->state.get());
    // Indices are read afterwards: the predicates' properties moved.
    EXPECT_EQ(other.qudit_index, 0);
    EXPECT_EQ(control.qudit_index, 1);
    EXPECT_EQ(target.qudit_index, 2);
    EXPECT_THROW(tensor_state(std::vector<QuantumProperty*>{}), std::invalid_argument);
}

}  // namespace
}  // namespace vortan
