#include "property/remove_qudit.h"

#include <cstdio>
#include <vector>

namespace vortan {

void remove_qudit(SharedState& shared, QuantumProperty& property) {
    shared.properties.remove(&property);
    const std::int32_t q = property.qudit_index;
    if (!shared.state) return;
    const std::uint64_t n = shared.state->num_qudits();
    if (n < 2 || q < 0 || static_cast<std::uint64_t>(q) >= n) return;

    // Packed forms weigh and rebuild on their own words; the dynamic form
    // goes through its exchange list, whose entries may be short.
    qudit::IState& state = *shared.state;
    std::vector<double> weights;
    std::vector<qudit::DynamicBasisEntry> entries;
    const bool packed = state.value_weights(q, weights);
    if (packed) {
        if (state.state_size() == 0) return;
    } else {
        entries = state.basis_entries();
        if (entries.empty()) return;
        // Weight of each value of the qudit, the table growing as values demand.
        for (const qudit::DynamicBasisEntry& entry : entries) {
            if (entry.dits.size() <= static_cast<std::uint64_t>(q)) return;
            const std::uint64_t value = entry.dits.dits[static_cast<std::size_t>(q)].value;
            if (weights.size() <= value) weights.resize(value + 1, 0.0);
            weights[value] += qudit::squared_magnitude(entry.amplitude);
        }
    }
    // The heaviest value; the lowest of equals wins.
    std::size_t present = 0, best = 0;
    double best_weight = -1.0;
    for (std::size_t value = 0; value < weights.size(); ++value) {
        if (!(weights[value] > 0.0)) continue;
        ++present;
        if (weights[value] > best_weight) {
            best_weight = weights[value];
            best = value;
        }
    }

    const bool superposed = present >= 2;
    if (superposed && !state.is_factorizable(q))
        std::fprintf(stderr,
                     "[Vortan] Warning: removing qudit %d while it is both superposed and entangled; collapsing "
                     "it to value %zu. Measure the property first to choose the branch deliberately.\n",
                     q, best);
    if (packed) {
        shared.state = state.without_qudit(q, superposed ? static_cast<std::int64_t>(best) : -1);
    } else {
        if (superposed)
            std::erase_if(entries, [&](const qudit::DynamicBasisEntry& e) {
                return e.dits.dits[static_cast<std::size_t>(q)].value != best;
            });
        // The last dit takes the freed place; no other dit moves.
        for (qudit::DynamicBasisEntry& entry : entries) {
            std::vector<qudit::Dit>& dits = entry.dits.dits;
            if (dits.size() < n) continue;
            dits[static_cast<std::size_t>(q)] = dits[n - 1];
            dits.pop_back();
        }
        // The dimension is kept: a state that lost its only qutrit stays of dimension 3.
        shared.state = qudit::make_state(state.dimension(), n - 1, entries);
    }
    if (superposed && shared.state) shared.state->normalize();

    for (QuantumProperty* other : shared.properties)
        if (other->qudit_index == static_cast<std::int32_t>(n - 1)) {
            other->qudit_index = q;
            break;
        }
}

}  // namespace vortan
