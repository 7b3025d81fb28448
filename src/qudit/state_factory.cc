#include <array>
#include <stdexcept>

#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

using Builder = std::unique_ptr<IState> (*)(const std::vector<DynamicBasisEntry>&);

template <std::uint64_t D, std::uint64_t N>
std::unique_ptr<IState> build(const std::vector<DynamicBasisEntry>& entries) {
    return std::make_unique<State<DitArray<D, N>>>(D, N, entries);
}

// Row-major by dimension then qudit count, in the order of the shape list.
constexpr std::array<Builder, 2 * MAX_NUM_QUDITS> builders = {
#define VORTAN_SHAPE(D, N) &build<D, N>,
#include "qudit/state_shapes.def"
#undef VORTAN_SHAPE
};

}  // namespace

std::unique_ptr<IState> make_state(std::uint64_t dimension, std::uint64_t num_qudits,
                                   const std::vector<DynamicBasisEntry>& entries) {
    // The raw length is tested first, before any merging and before the shape.
    if (entries.size() > MAX_STATE_SIZE)
        throw StateSizeExceeded(
            str_cat("State has ", entries.size(), " basis states, exceeding limit of ", MAX_STATE_SIZE));
    if (dimension < 2) throw BadDimension("dim must be >= 2");
    if (num_qudits == 0) throw std::invalid_argument("num_qudits must be >= 1");
    if (dimension > MAX_DIMENSION)
        throw BadDimension(str_cat("Dimension ", dimension, " exceeds compile-time MAX_DIMENSION (", MAX_DIMENSION,
                                   ") and dynamic fallback is disabled"));
    if (num_qudits > MAX_NUM_QUDITS)
        throw BadQuditNumber(str_cat("num_qudits ", num_qudits, " exceeds compile-time MAX_NUM_QUDITS (",
                                     MAX_NUM_QUDITS, ") and dynamic fallback is disabled"));
    // Always the exact shape, never a larger form with spare dits.
    return builders[(dimension - 2) * MAX_NUM_QUDITS + (num_qudits - 1)](entries);
}

}  // namespace vortan::qudit
