// Reduced density matrices agree bit for bit with the plain pair loop over
// random states of both forms.

#include <cstring>

#include "qudit/state_forms.h"

using namespace vortan::qudit;
using namespace vortan::qudit::testing;

struct NaiveElement {
    std::vector<int> row, column;
    std::complex<double> value;
};

// The definition: every pair of entries whose traced dits agree, the outer
// one the ket, each product added to the element a linear search finds.
static std::vector<NaiveElement> naive_density(const IState& state, const std::vector<int>& kept) {
    std::vector<NaiveElement> result;
    const Terms entries = terms_of(state);
    for (const auto& [ket, a] : entries)
        for (const auto& [bra, b] : entries) {
            NaiveElement d{{}, {}, a * std::conj(b)};
            std::vector<int> ket_rest = ket, bra_rest = bra;
            for (int q : kept) d.row.push_back(ket[q]), d.column.push_back(bra[q]), ket_rest[q] = bra_rest[q] = -1;
            if (ket_rest != bra_rest) continue;
            auto it = std::find_if(result.begin(), result.end(),
                                   [&](const NaiveElement& r) { return r.row == d.row && r.column == d.column; });
            if (it == result.end()) it = result.insert(it, {d.row, d.column, 0.0});
            it->value += d.value;
        }
    return result;
}

// The result against the definition: the same places in the same order, and
// values equal by their bits, so that the sign of a zero counts.
static ::testing::AssertionResult agrees_with_pair_loop(const IState& state, const std::vector<int>& qudits) {
    const DensityMatrix got = state.reduced_density_matrix(qudits);
    const auto want = naive_density(state, qudits);
    const auto same = [&](const DensityMatrix::Element& x, const NaiveElement& y) {
        const auto row = got.label(x.row), column = got.label(x.column);
        return std::equal(row.begin(), row.end(), y.row.begin(), y.row.end()) &&
               std::equal(column.begin(), column.end(), y.column.begin(), y.column.end()) &&
               std::memcmp(&x.value, &y.value, sizeof x.value) == 0;
    };
    if (std::equal(got.elements.begin(), got.elements.end(), want.begin(), want.end(), same))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << got.elements.size() << " elements, " << want.size() << " wanted";
}

// Digits from two values per qudit make large groups sharing their traced
// dits, so many pairs meet and sums run long; lists may repeat or be empty.
TEST(DensityMatrix, agrees_bit_for_bit_with_the_plain_pair_loop) {
    std::mt19937_64 rng(3);
    std::normal_distribution<double> gauss;
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
        for (Form form : {Form::packed, Form::dynamic})
            EXPECT_TRUE(agrees_with_pair_loop(*state_of(dims, terms, form), qudits)) << "round " << round;
    }
}

// Kept dits that fix the traced ones reach few places of a large square: the
// places are then hashed rather than laid out, with the same result. Signed
// zeros in the amplitudes give zero products whose sign must survive.
TEST(DensityMatrix, a_sparse_square_of_places_agrees_bit_for_bit_too) {
    std::mt19937_64 rng(5);
    std::normal_distribution<double> gauss;
    Terms terms;
    for (int k = 0; k < 81; ++k) {
        const std::vector<int> kept{k % 3, k / 3 % 3, k / 9 % 3, k / 27};
        std::vector<int> digits = kept;
        digits.insert(digits.end(), kept.begin(), kept.end());
        digits[7] = static_cast<int>(rng() % 3);  // pairs some entries, so that places repeat
        const std::complex<double> amplitude = k % 7 == 0 ? std::complex<double>(-0.0, gauss(rng))
                                                          : std::complex<double>(gauss(rng), gauss(rng));
        if (std::none_of(terms.begin(), terms.end(), [&](const auto& t) { return t.values == digits; }))
            terms.push_back({digits, amplitude});
    }
    const std::vector<int> dims(8, 3);
    for (Form form : {Form::packed, Form::dynamic}) {
        const auto state = state_of(dims, terms, form);
        EXPECT_TRUE(agrees_with_pair_loop(*state, {0, 1, 2, 3}));
        EXPECT_TRUE(agrees_with_pair_loop(*state, {3, 1, 3}));
        EXPECT_TRUE(agrees_with_pair_loop(*state, {}));
        const DensityMatrix matrix = state->reduced_density_matrix({0, 1, 2, 3});
        EXPECT_TRUE(matrix.label_count == 81 && matrix.elements.size() < 81 * 81 / 8);
    }
}
