#pragma once
// What distinguishes the gates that spread an entry over all values of a
// target: their texts and their d x d matrix. The frame is State<T>::spread.

#include <cmath>
#include <complex>
#include <cstdint>

namespace vortan::qudit {

/// Pruning threshold of merge_entries, on each component separately.
inline constexpr double AMPLITUDE_PRUNE_EPSILON = 1e-10;
/// Each component on its own, not the modulus; a NaN is never negligible.
inline bool negligible(std::complex<double> amplitude) {
    return std::abs(amplitude.real()) <= AMPLITUDE_PRUNE_EPSILON &&
           std::abs(amplitude.imag()) <= AMPLITUDE_PRUNE_EPSILON;
}
/// A full turn: the double 6.283185307179586.
inline constexpr double TWO_PI = 6.283185307179586;

struct SpreadRule {
    const char* context;        // word of the index checks, e.g. "hadamard"
    const char* overlap;        // text of the overlap refusal
    const char* estimate_name;  // opens the text of the up-front estimate
    const char* product_name;   // opens the text of the per-target size check
    /// Fills table[k * columns + j] with the factor that takes value j of a
    /// target of dimension d to value k, for k < d and j < columns.
    void (*factors)(std::uint64_t d, std::uint64_t columns, double fraction, std::complex<double>* table);
};

}  // namespace vortan::qudit
