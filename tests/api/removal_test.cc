// Giving a property back with its qudit: who is measured, who is warned
// about, who is renumbered, and what the partners are left with. The state
// without the qudit is checked against the plain rebuild in reshape_test.cc.

#include <cmath>

#include "api/measurement_test.h"

namespace vortan::testing {
namespace {

std::string give_back(Handle& h) {
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(vortan_quantum_property_factorize_and_destroy(&h.p, nullptr), VORTAN_SUCCESS);
    return ::testing::internal::GetCapturedStderr();
}

int index_of(const Handle& h) { return h.p != nullptr ? h.property().qudit_index : -1; }

TEST(Removal, an_entangled_partner_is_measured_with_a_warning_and_left_definite) {
    for (int round = 0; round < 20; ++round) {
        Handle a(2), b(2);
        give_state({&a, &b}, {2, 2}, {{{0, 0}, M_SQRT1_2}, {{1, 1}, M_SQRT1_2}});
        EXPECT_EQ(give_back(a), "[Vortan] Warning: destroying entangled property (qudit 0 in 2-qudit shared state). "
                                "Measurement will collapse entangled partners.\n");
        EXPECT_EQ(b.property().shared->state->num_qudits() * 10 + b.property().shared->state->state_size(), 11u);
    }
}

// c is superposed as a factor: its partners go without a warning, and it keeps its amplitudes.
TEST(Removal, renumbers_only_the_last_qudit_and_keeps_an_orphaned_one) {
    Handle a(2), b(2), c(2), d(2);
    give_state({&a, &b, &c, &d}, {2, 2, 2, 2}, {{{0, 0, 0, 0}, 0.6}, {{0, 0, 1, 0}, {0, 0.8}}});
    auto indices = [&] { return std::vector<int>{index_of(a), index_of(b), index_of(c), index_of(d)}; };
    EXPECT_EQ(give_back(d), "");  // the last qudit itself: nobody moves
    EXPECT_EQ(indices(), (std::vector<int>{0, 1, 2, -1}));
    vortan_quantum_property_destroy(&b.p);  // qudit 1 stays, unnamed
    EXPECT_EQ(give_back(a), "");            // the last qudit takes the freed place
    EXPECT_EQ(indices(), (std::vector<int>{-1, -1, 0, -1}));
    qudit::testing::expect_near(qudit::testing::terms_of(*c.property().shared->state), {{{0, 0}, 0.6}, {{1, 0}, {0, 0.8}}}, 1e-7);
    EXPECT_EQ(c.property().shared->properties.size(), 1u);
}

// Alone in its group, a property goes without a measurement, a warning or a
// report, even superposed and entangled with a qudit whose handle is gone.
TEST(Removal, a_property_alone_goes_quietly_with_or_without_orphaned_qudits) {
    int calls = 0;
    vortan_set_error_callback([](const vortan_error_info*, void* n) { ++*static_cast<int*>(n); }, &calls);
    Handle single(3), a(2), orphan(2);
    ASSERT_EQ(vortan_hadamard_operation(single.p, nullptr, 0, nullptr), VORTAN_SUCCESS);
    give_state({&a, &orphan}, {2, 2}, {{{0, 0}, M_SQRT1_2}, {{1, 1}, M_SQRT1_2}});
    vortan_quantum_property_destroy(&orphan.p);
    EXPECT_EQ(give_back(single) + give_back(a), "");
    EXPECT_TRUE(single.p == nullptr && a.p == nullptr && calls == 0);
    vortan_cleanup();
}

}  // namespace
}  // namespace vortan::testing
