#pragma once
// A plain dense state vector of mixed qubits and qutrits, written from the
// mathematics of the gates and never from the library's code. Slow and
// obviously correct: used only as a reference when testing.

#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>
#include <stdexcept>
#include <vector>

namespace vortan::reference {

using Complex = std::complex<double>;
using Matrix = std::vector<std::vector<Complex>>;  // [row][column]

/// A condition on one qudit: holds where (dit == value) == is_equal.
struct Control {
    int qudit;
    int value;
    bool is_equal;
};

// ---- single-qudit matrices; row = output value, column = input value ------

inline Complex root_of_unity(double turns) { return std::polar(1.0, 2 * std::numbers::pi * turns); }

/// X^f, X|v> = |v-1 mod d>: eigenvectors are Fourier modes, X = sum_k w^k |k~><k~|.
inline Matrix shift_matrix(int d, double f) {
    Matrix m(d, std::vector<Complex>(d));
    for (int out = 0; out < d; ++out)
        for (int in = 0; in < d; ++in)
            for (int k = 0; k < d; ++k) m[out][in] += root_of_unity(k * (f + out - in) / d) / double(d);
    return m;
}

/// (X^-1)^f: the level moves up.
inline Matrix cycle_matrix(int d, double f) { return shift_matrix(d, -f); }

/// Z^f = diag(e^(2 pi i v f / d)).
inline Matrix clock_matrix(int d, double f) {
    Matrix m(d, std::vector<Complex>(d));
    for (int v = 0; v < d; ++v) m[v][v] = root_of_unity(v * f / d);
    return m;
}

/// Fourier transform with e^(-2 pi i jk/d) / sqrt(d); `sign` +1 gives the inverse.
inline Matrix fourier_matrix(int d, int sign = -1) {
    Matrix m(d, std::vector<Complex>(d));
    for (int k = 0; k < d; ++k)
        for (int j = 0; j < d; ++j) m[k][j] = root_of_unity(sign * double(j * k) / d) / std::sqrt(double(d));
    return m;
}

inline Matrix multiply(const Matrix& a, const Matrix& b) {
    const std::size_t n = a.size();
    Matrix m(n, std::vector<Complex>(n));
    for (std::size_t r = 0; r < n; ++r)
        for (std::size_t c = 0; c < n; ++c)
            for (std::size_t k = 0; k < n; ++k) m[r][c] += a[r][k] * b[k][c];
    return m;
}

/// H^f through the spectral projectors of H (H^4 = 1): P_l = 1/4 sum_n l^-n H^n,
/// and each eigenvalue l = e^(i theta) with theta in {0, -pi/2, pi, pi/2} becomes e^(i theta f).
inline Matrix fractional_fourier_matrix(int d, double f) {
    const double pi = std::numbers::pi;
    std::vector<Matrix> powers{Matrix(d, std::vector<Complex>(d))};
    for (int i = 0; i < d; ++i) powers[0][i][i] = 1;
    for (int n = 1; n < 4; ++n) powers.push_back(multiply(powers[n - 1], fourier_matrix(d)));
    Matrix m(d, std::vector<Complex>(d));
    for (double theta : {0.0, -pi / 2, pi, pi / 2})
        for (int n = 0; n < 4; ++n) {
            const Complex weight = std::polar(1.0, theta * f) * std::polar(0.25, -theta * n);
            for (int r = 0; r < d; ++r)
                for (int c = 0; c < d; ++c) m[r][c] += weight * powers[n][r][c];
        }
    return m;
}

// ---- the state ---------------------------------------------------------------

/// Amplitudes over all digit tuples; qudit 0 is the least significant digit.
class DenseState {
public:
    explicit DenseState(std::vector<int> dims) : dims_(std::move(dims)) {
        std::size_t size = 1;
        for (int d : dims_) size *= static_cast<std::size_t>(d);
        amplitudes_.assign(size, 0.0);
        amplitudes_[0] = 1.0;
    }

    const std::vector<int>& dims() const { return dims_; }
    std::size_t size() const { return amplitudes_.size(); }

