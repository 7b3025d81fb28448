// The measurement exports driven as a host: argument checks in order, codes
// of engine failures, and results aligned with the host's array.

#include "api/measurement_test.h"

#include <cmath>
#include <cstdint>
#include <memory>

namespace vortan::testing {
namespace {

using qudit::testing::Complex;

const double H = 1 / std::sqrt(2.0);

TEST(MeasureExport, checks_its_arguments_in_order) {
    Handle a(2);
    vortan_quantum_property* list[] = {a.p, nullptr};
    int32_t out[2] = {-7, -7};
    vortan_error_info info{};
    const char* f = "vortan_measure_properties";
    expect_report(vortan_measure_properties(nullptr, 0, nullptr, 0, &info), info, 1, "properties cannot be NULL", f);
    expect_report(vortan_measure_properties(list, 0, nullptr, 0, &info), info, 2, "property_count must be > 0", f);
    expect_report(vortan_measure_properties(list, 1, nullptr, 0, &info), info, 1, "output_buffer cannot be NULL", f);
    expect_report(vortan_measure_properties(list, 2, out, 1, &info), info, 3, "buffer_size must be >= property_count",
                  f);
    expect_report(vortan_measure_properties(list, 2, out, 2, &info), info, 1, "properties[i] cannot be NULL", f);
    EXPECT_EQ(out[0], -7) << "a failed call writes nothing";
    // A count no vector can hold fails while reserving, before any element is read.
    expect_report(vortan_measure_properties(list, size_t{1} << 60, out, SIZE_MAX, &info), info, 900,
                  "vector::reserve", f);
}

TEST(MeasureExport, outcomes_follow_the_order_of_the_hosts_array) {
    Handle a(2), b(3), c(2);
    give_state({&a, &b, &c}, {2, 3, 2}, {{{1, 2, 0}, 1.0}});
    vortan_quantum_property* list[] = {b.p, c.p, a.p, b.p};
    int32_t out[5] = {-1, -1, -1, -1, -1};
    ASSERT_EQ(vortan_measure_properties(list, 4, out, 4, nullptr), VORTAN_SUCCESS);
    EXPECT_EQ(std::vector<int32_t>(out, out + 5), (std::vector<int32_t>{2, 0, 1, 2, -1}));
}

TEST(MeasureExport, entangles_what_it_names_and_skips_an_empty_state) {
    Handle x(2), y(3);
    vortan_quantum_property* list[] = {x.p, y.p};
    int32_t out[2] = {-1, -1};
    ASSERT_EQ(vortan_measure_properties(list, 2, out, 2, nullptr), VORTAN_SUCCESS);
    EXPECT_TRUE(share_a_state(x, y));
    EXPECT_EQ(out[0] + out[1], 0);
    // A state without entries gives no outcome: success, nothing written.
    x.property().shared->state = qudit::make_state(3, 2, {});
    out[0] = 42;
    EXPECT_EQ(vortan_measure_properties(list, 1, out, 1, nullptr), VORTAN_SUCCESS);
    EXPECT_EQ(out[0], 42);
}

// The same failures of entangling arrive with different codes: each export
// has its own clause list.
TEST(MeasureExport, maps_engine_failures_by_its_own_clauses) {
    Handle a(2), b(2);
    int context = 0;
    b.property().shared->simulation = reinterpret_cast<QuantumSimulation*>(&context);
    vortan_quantum_property* list[] = {a.p, b.p};
    int32_t out[2];
    const int32_t forced[2] = {0, 0};
    vortan_error_info info{};
    const char* text = "Cannot entangle properties from different QuantumSimulation contexts";
    expect_report(vortan_measure_properties(list, 2, out, 2, &info), info, 900, text, "vortan_measure_properties");
    expect_report(vortan_forced_measure_properties(list, 2, forced, 2, out, 2, &info), info, 2, text,
                  "vortan_forced_measure_properties");

    // Thirteen qudits: the factory refuses the qudit count.
    std::vector<std::unique_ptr<Handle>> many;
    std::vector<vortan_quantum_property*> thirteen;
    for (int i = 0; i < 13; ++i) {
        many.push_back(std::make_unique<Handle>(2));
        thirteen.push_back(many.back()->p);
    }
    int32_t outs[13];
    EXPECT_EQ(vortan_measure_properties(thirteen.data(), 13, outs, 13, &info), VORTAN_ERROR_INVALID_QUDIT_NUMBER);

    // A product past the size limit has no clause of its own here.
    Handle big(3), wide(3);
    std::mt19937_64 rng(1);
    big.property().shared->state = qudit::make_state(3, 6, qudit::testing::random_entries(rng, {3, 3, 3, 3, 3, 3}, 400));
    wide.property().shared->state = qudit::make_state(3, 6, qudit::testing::random_entries(rng, {3, 3, 3, 3, 3, 3}, 251));
    vortan_quantum_property* pair[] = {big.p, wide.p};
    EXPECT_EQ(vortan_measure_properties(pair, 2, out, 2, &info), VORTAN_ERROR_INTERNAL);
    EXPECT_EQ(std::string(info.message).rfind("Tensor product would produce ~100400 basis states", 0), 0u);
}

TEST(ForcedExport, checks_its_arguments_in_order) {
    Handle a(2);
    vortan_quantum_property* list[] = {a.p, nullptr};
    const int32_t values[2] = {0, 0};
    int32_t out[2] = {-7, -7};
    vortan_error_info info{};
    const char* f = "vortan_forced_measure_properties";
    expect_report(vortan_forced_measure_properties(nullptr, 0, nullptr, 0, nullptr, 0, &info), info, 1,
                  "properties cannot be NULL", f);
    expect_report(vortan_forced_measure_properties(list, 0, nullptr, 0, nullptr, 0, &info), info, 1,
                  "forced_values cannot be NULL", f);
    expect_report(vortan_forced_measure_properties(list, 0, values, 1, nullptr, 0, &info), info, 2,
                  "property_count must be > 0", f);
    expect_report(vortan_forced_measure_properties(list, 2, values, 1, out, 0, &info), info, 2,
                  "forced_value_count must match property_count", f);
    expect_report(vortan_forced_measure_properties(list, 2, values, 2, out, 1, &info), info, 3,
                  "buffer_size must be >= property_count when output_buffer is provided", f);
    expect_report(vortan_forced_measure_properties(list, 2, values, 2, nullptr, 0, &info), info, 1,
                  "properties[i] cannot be NULL", f);
    EXPECT_EQ(out[0], -7);
    // Without a buffer its size is not looked at.
    EXPECT_EQ(vortan_forced_measure_properties(list, 1, values, 1, nullptr, 0, &info), VORTAN_SUCCESS);
}

TEST(ForcedExport, projects_onto_the_values_in_the_hosts_order) {
    Handle a(2), b(3);
    give_state({&a, &b}, {2, 3}, {{{0, 2}, H}, {{1, 0}, Complex(0, H)}});
    vortan_quantum_property* list[] = {b.p, a.p};
    const int32_t values[2] = {0, 1};
    int32_t out[3] = {-1, -1, -1};
    ASSERT_EQ(vortan_forced_measure_properties(list, 2, values, 2, out, 3, nullptr), VORTAN_SUCCESS);
    EXPECT_EQ(std::vector<int32_t>(out, out + 3), (std::vector<int32_t>{0, 1, -1}));
    EXPECT_EQ(qudit::testing::digits_of(*a.property().shared->state), (std::vector<std::vector<int>>{{1, 0}}));
}

TEST(ForcedExport, reports_the_engines_refusals_by_their_codes) {
    Handle a(2), b(2);
    give_state({&a, &b}, {2, 2}, {{{0, 0}, 1.0}, {{1, 1}, 1e-4}});
    vortan_quantum_property* list[] = {a.p, b.p};
    vortan_error_info info{};
    const char* f = "vortan_forced_measure_properties";
    const int32_t two[2] = {2, 0}, mixed[2] = {1, 0}, one[2] = {1, 1};
    expect_report(vortan_forced_measure_properties(list, 1, two, 1, nullptr, 0, &info), info, 2,
                  "Forced measurement outcome value is out of range for the qudit dimension", f);
    expect_report(vortan_forced_measure_properties(list, 2, mixed, 2, nullptr, 0, &info), info, 2,
                  "Forced measurement outcome is inconsistent with the current state amplitudes", f);
    EXPECT_EQ(a.property().shared->state->state_size(), 2u);
    expect_report(vortan_forced_measure_properties(list, 1, one, 1, nullptr, 0, &info), info, 900,
                  "State collapsed to zero amplitude", f);
    a.property().shared->state = qudit::make_state(2, 2, {});
    expect_report(vortan_forced_measure_properties(list, 1, one, 1, nullptr, 0, &info), info, 900,
                  "Cannot measure an empty quantum state", f);
}

std::vector<vortan_probability_entry> entries_with(std::vector<std::vector<int32_t>>& storage, std::size_t count,
                                                   std::size_t width) {
    storage.assign(count, std::vector<int32_t>(width, -9));
    std::vector<vortan_probability_entry> out(count);
    for (std::size_t k = 0; k < count; ++k) out[k] = {-1.0f, 0, storage[k].data(), 77};
    return out;
}

TEST(ProbabilitiesExport, checks_its_arguments_in_order) {
    Handle a(2);
    vortan_quantum_property* list[] = {a.p, nullptr};
    vortan_probability_entry out[4]{};
    vortan_error_info info{};
    const char* f = "vortan_calculate_probabilities";
    expect_report(vortan_calculate_probabilities(nullptr, 0, nullptr, 0, nullptr, &info), info, 1,
                  "properties cannot be NULL", f);
    expect_report(vortan_calculate_probabilities(list, 0, nullptr, 0, nullptr, &info), info, 2,
                  "property_count must be > 0", f);
    expect_report(vortan_calculate_probabilities(list, 1, nullptr, 0, nullptr, &info), info, 1,
                  "output_buffer cannot be NULL", f);
    expect_report(vortan_calculate_probabilities(list, 2, out, 0, nullptr, &info), info, 1,
                  "properties[i] cannot be NULL", f);
}

// Qubit a, qutrit b: six combinations with a the fastest digit.
TEST(ProbabilitiesExport, lists_every_combination_with_the_first_property_fastest) {
    Handle a(2), b(3);
    give_state({&a, &b}, {2, 3}, {{{1, 0}, std::sqrt(0.25)}, {{0, 2}, Complex(0, std::sqrt(0.75))}});
    std::vector<std::vector<int32_t>> values;
    auto out = entries_with(values, 6, 2);
    vortan_quantum_property* ab[] = {a.p, b.p};
    size_t count = 0;
    ASSERT_EQ(vortan_calculate_probabilities(ab, 2, out.data(), 6, &count, nullptr), VORTAN_SUCCESS);
    EXPECT_EQ(count, 6u);
    EXPECT_EQ(values, (std::vector<std::vector<int32_t>>{{0, 0}, {1, 0}, {0, 1}, {1, 1}, {0, 2}, {1, 2}}));
    const std::vector<float> ab_probabilities{0, 0.25f, 0, 0, 0.75f, 0};
    for (std::size_t k = 0; k < 6; ++k) {
        EXPECT_FLOAT_EQ(out[k].probability, ab_probabilities[k]) << k;
        EXPECT_EQ(out[k].outcome_count, 2u);
    }

    // The other order permutes the elements: b is now the fastest digit.
    vortan_quantum_property* ba[] = {b.p, a.p};
    ASSERT_EQ(vortan_calculate_probabilities(ba, 2, out.data(), 6, &count, nullptr), VORTAN_SUCCESS);
    EXPECT_EQ(values, (std::vector<std::vector<int32_t>>{{0, 0}, {1, 0}, {2, 0}, {0, 1}, {1, 1}, {2, 1}}));
    const std::vector<float> ba_probabilities{0, 0, 0.75f, 0.25f, 0, 0};
    for (std::size_t k = 0; k < 6; ++k) EXPECT_FLOAT_EQ(out[k].probability, ba_probabilities[k]) << k;
}

TEST(ProbabilitiesExport, a_property_listed_twice_counts_as_two_places) {
    Handle a(2);
    give_state({&a}, {2}, {{{0}, H}, {{1}, H}});
    vortan_quantum_property* aa[] = {a.p, a.p};
    std::vector<std::vector<int32_t>> values;
    auto out = entries_with(values, 4, 2);
    ASSERT_EQ(vortan_calculate_probabilities(aa, 2, out.data(), 4, nullptr, nullptr), VORTAN_SUCCESS);
    EXPECT_EQ(values, (std::vector<std::vector<int32_t>>{{0, 0}, {1, 0}, {0, 1}, {1, 1}}));
    EXPECT_FLOAT_EQ(out[0].probability, 0.5f);
    EXPECT_EQ(out[1].probability, 0.0f);
    EXPECT_EQ(out[2].probability, 0.0f);
    EXPECT_FLOAT_EQ(out[3].probability, 0.5f);
}

TEST(ProbabilitiesExport, a_small_buffer_is_refused_after_entangling) {
    Handle a(3), b(2);
    vortan_quantum_property* list[] = {a.p, b.p};
    std::vector<std::vector<int32_t>> values;
    auto out = entries_with(values, 6, 2);
    size_t count = 99;
    vortan_error_info info{};
    expect_report(vortan_calculate_probabilities(list, 2, out.data(), 5, &count, &info), info, 3,
                  "buffer_size insufficient for all combinations", "vortan_calculate_probabilities");
    EXPECT_TRUE(share_a_state(a, b));
    EXPECT_EQ(count, 99u);
    EXPECT_EQ(out[0].probability, -1.0f);
    EXPECT_EQ(out[0].outcome_count, 77u);
    EXPECT_EQ(values[0][0], -9);
    // A buffer of exactly the combinations passes.
    EXPECT_EQ(vortan_calculate_probabilities(list, 2, out.data(), 6, &count, &info), VORTAN_SUCCESS);
    EXPECT_EQ(count, 6u);
}

TEST(ProbabilitiesExport, null_outcome_buffers_get_probabilities_and_counts_only) {
    Handle a(3);
    vortan_quantum_property* list[] = {a.p};
    vortan_probability_entry out[3];
    for (auto& e : out) e = {-1.0f, 0, nullptr, 0};
    ASSERT_EQ(vortan_calculate_probabilities(list, 1, out, 3, nullptr, nullptr), VORTAN_SUCCESS);
    // A fresh qutrit is value 0; values 1 and 2 are listed with 0.
    for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_EQ(out[k].probability, k == 0 ? 1.0f : 0.0f);
        EXPECT_EQ(out[k].outcome_count, 1u);
    }
}

}  // namespace
}  // namespace vortan::testing
