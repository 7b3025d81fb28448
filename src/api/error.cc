// The error record, the one process-wide callback, and the status texts.

#include <atomic>
#include <cstring>

#include "api/boundary.h"

namespace vortan::api {
namespace {

// One pair for the whole process. Relaxed atomics are plain loads and stores
// here; they only spare a racing host undefined behaviour, not the race.
std::atomic<vortan_error_callback> error_callback{nullptr};
std::atomic<void*> error_user_data{nullptr};

}  // namespace

void copy_message(char (&field)[256], const char* text) noexcept {
    std::strncpy(field, text, sizeof field - 1);
    field[sizeof field - 1] = '\0';
}

vortan_result report_error(vortan_error_info* info, vortan_result code, const char* text, const char* function,
                           std::uint32_t line) noexcept {
    // The callback is a companion of the record: no record, no callback.
    if (info == nullptr) return code;
    info->code = code;
    copy_message(info->message, text);
    info->function = function;
    info->line = line;
    const vortan_error_callback callback = error_callback.load(std::memory_order_relaxed);
    if (callback != nullptr) callback(info, error_user_data.load(std::memory_order_relaxed));
    return code;
}

}  // namespace vortan::api

using namespace vortan::api;

extern "C" {

VORTAN_API void vortan_set_error_callback(vortan_error_callback callback, void* user_data) {
    error_callback.store(callback, std::memory_order_relaxed);
    error_user_data.store(user_data, std::memory_order_relaxed);
}

VORTAN_API vortan_result vortan_cleanup(void) {
    vortan_set_error_callback(nullptr, nullptr);
    return VORTAN_SUCCESS;
}

VORTAN_API const char* vortan_get_error_string(vortan_result code) {
    switch (static_cast<std::uint32_t>(code)) {
        case VORTAN_SUCCESS: return "Success";
        case VORTAN_ERROR_NULL_POINTER: return "Null pointer error";
        case VORTAN_ERROR_INVALID_ARGUMENT: return "Invalid argument";
        case VORTAN_ERROR_BUFFER_TOO_SMALL: return "Buffer too small";
        case VORTAN_ERROR_INVALID_DIMENSION: return "Invalid dimension";
        case VORTAN_ERROR_INVALID_QUDIT_NUMBER: return "Invalid qudit number";
        case VORTAN_ERROR_TARGET_CONTROL_OVERLAP: return "Target control overlap";
        case VORTAN_ERROR_INCOMPATIBLE_DIMENSIONS: return "Incompatible dimensions";
        case VORTAN_ERROR_STATE_SIZE_EXCEEDED: return "State size exceeded";
        case VORTAN_ERROR_OUT_OF_MEMORY: return "Out of memory";
        case VORTAN_ERROR_INTERNAL: return "Internal error";
        default: return "Unknown error";
    }
}

}  // extern "C"
