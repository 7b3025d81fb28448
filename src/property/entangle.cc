#include "property/entangle.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>

#include "qudit/errors.h"
#include "qudit/limits.h"
#include "qudit/text.h"

namespace vortan {

using qudit::DynamicBasisEntry;
using qudit::MAX_STATE_SIZE;
using qudit::str_cat;

namespace {

// A's entries are the slow index, B's the fast one. Nothing is dropped
// here; the state's constructor merges and removes exact zeros. The factory
// is where a thirteenth qudit is refused; until it returns, neither group
// has changed.
std::unique_ptr<qudit::IState> exchange_product(const qudit::IState& a, const qudit::IState& b,
                                                std::uint64_t dimension, std::uint64_t qudits_a,
                                                std::uint64_t qudits_b) {
    const std::vector<DynamicBasisEntry> list_a = a.basis_entries();
    const std::vector<DynamicBasisEntry> list_b = b.basis_entries();
    const std::uint64_t copied = list_a.size() * list_b.size();
    if (copied > MAX_STATE_SIZE)
        throw qudit::StateSizeExceeded(str_cat("Tensor product would produce ~", copied, " basis states (",
                                               list_a.size(), " x ", list_b.size(), "), exceeding limit of ",
                                               MAX_STATE_SIZE, " (entangling ", qudits_a, " + ", qudits_b,
                                               " qudits)"));
    std::vector<DynamicBasisEntry> list;
    list.reserve(copied);
    for (const DynamicBasisEntry& ea : list_a) {
        for (const DynamicBasisEntry& eb : list_b) {
            std::vector<qudit::Dit> dits;
            dits.reserve(ea.dits.dits.size() + eb.dits.dits.size());
            dits.insert(dits.end(), ea.dits.dits.begin(), ea.dits.dits.end());
            dits.insert(dits.end(), eb.dits.dits.begin(), eb.dits.dits.end());
            list.push_back({qudit::DynamicDitArray(std::move(dits)), ea.amplitude * eb.amplitude});
        }
    }
    return qudit::make_state(dimension, qudits_a + qudits_b, list);
}

}  // namespace

void entangle(QuantumProperty& first, QuantumProperty& second) {
    SharedState& a = *first.shared;
    SharedState& b = *second.shared;
    if (a.state == b.state) return;
    if (a.simulation != b.simulation)
        throw std::invalid_argument("Cannot entangle properties from different QuantumSimulation contexts");

    // Cheap tests first: two stored counts, before anything is copied.
    const std::uint64_t qudits_a = a.state->num_qudits();
    const std::uint64_t qudits_b = b.state->num_qudits();
    const std::uint64_t product = a.state->state_size() * b.state->state_size();
    if (product > MAX_STATE_SIZE)
        throw qudit::StateSizeExceeded(str_cat("Tensor product would produce ~", product,
                                               " basis states, exceeding limit of ", MAX_STATE_SIZE, " (entangling ",
                                               qudits_a, " + ", qudits_b, " qudits)"));
    const std::uint64_t dimension = std::max(a.state->dimension(), b.state->dimension());

    // Packed forms multiply their words directly; the exchange road is left
    // for the dynamic form and for a product past the qudit limit, which the
    // factory refuses.
    std::unique_ptr<qudit::IState> merged = qudit::packed_product(*a.state, *b.state);
    if (!merged) merged = exchange_product(*a.state, *b.state, dimension, qudits_a, qudits_b);
    a.state = std::move(merged);

    // From here on nothing may fail: B's list nodes move over whole by
    // splicing, which allocates nothing, so no property is ever repointed
    // without standing in A's list. The local share keeps B alive while its
    // properties leave it.
    const std::shared_ptr<SharedState> group_b = second.shared;
    for (QuantumProperty* property : group_b->properties) {
        if (property == nullptr) continue;
        property->qudit_index += static_cast<std::int32_t>(qudits_a);
        property->shared = first.shared;
    }
    std::erase(group_b->properties, nullptr);
    a.properties.splice(a.properties.end(), group_b->properties);
}

qudit::IState* tensor_state(const std::vector<QuantumProperty*>& properties) {
    if (properties.empty()) throw std::invalid_argument("tensor_state requires at least one quantum property");
    for (std::size_t k = 1; k < properties.size(); ++k) entangle(*properties[0], *properties[k]);
    return properties[0]->shared->state.get();
}

qudit::IState* tensor_state(std::vector<QuantumProperty*>& targets,
                            const std::vector<vortan_predicate_record>& predicates) {
    for (const vortan_predicate_record& predicate : predicates) targets.push_back(predicate.property);
    return tensor_state(targets);
}

}  // namespace vortan
