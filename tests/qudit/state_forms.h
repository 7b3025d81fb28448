#pragma once
// Test states written as plain values, built in the packed form the factory
// picks or as the dynamic form constructed directly, so one body covers both;
// their entries read back and compared; and the text of what a call throws.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "qudit/state_impl.h"

namespace vortan::qudit::testing {

using Complex = std::complex<double>;

/// The text of the E that f throws, or "no exception".
template <class E = std::exception, class F>
std::string message_of(F&& f) {
    try { f(); } catch (const E& e) { return e.what(); }
    return "no exception";
}

/// A basis state as its dit values, qudit 0 first, with its amplitude.
struct Term {
    std::vector<int> values;
    Complex amplitude;
    friend bool operator==(const Term&, const Term&) = default;
    friend void PrintTo(const Term& t, std::ostream* os) { for (auto v : t.values) *os << v; *os << ":" << t.amplitude; }
};

using Terms = std::vector<Term>;
enum class Form { packed, dynamic };

/// Qudit i of dimension dims[i]; entries in the order of the terms.
inline std::unique_ptr<IState> state_of(const std::vector<int>& dims, const Terms& terms, Form form = Form::packed) {
    std::vector<DynamicBasisEntry> list;
    for (const Term& term : terms) {
        list.push_back({{}, term.amplitude});
        for (std::size_t q = 0; q < dims.size(); ++q) list.back().dits.dits.push_back({std::uint64_t(term.values.at(q)), std::uint64_t(dims[q])});
    }
    const std::uint64_t d = std::max(2, *std::max_element(dims.begin(), dims.end()));
    if (form == Form::dynamic) return std::make_unique<State<DynamicDitArray>>(d, dims.size(), list);
    return make_state(d, dims.size(), list);
}

/// A suite whose body runs on both forms.
struct BothForms : ::testing::TestWithParam<Form> {
    auto build(const std::vector<int>& dims, const Terms& terms) const { return state_of(dims, terms, GetParam()); }
};

/// The entries in storage order.
inline Terms terms_of(const IState& state) {
    Terms terms;
    for (const DynamicBasisEntry& entry : state.basis_entries()) {
        terms.push_back({{}, entry.amplitude});
        for (const Dit& dit : entry.dits.dits) terms.back().values.push_back(static_cast<int>(dit.value));
    }
    return terms;
}

inline std::vector<std::vector<int>> digits_of(const IState& state) {
    std::vector<std::vector<int>> out;
    for (const Term& term : terms_of(state)) out.push_back(term.values);
    return out;
}

/// Same values in the same order, amplitudes within `tolerance`.
inline void expect_near(const Terms& actual, const Terms& expected, double tolerance = 1e-15) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t k = 0; k < expected.size(); ++k)
        EXPECT_TRUE(actual[k].values == expected[k].values && std::abs(actual[k].amplitude - expected[k].amplitude) <= tolerance)
            << "entry " << k << " is " << ::testing::PrintToString(actual[k]);
}

/// Equal bits, or NaN in both: which NaN operand a sum or product passes on,
/// and so the result's sign and payload, is the compiler's choice of operand
/// order, and differs between builds.
inline bool same_bits(Complex a, Complex b) {
    const auto same = [](double x, double y) { return (std::isnan(x) && std::isnan(y)) || std::memcmp(&x, &y, sizeof x) == 0; };
    return same(a.real(), b.real()) && same(a.imag(), b.imag());
}

/// The same entries in the same order: every value and dimension (the whole
/// words of a packed form), and the amplitudes bit for bit.
template <class Entry>
::testing::AssertionResult same_entries(const std::vector<Entry>& got, const std::vector<Entry>& want) {
    if (got.size() != want.size()) return ::testing::AssertionFailure() << got.size() << " entries, not " << want.size();
    for (std::size_t i = 0; i < got.size(); ++i) {
        bool dits = false;
        if constexpr (requires { got[i].values; })
            dits = got[i].values == want[i].values && got[i].dimensions == want[i].dimensions;
        else if constexpr (requires { got[i].dits.values; })
            dits = got[i].dits.values == want[i].dits.values && got[i].dits.dimensions == want[i].dits.dimensions;
        else
            dits = got[i].dits.dits == want[i].dits.dits;
        if (!dits || !same_bits(got[i].amplitude, want[i].amplitude))
            return ::testing::AssertionFailure() << "entry " << i << " differs: " << got[i].amplitude << " vs " << want[i].amplitude;
    }
    return ::testing::AssertionSuccess();
}

inline std::string form_name(const ::testing::TestParamInfo<Form>& i) { return i.param == Form::packed ? "packed" : "dynamic"; }

#define VORTAN_BOTH_FORMS(Suite) \
    INSTANTIATE_TEST_SUITE_P(Forms, Suite, ::testing::Values(testing::Form::packed, testing::Form::dynamic), testing::form_name)

}  // namespace vortan::qudit::testing
