#pragma once
// The one random step of the library: picking a record of an outcome
// distribution. The draw takes its 32-bit numbers from any callable source,
// so that a fixed sequence can stand in for the generator.

#include <cstdint>
#include <random>
#include <vector>

namespace vortan::qudit {

/// A fresh MT19937 seeded with one 32-bit value read from the random device
/// "default". What the device throws passes through.
std::mt19937 seeded_generator();

/// Record weights, narrowed to float in record order: a probability too small
/// for a float becomes 0 and can then not be drawn.
inline std::vector<float> weights_of(const std::vector<double>& probabilities) {
    return std::vector<float>(probabilities.begin(), probabilities.end());
}

/// Cumulative sums of the weights widened to double and divided by their
/// left-to-right sum, the last forced to exactly 1.0. Empty for fewer than
/// two weights. All-zero weights give NaNs before the last.
std::vector<double> cumulative_distribution(const std::vector<float>& weights);

/// Index of the first cumulative value not below u (the lower bound), by a
/// binary search that keeps the left half, middle included, unless the middle
/// is below u. NaNs compare as not below, so they send the search left.
std::size_t lower_bound_index(const std::vector<double>& cumulative, double u);

/// u in [0, 1) from two outputs of `source`: the first is the low half of a
/// 64-bit x, and u = x * 2^-64; a u that rounds up to 1.0 is drawn again.
template <class Source>
double draw_unit(Source& source) {
    for (;;) {
        const std::uint64_t low = static_cast<std::uint32_t>(source());
        const std::uint64_t high = static_cast<std::uint32_t>(source());
        const double u = static_cast<double>((high << 32) | low) * 0x1p-64;
        if (u < 1.0) return u;
    }
}

/// Index of the record drawn with these weights. Fewer than two weights take
/// no number from the source and give 0.
template <class Source>
std::int32_t draw_index(const std::vector<float>& weights, Source& source) {
    const std::vector<double> cumulative = cumulative_distribution(weights);
    if (cumulative.empty()) return 0;
    return static_cast<std::int32_t>(lower_bound_index(cumulative, draw_unit(source)));
}

}  // namespace vortan::qudit
