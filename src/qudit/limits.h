#pragma once

#include <cstdint>

namespace vortan::qudit {

/// Largest dimension of a dit; both template arguments of DitArray come from it.
inline constexpr std::uint64_t MAX_DIMENSION = 3;
/// Largest number of qudits in one state.
inline constexpr std::uint64_t MAX_NUM_QUDITS = 12;
/// Largest number of basis entries one state may hold after any operation.
inline constexpr std::uint64_t MAX_STATE_SIZE = 100000;

}  // namespace vortan::qudit
