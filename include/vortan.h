/*
 * libvortan: sparse simulation of small systems of qudits (dimension 2 or 3).
 *
 * The whole public interface. Plain C11, also valid C++. Every function that
 * can fail returns a vortan_result; most take a vortan_error_info* as their
 * last argument, which may be NULL. A successful call never touches the
 * record, so read the return value, not the record, to learn the outcome.
 *
 * Ownership: the host owns every handle it creates and every array it passes.
 * Arrays are read during the call and never kept. Destroy functions take the
 * handle's address, set it to NULL, and accept NULL at both levels.
 *
 * Threads: the library starts none and takes no locks. Calls may overlap only
 * if they touch different shared states (groups of entangled properties).
 */
#ifndef VORTAN_H
#define VORTAN_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#define VORTAN_VERSION_MAJOR 1
#define VORTAN_VERSION_MINOR 4
#define VORTAN_VERSION_PATCH 0

#if defined(_WIN32)
#  if defined(VORTAN_BUILD)
#    define VORTAN_API __declspec(dllexport)
#  else
#    define VORTAN_API __declspec(dllimport)
#  endif
#elif defined(__GNUC__)
#  define VORTAN_API __attribute__((visibility("default")))
#else
#  define VORTAN_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------ */
/* Status codes                                                              */
/* ------------------------------------------------------------------------ */

/** 32-bit status code returned by every function that can fail. */
typedef int32_t vortan_result;

enum {
    VORTAN_SUCCESS = 0,
    VORTAN_ERROR_NULL_POINTER = 1,
    VORTAN_ERROR_INVALID_ARGUMENT = 2,
    VORTAN_ERROR_BUFFER_TOO_SMALL = 3,
    VORTAN_ERROR_INVALID_DIMENSION = 4,
    VORTAN_ERROR_INVALID_QUDIT_NUMBER = 5,
    VORTAN_ERROR_TARGET_CONTROL_OVERLAP = 100,
    VORTAN_ERROR_INCOMPATIBLE_DIMENSIONS = 101,
    VORTAN_ERROR_STATE_SIZE_EXCEEDED = 102,
    VORTAN_ERROR_OUT_OF_MEMORY = 200,
    VORTAN_ERROR_INTERNAL = 900
};

/* ------------------------------------------------------------------------ */
/* Handles and public records                                                */
/* ------------------------------------------------------------------------ */

/** One qudit. Opaque; made by vortan_quantum_property_create. */
typedef struct vortan_quantum_property vortan_quantum_property;

/** A condition on one qudit (equal or not equal to a value). Opaque. It points
 *  to its property without owning it: keep the property alive while the
 *  predicate is in use. */
typedef struct vortan_predicate vortan_predicate;

/** Filled by a failing call. Owned by the host. Layout fixed (64-bit):
 *  code @0, message @4 (256 bytes, always terminated), function @264, line @272. */
typedef struct vortan_error_info {
    vortan_result code;
    char message[256];
    uint32_t reserved0;
    /** Name of the exported function that failed; valid for the library's life. */
    const char *function;
    uint32_t line;
    uint32_t reserved1;
} vortan_error_info;

/** Called after a failure has been recorded, on the caller's thread, before
 *  the failing function returns. Only failures reported into a non-NULL
 *  record reach it. */
typedef void (*vortan_error_callback)(const vortan_error_info *info, void *user_data);

/** One outcome combination of vortan_calculate_probabilities. 24 bytes. */
typedef struct vortan_probability_entry {
    /** Written by the library: probability of the combination, 0 if absent. */
    float probability;
    uint32_t reserved0;
    /** Set by the host before the call: NULL, or room for property_count values. */
    int32_t *outcome_values;
    /** Written by the library: always property_count. */
    size_t outcome_count;
} vortan_probability_entry;

/** One element of a reduced density matrix. 8 bytes. */
typedef struct vortan_density_element {
    float real;
    float imag;
} vortan_density_element;

