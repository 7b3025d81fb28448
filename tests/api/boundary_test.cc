// Reporting a failure: the record, the cut, the callback and the clause lists.

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "api/boundary.h"
#include "qudit/errors.h"

namespace vortan::api {
namespace {

struct Calls {
    std::vector<std::string> messages;
    std::vector<void*> user_data;
};

void record_call(const vortan_error_info* info, void* user_data) {
    auto* calls = static_cast<Calls*>(user_data);
    calls->messages.emplace_back(info->message);
    calls->user_data.push_back(user_data);
}

class Reporting : public ::testing::Test {
protected:
    void TearDown() override { vortan_cleanup(); }
    Calls calls;
};

TEST_F(Reporting, fills_every_field_and_cuts_long_texts_at_255) {
    vortan_error_info info;
    std::memset(&info, 0x7f, sizeof info);
    const std::string long_text(300, 'x');
    EXPECT_EQ(report_error(&info, 102, long_text.c_str(), "vortan_demo", 42), 102);
    EXPECT_EQ(info.code, 102);
    EXPECT_EQ(std::string(info.message), std::string(255, 'x'));
    EXPECT_STREQ(info.function, "vortan_demo");
    EXPECT_EQ(info.line, 42u);
    // Reserved words are not written.
    EXPECT_EQ(info.reserved0, 0x7f7f7f7fu);
    EXPECT_EQ(info.reserved1, 0x7f7f7f7fu);
}

TEST_F(Reporting, pads_a_short_text_with_zero_bytes) {
    vortan_error_info info;
    std::memset(&info, 'z', sizeof info);
    report_error(&info, 1, "short", "f", 1);
    EXPECT_STREQ(info.message, "short");
    for (std::size_t i = 5; i < sizeof info.message; ++i) ASSERT_EQ(info.message[i], '\0') << i;
}

TEST_F(Reporting, calls_the_callback_last_with_the_hosts_pointer) {
    vortan_set_error_callback(record_call, &calls);
    vortan_error_info info{};
    report_error(&info, 3, "late", "f", 7);
    ASSERT_EQ(calls.messages.size(), 1u);
    EXPECT_EQ(calls.messages[0], "late");
    EXPECT_EQ(calls.user_data[0], &calls);
}

TEST_F(Reporting, a_null_record_reports_nothing_and_skips_the_callback) {
    vortan_set_error_callback(record_call, &calls);
    EXPECT_EQ(report_error(nullptr, 900, "lost", "f", 1), 900);
    EXPECT_TRUE(calls.messages.empty());
}

TEST_F(Reporting, cleanup_and_a_null_callback_both_silence_it) {
    vortan_error_info info{};
    vortan_set_error_callback(record_call, &calls);
    vortan_cleanup();
    report_error(&info, 1, "after cleanup", "f", 1);
    vortan_set_error_callback(record_call, &calls);
    vortan_set_error_callback(nullptr, &calls);
    report_error(&info, 1, "after null", "f", 1);
    EXPECT_TRUE(calls.messages.empty());
    EXPECT_STREQ(info.message, "after null");  // the record is still filled
}

TEST_F(Reporting, the_callback_sees_the_latest_pair) {
    Calls other;
    vortan_set_error_callback(record_call, &calls);
    vortan_set_error_callback(record_call, &other);
    vortan_error_info info{};
    report_error(&info, 1, "m", "f", 1);
    EXPECT_TRUE(calls.messages.empty());
    EXPECT_EQ(other.messages.size(), 1u);
}

// A clause list shaped like the swap gate's: specific types before their bases.
using Clauses = ClauseList<Catch<qudit::TargetControlOverlap, 100>, Catch<qudit::BadDimension, 4>,
                           Catch<std::invalid_argument, 2>, Catch<std::bad_alloc, 200>,
                           Catch<std::exception, 900>>;

template <class E>
vortan_result run_throwing(vortan_error_info* info, const char* text) {
    return guarded<Clauses>(info, Site{"vortan_test_function", 9}, [&] { throw E(text); });
}

TEST(Guarded, maps_each_exception_by_the_first_matching_clause) {
    vortan_error_info info{};
    EXPECT_EQ(run_throwing<qudit::TargetControlOverlap>(&info, "overlap"), 100);
    EXPECT_STREQ(info.message, "overlap");
    EXPECT_EQ(run_throwing<qudit::BadDimension>(&info, "dim"), 4);
    EXPECT_EQ(run_throwing<std::invalid_argument>(&info, "arg"), 2);
    // No clause of its own: falls through to std::exception.
    EXPECT_EQ(run_throwing<qudit::StateSizeExceeded>(&info, "too big"), 900);
    EXPECT_STREQ(info.message, "too big");
    EXPECT_EQ(run_throwing<qudit::BadQuditIndex>(&info, "index"), 900);
    EXPECT_STREQ(info.function, "vortan_test_function");
    EXPECT_EQ(info.line, 9u);
}

TEST(Guarded, reports_exhausted_memory_with_a_fixed_text) {
    vortan_error_info info{};
    EXPECT_EQ(guarded<Clauses>(&info, Site{"f", 1}, [] { throw std::bad_alloc(); }), 200);
    EXPECT_STREQ(info.message, "Memory allocation failed");
    // Without a clause of its own it is an std::exception like any other.
    using Narrow = ClauseList<Catch<std::exception, 900>>;
    EXPECT_EQ(guarded<Narrow>(&info, Site{"f", 1}, [] { throw std::bad_alloc(); }), 900);
    EXPECT_STREQ(info.message, std::bad_alloc().what());
}

TEST(Guarded, success_leaves_the_record_alone_and_bodies_may_return_a_code) {
    vortan_error_info info{};
    info.code = 77;
    EXPECT_EQ(guarded<Clauses>(&info, Site{"f", 1}, [] {}), VORTAN_SUCCESS);
    EXPECT_EQ(guarded<Clauses>(&info, Site{"f", 1}, [] { return vortan_result{3}; }), 3);
    EXPECT_EQ(info.code, 77);
}

TEST(Guarded, the_callback_runs_before_the_function_returns) {
    Calls calls;
    vortan_set_error_callback(record_call, &calls);
    vortan_error_info info{};
    run_throwing<std::runtime_error>(&info, "seen");
    vortan_cleanup();
    ASSERT_EQ(calls.messages.size(), 1u);
    EXPECT_EQ(calls.messages[0], "seen");
}

TEST(Guarded, lets_a_foreign_exception_type_through) {
    vortan_error_info info{};
    EXPECT_THROW(guarded<Clauses>(&info, Site{"f", 1}, [] { throw 5; }), int);
}

}  // namespace
}  // namespace vortan::api
