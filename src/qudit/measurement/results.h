#pragma once
// What the reading operations of a state return: outcome distributions and
// the elements of a reduced density matrix. Internal records; the boundary
// lays them out into the host's buffers.

#include <complex>
#include <cstddef>
#include <cstdint>
#include <span>
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

/// The reached places of a reduced density matrix. Rows and columns are
/// labels: the distinct lists of kept dit values, each stored once, so that an
/// element takes three words however many qudits are kept.
struct DensityMatrix {
    /// The sum of a[i] * conj(a[j]) over the entry pairs whose kept dits are
    /// labels `row` (ket) and `column` (bra) and whose traced dits agree.
    struct Element {
        std::complex<double> value;
        std::uint32_t row;
        std::uint32_t column;
    };

    /// Dits per label: the length of the qudit list.
    std::size_t width = 0;
    std::uint32_t label_count = 0;
    /// Label k's dit values, in list order, at [k * width, (k + 1) * width);
    /// labels are numbered in order of first occurrence in storage.
    std::vector<std::int32_t> labels;
    /// In order of the first pair that reaches them, no place twice.
    std::vector<Element> elements;

    std::span<const std::int32_t> label(std::uint32_t k) const { return {labels.data() + k * width, width}; }
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
