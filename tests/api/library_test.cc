// The library family from the host's side.

#include <gtest/gtest.h>

#include <string>

#include "vortan.h"

namespace {

TEST(Library, error_strings_cover_every_code_and_nothing_else) {
    const std::pair<vortan_result, const char*> known[] = {
        {0, "Success"}, {1, "Null pointer error"}, {2, "Invalid argument"}, {3, "Buffer too small"},
        {4, "Invalid dimension"}, {5, "Invalid qudit number"}, {100, "Target control overlap"},
        {101, "Incompatible dimensions"}, {102, "State size exceeded"}, {200, "Out of memory"},
        {900, "Internal error"}};
    for (const auto& [code, text] : known) EXPECT_STREQ(vortan_get_error_string(code), text) << code;
    for (vortan_result code : {6, 99, 103, 201, 901, -1, INT32_MIN})
        EXPECT_STREQ(vortan_get_error_string(code), "Unknown error") << code;
}

TEST(Library, version_info_writes_nothing_on_a_null_pointer_and_dimensions_run_from_one_to_three) {
    uint32_t v[3] = {11, 22, 33};
    EXPECT_EQ(vortan_get_version_info(&v[0], &v[1], nullptr), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(vortan_get_version_info(nullptr, &v[1], &v[2]), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(vortan_get_version_info(&v[0], nullptr, &v[2]), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(v[0] * 10000 + v[1] * 100 + v[2], 112233u);
    for (int32_t d : {1, 2, 3}) EXPECT_TRUE(vortan_is_valid_dimension(d)) << d;
    for (int32_t d : {0, 4, -1, INT32_MIN, INT32_MAX}) EXPECT_FALSE(vortan_is_valid_dimension(d)) << d;
}

TEST(Library, limits_and_the_do_nothing_calls_answer_as_documented) {
    EXPECT_EQ(vortan_get_max_dimension(), 3u);
    EXPECT_EQ(vortan_get_max_qudits(), 12u);
    EXPECT_EQ(vortan_get_max_state_size(), 100000u);
    EXPECT_EQ(vortan_initialize(), VORTAN_SUCCESS);
    uint32_t v[3] = {9, 9, 9};
    EXPECT_EQ(vortan_get_version_info(&v[0], &v[1], &v[2]), VORTAN_SUCCESS);
    EXPECT_EQ(v[0] * 10000 + v[1] * 100 + v[2], 10400u);
    // Cleanup silences the callback: a later failure is recorded only.
    static int calls = 0;
    vortan_set_error_callback([](const vortan_error_info*, void*) { ++calls; }, nullptr);
    vortan_error_info info{};
    EXPECT_EQ(vortan_quantum_property_create(0, nullptr, &info), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(vortan_cleanup(), VORTAN_SUCCESS);
    info = {};
    EXPECT_EQ(vortan_quantum_property_create(0, nullptr, &info), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(calls * 10 + info.code, 11);
}

TEST(Library, version_text_matches_the_numbers_and_an_early_pointer_stays_good) {
    const char* first = vortan_get_version();
    uint32_t v[3] = {};
    ASSERT_EQ(vortan_get_version_info(&v[0], &v[1], &v[2]), VORTAN_SUCCESS);
    const std::string numbers = std::to_string(v[0]) + "." + std::to_string(v[1]) + "." + std::to_string(v[2]);
    EXPECT_EQ(numbers, "1.4.0");
    for (int i = 0; i < 3; ++i) EXPECT_EQ(vortan_get_version(), first);
    EXPECT_EQ(std::string(first), numbers);
}

}  // namespace
