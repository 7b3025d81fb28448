// Giving a property back with its qudit: who is measured, who is warned
// about, who is renumbered, and what the partners are left with.

#include <cmath>
#include <tuple>

#include "api/measurement_test.h"
#include "property/remove_qudit.h"
#include "reference/dense_state.h"

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

TEST(RemoveQudit, a_superposed_entangled_qudit_collapses_to_its_heaviest_value_with_a_warning) {
    // The lower of two equal weights wins.
    for (auto [weight0, weight1, kept] : {std::tuple(0.6, 0.8, 1), std::tuple(M_SQRT1_2, M_SQRT1_2, 0)}) {
        Handle a(2), b(2);
        give_state({&a, &b}, {2, 2}, {{{0, 0}, weight0}, {{1, 1}, weight1}});
        ::testing::internal::CaptureStderr();
        remove_qudit(*b.property().shared, b.property());
        EXPECT_EQ(::testing::internal::GetCapturedStderr(),
                  "[Vortan] Warning: removing qudit 1 while it is both superposed and entangled; collapsing it to "
                  "value " + std::to_string(kept) +
                      ". Measure the property first to choose the branch deliberately.\n");
        EXPECT_EQ(qudit::testing::digits_of(*a.property().shared->state), (std::vector<std::vector<int>>{{kept}}));
        EXPECT_NEAR(a.property().shared->state->basis_entries()[0].amplitude.real(), 1.0, 1e-12) << "normalised";
    }
}

TEST(Removal, a_product_partner_keeps_its_amplitudes_against_a_dense_computation) {
    Handle a(3), b(2), c(3);
    vortan_predicate* b_is_1 = nullptr;
    vortan_predicate_create(b.p, 1, true, &b_is_1);
    vortan_hadamard_operation(a.p, nullptr, 0, nullptr);
    vortan_hadamard_operation(b.p, nullptr, 0, nullptr);
    vortan_cycle_operation(c.p, 0.5, &b_is_1, 1, nullptr);
    vortan_predicate_destroy(&b_is_1);
    tensor_state({&a.property(), &b.property()});  // touched together, still a product
    reference::DenseState dense({2, 3});
    dense.apply(0, reference::fourier_matrix(2, -1), {});
    dense.apply(1, reference::cycle_matrix(3, 0.5), {{0, 1, true}});
    EXPECT_EQ(give_back(a), "") << "a factor goes without a warning";
    // The gate made (c, b) with its target as anchor and the touch put a in
    // front: (a, c, b). Removing a moves the last qudit, b's, into its place,
    // so b's dit comes first.
    std::vector<std::complex<double>> got(6);
    for (const auto& e : b.property().shared->state->basis_entries())
        got.at(e.dits.dits[0].value + 2 * e.dits.dits[1].value) = e.amplitude;
    for (std::size_t i = 0; i < 6; ++i) EXPECT_NEAR(std::abs(got[i] - dense.at(i)), 0.0, 1e-6) << i;
}

TEST(Removal, renumbers_only_the_last_qudit_and_keeps_an_orphaned_one) {
    Handle a(2), b(2), c(2), d(2);
    give_state({&a, &b, &c, &d}, {2, 2, 2, 2}, {{{0, 0, 0, 0}, 1.0}});
    auto indices = [&] { return std::vector<int>{index_of(a), index_of(b), index_of(c), index_of(d)}; };
    EXPECT_EQ(give_back(d), "");  // the last qudit itself: nobody moves
    EXPECT_EQ(indices(), (std::vector<int>{0, 1, 2, -1}));
    vortan_quantum_property_destroy(&b.p);  // qudit 1 stays, unnamed
    EXPECT_EQ(give_back(a), "");            // the last qudit takes the freed place
    EXPECT_EQ(indices(), (std::vector<int>{-1, -1, 0, -1}));
    EXPECT_EQ(c.property().shared->state->num_qudits(), 2u);
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
