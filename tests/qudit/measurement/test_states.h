#pragma once
// States for the measurement tests written as digit lists, in the factory's
// form or the dynamic one; their entries read back; the text a call throws.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "qudit/state_impl.h"

namespace vortan::qudit::testing {

using Complex = std::complex<double>;
using Terms = std::vector<std::pair<std::vector<int>, Complex>>;

inline std::unique_ptr<IState> state_of(const std::vector<int>& dims, const Terms& terms, bool dynamic = false) {
    std::vector<DynamicBasisEntry> list;
    for (const auto& [digits, amplitude] : terms) {
        std::vector<Dit> dits;
        for (unsigned q = 0; q < dims.size(); ++q) dits.push_back({std::uint64_t(digits[q]), std::uint64_t(dims[q])});
        list.push_back({DynamicDitArray(std::move(dits)), amplitude});
    }
    const std::uint64_t d = std::max(2, *std::max_element(dims.begin(), dims.end()));
    if (dynamic) return std::make_unique<State<DynamicDitArray>>(d, dims.size(), list);
    return make_state(d, dims.size(), list);
}

/// The entries in storage order, as digit lists with their amplitudes.
inline Terms entries_of(const IState& state) {
    Terms out;
    for (const DynamicBasisEntry& e : state.basis_entries()) {
        out.push_back({{}, e.amplitude});
        for (const Dit& dit : e.dits.dits) out.back().first.push_back(static_cast<int>(dit.value));
    }
    return out;
}

inline std::vector<std::vector<int>> digits_of(const IState& state) {
    std::vector<std::vector<int>> out;
    for (const auto& term : entries_of(state)) out.push_back(term.first);
    return out;
}

template <class Call>
std::string failure_of(Call&& call) try { return call(), "no exception"; }
catch (const std::exception& e) { return e.what(); }

}  // namespace vortan::qudit::testing