/** Operation codes of vortan_batch_op. */
enum {
    VORTAN_OP_CYCLE = 0,
    VORTAN_OP_SHIFT = 1,
    VORTAN_OP_CLOCK = 2,
    VORTAN_OP_X = 3,
    VORTAN_OP_Z = 4,
    VORTAN_OP_Y = 5,
    VORTAN_OP_HADAMARD = 6,
    VORTAN_OP_INVERSE_HADAMARD = 7,
    VORTAN_OP_SWAP = 8,
    VORTAN_OP_I_SWAP = 9,
    VORTAN_OP_PHASE_ROTATE = 10
};

/** One gate of a batch, filled by the host and only read. 56 bytes.
 *  fraction: NaN asks for the whole gate; any other value, 0 and 1 included,
 *  for the fractional gate with that power. */
typedef struct vortan_batch_op {
    uint32_t opcode;
    uint32_t reserved0;
    vortan_quantum_property *target;
    vortan_quantum_property *target2;
    double fraction;
    double angle;
    vortan_predicate *const *predicates;
    size_t predicate_count;
} vortan_batch_op;

/** Outcome of vortan_execute_batch. */
typedef struct vortan_batch_result {
    uint64_t ops_executed;
    vortan_result error_code;
    char error_message[256];
} vortan_batch_result;

/* ------------------------------------------------------------------------ */
/* Library                                                                   */
/* ------------------------------------------------------------------------ */

/** Does nothing; optional. @return VORTAN_SUCCESS. */
VORTAN_API vortan_result vortan_initialize(void);

/** Clears the error callback and its user data; handles stay valid.
 *  @return VORTAN_SUCCESS. */
VORTAN_API vortan_result vortan_cleanup(void);

/** @return "1.4.0". The text is built once and never changes: the pointer
 *  stays valid for the library's life, and any thread may call this. */
VORTAN_API const char *vortan_get_version(void);

/** Writes the three version numbers.
 *  @return VORTAN_ERROR_NULL_POINTER (writing nothing) if any pointer is NULL,
 *          else VORTAN_SUCCESS. Takes no error record. */
VORTAN_API vortan_result vortan_get_version_info(uint32_t *major, uint32_t *minor, uint32_t *patch);

/** @return 3, the largest dimension of a qudit. */
VORTAN_API uint32_t vortan_get_max_dimension(void);

/** @return 12, the largest number of qudits in one shared state. */
VORTAN_API uint32_t vortan_get_max_qudits(void);

/** @return 100000, the largest number of basis entries one state may hold. */
VORTAN_API uint32_t vortan_get_max_state_size(void);

/** @return true for 1, 2 and 3: the range the boundary accepts. Dimension 1
 *  passes here but no property of dimension 1 can be created. */
VORTAN_API bool vortan_is_valid_dimension(int32_t dimension);

/** @return a constant text for a status code, "Unknown error" for any value
 *  that is not one; never NULL. */
VORTAN_API const char *vortan_get_error_string(vortan_result code);

/** Stores the callback and its user data for the whole process, replacing the
 *  former pair; NULL turns it off. Set it before starting work on threads. */
VORTAN_API void vortan_set_error_callback(vortan_error_callback callback, void *user_data);

/* ------------------------------------------------------------------------ */
/* Properties and predicates                                                 */
/* ------------------------------------------------------------------------ */

/** Creates a qudit of the given dimension in basis state 0, alone in a state
 *  of its own. The host owns the handle.
 *  @param dimension 2 or 3.
 *  @param out_property receives the handle; set to NULL once the arguments pass.
 *  @return VORTAN_ERROR_NULL_POINTER, VORTAN_ERROR_INVALID_DIMENSION,
 *          VORTAN_ERROR_STATE_SIZE_EXCEEDED, VORTAN_ERROR_OUT_OF_MEMORY,
 *          VORTAN_ERROR_INTERNAL, or VORTAN_SUCCESS. */
VORTAN_API vortan_result vortan_quantum_property_create(int32_t dimension,
                                                        vortan_quantum_property **out_property,
                                                        vortan_error_info *error_info);

/** Frees the handle and sets *property to NULL. Measures nothing: an entangled
 *  qudit stays in its shared state, unnamed. NULL at either level is a no-op.
 *  @return VORTAN_SUCCESS always. */
VORTAN_API vortan_result vortan_quantum_property_destroy(vortan_quantum_property **property);

