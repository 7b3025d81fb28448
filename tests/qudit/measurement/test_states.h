#pragma once
// Building states for the measurement tests: basis entries written as digit
// lists, and seeded random sparse states of mixed qubits and qutrits.

#include <complex>
#include <cstdint>
#include <memory>
#include <random>
#include <set>
#include <vector>

#include "qudit/state.h"

namespace vortan::qudit::testing {

using Complex = std::complex<double>;

/// An entry over qudits of the given dimensions with these digit values.
inline DynamicBasisEntry entry(const std::vector<int>& dims, const std::vector<int>& digits, Complex amplitude) {
    std::vector<Dit> dits;
    for (std::size_t q = 0; q < dims.size(); ++q)
        dits.push_back({static_cast<std::uint64_t>(digits[q]), static_cast<std::uint64_t>(dims[q])});
    return {DynamicDitArray(std::move(dits)), amplitude};
}

/// The state the factory makes for these dimensions and entries.
inline std::unique_ptr<IState> state_of(const std::vector<int>& dims,
                                        const std::vector<std::pair<std::vector<int>, Complex>>& terms) {
    std::vector<DynamicBasisEntry> list;
    int dimension = 2;
    for (int d : dims) dimension = d > dimension ? d : dimension;
    for (const auto& [digits, amplitude] : terms) list.push_back(entry(dims, digits, amplitude));
    return make_state(static_cast<std::uint64_t>(dimension), dims.size(), list);
}

/// Digit values of every entry, in storage order.
inline std::vector<std::vector<int>> digits_of(const IState& state) {
    std::vector<std::vector<int>> out;
    for (const DynamicBasisEntry& e : state.basis_entries()) {
        std::vector<int> digits;
        for (const Dit& dit : e.dits.dits) digits.push_back(static_cast<int>(dit.value));
        out.push_back(digits);
    }
    return out;
}

/// `count` distinct random basis states over `dims` with random complex
/// amplitudes; digits are drawn from at most `spread` values per qudit, so
/// that entries share many digits.
inline std::vector<DynamicBasisEntry> random_entries(std::mt19937_64& rng, const std::vector<int>& dims,
                                                     std::size_t count, int spread = 3) {
    std::normal_distribution<double> gauss;
    std::set<std::vector<int>> seen;
    std::vector<DynamicBasisEntry> list;
    std::size_t space = 1;
    for (int d : dims) space *= static_cast<std::size_t>(d < spread ? d : spread);
    while (list.size() < count && seen.size() < space) {
        std::vector<int> digits;
        for (int d : dims) digits.push_back(static_cast<int>(rng() % static_cast<std::uint64_t>(d < spread ? d : spread)));
        if (!seen.insert(digits).second) continue;
        list.push_back(entry(dims, digits, {gauss(rng), gauss(rng)}));
    }
    return list;
}

}  // namespace vortan::qudit::testing
