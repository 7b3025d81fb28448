#pragma once
// The reduced density matrix by its definition: every pair of entries, the
// outer one the ket, with a linear search of the result for each product.
// Quadratic and slow; kept only to check the grouped version bit for bit.

#include <algorithm>
#include <vector>

#include "qudit/state.h"

namespace vortan::qudit::testing {

inline std::vector<DensityElement> naive_density(const IState& state, const std::vector<std::int32_t>& qudits) {
    std::vector<std::int32_t> traced;
    for (std::uint64_t q = 0; q < state.num_qudits(); ++q)
        if (std::find(qudits.begin(), qudits.end(), static_cast<std::int32_t>(q)) == qudits.end())
            traced.push_back(static_cast<std::int32_t>(q));
    const std::vector<DynamicBasisEntry> entries = state.basis_entries();
    auto read = [](const DynamicBasisEntry& e, const std::vector<std::int32_t>& at) {
        std::vector<std::int32_t> out;
        for (std::int32_t q : at) out.push_back(static_cast<std::int32_t>(Dit(e.dits[q]).value));
        return out;
    };
    std::vector<DensityElement> result;
    for (const DynamicBasisEntry& ei : entries) {
        const auto r = read(ei, qudits), t = read(ei, traced);
        for (const DynamicBasisEntry& ej : entries) {
            const auto c = read(ej, qudits), u = read(ej, traced);
            if (t != u) continue;
            const std::complex<double> p = ei.amplitude * std::conj(ej.amplitude);
            auto it = std::find_if(result.begin(), result.end(),
                                   [&](const DensityElement& d) { return d.row == r && d.column == c; });
            if (it != result.end())
                it->value += p;
            else
                result.push_back({r, c, p});
        }
    }
    return result;
}

}  // namespace vortan::qudit::testing
