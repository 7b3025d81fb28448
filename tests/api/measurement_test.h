#pragma once
// Hosts' view of the measurement exports: handles whose groups are given
// chosen states directly, and the check of a reported failure.

#include "api/handles.h"
#include "property/entangle.h"
#include "qudit/state_forms.h"

namespace vortan::testing {

struct Handle {
    explicit Handle(int32_t dimension) { EXPECT_EQ(vortan_quantum_property_create(dimension, &p, nullptr), 0); }
    ~Handle() { vortan_quantum_property_destroy(&p); }
    QuantumProperty& property() const { return *api::from_handle(p); }
    vortan_quantum_property* p = nullptr;
};

/// Merges the handles' groups in list order (qudit i is handles[i]) and gives
/// the group a state over `dims` with these terms.
inline void give_state(const std::vector<const Handle*>& handles, const std::vector<int>& dims,
                       const qudit::testing::Terms& terms) {
    std::vector<QuantumProperty*> list;
    for (const Handle* h : handles) list.push_back(&h->property());
    tensor_state(list);
    list[0]->shared->state = qudit::testing::state_of(dims, terms);
}

}  // namespace vortan::testing

/// Calls an export with an error record and expects a failure with this code
/// and text, reported under the export's own name.
#define EXPECT_REPORT(CODE, TEXT, FUNCTION, ...)                                                          \
    [&](vortan_error_info info) {                                                                         \
        const int got = FUNCTION(__VA_ARGS__, &info);                                                     \
        EXPECT_EQ(std::tuple(got, int(info.code), std::string(info.message), std::string(info.function)), \
                  std::tuple(CODE, CODE, std::string(TEXT), std::string(#FUNCTION)));                     \
    }({})
