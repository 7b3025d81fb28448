// The measurement exports as a host calls them: argument checks in order,
// engine failures by each export's own codes, and results aligned with the
// host's array.

#include "api/measurement_test.h"

using namespace vortan::testing;

TEST(MeasurementExports, check_in_order_map_failures_by_their_own_clauses_and_align_with_the_hosts_array) {
    Handle a(2), b(3), c(2), other(2);
    vortan_quantum_property *gap[] = {a.p, nullptr}, *apart[] = {a.p, other.p}, *ab[] = {a.p, b.p}, *ca[] = {c.p, a.p},
                            *list[] = {b.p, c.p, a.p, b.p};
    const int32_t values[] = {0, 1};
    int32_t out[5] = {-1, -1, -1, -1, -1};
    EXPECT_REPORT(1, "properties cannot be NULL", vortan_measure_properties, nullptr, 0, nullptr, 0);
    EXPECT_REPORT(2, "property_count must be > 0", vortan_measure_properties, gap, 0, nullptr, 0);
    EXPECT_REPORT(1, "output_buffer cannot be NULL", vortan_measure_properties, gap, 1, nullptr, 0);
    EXPECT_REPORT(3, "buffer_size must be >= property_count", vortan_measure_properties, gap, 2, out, 1);
    EXPECT_REPORT(1, "properties[i] cannot be NULL", vortan_measure_properties, gap, 2, out, 2);
    EXPECT_REPORT(1, "properties cannot be NULL", vortan_forced_measure_properties, nullptr, 0, nullptr, 0, nullptr, 0);
    EXPECT_REPORT(1, "forced_values cannot be NULL", vortan_forced_measure_properties, gap, 0, nullptr, 0, nullptr, 0);
    EXPECT_REPORT(2, "property_count must be > 0", vortan_forced_measure_properties, gap, 0, values, 1, nullptr, 0);
    EXPECT_REPORT(2, "forced_value_count must match property_count", vortan_forced_measure_properties, gap, 2, values, 1, out, 0);
    EXPECT_REPORT(3, "buffer_size must be >= property_count when output_buffer is provided", vortan_forced_measure_properties, gap, 2,
                  values, 2, out, 1);
    EXPECT_REPORT(1, "properties[i] cannot be NULL", vortan_forced_measure_properties, gap, 2, values, 2, nullptr, 0);
    EXPECT_EQ(vortan_forced_measure_properties(gap, 1, values, 1, nullptr, 5, nullptr), VORTAN_SUCCESS)
        << "without a buffer its size is not read";
    EXPECT_REPORT(1, "properties cannot be NULL", vortan_calculate_probabilities, nullptr, 0, nullptr, 0, nullptr);
    EXPECT_REPORT(2, "property_count must be > 0", vortan_calculate_probabilities, gap, 0, nullptr, 0, nullptr);
    EXPECT_REPORT(1, "output_buffer cannot be NULL", vortan_calculate_probabilities, gap, 1, nullptr, 0, nullptr);
    // One failure of merging, a code for each export.
    int context = 0;
    other.property().shared->simulation = reinterpret_cast<vortan::QuantumSimulation*>(&context);
    const char* text = "Cannot entangle properties from different QuantumSimulation contexts";
    EXPECT_REPORT(900, text, vortan_measure_properties, apart, 2, out, 2);
    EXPECT_REPORT(2, text, vortan_forced_measure_properties, apart, 2, values, 2, out, 2);
    EXPECT_EQ(out[0], -1) << "a failed call writes nothing";

    // Forcing refuses an outcome out of the qudit's range or shown by no entry.
    give_state({&a, &b, &c}, {2, 3, 2}, {{{0, 1, 1}, 0.6}, {{1, 2, 0}, {0, 0.8}}});
    const int32_t too_high[] = {0, 3}, absent[] = {0, 2};
    EXPECT_REPORT(2, "Forced measurement outcome value is out of range for the qudit dimension", vortan_forced_measure_properties, ab, 2,
                  too_high, 2, out, 2);
    EXPECT_REPORT(2, "Forced measurement outcome is inconsistent with the current state amplitudes", vortan_forced_measure_properties,
                  ab, 2, absent, 2, out, 2);
    // Outcomes and forced values follow the host's array, repeats included.
    ASSERT_EQ(vortan_forced_measure_properties(ca, 2, values, 2, out, 2, nullptr), VORTAN_SUCCESS);
    ASSERT_EQ(vortan_measure_properties(list, 4, out, 4, nullptr), VORTAN_SUCCESS);
    EXPECT_EQ(std::vector<int32_t>(out, out + 5), (std::vector<int32_t>{2, 0, 1, 2, -1}));
    // An empty state gives no outcome: success, nothing written.
    a.property().shared->state = vortan::qudit::make_state(3, 3, {});
    EXPECT_EQ(vortan_measure_properties(list, 1, out + 4, 1, nullptr), VORTAN_SUCCESS);
    EXPECT_EQ(out[4], -1);
}

