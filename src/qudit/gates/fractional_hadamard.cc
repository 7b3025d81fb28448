// The Hadamard to a real power. H^4 = 1, so H^f = c0 + c1 H + c2 H^2 + c3 H^3
// with coefficients that depend on f alone; one formula for every dimension.

#include <cmath>
#include <complex>
#include <vector>

#include "qudit/gates/fraction_period.h"
#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

using Complex = std::complex<double>;
using Matrix = std::vector<Complex>;  // d x d, row-major

Matrix product(const Matrix& a, const Matrix& b, std::uint64_t d) {
    Matrix m(d * d);
    for (std::uint64_t r = 0; r < d; ++r)
        for (std::uint64_t c = 0; c < d; ++c) {
            Complex sum = 0.0;
            for (std::uint64_t k = 0; k < d; ++k) sum += a[r * d + k] * b[k * d + c];
            m[r * d + c] = sum;
        }
    return m;
}

// c_n = 1/4 sum over the eigenphases 0, -pi/2, pi, +pi/2 of e^(i theta (f - n)),
// summed in that order; the +pi/2 term reuses the cosine of the -pi/2 one.
Complex coefficient(double fraction, int n) {
    const double y = fraction - n;
    const double t0 = y * 0.0, t1 = y * -1.5707963267948966, t2 = y * 3.141592653589793;
    Complex sum = 0.0;
    sum += Complex(std::cos(t0), std::sin(t0));
    sum += Complex(std::cos(t1), std::sin(t1));
    sum += Complex(std::cos(t2), std::sin(t2));
    sum += Complex(std::cos(t1), std::sin(-t1));
    return sum * 0.25;
}

void fractional_fourier_factors(std::uint64_t d, std::uint64_t columns, double fraction, Complex* table) {
    const double x = 1.0 / std::sqrt(static_cast<double>(d));
    Matrix identity(d * d), h(d * d);
    for (std::uint64_t r = 0; r < d; ++r) {
        identity[r * d + r] = 1.0;
        for (std::uint64_t c = 0; c < d; ++c) {
            const double angle =
                static_cast<double>(d - r) * TWO_PI * static_cast<double>(c) / static_cast<double>(d);
            h[r * d + c] = {std::cos(angle) * x, std::sin(angle) * x};
        }
    }
    const Matrix h2 = product(h, h, d);
    const Matrix h3 = product(h2, h, d);
    const Matrix* powers[] = {&identity, &h, &h2, &h3};
    Matrix m(d * d);
    for (int n = 0; n < 4; ++n) {
        const Complex c = coefficient(fraction, n);
        for (std::uint64_t i = 0; i < d * d; ++i) m[i] += c * (*powers[n])[i];
    }
    // Columns past d stand for values a packed dit could hold beyond its
    // dimension; no valid state has them.
    for (std::uint64_t k = 0; k < d; ++k)
        for (std::uint64_t j = 0; j < columns; ++j) table[k * columns + j] = j < d ? m[k * d + j] : Complex(0.0);
}

constexpr SpreadRule FRACTIONAL_HADAMARD{"fractional hadamard",
                                         "Fractional Hadamard operation has overlapping targets and controls",
                                         "Fractional hadamard", "Fractional hadamard", &fractional_fourier_factors};

}  // namespace

template <class T>
void State<T>::fractional_hadamard(const Targets& targets, double fraction, const Predicates& predicates) {
    spread(targets, predicates, FRACTIONAL_HADAMARD, reduce_by_period(fraction, HADAMARD_PERIOD));
}

#define VORTAN_INSTANTIATE(T) \
    template void State<T>::fractional_hadamard(const Targets&, double, const Predicates&);
#include "qudit/state_members.def"

}  // namespace vortan::qudit
