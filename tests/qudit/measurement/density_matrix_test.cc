// Reduced density matrices agree bit for bit with the plain pair loop over
// random states of both forms.

#include "qudit/state_forms.h"

using namespace vortan::qudit;
using namespace vortan::qudit::testing;

// The definition: every pair of entries whose traced dits agree, the outer
// one the ket, each product added to the element a linear search finds.
static std::vector<DensityElement> naive_density(const IState& state, const std::vector<int>& kept) {
    std::vector<DensityElement> result;
    const Terms entries = terms_of(state);
    for (const auto& [ket, a] : entries)
        for (const auto& [bra, b] : entries) {
            DensityElement d{{}, {}, a * std::conj(b)};
            std::vector<int> ket_rest = ket, bra_rest = bra;
            for (int q : kept) d.row.push_back(ket[q]), d.column.push_back(bra[q]), ket_rest[q] = bra_rest[q] = -1;
            if (ket_rest != bra_rest) continue;
            auto it = std::find_if(result.begin(), result.end(),
                                   [&](const DensityElement& r) { return r.row == d.row && r.column == d.column; });
            if (it == result.end()) it = result.insert(it, {d.row, d.column, 0.0});
            it->value += d.value;
        }
    return result;
}

// Digits from two values per qudit make large groups sharing their traced
// dits, so many pairs meet and sums run long; lists may repeat or be empty.
TEST(DensityMatrix, agrees_bit_for_bit_with_the_plain_pair_loop) {
    std::mt19937_64 rng(3);
    std::normal_distribution<double> gauss;
    auto same = [](auto& x, auto& y) { return x.row == y.row && x.column == y.column && x.value == y.value; };
    for (int round = 0; round < 50; ++round) {
        const int n = 1 + static_cast<int>(rng() % 8), spread = 2 + round % 2;
        std::vector<int> dims(n), qudits(rng() % (n + 2)), digits(n);
        for (int& d : dims) d = 2 + static_cast<int>(rng() % 2);
        for (int& q : qudits) q = static_cast<int>(rng() % n);
        Terms terms;
        for (int k = 1 + static_cast<int>(rng() % 200); k > 0; --k) {
            for (int q = 0; q < n; ++q) digits[q] = static_cast<int>(rng() % std::min(dims[q], spread));
            if (std::none_of(terms.begin(), terms.end(), [&](const auto& t) { return t.values == digits; }))
                terms.push_back({digits, {gauss(rng), gauss(rng)}});
        }
        for (Form form : {Form::packed, Form::dynamic}) {
            const auto state = state_of(dims, terms, form);
            const auto got = state->reduced_density_matrix(qudits), want = naive_density(*state, qudits);
            EXPECT_TRUE(std::equal(got.begin(), got.end(), want.begin(), want.end(), same)) << "round " << round;
        }
    }
}
