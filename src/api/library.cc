// The library family: version, limits and the do-nothing initialisation.

#include "api/boundary.h"
#include "qudit/limits.h"

using namespace vortan::qudit;

extern "C" {

VORTAN_API vortan_result vortan_initialize(void) { return VORTAN_SUCCESS; }

#define VORTAN_TEXT(x) #x
#define VORTAN_NUMBER_TEXT(x) VORTAN_TEXT(x)

VORTAN_API const char* vortan_get_version(void) {
    // Joined by the preprocessor: nothing is composed at run time, so no call
    // can race another or fail for memory, and every pointer stays valid.
    static constexpr char version[] = VORTAN_NUMBER_TEXT(VORTAN_VERSION_MAJOR) "." VORTAN_NUMBER_TEXT(
        VORTAN_VERSION_MINOR) "." VORTAN_NUMBER_TEXT(VORTAN_VERSION_PATCH);
    return version;
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