/** Takes the qudit out of its shared state and frees the handle. A qudit with
 *  partners is measured first (which collapses them), with a warning on the
 *  standard error stream if it was entangled. NULL at either level is a no-op.
 *  @return VORTAN_SUCCESS, or VORTAN_ERROR_INTERNAL with the handle left alive. */
VORTAN_API vortan_result vortan_quantum_property_factorize_and_destroy(vortan_quantum_property **property,
                                                                       vortan_error_info *error_info);

/** Writes the dimension of this property's qudit. Takes no error record.
 *  @return VORTAN_ERROR_NULL_POINTER or VORTAN_SUCCESS. */
VORTAN_API vortan_result vortan_quantum_property_get_dimension(vortan_quantum_property *property,
                                                               uint32_t *out_dimension);

/** Writes the number of qudits of the whole shared state the property stands
 *  in, unnamed ones included. Takes no error record.
 *  @return VORTAN_ERROR_NULL_POINTER or VORTAN_SUCCESS. */
VORTAN_API vortan_result vortan_quantum_property_get_num_active_qudits(vortan_quantum_property *property,
                                                                       size_t *out_count);

/** Writes the number of basis entries stored now in the property's shared
 *  state. Takes no error record.
 *  @return VORTAN_ERROR_NULL_POINTER or VORTAN_SUCCESS. */
VORTAN_API vortan_result vortan_quantum_property_get_state_vector_size(vortan_quantum_property *property,
                                                                       size_t *out_size);

/** Creates a predicate: holds where the property's dit equals value
 *  (is_equal true) or differs from it (false). value is not checked against
 *  the dimension. Takes no error record.
 *  @return VORTAN_ERROR_NULL_POINTER, VORTAN_ERROR_OUT_OF_MEMORY,
 *          VORTAN_ERROR_INTERNAL, or VORTAN_SUCCESS. */
VORTAN_API vortan_result vortan_predicate_create(vortan_quantum_property *property, int32_t value,
                                                 bool is_equal, vortan_predicate **out_predicate);

/** Frees the predicate and sets *predicate to NULL; NULL at either level is a
 *  no-op. @return VORTAN_SUCCESS always. */
VORTAN_API vortan_result vortan_predicate_destroy(vortan_predicate **predicate);

/* The size calculators multiply in 64-bit arithmetic and wrap without a
 * report: with qutrits, the count once more than 40 are listed, and the
 * matrix's element count (side * side) once more than 20. A property listed
 * twice counts twice. */

/** Number of outcome combinations of a list of properties: the product of
 *  their dimensions, 0 for an empty list. Entangles nothing; no error record.
 *  @return VORTAN_ERROR_NULL_POINTER, VORTAN_ERROR_INTERNAL or VORTAN_SUCCESS. */
VORTAN_API vortan_result vortan_calculate_combinations_count(vortan_quantum_property *const *properties,
                                                             size_t property_count, size_t *out_count);

/** Side of the reduced density matrix of a list of properties, and its number
 *  of elements (out_size, optional). Entangles nothing; no error record.
 *  @return VORTAN_ERROR_NULL_POINTER, VORTAN_ERROR_INTERNAL or VORTAN_SUCCESS. */
VORTAN_API vortan_result vortan_calculate_matrix_size(vortan_quantum_property *const *properties,
                                                      size_t property_count, size_t *out_dimension,
                                                      size_t *out_size);

