/*
 * An example host: builds a few small qubit and qutrit circuits through the
 * public header only, and prints what they do. Every call's result is
 * checked; the first failure prints the library's error record and exits 1.
 */
#include <math.h> /* NAN only: no libm needed */
#include <stdio.h>
#include <stdlib.h>

#include <vortan.h>

#define PI 3.14159265358979323846
#define SHOTS 1000
#define BAR_WIDTH 50

typedef vortan_quantum_property qudit;

/* One record for the whole run: a call only writes it when it fails. */
static vortan_error_info err;

/* Calls that take no error record pass NULL and only have their code. */
static void check(vortan_result result, const vortan_error_info *info) {
    if (result == VORTAN_SUCCESS) return;
    if (info)
        fprintf(stderr, "error %d (%s) in %s: %s\n", (int)result, vortan_get_error_string(result),
                info->function, info->message);
    else
        fprintf(stderr, "error %d: %s\n", (int)result, vortan_get_error_string(result));
    exit(EXIT_FAILURE);
}

static void *checked_calloc(size_t count, size_t size) {
    void *p = calloc(count ? count : 1, size);
    if (!p) {
        fprintf(stderr, "out of memory\n");
        exit(EXIT_FAILURE);
    }
    return p;
}

static qudit *new_qudit(int32_t dimension) {
    qudit *q = NULL;
    check(vortan_quantum_property_create(dimension, &q, &err), &err);
    return q;
}

static vortan_predicate *when_equal(qudit *q, int32_t value) {
    vortan_predicate *p = NULL;
    check(vortan_predicate_create(q, value, true, &p), NULL);
    return p;
}

static void destroy_all(qudit **q, size_t n) {
    for (size_t i = 0; i < n; ++i) vortan_quantum_property_destroy(&q[i]);
}

/* Keeps "-0.000" out of the printed numbers. */
static double tidy(double v) { return v > -5e-4 && v < 5e-4 ? 0.0 : v; }

/* (|00> + |11>) / sqrt(2): a superposes, b follows it. */
static void make_bell(qudit **q) {
    q[0] = new_qudit(2);
    q[1] = new_qudit(2);
    check(vortan_hadamard_operation(q[0], NULL, 0, &err), &err);
    vortan_predicate *a_is_1 = when_equal(q[0], 1);
    check(vortan_cycle_operation(q[1], 1.0, &a_is_1, 1, &err), &err);
    vortan_predicate_destroy(&a_is_1);
}

/* (|000> + |111> + |222>) / sqrt(3). Where the first qutrit is 2 the others
 * need two steps up, which is one step down: the shift. */
static void make_ghz(qudit **q) {
    for (int i = 0; i < 3; ++i) q[i] = new_qudit(3);
    check(vortan_hadamard_operation(q[0], NULL, 0, &err), &err);
    vortan_predicate *first_is_1 = when_equal(q[0], 1);
    vortan_predicate *first_is_2 = when_equal(q[0], 2);
    for (int i = 1; i < 3; ++i) {
        check(vortan_cycle_operation(q[i], 1.0, &first_is_1, 1, &err), &err);
        check(vortan_shift_operation(q[i], 1.0, &first_is_2, 1, &err), &err);
    }
    vortan_predicate_destroy(&first_is_1);
    vortan_predicate_destroy(&first_is_2);
}

/* Prints every outcome combination with its probability, first property first. */
static void print_probabilities(qudit *const *q, size_t n) {
    size_t count = 0;
    check(vortan_calculate_combinations_count(q, n, &count), NULL);
    vortan_probability_entry *entries = checked_calloc(count, sizeof *entries);
    int32_t *values = checked_calloc(count * n, sizeof *values);
    for (size_t i = 0; i < count; ++i) entries[i].outcome_values = values + i * n;

    check(vortan_calculate_probabilities(q, n, entries, count, NULL, &err), &err);
    for (size_t i = 0; i < count; ++i) {
        printf("  |");
        for (size_t k = 0; k < entries[i].outcome_count; ++k) printf("%d", (int)entries[i].outcome_values[k]);
        printf(">  %.3f\n", tidy(entries[i].probability));
    }
    free(values);
    free(entries);
}

