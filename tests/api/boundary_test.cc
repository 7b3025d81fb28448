// Reporting a failure: the record, the cut, the callback and the clause lists.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "api/boundary.h"
#include "qudit/errors.h"

namespace vortan::api {
namespace {

// What the callback found in the record, tagged if the host's pointer was lost.
std::vector<std::string> seen;
void record_call(const vortan_error_info* info, void* user_data) {
    seen.push_back(std::string(info->message) + (user_data == &seen ? "" : " (wrong user data)"));
}

TEST(Reporting, cuts_at_255_pads_with_zero_bytes_and_calls_back_unless_skipped_or_silenced) {
    vortan_error_info info{};
    vortan_set_error_callback(record_call, &seen);
    EXPECT_EQ(report_error(&info, 102, std::string(300, 'x').c_str(), "vortan_demo", 42), 102);
    EXPECT_EQ(info.code, 102);
    EXPECT_EQ(std::string(info.message, sizeof info.message), std::string(255, 'x') + '\0');
    report_error(&info, 1, "short", "f", 1);
    EXPECT_EQ(std::string(info.message, sizeof info.message), "short" + std::string(251, '\0'));
    EXPECT_EQ(report_error(nullptr, 900, "lost", "f", 1), 900);  // no record, no callback
    vortan_cleanup();
    report_error(&info, 1, "after cleanup", "f", 1);
    EXPECT_EQ(seen, (std::vector<std::string>{std::string(255, 'x'), "short"}));
}

// Specific types before their bases, as the exported functions list them.
using Clauses = ClauseList<Catch<qudit::TargetControlOverlap, 100>, Catch<qudit::BadDimension, 4>,
                           Catch<std::invalid_argument, 2>, Catch<std::bad_alloc, 200>,
                           Catch<std::exception, 900>>;

TEST(Guarded, maps_by_the_first_matching_clause) {
    vortan_error_info info{};
    auto run = [&](auto e) { return guarded<Clauses>(&info, Site{"f", 9}, [&] { throw e; }); };
    EXPECT_EQ(run(qudit::TargetControlOverlap("")), 100);
    EXPECT_EQ(run(qudit::BadDimension("")), 4);
    EXPECT_EQ(run(std::invalid_argument("")), 2);
    EXPECT_EQ(run(std::bad_alloc()), 200);
    EXPECT_STREQ(info.message, "Memory allocation failed");
    EXPECT_EQ(run(qudit::StateSizeExceeded("")), 900);  // no clause of its own
}

}  // namespace
}  // namespace vortan::api
