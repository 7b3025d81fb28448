// Property and predicate handles, and the size calculators, driven as a host.

#include <tuple>

#include "api/measurement_test.h"

namespace vortan::testing {
namespace {

int callbacks = 0;
void count_callback(const vortan_error_info*, void*) { ++callbacks; }

TEST(PropertyHandle, only_create_reports_checking_the_out_pointer_then_the_range_then_the_factory) {
    vortan_set_error_callback(count_callback, nullptr);
    const char* const range = "dimension must be positive and not exceed MAX_DIMENSION";
    const struct { int32_t dimension; bool out; vortan_result code; const char* text; } rows[] = {
        {9, false, 1, "out_property cannot be NULL"}, {0, true, 4, range}, {4, true, 4, range}, {-1, true, 4, range},
        {INT32_MIN, true, 4, range}, {1, true, 4, "dim must be >= 2"}};  // 1 is refused by the factory
    auto* const sentinel = reinterpret_cast<vortan_quantum_property*>(0x10);
    for (const auto& row : rows) {
        vortan_quantum_property* p = sentinel;
        EXPECT_REPORT(row.code, row.text, vortan_quantum_property_create, row.dimension, row.out ? &p : nullptr);
        // Only the factory's refusal finds the out variable already cleared.
        EXPECT_EQ(p, row.dimension == 1 ? nullptr : sentinel) << row.dimension;
    }
    // The getters, predicates and calculators return bare codes and never call back.
    Handle h(2);
    uint32_t dimension;
    size_t count;
    for (vortan_result code : {vortan_quantum_property_get_dimension(nullptr, &dimension), vortan_quantum_property_get_dimension(h.p, nullptr),
                               vortan_quantum_property_get_num_active_qudits(nullptr, &count),
                               vortan_quantum_property_get_state_vector_size(h.p, nullptr), vortan_predicate_create(h.p, 0, true, nullptr),
                               vortan_calculate_combinations_count(nullptr, 1, &count)})
        EXPECT_EQ(code, VORTAN_ERROR_NULL_POINTER);
    vortan_cleanup();
    EXPECT_EQ(callbacks, 6);
}

// A qubit at index 1 beside a qutrit: each handle reads its own qudit, both
// the whole group's counts, and the calculators multiply the dimensions the
// properties have in their groups.
TEST(PropertyHandle, accessors_and_calculators_read_the_property_in_its_mixed_group) {
    using Sizes = std::tuple<size_t, size_t, size_t>;
    Handle qutrit(3), qubit(2), alone(2);
    give_state({&qutrit, &qubit}, {3, 2}, {{{0, 0}, 0.6}, {{1, 0}, 0.8}});
    std::vector<size_t> got;
    for (vortan_quantum_property* p : {qutrit.p, qubit.p}) {
        uint32_t dimension = 0;
        size_t count = 0, size = 0;
        EXPECT_EQ(vortan_quantum_property_get_dimension(p, &dimension) + vortan_quantum_property_get_num_active_qudits(p, &count) +
                      vortan_quantum_property_get_state_vector_size(p, &size), VORTAN_SUCCESS);
        got.insert(got.end(), {dimension, count, size});
    }
    EXPECT_EQ(got, std::vector<size_t>({3, 2, 2, 2, 2, 2}));
    vortan_quantum_property* list[] = {qubit.p, nullptr, alone.p};
    size_t count = 7, side = 7, size = 7;
    EXPECT_EQ(vortan_calculate_combinations_count(list, 2, &count), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(vortan_calculate_matrix_size(list, 2, &side, &size), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(Sizes(count, side, size), Sizes(7, 7, 7)) << "untouched on failure";
    list[1] = qutrit.p;
    EXPECT_EQ(vortan_calculate_combinations_count(list, 2, &count) + vortan_calculate_matrix_size(list, 3, &side, &size), VORTAN_SUCCESS);
    EXPECT_EQ(Sizes(count, side, size), Sizes(6, 12, 144));
    EXPECT_EQ(vortan_calculate_combinations_count(nullptr, 0, &count) + vortan_calculate_matrix_size(nullptr, 0, &side, &size), 0);
    EXPECT_EQ(Sizes(count, side, size), Sizes(0, 0, 0));
}

}  // namespace
}  // namespace vortan::testing
