#pragma once
// Builds a test state from terms written as plain values, either in the packed
// form the factory picks or as the dynamic form constructed directly, so that
// one test body covers both.

#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "qudit/state_impl.h"

namespace vortan::qudit::testing {

/// A basis state as its dit values, qudit 0 first, with its amplitude.
struct Term {
    std::vector<std::uint64_t> values;
    std::complex<double> amplitude;
};

enum class Form { packed, dynamic };

/// The state of `terms`, qudit i of dimension dims[i]; terms keep their order.
inline std::unique_ptr<IState> build_state(Form form, const std::vector<std::uint64_t>& dims,
                                           const std::vector<Term>& terms) {
    std::vector<DynamicBasisEntry> list;
    for (const Term& term : terms) {
        std::vector<Dit> dits;
        for (std::size_t q = 0; q < dims.size(); ++q) dits.push_back({term.values.at(q), dims[q]});
        list.push_back({DynamicDitArray(std::move(dits)), term.amplitude});
    }
    const std::uint64_t dimension = *std::max_element(dims.begin(), dims.end());
    if (form == Form::dynamic) return std::make_unique<State<DynamicDitArray>>(dimension, dims.size(), list);
    return make_state(dimension, dims.size(), list);
}

/// The entries as terms, in storage order.
inline std::vector<Term> terms_of(const IState& state) {
    std::vector<Term> terms;
    for (const DynamicBasisEntry& entry : state.basis_entries()) {
        Term term{{}, entry.amplitude};
        for (const Dit& dit : entry.dits.dits) term.values.push_back(dit.value);
        terms.push_back(term);
    }
    return terms;
}

inline bool operator==(const Term& a, const Term& b) { return a.values == b.values && a.amplitude == b.amplitude; }

inline void PrintTo(const Term& term, std::ostream* os) {
    *os << "|";
    for (std::uint64_t v : term.values) *os << v;
    *os << "> " << term.amplitude;
}

inline void PrintTo(Form form, std::ostream* os) { *os << (form == Form::packed ? "packed" : "dynamic"); }

/// A suite over both forms, named by form.
class BothForms : public ::testing::TestWithParam<Form> {
protected:
    std::unique_ptr<IState> build(const std::vector<std::uint64_t>& dims, const std::vector<Term>& terms) const {
        return build_state(GetParam(), dims, terms);
    }
};

inline std::string form_name(const ::testing::TestParamInfo<Form>& info) {
    return info.param == Form::packed ? "packed" : "dynamic";
}

}  // namespace vortan::qudit::testing
