// The reduced density matrix export as a host calls it: checks in order, the
// buffer checked before anything merges, and agreement with the dense
// reference, zeros included.

#include "api/measurement_test.h"
#include "reference/dense_state.h"

using namespace vortan::testing;

// A Bell pair of a qubit and a qutrit with a phase, in every listing order.
TEST(DensityExport, checks_the_buffer_before_merging_and_matches_the_dense_reference) {
    Handle a(2), b(3);
    vortan_quantum_property *handles[] = {a.p, b.p}, *list[] = {a.p, nullptr};
    std::vector<vortan_density_element> out(35, {7.0f, 7.0f});
    size_t n = 99;
    auto* out_data = out.data();
    EXPECT_REPORT(1, "properties cannot be NULL", vortan_calculate_reduced_density_matrix, nullptr, 0, nullptr, 0, &n);
    EXPECT_REPORT(2, "property_count must be > 0", vortan_calculate_reduced_density_matrix, list, 0, nullptr, 0, &n);
    EXPECT_REPORT(1, "output_buffer cannot be NULL", vortan_calculate_reduced_density_matrix, list, 1, nullptr, 0, &n);
    EXPECT_REPORT(1, "properties[i] cannot be NULL", vortan_calculate_reduced_density_matrix, list, 2, out_data, 0, &n);
    EXPECT_REPORT(3, "buffer_size insufficient for density matrix", vortan_calculate_reduced_density_matrix, handles, 2,
                  out_data, 35, &n);
    EXPECT_TRUE(a.property().shared != b.property().shared && n == 99 && out[0].real == 7.0f) << "no merge, no write";
    // The side is counted, not listed: past 64 bits it is still too many, and
    // a side of 2^32 must not square to 0.
    for (const auto& many : {std::vector<vortan_quantum_property*>(41, b.p), std::vector<vortan_quantum_property*>(32, a.p)})
        EXPECT_REPORT(3, "buffer_size insufficient for density matrix", vortan_calculate_reduced_density_matrix, many.data(), many.size(),
                      out_data, 35, &n);

    const double h = std::sqrt(0.5);
    const vortan::qudit::testing::Terms terms{{{0, 0}, h}, {{1, 2}, {0, h}}};
    give_state({&a, &b}, {2, 3}, terms);
    vortan::reference::DenseState dense({2, 3});
    for (const auto& [digits, amplitude] : terms) dense.at(digits) = amplitude;
    for (const std::vector<int>& order : {std::vector<int>{0, 1}, {1, 0}, {0}, {1}}) {
        std::vector<vortan_quantum_property*> sub;
        for (int q : order) sub.push_back(handles[q]);
        const vortan::reference::Matrix want = dense.reduced_density_matrix(order);
        out.assign(want.size() * want.size(), {7.0f, 7.0f});  // exactly n * n; unreached places become 0
        ASSERT_EQ(vortan_calculate_reduced_density_matrix(sub.data(), sub.size(), out.data(), out.size(), &n, nullptr),
                  VORTAN_SUCCESS);
        ASSERT_EQ(n, want.size());
        for (std::size_t k = 0; k < out.size(); ++k)
            EXPECT_TRUE(std::abs(std::complex<double>(out[k].real, out[k].imag) - want[k / n][k % n]) < 1e-6) << k;
    }
}
