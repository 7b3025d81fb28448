// A property is a place in a shared state: how it starts and how it leaves.

#include <gtest/gtest.h>

#include <complex>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "property/quantum_property.h"
#include "qudit/state_impl.h"

namespace vortan {
namespace {

using qudit::Dit;

template <std::uint64_t D>
void expect_fresh(QuantumProperty& p) {
    SCOPED_TRACE(D);
    ASSERT_TRUE(p.shared && p.shared->state);
    const qudit::IState& state = *p.shared->state;
    EXPECT_NE((dynamic_cast<const qudit::State<qudit::DitArray<D, 1>>*>(&state)), nullptr);
    const auto entries = state.basis_entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].dits.dits, (std::vector<Dit>{{0, D}}));
    EXPECT_EQ(entries[0].amplitude, std::complex<double>(1.0, 0.0));
    EXPECT_EQ(p.qudit_index, 0);
    EXPECT_EQ(p.shared->properties, std::list<QuantumProperty*>{&p});
    EXPECT_EQ(p.shared->simulation, nullptr);
    EXPECT_EQ(p.shared.use_count(), 1);
}

TEST(QuantumProperty, starts_as_basis_state_0_alone_in_its_own_group) {
    QuantumProperty two(2), three(3);
    expect_fresh<2>(two);
    expect_fresh<3>(three);
    EXPECT_NE(two.shared, three.shared);
}

TEST(QuantumProperty, destruction_takes_it_off_its_groups_list_only) {
    QuantumProperty a(2);
    auto b = std::make_unique<QuantumProperty>(2);
    auto c = std::make_unique<QuantumProperty>(2);
    // Stand b and c in a's group, as merging groups would.
    for (QuantumProperty* p : {b.get(), c.get()}) {
        p->shared = a.shared;
        a.shared->properties.push_back(p);
    }
    b.reset();
    EXPECT_EQ(a.shared->properties, (std::list<QuantumProperty*>{&a, c.get()}));
    EXPECT_EQ(a.shared.use_count(), 2);
    c.reset();
    EXPECT_EQ(a.shared->properties, std::list<QuantumProperty*>{&a});
    EXPECT_EQ(a.shared->state->state_size(), 1u);
}

TEST(QuantumProperty, refuses_dimensions_the_factory_cannot_build) {
    const auto text_of = [](std::uint64_t d) -> std::string {
        try {
            QuantumProperty p(d);
        } catch (const qudit::BadDimension& e) {
            return e.what();
        }
        return "accepted";
    };
    EXPECT_EQ(text_of(1), "dim must be >= 2");
    EXPECT_EQ(text_of(0), "dim must be >= 2");
    EXPECT_EQ(text_of(4), "Dimension 4 exceeds compile-time MAX_DIMENSION (3) and dynamic fallback is disabled");
}

}  // namespace
}  // namespace vortan
