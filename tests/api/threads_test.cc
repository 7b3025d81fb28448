// Several host threads at once, as the header allows: each owns its
// properties, all share the error callback (set before they start) and call
// the library-wide queries. Meant for ThreadSanitizer, which turns any race
// into a failure; elsewhere it still checks every result.

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <latch>
#include <random>
#include <thread>
#include <vector>

#include "vortan.h"

namespace {

constexpr int THREADS = 4, ROUNDS = 40;

thread_local int callbacks_here = 0;
thread_local const vortan_error_info* last_reported = nullptr;

void count_callback(const vortan_error_info* info, void* user_data) {
    static_cast<std::atomic<int>*>(user_data)->fetch_add(1, std::memory_order_relaxed);
    ++callbacks_here;
    last_reported = info;
}

using Gate = vortan_result (*)(vortan_quantum_property*, double, vortan_predicate* const*, size_t, vortan_error_info*);

struct Worker {
    std::mt19937 random;
    vortan_quantum_property* q[4] = {};  // a qubit, a qutrit, two qubits
    vortan_error_info error{};

    std::size_t pick(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(random); }

    void run(std::latch& start) {
        start.arrive_and_wait();
        const char* version = vortan_get_version();  // all at once: composing it on call would race
        for (int i = 0; i < 4; ++i) EXPECT_EQ(vortan_quantum_property_create(i == 1 ? 3 : 2, &q[i], &error), VORTAN_SUCCESS);
        for (int round = 0; round < ROUNDS; ++round) {
            EXPECT_EQ(vortan_get_version(), version);
            EXPECT_STREQ(vortan_get_error_string(VORTAN_ERROR_BUFFER_TOO_SMALL), "Buffer too small");
            for (int step = 0; step < 6; ++step) random_gate();
            deliberate_failure();
            read_out();
            if (round % 4 == 3) measure_and_renew();
        }
        for (vortan_quantum_property*& p : q) vortan_quantum_property_destroy(&p);
        EXPECT_EQ(callbacks_here, ROUNDS);
    }

    void random_gate() {
        vortan_quantum_property *target = q[pick(4)], *other = q[pick(4)];
        vortan_predicate* control = nullptr;
        const std::size_t controls = other != target;
        EXPECT_EQ(controls ? vortan_predicate_create(other, 0, pick(2) != 0, &control) : 0, 0);
        const double f = pick(3) == 0 ? 1.0 : std::uniform_real_distribution<double>(-2.0, 2.0)(random);
        const Gate gates[] = {vortan_shift_operation, vortan_clock_operation, vortan_cycle_operation, vortan_fractional_hadamard_operation};
        const std::size_t kind = pick(6);
        vortan_result r = kind < 4 ? gates[kind](target, f, &control, controls, &error)
                        : kind == 4 ? vortan_hadamard_operation(target, &control, controls, &error)
                        : controls ? vortan_phase_rotate_operation(&control, 1, f, &error)
                                   : VORTAN_SUCCESS;
        EXPECT_EQ(r, VORTAN_SUCCESS) << error.message;
        vortan_predicate_destroy(&control);
    }

    /// A failing call: its code, its function, and one callback on this
    /// thread with this thread's record.
    void deliberate_failure() {
        const int before = callbacks_here;
        EXPECT_EQ(vortan_swap_operation(q[0], q[1], nullptr, 0, &error), VORTAN_ERROR_INCOMPATIBLE_DIMENSIONS);
        EXPECT_STREQ(error.function, "vortan_swap_operation");
        EXPECT_TRUE(error.code == VORTAN_ERROR_INCOMPATIBLE_DIMENSIONS && callbacks_here == before + 1 && last_reported == &error);
    }

    /// Probabilities sum to one and the density matrix has trace one.
    void read_out() {
        vortan_quantum_property* pair[] = {q[pick(4)], q[pick(4)]};
        const std::size_t count = pair[0] == pair[1] ? 1 : 2;
        vortan_probability_entry entries[9] = {};
        vortan_density_element matrix[81];
        size_t combinations = 0, n = 0;
        ASSERT_EQ(vortan_calculate_probabilities(pair, count, entries, 9, &combinations, &error), 0) << error.message;
        ASSERT_EQ(vortan_calculate_reduced_density_matrix(pair, count, matrix, 81, &n, &error), 0) << error.message;
        double sum = 0, trace = 0;
        for (std::size_t i = 0; i < combinations; ++i) sum += entries[i].probability;
        for (std::size_t i = 0; i < n; ++i) trace += matrix[i * n + i].real;
        EXPECT_TRUE(std::abs(sum - 1.0) < 1e-4 && std::abs(trace - 1.0) < 1e-4) << sum << " " << trace;
    }

    /// Measures, forces what was seen, projects, runs a batch, and gives one
    /// property back for a fresh one.
    void measure_and_renew() {
        int32_t seen[2] = {-1, -1}, answer = -1;
        ASSERT_EQ(vortan_measure_properties(&q[2], 2, seen, 2, &error), VORTAN_SUCCESS) << error.message;
        ASSERT_EQ(vortan_forced_measure_properties(&q[2], 2, seen, 2, nullptr, 0, &error), VORTAN_SUCCESS) << error.message;
        vortan_predicate* control = nullptr;
        ASSERT_EQ(vortan_predicate_create(q[0], 0, true, &control), VORTAN_SUCCESS);
        EXPECT_EQ(vortan_stochastic_projection_modern(&control, 1, &answer, &error), VORTAN_SUCCESS);
        vortan_predicate_destroy(&control);
        const vortan_batch_op ops[] = {{VORTAN_OP_HADAMARD, 0, q[2], nullptr, NAN, 0, nullptr, 0}, {VORTAN_OP_Y, 0, q[3], nullptr, 0.5, 0, nullptr, 0}};
        vortan_batch_result result{};
        EXPECT_EQ(vortan_execute_batch(ops, 2, &result, &error), VORTAN_SUCCESS) << result.error_message;
        const std::size_t leaving = 2 + pick(2);
        ASSERT_EQ(vortan_quantum_property_factorize_and_destroy(&q[leaving], &error), VORTAN_SUCCESS);
        EXPECT_EQ(vortan_quantum_property_create(2, &q[leaving], &error), VORTAN_SUCCESS);
    }
};

TEST(Threads, workers_with_their_own_properties_share_the_callback_and_the_library_queries) {
    std::atomic<int> callbacks_total{0};
    vortan_set_error_callback(&count_callback, &callbacks_total);
    std::latch start(THREADS);
    std::vector<Worker> workers(THREADS);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < THREADS; ++i) workers[i].random.seed(1000 + i);
    for (Worker& worker : workers) threads.emplace_back([&worker, &start] { worker.run(start); });
    for (std::thread& thread : threads) thread.join();
    vortan_cleanup();
    EXPECT_EQ(callbacks_total.load(), THREADS * ROUNDS);
}

}  // namespace
