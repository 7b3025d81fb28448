#pragma once
// What the reading operations of a state return: outcome distributions and
// the elements of a reduced density matrix. Internal records; the boundary
// lays them out into the host's buffers.

#include <complex>
#include <cstdint>
#include <vector>

#include "qudit/dit_array.h"

namespace vortan::qudit {

/// One outcome of a list of qudits, with the summed squared magnitude of the
/// entries that show it (not divided by the state's norm).
struct OutcomeProbability {
    /// One dit value per element of the qudit list, in the list's order.
    std::vector<std::int32_t> outcome;
    double probability = 0.0;
};

/// One reached place of a reduced density matrix: the sum of a[i] * conj(a[j])
/// over the entry pairs whose kept dits are `row` (ket) and `column` (bra)
/// and whose traced dits agree.
struct DensityElement {
    std::vector<std::int32_t> row;
    std::vector<std::int32_t> column;
    std::complex<double> value;
};

/// FNV-1a over whole elements rather than bytes, each sign-extended to 64
/// bits: the hash that outcome tables are specified with.
inline std::uint64_t outcome_hash(const std::vector<std::int32_t>& outcome) {
    std::uint64_t hash = FNV_OFFSET_BASIS;
    for (const std::int32_t value : outcome)
        hash = fnv1a_step(hash, static_cast<std::uint64_t>(static_cast<std::int64_t>(value)));
    return hash;
}

}  // namespace vortan::qudit
