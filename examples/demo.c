/*
 * An example host: loads libvortan through its public header only and shows
 * what the library reports about itself.
 */
#include <stdio.h>

#include <vortan.h>

static void on_error(const vortan_error_info *info, void *user_data) {
    (void)user_data;
    fprintf(stderr, "vortan error %d in %s: %s\n", (int)info->code, info->function, info->message);
}

int main(void) {
    uint32_t major = 0, minor = 0, patch = 0;
    static const vortan_result codes[] = {
        VORTAN_SUCCESS,
        VORTAN_ERROR_NULL_POINTER,
        VORTAN_ERROR_INVALID_ARGUMENT,
        VORTAN_ERROR_BUFFER_TOO_SMALL,
        VORTAN_ERROR_INVALID_DIMENSION,
        VORTAN_ERROR_INVALID_QUDIT_NUMBER,
        VORTAN_ERROR_TARGET_CONTROL_OVERLAP,
        VORTAN_ERROR_INCOMPATIBLE_DIMENSIONS,
        VORTAN_ERROR_STATE_SIZE_EXCEEDED,
        VORTAN_ERROR_OUT_OF_MEMORY,
        VORTAN_ERROR_INTERNAL,
    };

    vortan_initialize();
    vortan_set_error_callback(on_error, NULL);

    if (vortan_get_version_info(&major, &minor, &patch) != VORTAN_SUCCESS) return 1;
    printf("libvortan %s (%u.%u.%u)\n", vortan_get_version(), major, minor, patch);
    printf("limits: dimension <= %u, qudits per group <= %u, basis entries per state <= %u\n",
           vortan_get_max_dimension(), vortan_get_max_qudits(), vortan_get_max_state_size());

    printf("\nstatus codes:\n");
    for (size_t i = 0; i < sizeof codes / sizeof codes[0]; ++i)
        printf("  %4d  %s\n", (int)codes[i], vortan_get_error_string(codes[i]));

    printf("\ndimensions the boundary accepts:");
    for (int32_t d = -1; d <= 4; ++d)
        if (vortan_is_valid_dimension(d)) printf(" %d", (int)d);
    printf("\n");

    vortan_cleanup();
    return 0;
}