/*
 * Conventions. d is the qudit's dimension, v its level, w = e^(2 pi i / d).
 *
 * - vortan_shift_operation and vortan_x_operation take |v> to |v-1 mod d>: the
 *   textbook X on a qubit, its inverse on a qutrit. vortan_cycle_operation
 *   takes |v> to |v+1 mod d>.
 * - vortan_hadamard_operation takes |v> to (1/sqrt d) sum_k w^(-vk) |k>, which
 *   on a qutrit is the inverse of the usual Fourier matrix;
 *   vortan_inverse_hadamard_operation has w^(+vk). On a qubit both are H.
 * - vortan_fractional_hadamard_operation with power f applies
 *   c0 I + c1 H + c2 H^2 + c3 H^3, H the matrix above, where
 *       c_n(f) = (1 + e^(i pi (f-n)) + 2 cos(pi (f-n) / 2)) / 4:
 *       c0 = (1 + e^(i pi f) + 2 cos(pi f / 2)) / 4
 *       c1 = (1 - e^(i pi f) + 2 sin(pi f / 2)) / 4
 *       c2 = (1 + e^(i pi f) - 2 cos(pi f / 2)) / 4
 *       c3 = (1 - e^(i pi f) - 2 sin(pi f / 2)) / 4
 *   Each eigenvalue e^(i t) of H, t in {0, -pi/2, pi, +pi/2}, becomes
 *   e^(i t f): f = 1 is H, -1 its inverse, 0 and 4 the identity.
 * - Outcome combinations, in probabilities and in the rows and columns of a
 *   reduced density matrix, count with properties[0] as the fastest digit:
 *   for properties (a, b), combination v_a + d_a * v_b. The density matrix is
 *   row-major, the row being the ket.
 * - Probabilities and density elements are single precision (float), rounded
 *   from the double amplitudes of the state.
 * - The library's only output: vortan_quantum_property_factorize_and_destroy
 *   on an entangled property writes to the standard error stream
 *   "[Vortan] Warning: destroying entangled property (qudit %d in %zu-qudit
 *   shared state). Measurement will collapse entangled partners." on one line.
 *   Measuring the property first disentangles it and avoids the warning.
 */

/* ------------------------------------------------------------------------ */
/* Gates                                                                     */
/*                                                                           */
/* Every gate is controlled: it acts on the basis entries where all          */
/* predicates hold (an empty list selects all). The target and the           */
/* predicates' properties are first merged into one shared state, and stay   */
/* so even if the gate then fails. fraction is the power of the gate; only   */
/* exactly 1.0 takes the whole gate.                                         */
/*                                                                           */
/* Common codes: VORTAN_ERROR_NULL_POINTER, VORTAN_ERROR_INVALID_ARGUMENT    */
/* (non-finite fraction or angle), VORTAN_ERROR_TARGET_CONTROL_OVERLAP,      */
/* VORTAN_ERROR_STATE_SIZE_EXCEEDED, VORTAN_ERROR_OUT_OF_MEMORY,             */
/* VORTAN_ERROR_INTERNAL.                                                    */
/* ------------------------------------------------------------------------ */

/* A fraction of magnitude 2^24 or more is first reduced exactly by the
 * gate's period (6 for shift, cycle, clock, X, Y and Z, a multiple of every
 * dimension; 4 for the fractional Hadamard), which keeps the gate unitary
 * where its phases would lose their precision or overflow. Smaller fractions
 * are evaluated as given. */

/** Moves the target's level down by one, with wrap-around (v -> v-1 mod d),
 *  raised to the power fraction. @return see the common codes. */
VORTAN_API vortan_result vortan_shift_operation(vortan_quantum_property *property, double fraction,
                                                vortan_predicate *const *predicates, size_t predicate_count,
                                                vortan_error_info *error_info);

/** Generalised Z: multiplies by e^(2 pi i v / d), raised to the power
 *  fraction. @return see the common codes. */
VORTAN_API vortan_result vortan_clock_operation(vortan_quantum_property *property, double fraction,
                                                vortan_predicate *const *predicates, size_t predicate_count,
                                                vortan_error_info *error_info);

/** Moves the target's level up by one, with wrap-around (v -> v+1 mod d),
 *  raised to the power fraction. @return see the common codes. */
VORTAN_API vortan_result vortan_cycle_operation(vortan_quantum_property *property, double fraction,
                                                vortan_predicate *const *predicates, size_t predicate_count,
                                                vortan_error_info *error_info);

/** Another name for vortan_shift_operation. @return see the common codes. */
VORTAN_API vortan_result vortan_x_operation(vortan_quantum_property *property, double fraction,
                                            vortan_predicate *const *predicates, size_t predicate_count,
                                            vortan_error_info *error_info);

/** Y on a qubit, as Z^(1/2) X^fraction Z^(-1/2).
 *  @return see the common codes; VORTAN_ERROR_INVALID_ARGUMENT if the target
 *          is not a qubit. */
VORTAN_API vortan_result vortan_y_operation(vortan_quantum_property *property, double fraction,
                                            vortan_predicate *const *predicates, size_t predicate_count,
                                            vortan_error_info *error_info);

