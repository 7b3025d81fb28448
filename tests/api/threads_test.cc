// Several host threads at once, as the header allows: each owns its
// properties, all share the error callback (set before they start) and call
// the library-wide queries. Meant for ThreadSanitizer, which turns any race
// into a failure; elsewhere it still checks every result.

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstring>
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

struct Worker {
    std::mt19937 random;
    std::vector<vortan_quantum_property*> q;
    vortan_error_info error{};

    std::size_t pick(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(random); }
    vortan_quantum_property* create(int32_t dimension) {
        vortan_quantum_property* p = nullptr;
        EXPECT_EQ(vortan_quantum_property_create(dimension, &p, &error), VORTAN_SUCCESS);
        return p;
    }
    uint32_t dimension_of(vortan_quantum_property* p) {
        uint32_t d = 0;
        EXPECT_EQ(vortan_quantum_property_get_dimension(p, &d), VORTAN_SUCCESS);
        return d;
    }

    void run(std::latch& start) {
        start.arrive_and_wait();
        const char* version = vortan_get_version();  // all at once: composing it on call would race
        for (int d : {2, 3, 2, 3, 2}) q.push_back(create(d));
        for (int round = 0; round < ROUNDS; ++round) {
            uint32_t v[3] = {};
            EXPECT_TRUE(vortan_get_version() == version && vortan_get_version_info(&v[0], &v[1], &v[2]) == 0 &&
                        v[0] * 10000 + v[1] * 100 + v[2] == 10400u && vortan_get_max_qudits() == 12u && vortan_initialize() == 0);
            EXPECT_STREQ(vortan_get_error_string(VORTAN_ERROR_BUFFER_TOO_SMALL), "Buffer too small");
            for (int step = 0; step < 6; ++step) random_gate();
            deliberate_failure();
            read_out();
            if (round % 4 == 3) measure_and_renew();
        }
        for (vortan_quantum_property*& p : q) EXPECT_EQ(vortan_quantum_property_destroy(&p), VORTAN_SUCCESS);
        EXPECT_EQ(callbacks_here, ROUNDS);
    }

    void random_gate() {
        vortan_quantum_property *target = q[pick(q.size())], *other = q[pick(q.size())];
        vortan_predicate* control = nullptr;
        const std::size_t controls = other != target && pick(2) == 0;
        if (controls) {
            ASSERT_EQ(vortan_predicate_create(other, int32_t(pick(dimension_of(other))), pick(3) != 0, &control), 0);
        }
        const double f = pick(3) == 0 ? 1.0 : std::uniform_real_distribution<double>(-2.0, 2.0)(random);
        vortan_result r = VORTAN_SUCCESS;
        switch (pick(8)) {
            case 0: r = vortan_shift_operation(target, f, &control, controls, &error); break;
            case 1: r = vortan_clock_operation(target, f, &control, controls, &error); break;
            case 2: r = vortan_cycle_operation(target, f, &control, controls, &error); break;
            case 3: r = vortan_hadamard_operation(target, &control, controls, &error); break;
            case 4: r = vortan_fractional_hadamard_operation(target, f, &control, controls, &error); break;
            case 5: r = vortan_inverse_hadamard_operation(target, &control, controls, &error); break;
            case 6:
                if (other != target && dimension_of(other) == dimension_of(target)) r = vortan_i_swap_operation(target, other, f, nullptr, 0, &error);
                break;
            default:
                if (controls) r = vortan_phase_rotate_operation(&control, 1, f, &error);
        }
        EXPECT_EQ(r, VORTAN_SUCCESS) << error.message;
        vortan_predicate_destroy(&control);
    }

    /// A failing call: its code, its function, and one callback on this
    /// thread with this thread's record.
    void deliberate_failure() {
        vortan_predicate* self = nullptr;
        ASSERT_EQ(vortan_predicate_create(q[1], 0, true, &self), VORTAN_SUCCESS);
        int32_t outcome[1];
        const int before = callbacks_here;
        const std::size_t kind = pick(4);
        const vortan_result r[] = {
            kind == 0 ? vortan_shift_operation(q[0], std::nan(""), nullptr, 0, &error) : 0,
            kind == 1 ? vortan_swap_operation(q[0], q[1], nullptr, 0, &error) : 0,
            kind == 2 ? vortan_hadamard_operation(q[1], &self, 1, &error) : 0,
            kind == 3 ? vortan_measure_properties(q.data(), 2, outcome, 1, &error) : 0};
        vortan_predicate_destroy(&self);
        const std::pair<vortan_result, const char*> expected[] = {
            {VORTAN_ERROR_INVALID_ARGUMENT, "vortan_shift_operation"}, {VORTAN_ERROR_INCOMPATIBLE_DIMENSIONS, "vortan_swap_operation"},
            {VORTAN_ERROR_TARGET_CONTROL_OVERLAP, "vortan_hadamard_operation"}, {VORTAN_ERROR_BUFFER_TOO_SMALL, "vortan_measure_properties"}};
        EXPECT_TRUE(r[kind] == expected[kind].first && error.code == r[kind]) << error.message;
        EXPECT_STREQ(error.function, expected[kind].second);
        EXPECT_TRUE(callbacks_here == before + 1 && last_reported == &error);
    }

    /// Probabilities sum to one and the density matrix has trace one.
    void read_out() {
        vortan_quantum_property* pair[] = {q[pick(q.size())], q[pick(q.size())]};
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
        vortan_quantum_property* pair[] = {q[2], q[3]};
        int32_t seen[2] = {-1, -1}, forced[2] = {-1, -1};
        ASSERT_EQ(vortan_measure_properties(pair, 2, seen, 2, &error), VORTAN_SUCCESS) << error.message;
        ASSERT_EQ(vortan_forced_measure_properties(pair, 2, seen, 2, forced, 2, &error), VORTAN_SUCCESS) << error.message;
        EXPECT_EQ(std::memcmp(seen, forced, sizeof seen), 0);
        vortan_predicate* control = nullptr;
        ASSERT_EQ(vortan_predicate_create(q[4], 0, true, &control), VORTAN_SUCCESS);
        int32_t answer = -1;
        EXPECT_EQ(vortan_stochastic_projection_modern(&control, 1, &answer, &error), VORTAN_SUCCESS);
        EXPECT_TRUE(answer == 0 || answer == 1);
        vortan_predicate_destroy(&control);
        const vortan_batch_op ops[] = {{VORTAN_OP_HADAMARD, 0, q[2], nullptr, NAN, 0, nullptr, 0}, {VORTAN_OP_Y, 0, q[4], nullptr, 0.5, 0, nullptr, 0}};
        vortan_batch_result result{};
        EXPECT_EQ(vortan_execute_batch(ops, 2, &result, &error), VORTAN_SUCCESS) << result.error_message;
        EXPECT_EQ(result.ops_executed, 2u);
        const std::size_t leaving = 2 + pick(3);
        const uint32_t d = dimension_of(q[leaving]);
        ASSERT_EQ(vortan_quantum_property_factorize_and_destroy(&q[leaving], &error), VORTAN_SUCCESS);
        q[leaving] = create(int32_t(d));
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
