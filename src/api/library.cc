// The library family: version, limits and the do-nothing initialisation.

#include <sstream>
#include <string>

#include "api/boundary.h"
#include "qudit/limits.h"

using namespace vortan::qudit;

extern "C" {

VORTAN_API vortan_result vortan_initialize(void) { return VORTAN_SUCCESS; }

VORTAN_API const char* vortan_get_version(void) {
    // Composed once, on the first call; the initialisation of a local static
    // is thread-safe, so concurrent callers all get the same lasting text.
    static const std::string version = [] {
        std::ostringstream text;
        text << VORTAN_VERSION_MAJOR << '.' << VORTAN_VERSION_MINOR << '.' << VORTAN_VERSION_PATCH;
        return text.str();
    }();
    return version.c_str();
}

VORTAN_API vortan_result vortan_get_version_info(uint32_t* major, uint32_t* minor, uint32_t* patch) {
    if (major == nullptr || minor == nullptr || patch == nullptr) return VORTAN_ERROR_NULL_POINTER;
    *major = VORTAN_VERSION_MAJOR;
    *minor = VORTAN_VERSION_MINOR;
    *patch = VORTAN_VERSION_PATCH;
    return VORTAN_SUCCESS;
}

VORTAN_API uint32_t vortan_get_max_dimension(void) { return MAX_DIMENSION; }

VORTAN_API uint32_t vortan_get_max_qudits(void) { return MAX_NUM_QUDITS; }

VORTAN_API uint32_t vortan_get_max_state_size(void) { return MAX_STATE_SIZE; }

VORTAN_API bool vortan_is_valid_dimension(int32_t dimension) {
    // One unsigned comparison: negative values read as too large.
    return static_cast<uint32_t>(dimension) - 1U <= 2U;
}

}  // extern "C"