/** Another name for vortan_clock_operation. @return see the common codes. */
VORTAN_API vortan_result vortan_z_operation(vortan_quantum_property *property, double fraction,
                                            vortan_predicate *const *predicates, size_t predicate_count,
                                            vortan_error_info *error_info);

/** Discrete Fourier transform of the target's dit. The state grows; refused
 *  in advance (state unchanged) if it would pass the size limit.
 *  @return see the common codes. */
VORTAN_API vortan_result vortan_hadamard_operation(vortan_quantum_property *property,
                                                   vortan_predicate *const *predicates, size_t predicate_count,
                                                   vortan_error_info *error_info);

/** Inverse of vortan_hadamard_operation. @return see the common codes. */
VORTAN_API vortan_result vortan_inverse_hadamard_operation(vortan_quantum_property *property,
                                                           vortan_predicate *const *predicates,
                                                           size_t predicate_count,
                                                           vortan_error_info *error_info);

/** The Hadamard raised to any real power, 1 included.
 *  @return see the common codes. */
VORTAN_API vortan_result vortan_fractional_hadamard_operation(vortan_quantum_property *property, double fraction,
                                                              vortan_predicate *const *predicates,
                                                              size_t predicate_count,
                                                              vortan_error_info *error_info);

/* Swap and i-swap differ from the other gates when the merge would pass
 * 12 qudits: they return VORTAN_ERROR_INVALID_QUDIT_NUMBER ("num_qudits 13
 * exceeds compile-time MAX_NUM_QUDITS (12) ..."), where the others return
 * VORTAN_ERROR_INTERNAL with the same text. Either way the group that would
 * pass the limit is left apart, and the gate does nothing. */

/** Exchanges the dits of two qudits of equal dimension.
 *  @return see the common codes; VORTAN_ERROR_INCOMPATIBLE_DIMENSIONS for
 *          different dimensions. */
VORTAN_API vortan_result vortan_swap_operation(vortan_quantum_property *property1,
                                               vortan_quantum_property *property2,
                                               vortan_predicate *const *predicates, size_t predicate_count,
                                               vortan_error_info *error_info);

/** Fractional i-swap: mixes |a,b> and |b,a> (a != b) by the angle
 *  fraction * pi/2, the moved part multiplied by i.
 *  @return see the common codes; VORTAN_ERROR_INCOMPATIBLE_DIMENSIONS for
 *          different dimensions. */
VORTAN_API vortan_result vortan_i_swap_operation(vortan_quantum_property *property1,
                                                 vortan_quantum_property *property2, double fraction,
                                                 vortan_predicate *const *predicates, size_t predicate_count,
                                                 vortan_error_info *error_info);

/** Multiplies the entries where all predicates hold by e^(i angle). At least
 *  one predicate is required. @return see the common codes. */
VORTAN_API vortan_result vortan_phase_rotate_operation(vortan_predicate *const *predicates,
                                                       size_t predicate_count, double angle,
                                                       vortan_error_info *error_info);

/* ------------------------------------------------------------------------ */
/* Measurement                                                               */
/*                                                                           */
/* The listed properties are merged into one shared state first. Result     */
/* element i belongs to properties[i].                                       */
/* ------------------------------------------------------------------------ */

/* Exhausted memory in the functions of this section (and in
 * vortan_quantum_property_factorize_and_destroy) is VORTAN_ERROR_INTERNAL
 * with the message "std::bad_alloc", not VORTAN_ERROR_OUT_OF_MEMORY, which
 * only creation, predicates and the single gate calls return. */

/** Samples an outcome of the properties and collapses the state onto it.
 *  @param output_buffer receives property_count values; untouched on failure.
 *  @return VORTAN_ERROR_NULL_POINTER, VORTAN_ERROR_INVALID_ARGUMENT,
 *          VORTAN_ERROR_BUFFER_TOO_SMALL, VORTAN_ERROR_INVALID_DIMENSION,
 *          VORTAN_ERROR_INVALID_QUDIT_NUMBER, VORTAN_ERROR_INTERNAL, or
 *          VORTAN_SUCCESS. */
VORTAN_API vortan_result vortan_measure_properties(vortan_quantum_property *const *properties,
                                                   size_t property_count, int32_t *output_buffer,
                                                   size_t buffer_size, vortan_error_info *error_info);

