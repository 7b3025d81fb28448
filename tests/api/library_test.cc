// The library family from the host's side.

#include <gtest/gtest.h>

#include <string>

#include "vortan.h"

namespace {

TEST(Library, error_strings_cover_every_code_and_nothing_else) {
    const std::pair<vortan_result, const char*> known[] = {
        {0, "Success"},
        {1, "Null pointer error"},
        {2, "Invalid argument"},
        {3, "Buffer too small"},
        {4, "Invalid dimension"},
        {5, "Invalid qudit number"},
        {100, "Target control overlap"},
        {101, "Incompatible dimensions"},
        {102, "State size exceeded"},
        {200, "Out of memory"},
        {900, "Internal error"},
    };
    for (const auto& [code, text] : known) EXPECT_STREQ(vortan_get_error_string(code), text) << code;
    for (vortan_result code : {6, 99, 103, 201, 901, -1, INT32_MIN})
        EXPECT_STREQ(vortan_get_error_string(code), "Unknown error") << code;
}

TEST(Library, version_text_and_numbers_agree) {
    EXPECT_STREQ(vortan_get_version(), "1.4.0");
    uint32_t major = 0, minor = 0, patch = 9;
    ASSERT_EQ(vortan_get_version_info(&major, &minor, &patch), VORTAN_SUCCESS);
    EXPECT_EQ(std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch),
              vortan_get_version());
}

TEST(Library, version_info_writes_nothing_unless_all_three_pointers_are_given) {
    uint32_t a = 11, b = 22, c = 33;
    EXPECT_EQ(vortan_get_version_info(&a, &b, nullptr), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(vortan_get_version_info(nullptr, &b, &c), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(vortan_get_version_info(&a, nullptr, &c), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(a, 11u);
    EXPECT_EQ(b, 22u);
    EXPECT_EQ(c, 33u);
}

TEST(Library, limits) {
    EXPECT_EQ(vortan_get_max_dimension(), 3u);
    EXPECT_EQ(vortan_get_max_qudits(), 12u);
    EXPECT_EQ(vortan_get_max_state_size(), 100000u);
}

TEST(Library, valid_dimensions_are_one_to_three) {
    for (int32_t d : {1, 2, 3}) EXPECT_TRUE(vortan_is_valid_dimension(d)) << d;
    for (int32_t d : {0, 4, -1, INT32_MIN, INT32_MAX}) EXPECT_FALSE(vortan_is_valid_dimension(d)) << d;
}

TEST(Library, initialize_and_cleanup_may_come_in_any_order) {
    EXPECT_EQ(vortan_cleanup(), VORTAN_SUCCESS);
    EXPECT_EQ(vortan_initialize(), VORTAN_SUCCESS);
    EXPECT_EQ(vortan_initialize(), VORTAN_SUCCESS);
    EXPECT_EQ(vortan_cleanup(), VORTAN_SUCCESS);
}

}  // namespace