/* Builds a fresh state for every shot, measures all its qudits and counts
 * each outcome; counts[] is indexed with the first qudit as the lowest digit. */
static void sample(void (*make)(qudit **), size_t n, uint32_t dimension, int shots, int *counts) {
    qudit *q[3] = {NULL, NULL, NULL};
    int32_t out[3];
    for (int s = 0; s < shots; ++s) {
        make(q);
        check(vortan_measure_properties(q, n, out, n, &err), &err);
        size_t index = 0;
        for (size_t k = n; k-- > 0;) index = index * dimension + (size_t)out[k];
        ++counts[index];
        destroy_all(q, n);
    }
}

/* One line per outcome that occurred; returns how many shots hit an outcome
 * whose dits are not all equal. */
static int print_histogram(const int *counts, size_t n, uint32_t dimension, int shots) {
    size_t combinations = 1;
    int off_diagonal = 0;
    for (size_t k = 0; k < n; ++k) combinations *= dimension;
    for (size_t i = 0; i < combinations; ++i) {
        if (counts[i] == 0) continue;
        char label[4] = {0};
        int diagonal = 1;
        for (size_t k = 0, rest = i; k < n; ++k, rest /= dimension) {
            label[k] = (char)('0' + rest % dimension);
            diagonal &= label[k] == label[0];
        }
        if (!diagonal) off_diagonal += counts[i];
        printf("  |%s> %4d  ", label, counts[i]);
        for (int b = 0; b < counts[i] * BAR_WIDTH / shots; ++b) putchar('#');
        putchar('\n');
    }
    return off_diagonal;
}

static void print_density_matrix(qudit *const *q, size_t n) {
    size_t side = 0, size = 0;
    check(vortan_calculate_matrix_size(q, n, &side, &size), NULL);
    vortan_density_element *rho = checked_calloc(size, sizeof *rho);
    check(vortan_calculate_reduced_density_matrix(q, n, rho, size, NULL, &err), &err);
    for (size_t r = 0; r < side; ++r) {
        printf("  [");
        for (size_t c = 0; c < side; ++c)
            printf(" % .3f%+.3fi", tidy(rho[r * side + c].real), tidy(rho[r * side + c].imag));
        printf(" ]\n");
    }
    free(rho);
}

static void bell_section(void) {
    qudit *q[2];
    int counts[4] = {0};

    printf("\n== Bell pair: H on a, then cycle on b where a == 1 ==\n");
    make_bell(q);
    printf("probabilities of |ab> (a varies fastest):\n");
    print_probabilities(q, 2);
    destroy_all(q, 2);

    sample(make_bell, 2, 2, SHOTS, counts);
    printf("measured %d times, a fresh pair each shot:\n", SHOTS);
    int mismatched = print_histogram(counts, 2, 2, SHOTS);
    printf("  shots where a and b disagreed: %d\n", mismatched);
}

static void ghz_section(void) {
    qudit *q[3];
    int counts[27] = {0};
    size_t entries = 0, combinations = 0;

    printf("\n== Qutrit GHZ: H on the first, cycle where it is 1, shift where it is 2 ==\n");
    make_ghz(q);
    check(vortan_quantum_property_get_state_vector_size(q[0], &entries), NULL);
    check(vortan_calculate_combinations_count(q, 3, &combinations), NULL);
    printf("the shared state stores %zu of the %zu basis entries\n", entries, combinations);
    destroy_all(q, 3);

    sample(make_ghz, 3, 3, SHOTS, counts);
    printf("measured %d times:\n", SHOTS);
    int off = print_histogram(counts, 3, 3, SHOTS);
    printf("  shots off the diagonal: %d\n", off);
}