/* Forcing checks that some basis entry shows the outcome, not its weight: an
 * outcome present with negligible weight (squared norm at most 2^-23) passes,
 * the other branches are removed, and only then does the call fail with
 * VORTAN_ERROR_INTERNAL "State collapsed to zero amplitude", the state left
 * holding only that remnant. Check the probability first if it may be that
 * small. */

/** Collapses the state onto the outcome forced_values, which must occur in it.
 *  @param output_buffer may be NULL; else receives the outcome.
 *  @return as vortan_measure_properties; VORTAN_ERROR_INVALID_ARGUMENT for an
 *          outcome out of range or absent from the state. */
VORTAN_API vortan_result vortan_forced_measure_properties(vortan_quantum_property *const *properties,
                                                          size_t property_count, const int32_t *forced_values,
                                                          size_t forced_value_count, int32_t *output_buffer,
                                                          size_t buffer_size, vortan_error_info *error_info);

/** Writes the probability of every outcome combination, properties[0] the
 *  fastest digit, absent ones as 0. Changes no amplitude.
 *  @param buffer_size at least vortan_calculate_combinations_count.
 *  @param out_count may be NULL; receives the number of combinations.
 *  @return as vortan_measure_properties. */
VORTAN_API vortan_result vortan_calculate_probabilities(vortan_quantum_property *const *properties,
                                                        size_t property_count,
                                                        vortan_probability_entry *output_buffer,
                                                        size_t buffer_size, size_t *out_count,
                                                        vortan_error_info *error_info);

/** Writes the n x n reduced density matrix of the properties, row-major, all
 *  other qudits traced out. Changes no amplitude.
 *  @param buffer_size at least n * n (vortan_calculate_matrix_size).
 *  @param out_dimension may be NULL; receives n.
 *  @return VORTAN_ERROR_NULL_POINTER, VORTAN_ERROR_INVALID_ARGUMENT,
 *          VORTAN_ERROR_BUFFER_TOO_SMALL, VORTAN_ERROR_INTERNAL, or
 *          VORTAN_SUCCESS. */
VORTAN_API vortan_result vortan_calculate_reduced_density_matrix(vortan_quantum_property *const *properties,
                                                                 size_t property_count,
                                                                 vortan_density_element *output_buffer,
                                                                 size_t buffer_size, size_t *out_dimension,
                                                                 vortan_error_info *error_info);

/** Asks by measurement whether all predicates hold, and projects the state
 *  onto the answer. @param result receives 1 or 0.
 *  @return VORTAN_ERROR_NULL_POINTER, VORTAN_ERROR_INVALID_ARGUMENT,
 *          VORTAN_ERROR_INVALID_DIMENSION, VORTAN_ERROR_INVALID_QUDIT_NUMBER,
 *          VORTAN_ERROR_INTERNAL, or VORTAN_SUCCESS. */
VORTAN_API vortan_result vortan_stochastic_projection_modern(vortan_predicate *const *predicates,
                                                             size_t predicate_count, int32_t *result,
                                                             vortan_error_info *error_info);

/* ------------------------------------------------------------------------ */
/* Batch                                                                     */
/* ------------------------------------------------------------------------ */

/* The batch checks no fraction or angle for finiteness, unlike the single
 * calls: NaN asks for the whole gate, and an infinity is run as given, which
 * can leave NaN amplitudes in the state. */

/** Validates every operation, then runs them in order without rollback.
 *  result->ops_executed tells how many completed.
 *  @return VORTAN_ERROR_NULL_POINTER (invalid record, nothing ran),
 *          VORTAN_ERROR_INVALID_ARGUMENT (unknown opcode, nothing ran),
 *          VORTAN_ERROR_INTERNAL (any failure while running, and exhausted
 *          memory while the records are copied, before anything runs), or
 *          VORTAN_SUCCESS; equal to result->error_code. */
VORTAN_API vortan_result vortan_execute_batch(const vortan_batch_op *ops, size_t op_count,
                                              vortan_batch_result *result, vortan_error_info *error_info);

#ifdef __cplusplus
}
#endif

#endif /* VORTAN_H */