// Qubit a, qutrit b: the buffer is checked after merging, then every
// combination is listed with properties[0] the fastest digit.
TEST(ProbabilitiesExport, lists_every_combination_with_the_first_property_fastest) {
    Handle a(2), b(3);
    vortan_quantum_property *ab[] = {a.p, b.p}, *gap[] = {a.p, nullptr};
    std::vector<vortan_probability_entry> out(6, {-1.0f, 0, nullptr, 77});
    size_t n = 99;
    EXPECT_REPORT(1, "properties[i] cannot be NULL", vortan_calculate_probabilities, gap, 2, out.data(), 6, &n);
    EXPECT_REPORT(3, "buffer_size insufficient for all combinations", vortan_calculate_probabilities, ab, 2, out.data(), 5, &n);
    EXPECT_TRUE(a.property().shared == b.property().shared && n == 99 && out[0].outcome_count == 77u);
    // 3^37 combinations: a short buffer is told so by their count; a buffer
    // that claims room for them all meets a list no vector holds, refused as
    // exhausted memory before any allocation.
    const std::vector<vortan_quantum_property*> many(37, b.p);
    EXPECT_REPORT(3, "buffer_size insufficient for all combinations", vortan_calculate_probabilities, many.data(), many.size(), out.data(),
                  6, &n);
    EXPECT_REPORT(900, "std::bad_alloc", vortan_calculate_probabilities, many.data(), many.size(), out.data(), SIZE_MAX, &n);
    give_state({&a, &b}, {2, 3}, {{{1, 0}, 0.5}, {{0, 2}, {0, std::sqrt(0.75)}}});
    using Values = std::vector<std::vector<int32_t>>;
    const std::tuple<std::vector<vortan_quantum_property*>, Values, std::vector<float>> cases[] = {
        {{a.p, b.p}, {}, {0, .25f, 0, 0, .75f, 0}},  // null value buffers: probabilities and counts only
        {{b.p, a.p}, {{0, 0}, {1, 0}, {2, 0}, {0, 1}, {1, 1}, {2, 1}}, {0, 0, .75f, .25f, 0, 0}},
        {{a.p, a.p}, {{0, 0}, {1, 0}, {0, 1}, {1, 1}}, {.75f, 0, 0, .25f}}};  // a listed twice
    for (const auto& [list, want, p] : cases) {
        Values values(want.size(), std::vector<int32_t>(2, -9));
        for (std::size_t k = 0; k < p.size(); ++k) out[k] = {-1.0f, 0, want.empty() ? nullptr : values[k].data(), 77};
        ASSERT_EQ(vortan_calculate_probabilities(list.data(), 2, out.data(), p.size(), &n, nullptr), VORTAN_SUCCESS);
        EXPECT_TRUE(n == p.size() && values == want);
        for (std::size_t k = 0; k < p.size(); ++k)
            EXPECT_TRUE(std::abs(out[k].probability - p[k]) < 1e-6f && out[k].outcome_count == 2u) << k;
    }
}
