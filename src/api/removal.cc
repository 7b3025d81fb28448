// Giving a property back with its qudit: measured first if it has partners,
// then taken out of the state so that the group shrinks.

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <list>

#include "api/boundary.h"
#include "api/handles.h"
#include "property/remove_qudit.h"

using namespace vortan;
using namespace vortan::api;

namespace {

using RemovalClauses = ClauseList<Catch<std::exception, VORTAN_ERROR_INTERNAL>>;

void release(vortan_quantum_property** handle, QuantumProperty* property) {
    delete property;
    *handle = nullptr;
}

}  // namespace

extern "C" {

VORTAN_API vortan_result vortan_quantum_property_factorize_and_destroy(vortan_quantum_property** property,
                                                                       vortan_error_info* error_info) {
    if (property == nullptr || *property == nullptr) return VORTAN_SUCCESS;
    QuantumProperty* p = from_handle(*property);
    if (!p->shared || !p->shared->state) {
        if (p->shared) p->shared->properties.remove(p);  // no dangling entry in the list
        p->shared.reset();
        release(property, p);
        return VORTAN_SUCCESS;
    }
    // The group lives through the call whatever happens to the handle.
    std::shared_ptr<SharedState> group = p->shared;

    if (group->properties.size() <= 1) {
        // Alone: nothing to collapse and nobody to warn, whatever the state.
        group->properties.remove(p);
        p->shared.reset();
        if (group->simulation != nullptr) {
            group->properties.clear();
            group->state.reset();
        }
        group.reset();
        release(property, p);
        return VORTAN_SUCCESS;
    }

    // With partners: measure it into one value first, which collapses them too.
    const vortan_result measured = guarded<RemovalClauses>(error_info, VORTAN_SITE, [&] {
        if (!group->state->is_factorizable(p->qudit_index))
            std::fprintf(stderr,
                         "[Vortan] Warning: destroying entangled property (qudit %d in %zu-qudit shared state). "
                         "Measurement will collapse entangled partners.\n",
                         p->qudit_index, group->properties.size());
        group->state->measure({p->qudit_index});
    });
    if (measured != VORTAN_SUCCESS) return measured;
    // remove_qudit takes the property off the list first and can fail only
    // before the state changes; a node allocated beforehand puts it back in
    // its place, which cannot fail, so that a failed removal changes nothing
    // and the property still moves with its group in later merges.
    std::list<QuantumProperty*> spare;
    const vortan_result removed = guarded<RemovalClauses>(error_info, VORTAN_SITE, [&] {
        spare.push_back(p);
        const auto listed = std::find(group->properties.begin(), group->properties.end(), p);
        const auto after = listed == group->properties.end() ? listed : std::next(listed);
        try {
            remove_qudit(*group, *p);
        } catch (...) {
            if (listed != group->properties.end()) group->properties.splice(after, spare);
            throw;
        }
    });
    if (removed != VORTAN_SUCCESS) return removed;

    p->shared.reset();
    if (group->simulation != nullptr && group->properties.empty()) group->state.reset();
    group.reset();
    release(property, p);
    return VORTAN_SUCCESS;
}

}  // extern "C"
