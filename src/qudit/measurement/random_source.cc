#include "qudit/measurement/random_source.h"

namespace vortan::qudit {

std::mt19937 seeded_generator() {
    // The device is opened, read once and closed again; nothing reseeds later.
    std::random_device device("default");
    return std::mt19937(static_cast<std::mt19937::result_type>(static_cast<std::uint32_t>(device())));
}

std::vector<double> cumulative_distribution(const std::vector<float>& weights) {
    std::vector<double> probabilities(weights.begin(), weights.end());
    if (probabilities.size() < 2) return {};
    // Weights are relative: the state need not be normalised.
    double sum = 0.0;
    for (const double p : probabilities) sum += p;
    for (double& p : probabilities) p /= sum;
    std::vector<double> cumulative(probabilities.size());
    double running = 0.0;
    for (std::size_t i = 0; i < probabilities.size(); ++i) {
        running += probabilities[i];
        cumulative[i] = running;
    }
    // Rounding must not leave a gap at the top that no u could reach.
    cumulative.back() = 1.0;
    return cumulative;
}

std::size_t lower_bound_index(const std::vector<double>& cumulative, double u) {
    std::size_t first = 0;
    std::size_t count = cumulative.size();
    while (count > 0) {
        const std::size_t half = count / 2;
        const std::size_t middle = first + half;
        if (cumulative[middle] < u) {
            first = middle + 1;
            count -= half + 1;
        } else {
            count = half;
        }
    }
    return first;
}

}  // namespace vortan::qudit