/* Two-qubit search for |11>: one oracle call and one diffusion are enough. */
static void grover_section(void) {
    qudit *q[2] = {new_qudit(2), new_qudit(2)};
    vortan_predicate *both_1[2] = {when_equal(q[0], 1), when_equal(q[1], 1)};

    printf("\n== Grover search over 2 qubits, marking |11> ==\n");
    for (int i = 0; i < 2; ++i) check(vortan_hadamard_operation(q[i], NULL, 0, &err), &err);
    check(vortan_phase_rotate_operation(both_1, 2, PI, &err), &err);

    /* Diffusion 2|s><s| - 1, up to a global phase: H X (phase on |11>) X H,
     * run as one batch. NaN asks for the whole gate. */
    vortan_batch_op ops[9];
    const uint32_t around[4] = {VORTAN_OP_HADAMARD, VORTAN_OP_X, VORTAN_OP_X, VORTAN_OP_HADAMARD};
    size_t n = 0;
    for (int step = 0; step < 4; ++step) {
        if (step == 2)
            ops[n++] = (vortan_batch_op){.opcode = VORTAN_OP_PHASE_ROTATE, .fraction = NAN, .angle = PI,
                                         .predicates = both_1, .predicate_count = 2};
        for (int i = 0; i < 2; ++i)
            ops[n++] = (vortan_batch_op){.opcode = around[step], .target = q[i], .fraction = NAN};
    }
    vortan_batch_result batch;
    if (vortan_execute_batch(ops, n, &batch, &err) != VORTAN_SUCCESS) {
        fprintf(stderr, "batch stopped after %llu of %zu gates: %s\n",
                (unsigned long long)batch.ops_executed, n, batch.error_message);
        exit(EXIT_FAILURE);
    }
    printf("probabilities |ab> after one iteration:\n");
    print_probabilities(q, 2);

    vortan_predicate_destroy(&both_1[0]);
    vortan_predicate_destroy(&both_1[1]);
    destroy_all(q, 2);
}

static void density_section(void) {
    qudit *q[2];

    printf("\n== Reduced density matrices ==\n");
    make_bell(q);
    printf("qubit a of the Bell pair, b traced out (maximally mixed):\n");
    print_density_matrix(q, 1);
    destroy_all(q, 2);

    /* H gives (|0> + |1>)/sqrt(2); Z^0.5 multiplies |1> by i. */
    qudit *p = new_qudit(2);
    check(vortan_hadamard_operation(p, NULL, 0, &err), &err);
    check(vortan_z_operation(p, 0.5, NULL, 0, &err), &err);
    printf("one qubit in (|0> + i|1>)/sqrt(2), after H and Z^0.5 (pure):\n");
    print_density_matrix(&p, 1);
    vortan_quantum_property_destroy(&p);
}

static void error_section(void) {
    qudit *q = NULL;

    printf("\n== A failing call fills the error record ==\n");
    vortan_result r = vortan_quantum_property_create(7, &q, &err);
    if (r == VORTAN_SUCCESS) {
        fprintf(stderr, "a qudit of dimension 7 was accepted\n");
        vortan_quantum_property_destroy(&q);
        exit(EXIT_FAILURE);
    }
    printf("create(7): code %d \"%s\", message \"%s\", in %s\n", (int)r, vortan_get_error_string(r),
           err.message, err.function);
}

int main(void) {
    uint32_t major = 0, minor = 0, patch = 0;

    check(vortan_initialize(), NULL);
    check(vortan_get_version_info(&major, &minor, &patch), NULL);
    printf("libvortan %s (%u.%u.%u)\n", vortan_get_version(), major, minor, patch);
    printf("limits: dimension <= %u, qudits per state <= %u, basis entries per state <= %u\n",
           vortan_get_max_dimension(), vortan_get_max_qudits(), vortan_get_max_state_size());

    bell_section();
    ghz_section();
    grover_section();
    density_section();
    error_section();

    check(vortan_cleanup(), NULL);
    return 0;
}