    std::vector<int> digits(std::size_t index) const {
        std::vector<int> out(dims_.size());
        for (std::size_t q = 0; q < dims_.size(); ++q) {
            out[q] = static_cast<int>(index % static_cast<std::size_t>(dims_[q]));
            index /= static_cast<std::size_t>(dims_[q]);
        }
        return out;
    }
    std::size_t index(const std::vector<int>& digits) const {
        std::size_t out = 0;
        for (std::size_t q = dims_.size(); q-- > 0;) out = out * static_cast<std::size_t>(dims_[q]) + static_cast<std::size_t>(digits[q]);
        return out;
    }
    Complex& at(const std::vector<int>& digits) { return amplitudes_[index(digits)]; }
    Complex at(const std::vector<int>& digits) const { return amplitudes_[index(digits)]; }
    Complex& at(std::size_t i) { return amplitudes_[i]; }

    bool holds(const std::vector<int>& digits, const std::vector<Control>& controls) const {
        for (const Control& c : controls)
            if ((digits[c.qudit] == c.value) != c.is_equal) return false;
        return true;
    }

    /// Applies m to `target` on the subspace where the controls hold; the
    /// controls must not name the target.
    void apply(int target, const Matrix& m, const std::vector<Control>& controls) {
        const int d = dims_[target];
        std::vector<Complex> next = amplitudes_;
        for (std::size_t i = 0; i < size(); ++i) {
            std::vector<int> dig = digits(i);
            if (dig[target] != 0 || !holds(dig, controls)) continue;
            for (int out = 0; out < d; ++out) {
                Complex sum = 0;
                for (int in = 0; in < d; ++in) {
                    dig[target] = in;
                    sum += m[out][in] * amplitudes_[index(dig)];
                }
                dig[target] = out;
                next[index(dig)] = sum;
            }
        }
        amplitudes_ = std::move(next);
    }

    void phase(const std::vector<Control>& controls, double angle) {
        for (std::size_t i = 0; i < size(); ++i)
            if (holds(digits(i), controls)) amplitudes_[i] *= std::polar(1.0, angle);
    }

    /// Exchanges two qudits of equal dimension where the controls hold.
    void swap(int q1, int q2, const std::vector<Control>& controls) { mix_pairs(q1, q2, 0.0, 1.0, controls); }

    /// |a,b> -> cos(t)|a,b> + i sin(t)|b,a> for a != b, t = f * pi/2.
    void i_swap(int q1, int q2, double f, const std::vector<Control>& controls) {
        const double t = f * std::numbers::pi / 2;
        mix_pairs(q1, q2, std::cos(t), Complex(0, std::sin(t)), controls);
    }

    /// rho[r][c] over `qudits` (qudits[0] fastest), the rest traced out.
    Matrix reduced_density_matrix(const std::vector<int>& qudits) const {
        std::vector<int> sub;
        for (int q : qudits) sub.push_back(dims_[q]);
        DenseState kept(sub);
        Matrix rho(kept.size(), std::vector<Complex>(kept.size()));
        for (std::size_t i = 0; i < size(); ++i)
            for (std::size_t j = 0; j < size(); ++j) {
                const std::vector<int> di = digits(i), dj = digits(j);
                bool same_rest = true;
                for (std::size_t q = 0; q < dims_.size(); ++q) {
                    bool listed = false;
                    for (int k : qudits) listed = listed || k == static_cast<int>(q);
                    if (!listed && di[q] != dj[q]) same_rest = false;
                }
                if (same_rest)
                    rho[kept.index(project(di, qudits))][kept.index(project(dj, qudits))] +=
                        amplitudes_[i] * std::conj(amplitudes_[j]);
            }
        return rho;
    }

private:
    static std::vector<int> project(const std::vector<int>& digits, const std::vector<int>& qudits) {
        std::vector<int> out;
        for (int q : qudits) out.push_back(digits[q]);
        return out;
    }

    void mix_pairs(int q1, int q2, Complex stay, Complex move, const std::vector<Control>& controls) {
        if (dims_[q1] != dims_[q2]) throw std::invalid_argument("different dimensions");
        std::vector<Complex> next = amplitudes_;
        for (std::size_t i = 0; i < size(); ++i) {
            std::vector<int> dig = digits(i);
            if (dig[q1] == dig[q2] || !holds(dig, controls)) continue;
            std::vector<int> partner = dig;
            std::swap(partner[q1], partner[q2]);
            next[i] = stay * amplitudes_[i] + move * amplitudes_[index(partner)];
        }
        amplitudes_ = std::move(next);
    }

    std::vector<int> dims_;
    std::vector<Complex> amplitudes_;
};

}  // namespace vortan::reference
