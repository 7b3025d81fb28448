// A property starts as basis state 0 of its qudit, alone in its own group.

#include "property/quantum_property.h"
#include "qudit/state_forms.h"

namespace vortan {

TEST(QuantumProperty, starts_as_basis_state_0_alone_in_its_own_group) {
    QuantumProperty two(2), three(3);
    for (QuantumProperty* p : {&two, &three}) {
        EXPECT_EQ(qudit::testing::terms_of(*p->shared->state), (qudit::testing::Terms{{{0}, 1.0}}));
        EXPECT_TRUE(p->shared->state->qudit_dimension(0) == (p == &two ? 2u : 3u) && p->qudit_index == 0 && p->shared->properties == std::list{p});
    }
    EXPECT_NE(two.shared, three.shared);
}

}  // namespace vortan
