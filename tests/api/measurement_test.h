#pragma once
// Hosts' view of the measurement exports: handles whose groups are given
// chosen states directly, since the tests reach the internals.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "api/handles.h"
#include "property/entangle.h"
#include "qudit/measurement/test_states.h"
#include "vortan.h"

namespace vortan::testing {

struct Handle {
    explicit Handle(int32_t dimension) { EXPECT_EQ(vortan_quantum_property_create(dimension, &p, nullptr), 0); }
    ~Handle() { vortan_quantum_property_destroy(&p); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    QuantumProperty& property() const { return *api::from_handle(p); }
    vortan_quantum_property* p = nullptr;
};

/// Merges the handles' groups in list order (qudit i is handles[i]) and gives
/// the group a state over `dims` with these terms.
inline void give_state(const std::vector<const Handle*>& handles, const std::vector<int>& dims,
                       const std::vector<std::pair<std::vector<int>, qudit::testing::Complex>>& terms) {
    std::vector<QuantumProperty*> list;
    for (const Handle* h : handles) list.push_back(&h->property());
    tensor_state(list);
    for (std::size_t i = 0; i < handles.size(); ++i) EXPECT_EQ(list[i]->qudit_index, static_cast<int>(i));
    list[0]->shared->state = qudit::testing::state_of(dims, terms);
}

inline bool share_a_state(const Handle& a, const Handle& b) { return a.property().shared == b.property().shared; }

/// Expects a failure with this code, text and reporting function.
inline void expect_report(vortan_result got, const vortan_error_info& info, vortan_result code, const char* text,
                          const char* function) {
    EXPECT_EQ(got, code);
    EXPECT_EQ(info.code, code);
    EXPECT_STREQ(info.message, text);
    EXPECT_STREQ(info.function, function);
}

}  // namespace vortan::testing
