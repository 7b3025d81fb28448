/* The public header as a host sees it: compiled as C11 here and as C++ by
 * header_test.cc, with every stated layout pinned. */
#include <assert.h>
#include <stddef.h>
#include <string.h>

#include "vortan.h"

#if UINTPTR_MAX == 0xFFFFFFFFFFFFFFFFu
static_assert(sizeof(vortan_result) == 4, "status code width");
static_assert(offsetof(vortan_error_info, code) == 0, "error_info.code");
static_assert(offsetof(vortan_error_info, message) == 4, "error_info.message");
static_assert(sizeof(((vortan_error_info *)0)->message) == 256, "error_info.message width");
static_assert(offsetof(vortan_error_info, function) == 264, "error_info.function");
static_assert(offsetof(vortan_error_info, line) == 272, "error_info.line");
static_assert(sizeof(((vortan_error_info *)0)->line) == 4, "error_info.line width");
static_assert(sizeof(vortan_error_info) == 280, "error_info size");

static_assert(offsetof(vortan_probability_entry, probability) == 0, "probability_entry.probability");
static_assert(sizeof(((vortan_probability_entry *)0)->probability) == 4, "probability is a float");
static_assert(offsetof(vortan_probability_entry, outcome_values) == 8, "probability_entry.outcome_values");
static_assert(offsetof(vortan_probability_entry, outcome_count) == 16, "probability_entry.outcome_count");
static_assert(sizeof(vortan_probability_entry) == 24, "probability_entry size");

static_assert(offsetof(vortan_density_element, real) == 0, "density_element.real");
static_assert(offsetof(vortan_density_element, imag) == 4, "density_element.imag");
static_assert(sizeof(vortan_density_element) == 8, "density_element size");

static_assert(offsetof(vortan_batch_op, opcode) == 0, "batch_op.opcode");
static_assert(sizeof(((vortan_batch_op *)0)->opcode) == 4, "batch_op.opcode width");
static_assert(offsetof(vortan_batch_op, target) == 8, "batch_op.target");
static_assert(offsetof(vortan_batch_op, target2) == 16, "batch_op.target2");
static_assert(offsetof(vortan_batch_op, fraction) == 24, "batch_op.fraction");
static_assert(offsetof(vortan_batch_op, angle) == 32, "batch_op.angle");
static_assert(offsetof(vortan_batch_op, predicates) == 40, "batch_op.predicates");
static_assert(offsetof(vortan_batch_op, predicate_count) == 48, "batch_op.predicate_count");
static_assert(sizeof(vortan_batch_op) == 56, "batch_op size");

static_assert(offsetof(vortan_batch_result, ops_executed) == 0, "batch_result.ops_executed");
static_assert(sizeof(((vortan_batch_result *)0)->ops_executed) == 8, "batch_result.ops_executed width");
static_assert(offsetof(vortan_batch_result, error_code) == 8, "batch_result.error_code");
static_assert(offsetof(vortan_batch_result, error_message) == 12, "batch_result.error_message");
static_assert(sizeof(((vortan_batch_result *)0)->error_message) == 256, "batch_result.error_message width");
#endif

static_assert(VORTAN_OP_CYCLE == 0 && VORTAN_OP_PHASE_ROTATE == 10, "opcodes");

/* The host's view: handle arrays of plain pointers convert to the parameters. */
static void takes_predicates(vortan_predicate *const *predicates, size_t count) {
    (void)predicates;
    (void)count;
}

int main(void) {
    vortan_predicate *predicates[2] = {NULL, NULL};
    uint32_t major = 0, minor = 0, patch = 0;
    takes_predicates(predicates, 2);
    if (vortan_get_version_info(&major, &minor, &patch) != VORTAN_SUCCESS) return 1;
    if (major != VORTAN_VERSION_MAJOR || minor != VORTAN_VERSION_MINOR || patch != VORTAN_VERSION_PATCH) return 2;
    if (strcmp(vortan_get_version(), "1.4.0") != 0) return 3;
    return 0;
}
