// Merging groups by tensor product: order of qudits, renumbering, limits, and
// refusals that leave both groups as they were.

#include "property/entangle.h"
#include "qudit/state_forms.h"

namespace vortan {
using namespace qudit::testing;
using Props = std::vector<QuantumProperty*>;
using Group = std::list<QuantumProperty*>;

// A property whose group holds `count` distinct basis states of six qutrits.
static std::unique_ptr<QuantumProperty> group_of(int count) {
    Terms terms;
    for (int k = 0; k < count; ++k) terms.push_back({{k % 3, k / 3 % 3, k / 9 % 3, k / 27 % 3, k / 81 % 3, k / 243}, 1.0});
    auto property = std::make_unique<QuantumProperty>(3);
    property->shared->state = state_of({3, 3, 3, 3, 3, 3}, terms);
    return property;
}

TEST(Entangle, appends_the_second_group_behind_the_first_and_multiplies_amplitudes) {
    QuantumProperty a(2), b(3);
    a.shared->state = state_of({2}, {{{0}, .6}, {{1}, .8}});
    b.shared->state = state_of({3}, {{{2}, {0, 1}}, {{0}, .5}});
    entangle(a, b);
    const qudit::IState& s = *b.shared->state;
    EXPECT_TRUE(a.shared == b.shared && a.shared->properties == (Group{&a, &b}) && b.qudit_index == 1);
    EXPECT_TRUE(s.dimension() == 3 && s.qudit_dimension(0) == 2 && s.qudit_dimension(1) == 3);
    EXPECT_EQ(terms_of(s), (Terms{{{0, 2}, {0, .6}}, {{0, 0}, .3}, {{1, 2}, {0, .8}}, {{1, 0}, .4}}));  // the first group is the slow index
}

TEST(Entangle, renumbers_the_whole_second_group_and_keeps_its_orphans) {
    QuantumProperty a(2), b(2), c(2), d(2);
    entangle(c, d);
    entangle(c, *std::make_unique<QuantumProperty>(2));  // its qudit stays behind d, its handle goes
    entangle(a, b);
    entangle(a, c);
    EXPECT_TRUE(a.shared->state->num_qudits() == 5 && a.shared->properties == (Group{&a, &b, &c, &d}));
    EXPECT_TRUE(b.shared == a.shared && c.shared == a.shared && d.shared == a.shared);
    EXPECT_TRUE(b.qudit_index == 1 && c.qudit_index == 2 && d.qudit_index == 3);
}

TEST(Entangle, allows_exactly_the_limit_and_refusals_change_neither_group) {
    auto a = group_of(400), b = group_of(250), c = group_of(400), d = group_of(251);
    entangle(*a, *b);
    EXPECT_EQ(a->shared->state->state_size(), 100000u);
    const auto before_c = terms_of(*c->shared->state), before_d = terms_of(*d->shared->state);
    EXPECT_EQ(message_of<qudit::StateSizeExceeded>([&] { entangle(*c, *d); }),
              "Tensor product would produce ~100400 basis states, exceeding limit of 100000 (entangling 6 + 6 qudits)");
    c->shared->simulation = reinterpret_cast<QuantumSimulation*>(c.get());
    EXPECT_EQ(message_of<std::invalid_argument>([&] { entangle(*d, *c); }), "Cannot entangle properties from different QuantumSimulation contexts");
    EXPECT_TRUE(c->shared != d->shared && d->qudit_index == 0 && terms_of(*c->shared->state) == before_c && terms_of(*d->shared->state) == before_d);
}

TEST(TensorState, lists_targets_then_predicates_and_refuses_a_thirteenth_qudit_keeping_the_twelve_together) {
    QuantumProperty target(2), control(2), other(3);
    Props targets{&other};
    const qudit::IState* state = tensor_state(targets, {{&control, 1, true}, {&target, 0, false}});
    EXPECT_TRUE(targets == (Props{&other, &control, &target}) && state == other.shared->state.get());
    EXPECT_TRUE(control.qudit_index == 1 && target.qudit_index == 2);
    std::list<QuantumProperty> owned;
    for (int i = 0; i < 10; ++i) targets.push_back(&owned.emplace_back(2 + i % 2));
    EXPECT_EQ(message_of<qudit::BadQuditNumber>([&] { tensor_state(targets); }),
              "num_qudits 13 exceeds compile-time MAX_NUM_QUDITS (12) and dynamic fallback is disabled");
    EXPECT_TRUE(other.shared->state->num_qudits() == 12 && other.shared->properties.size() == 12 && targets[11]->qudit_index == 11);
    EXPECT_TRUE(targets[12]->shared->state->num_qudits() == 1 && targets[12]->qudit_index == 0);
}

}  // namespace vortan
