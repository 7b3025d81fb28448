// Reduced density matrices agree bit for bit with the plain pair loop over
// random states of both forms.

#include <cstring>
#include <map>

#include "qudit/state_forms.h"

using namespace vortan::qudit;
using namespace vortan::qudit::testing;

struct NaiveElement {
    std::vector<int> row, column;
    std::complex<double> value;
};

// The definition: every pair of entries whose traced dits agree, the outer
// one the ket, each product added to the element a search finds (through a
// map, which finds what a linear search would, faster).
static std::vector<NaiveElement> naive_density(const IState& state, const std::vector<int>& kept) {
    std::vector<NaiveElement> result;
    std::map<std::pair<std::vector<int>, std::vector<int>>, std::size_t> found;
    const Terms entries = terms_of(state);
    for (const auto& [ket, a] : entries)
        for (const auto& [bra, b] : entries) {
            NaiveElement d{{}, {}, a * std::conj(b)};
            std::vector<int> ket_rest = ket, bra_rest = bra;
            for (int q : kept) d.row.push_back(ket[q]), d.column.push_back(bra[q]), ket_rest[q] = bra_rest[q] = -1;
            if (ket_rest != bra_rest) continue;
            const auto [at, fresh] = found.try_emplace({d.row, d.column}, result.size());
            // The first product is the element, not added to a zero.
            if (fresh)
                result.push_back(d);
            else
                result[at->second].value += d.value;
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
    std::size_t k = 0;
    while (k < got.elements.size() && k < want.size() && same(got.elements[k], want[k])) ++k;
    auto failure = ::testing::AssertionFailure() << got.elements.size() << " elements, " << want.size()
                                                 << " wanted; element " << k << " differs";
    if (k < got.elements.size() && k < want.size())
        failure << ": " << got.elements[k].value << " at " << got.elements[k].row << "," << got.elements[k].column
                << " for " << want[k].value;
    return failure;
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

// Larger squares of places: summed in two runs over the pairs, the places
// laid out densely where the pairs reach much of the square, and hashed
// where kept dits fix most traced ones. 324 labels of four qutrits and two
// qubits; the traced qubit is random, and in the sparse design two traced
// qutrits copy kept ones. Signed zeros in the amplitudes give zero products
// whose sign must survive.
TEST(DensityMatrix, large_dense_and_sparse_squares_agree_bit_for_bit_too) {
    std::mt19937_64 rng(5);
    std::normal_distribution<double> gauss;
    for (const bool sparse : {false, true}) {
        Terms terms;
        for (int k = 0; k < 324; ++k) {
            std::vector<int> digits{k % 3, k / 3 % 3, k / 9 % 3, k / 27 % 3, k / 81 % 2, k / 162};
            if (sparse) digits.insert(digits.end(), {digits[0], digits[1]});
            digits.push_back(static_cast<int>(rng() % 2));
            const double real = k % 7 == 0 ? -0.0 : gauss(rng);
            terms.push_back({digits, {real, gauss(rng)}});
        }
        std::vector<int> dims{3, 3, 3, 3, 2, 2};
        if (sparse) dims.insert(dims.end(), {3, 3});
        dims.push_back(2);
        for (Form form : {Form::packed, Form::dynamic}) {
            const auto state = state_of(dims, terms, form);
            EXPECT_TRUE(agrees_with_pair_loop(*state, {0, 1, 2, 3, 4, 5})) << sparse;
            EXPECT_TRUE(agrees_with_pair_loop(*state, {5, 0, 4, 1, 3, 2, 0})) << sparse;
            const DensityMatrix matrix = state->reduced_density_matrix({0, 1, 2, 3, 4, 5});
            EXPECT_EQ(matrix.label_count, 324u);
            EXPECT_EQ(matrix.elements.size() < 324 * 324 / 8, sparse);
        }
    }
}
