// The library family from the host's side.

#include <gtest/gtest.h>

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
    for (int32_t d : {1, 2, 3}) EXPECT_TRUE(vortan_is_valid_dimension(d)) << d;
    for (int32_t d : {0, 4, -1, INT32_MIN, INT32_MAX}) EXPECT_FALSE(vortan_is_valid_dimension(d)) << d;
}

// The text and the macros are compared by header_test.c.
TEST(Library, version_numbers_are_written_only_whole) {
    uint32_t v[3] = {11, 22, 33};
    EXPECT_EQ(vortan_get_version_info(&v[0], &v[1], nullptr), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(vortan_get_version_info(nullptr, &v[1], &v[2]), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(vortan_get_version_info(&v[0], nullptr, &v[2]), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(v[0] * 10000 + v[1] * 100 + v[2], 112233u);
}

}  // namespace
