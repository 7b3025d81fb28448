#pragma once
// Test states written as plain values, built in the packed form the factory
// picks or as the dynamic form constructed directly, so one body covers both.

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
    friend bool operator==(const Term&, const Term&) = default;
    friend void PrintTo(const Term& t, std::ostream* os) {
        for (std::uint64_t v : t.values) *os << v;
        *os << ":" << t.amplitude;
    }
};

enum class Form { packed, dynamic };
inline void PrintTo(Form form, std::ostream* os) { *os << (form == Form::packed ? "packed" : "dynamic"); }

/// Qudit i of dimension dims[i]; entries in the order of the terms.
inline std::unique_ptr<IState> build_state(Form form, const std::vector<std::uint64_t>& dims,
                                           const std::vector<Term>& terms) {
    std::vector<DynamicBasisEntry> list;
    for (const Term& term : terms) {
        std::vector<Dit> dits;
        for (std::size_t q = 0; q < dims.size(); ++q) dits.push_back({term.values.at(q), dims[q]});
        list.push_back({DynamicDitArray(std::move(dits)), term.amplitude});
    }
    const std::uint64_t d = *std::max_element(dims.begin(), dims.end());
    if (form == Form::dynamic) return std::make_unique<State<DynamicDitArray>>(d, dims.size(), list);
    return make_state(d, dims.size(), list);
}

/// A suite whose body runs on both forms.
class BothForms : public ::testing::TestWithParam<Form> {
protected:
    std::unique_ptr<IState> build(const std::vector<std::uint64_t>& dims, const std::vector<Term>& terms) const {
        return build_state(GetParam(), dims, terms);
    }
};

inline std::vector<Term> terms_of(const IState& state) {
    std::vector<Term> terms;
    for (const DynamicBasisEntry& entry : state.basis_entries()) {
        terms.push_back({{}, entry.amplitude});
        for (const Dit& dit : entry.dits.dits) terms.back().values.push_back(dit.value);
    }
    return terms;
}

/// Same values in the same order, amplitudes within 1e-15.
inline void expect_near(const std::vector<Term>& actual, const std::vector<Term>& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t k = 0; k < expected.size(); ++k) {
        EXPECT_EQ(actual[k].values, expected[k].values) << "entry " << k;
        EXPECT_LE(std::abs(actual[k].amplitude - expected[k].amplitude), 1e-15) << "entry " << k;
    }
}

inline std::string form_name(const ::testing::TestParamInfo<Form>& info) {
    return info.param == Form::packed ? "packed" : "dynamic";
}

/// Instantiates a BothForms suite, its cases named by form.
#define VORTAN_BOTH_FORMS(Suite)                                                          \
    INSTANTIATE_TEST_SUITE_P(Forms, Suite,                                                \
                             ::testing::Values(testing::Form::packed, testing::Form::dynamic), \
                             testing::form_name)

}  // namespace vortan::qudit::testing
