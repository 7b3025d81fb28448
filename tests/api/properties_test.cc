// Property and predicate handles, and the size calculators, driven as a host.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "api/handles.h"
#include "property/entangle.h"
#include "vortan.h"

namespace {

struct Handle {
    explicit Handle(int32_t dimension) { EXPECT_EQ(vortan_quantum_property_create(dimension, &p, nullptr), 0); }
    ~Handle() { vortan_quantum_property_destroy(&p); }
    vortan_quantum_property* p = nullptr;
};

int callbacks = 0;
void count_callback(const vortan_error_info*, void*) { ++callbacks; }

TEST(PropertyHandle, lives_from_create_to_destroy) {
    vortan_quantum_property* p = nullptr;
    vortan_error_info info{};
    ASSERT_EQ(vortan_quantum_property_create(3, &p, &info), VORTAN_SUCCESS);
    uint32_t dimension = 0;
    size_t qudits = 0, size = 0;
    EXPECT_EQ(vortan_quantum_property_get_dimension(p, &dimension), VORTAN_SUCCESS);
    EXPECT_EQ(vortan_quantum_property_get_num_active_qudits(p, &qudits), VORTAN_SUCCESS);
    EXPECT_EQ(vortan_quantum_property_get_state_vector_size(p, &size), VORTAN_SUCCESS);
    EXPECT_EQ(dimension, 3u);
    EXPECT_EQ(qudits, 1u);
    EXPECT_EQ(size, 1u);
    EXPECT_EQ(vortan_quantum_property_destroy(&p), VORTAN_SUCCESS);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(vortan_quantum_property_destroy(&p), VORTAN_SUCCESS);  // destroying twice is harmless
    EXPECT_EQ(vortan_quantum_property_destroy(nullptr), VORTAN_SUCCESS);
}

TEST(PropertyHandle, create_checks_its_arguments_in_order) {
    vortan_error_info info{};
    auto* const sentinel = reinterpret_cast<vortan_quantum_property*>(0x10);
    for (int32_t bad : {0, 4, -1, INT32_MIN}) {
        vortan_quantum_property* p = sentinel;
        EXPECT_EQ(vortan_quantum_property_create(bad, &p, &info), VORTAN_ERROR_INVALID_DIMENSION) << bad;
        EXPECT_STREQ(info.message, "dimension must be positive and not exceed MAX_DIMENSION");
        EXPECT_STREQ(info.function, "vortan_quantum_property_create");
        EXPECT_EQ(p, sentinel) << "the out variable keeps its content";
    }
    EXPECT_EQ(vortan_quantum_property_create(9, nullptr, &info), VORTAN_ERROR_NULL_POINTER);
    EXPECT_STREQ(info.message, "out_property cannot be NULL");
    EXPECT_EQ(vortan_quantum_property_create(2, nullptr, nullptr), VORTAN_ERROR_NULL_POINTER);

    // Dimension 1 passes the boundary and is refused by the factory; the out
    // variable was already cleared.
    vortan_quantum_property* p = sentinel;
    EXPECT_EQ(vortan_quantum_property_create(1, &p, &info), VORTAN_ERROR_INVALID_DIMENSION);
    EXPECT_STREQ(info.message, "dim must be >= 2");
    EXPECT_EQ(p, nullptr);
}

TEST(PropertyHandle, getters_and_destroy_return_bare_codes_without_a_report) {
    vortan_set_error_callback(count_callback, nullptr);
    Handle h(2);
    uint32_t dimension;
    size_t count;
    EXPECT_EQ(vortan_quantum_property_get_dimension(nullptr, &dimension), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(vortan_quantum_property_get_dimension(h.p, nullptr), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(vortan_quantum_property_get_num_active_qudits(nullptr, &count), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(vortan_quantum_property_get_state_vector_size(h.p, nullptr), VORTAN_ERROR_NULL_POINTER);
    vortan_predicate* pred = nullptr;
    EXPECT_EQ(vortan_predicate_create(nullptr, 0, true, &pred), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(vortan_predicate_create(h.p, 0, true, nullptr), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(vortan_calculate_combinations_count(nullptr, 1, &count), VORTAN_ERROR_NULL_POINTER);
    vortan_cleanup();
    EXPECT_EQ(callbacks, 0);
}

TEST(PropertyHandle, destroying_one_partner_leaves_its_qudit_behind) {
    Handle a(2), b(2);
    vortan::QuantumProperty* pa = vortan::api::from_handle(a.p);
    vortan::QuantumProperty* pb = vortan::api::from_handle(b.p);
    // Touch them together as a gate would.
    const std::vector<vortan::QuantumProperty*> list{pa, pb};
    vortan::tensor_state(list);
    EXPECT_EQ(vortan_quantum_property_destroy(&a.p), VORTAN_SUCCESS);
    size_t qudits = 0;
    vortan_quantum_property_get_num_active_qudits(b.p, &qudits);
    EXPECT_EQ(qudits, 2u);
    EXPECT_EQ(pb->shared->properties.size(), 1u);
}

TEST(PredicateHandle, records_its_condition_unchecked_and_destroys_like_properties) {
    Handle h(2);
    vortan_predicate* pred = nullptr;
    ASSERT_EQ(vortan_predicate_create(h.p, 99, false, &pred), VORTAN_SUCCESS);
    const auto* record = vortan::api::from_handle(pred);
    EXPECT_EQ(record->property, vortan::api::from_handle(h.p));
    EXPECT_EQ(record->value, 99);
    EXPECT_FALSE(record->is_equal);
    EXPECT_EQ(vortan_predicate_destroy(&pred), VORTAN_SUCCESS);
    EXPECT_EQ(pred, nullptr);
    EXPECT_EQ(vortan_predicate_destroy(&pred), VORTAN_SUCCESS);
    EXPECT_EQ(vortan_predicate_destroy(nullptr), VORTAN_SUCCESS);
}

TEST(CollectPredicates, copies_records_in_order_and_refuses_nulls) {
    Handle h(2);
    vortan_predicate *p1 = nullptr, *p2 = nullptr;
    vortan_predicate_create(h.p, 1, true, &p1);
    vortan_predicate_create(h.p, 2, false, &p2);
    vortan_predicate* list[] = {p2, p1, p2};
    const auto records = vortan::api::collect_predicates(list, 3);
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0].value, 2);
    EXPECT_EQ(records[1].value, 1);
    EXPECT_EQ(records[2].is_equal, false);
    EXPECT_TRUE(vortan::api::collect_predicates(nullptr, 0).empty());
    auto message = [](vortan_predicate* const* array, size_t count) {
        try {
            vortan::api::collect_predicates(array, count);
        } catch (const std::invalid_argument& e) {
            return std::string(e.what());
        }
        return std::string("no exception");
    };
    EXPECT_EQ(message(nullptr, 2), "predicates array cannot be null when predicate_count > 0");
    vortan_predicate* with_null[] = {p1, nullptr};
    EXPECT_EQ(message(with_null, 2), "predicate array contains null pointer");
    vortan_predicate_destroy(&p1);
    vortan_predicate_destroy(&p2);
}

TEST(Calculators, multiply_dimensions_of_the_listed_properties) {
    Handle q2(2), q3(3), r2(2);
    vortan_quantum_property* list[] = {q2.p, q3.p, r2.p};
    size_t count = 7, side = 7, size = 7;
    EXPECT_EQ(vortan_calculate_combinations_count(list, 2, &count), VORTAN_SUCCESS);
    EXPECT_EQ(count, 6u);
    EXPECT_EQ(vortan_calculate_matrix_size(list, 3, &side, nullptr), VORTAN_SUCCESS);
    EXPECT_EQ(side, 12u);
    EXPECT_EQ(vortan_calculate_matrix_size(list, 3, &side, &size), VORTAN_SUCCESS);
    EXPECT_EQ(size, 144u);
    // Listed twice counts twice; entangled or not makes no difference.
    vortan_quantum_property* twice[] = {q3.p, q3.p};
    EXPECT_EQ(vortan_calculate_combinations_count(twice, 2, &count), VORTAN_SUCCESS);
    EXPECT_EQ(count, 9u);
    vortan::tensor_state(std::vector<vortan::QuantumProperty*>{vortan::api::from_handle(q2.p),
                                                               vortan::api::from_handle(q3.p)});
    EXPECT_EQ(vortan_calculate_combinations_count(list, 2, &count), VORTAN_SUCCESS);
    EXPECT_EQ(count, 6u);
}

TEST(Calculators, empty_lists_null_arrays_and_null_elements) {
    Handle q(2);
    size_t count = 7, side = 7, size = 7;
    EXPECT_EQ(vortan_calculate_combinations_count(nullptr, 0, &count), VORTAN_SUCCESS);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(vortan_calculate_matrix_size(nullptr, 0, &side, &size), VORTAN_SUCCESS);
    EXPECT_EQ(side, 0u);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(vortan_calculate_combinations_count(nullptr, 0, nullptr), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(vortan_calculate_matrix_size(nullptr, 2, &side, nullptr), VORTAN_ERROR_NULL_POINTER);
    vortan_quantum_property* with_null[] = {q.p, nullptr};
    count = side = 5;
    EXPECT_EQ(vortan_calculate_combinations_count(with_null, 2, &count), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(vortan_calculate_matrix_size(with_null, 2, &side, nullptr), VORTAN_ERROR_NULL_POINTER);
    EXPECT_EQ(count, 5u) << "untouched on failure";
    EXPECT_EQ(side, 5u);
}

}  // namespace
