// Reduced density matrices agree bit for bit with the plain pair loop over
// random states of both forms.

#include <cstring>
#include <map>

#include "qudit/state_forms.h"

using namespace vortan::qudit;
using namespace vortan::qudit::testing;

// The definition: every pair of entries whose traced dits agree, the outer one
// the ket; the first product of a place is its element, later ones are added.
// The result must hold the same places in the same order, with values equal
// by their bits, so that the sign of a zero counts.
static bool agrees_with_pair_loop(const IState& state, const std::vector<int>& kept) {
    using Place = std::pair<std::vector<int>, std::vector<int>>;
    std::vector<std::pair<Place, Complex>> want;
    std::map<Place, std::size_t> found;
    const Terms entries = terms_of(state);
    for (const auto& [ket, a] : entries)
        for (const auto& [bra, b] : entries) {
            Place place;
            std::vector<int> ket_rest = ket, bra_rest = bra;
            for (int q : kept) place.first.push_back(ket[q]), place.second.push_back(bra[q]), ket_rest[q] = bra_rest[q] = -1;
            if (ket_rest != bra_rest) continue;
            const auto [at, fresh] = found.try_emplace(place, want.size());
            if (fresh) want.emplace_back(place, a * std::conj(b));
            else want[at->second].second += a * std::conj(b);
        }
    const DensityMatrix got = state.reduced_density_matrix(kept);
    return std::equal(got.elements.begin(), got.elements.end(), want.begin(), want.end(), [&](const auto& x, const auto& y) {
        const auto row = got.label(x.row), column = got.label(x.column);
        return std::ranges::equal(row, y.first.first) && std::ranges::equal(column, y.first.second) &&
               std::memcmp(&x.value, &y.second, sizeof x.value) == 0;
    });
}

// Random states, with two values per qudit so that large groups share their
// traced dits and sums run long; lists may repeat or be empty. Then 324
// labels of four qutrits and two qubits: laid out densely where the pairs
// reach much of the square, hashed where two traced qutrits copy kept ones,
// with signed zeros whose products' signs must survive.
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
    for (const bool sparse : {false, true}) {
        Terms terms;
        std::vector<int> dims{3, 3, 3, 3, 2, 2};
        if (sparse) dims.insert(dims.end(), {3, 3});
        dims.push_back(2);
        for (int k = 0; k < 324; ++k) {
            std::vector<int> digits{k % 3, k / 3 % 3, k / 9 % 3, k / 27 % 3, k / 81 % 2, k / 162};
            if (sparse) digits.insert(digits.end(), {digits[0], digits[1]});
            digits.push_back(static_cast<int>(rng() % 2));
            terms.push_back({digits, {k % 7 == 0 ? -0.0 : gauss(rng), gauss(rng)}});
        }
        for (Form form : {Form::packed, Form::dynamic}) {
            const auto state = state_of(dims, terms, form);
            EXPECT_TRUE(agrees_with_pair_loop(*state, {5, 0, 4, 1, 3, 2, 0})) << sparse;
            const DensityMatrix matrix = state->reduced_density_matrix({0, 1, 2, 3, 4, 5});
            EXPECT_TRUE(agrees_with_pair_loop(*state, {0, 1, 2, 3, 4, 5}) && matrix.label_count == 324u) << sparse;
            EXPECT_EQ(matrix.elements.size() < 324 * 324 / 8, sparse);
        }
    }
}
