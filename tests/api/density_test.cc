// The reduced density matrix export driven as a host: its own order of
// steps, the dense layout in combination order, and the dense reference.

#include <cmath>
#include <random>

#include "api/measurement_test.h"
#include "reference/dense_state.h"

namespace vortan::testing {
namespace {

using qudit::testing::Complex;

const double H = 1 / std::sqrt(2.0);

vortan_result density(std::vector<vortan_quantum_property*> list, std::vector<vortan_density_element>& out,
                      size_t* n, vortan_error_info* info = nullptr) {
    return vortan_calculate_reduced_density_matrix(list.data(), list.size(), out.data(), out.size(), n, info);
}

TEST(DensityExport, checks_its_arguments_in_order) {
    Handle a(2);
    vortan_quantum_property* list[] = {a.p, nullptr};
    vortan_density_element out[4];
    vortan_error_info info{};
    const char* f = "vortan_calculate_reduced_density_matrix";
    expect_report(vortan_calculate_reduced_density_matrix(nullptr, 0, nullptr, 0, nullptr, &info), info, 1,
                  "properties cannot be NULL", f);
    expect_report(vortan_calculate_reduced_density_matrix(list, 0, nullptr, 0, nullptr, &info), info, 2,
                  "property_count must be > 0", f);
    expect_report(vortan_calculate_reduced_density_matrix(list, 1, nullptr, 0, nullptr, &info), info, 1,
                  "output_buffer cannot be NULL", f);
    expect_report(vortan_calculate_reduced_density_matrix(list, 2, out, 0, nullptr, &info), info, 1,
                  "properties[i] cannot be NULL", f);
}

TEST(DensityExport, a_small_buffer_is_refused_before_entangling) {
    Handle a(2), b(3);
    std::vector<vortan_density_element> out(35, {7.0f, 7.0f});
    size_t n = 99;
    vortan_error_info info{};
    expect_report(density({a.p, b.p}, out, &n, &info), info, 3, "buffer_size insufficient for density matrix",
                  "vortan_calculate_reduced_density_matrix");
    EXPECT_FALSE(share_a_state(a, b));
    EXPECT_EQ(n, 99u);
    EXPECT_EQ(out[0].real, 7.0f);
    // Exactly n * n passes, with the places no pair reaches set to zero.
    out.resize(36, {7.0f, 7.0f});
    ASSERT_EQ(density({a.p, b.p}, out, &n), VORTAN_SUCCESS);
    EXPECT_EQ(n, 6u);
    EXPECT_TRUE(share_a_state(a, b));
    for (std::size_t k = 0; k < 36; ++k) {
        EXPECT_EQ(out[k].real, k == 0 ? 1.0f : 0.0f) << k;
        EXPECT_EQ(out[k].imag, 0.0f) << k;
    }
    EXPECT_EQ(density({a.p}, out, nullptr), VORTAN_SUCCESS) << "out_dimension is optional";
}

TEST(DensityExport, of_a_bell_pair) {
    Handle a(2), b(2);
    give_state({&a, &b}, {2, 2}, {{{0, 0}, H}, {{1, 1}, H}});
    std::vector<vortan_density_element> half(4);
    size_t n = 0;
    ASSERT_EQ(density({b.p}, half, &n), VORTAN_SUCCESS);
    EXPECT_EQ(n, 2u);
    const std::vector<float> mixed{0.5f, 0, 0, 0.5f};
    for (std::size_t k = 0; k < 4; ++k) EXPECT_FLOAT_EQ(half[k].real, mixed[k]) << k;

    std::vector<vortan_density_element> whole(16);
    ASSERT_EQ(density({a.p, b.p}, whole, &n), VORTAN_SUCCESS);
    EXPECT_EQ(n, 4u);
    // Combinations 0 = (0,0) and 3 = (1,1): the four corners of the block.
    for (std::size_t k = 0; k < 16; ++k)
        EXPECT_FLOAT_EQ(whole[k].real, k == 0 || k == 3 || k == 12 || k == 15 ? 0.5f : 0.0f) << k;
}

TEST(DensityExport, matches_the_dense_reference_in_any_listing_order) {
    Handle a(2), b(3), c(3);
    const std::vector<int> dims{2, 3, 3};
    std::mt19937_64 rng(4);
    std::normal_distribution<double> gauss;
    std::vector<std::pair<std::vector<int>, Complex>> terms;
    reference::DenseState dense(dims);
    for (std::size_t i = 0; i < dense.size(); ++i) {
        const Complex amplitude = rng() % 3 == 0 ? Complex(0) : Complex(gauss(rng), gauss(rng));
        dense.at(i) = amplitude;
        if (amplitude != Complex(0)) terms.push_back({dense.digits(i), amplitude});
    }
    give_state({&a, &b, &c}, dims, terms);
    const std::vector<vortan_quantum_property*> handles{a.p, b.p, c.p};
    for (const std::vector<int>& order : {std::vector<int>{2, 0}, {0, 2}, {1}, {2, 0, 1}}) {
        std::vector<vortan_quantum_property*> list;
        std::vector<int> sub;
        for (int q : order) list.push_back(handles[q]), sub.push_back(dims[q]);
        const reference::Matrix want = dense.reduced_density_matrix(order);
        std::vector<vortan_density_element> out(want.size() * want.size());
        size_t n = 0;
        ASSERT_EQ(density(list, out, &n), VORTAN_SUCCESS);
        ASSERT_EQ(n, want.size());
        for (std::size_t r = 0; r < n; ++r)
            for (std::size_t col = 0; col < n; ++col) {
                EXPECT_NEAR(out[r * n + col].real, want[r][col].real(), 1e-5);
                EXPECT_NEAR(out[r * n + col].imag, want[r][col].imag(), 1e-5);
            }
    }
}

TEST(DensityExport, a_failure_after_zeroing_leaves_zeros) {
    Handle a(2), b(2);
    int context = 0;
    b.property().shared->simulation = reinterpret_cast<QuantumSimulation*>(&context);
    std::vector<vortan_density_element> out(16, {3.0f, 3.0f});
    size_t n = 99;
    vortan_error_info info{};
    expect_report(density({a.p, b.p}, out, &n, &info), info, 900,
                  "Cannot entangle properties from different QuantumSimulation contexts",
                  "vortan_calculate_reduced_density_matrix");
    EXPECT_EQ(n, 99u);
    for (const auto& e : out) EXPECT_TRUE(e.real == 0.0f && e.imag == 0.0f);
}

}  // namespace
}  // namespace vortan::testing
