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
#include <string>
#include <thread>
#include <vector>

#include "vortan.h"

namespace {

constexpr int THREADS = 4;
constexpr int ROUNDS = 40;

std::atomic<int> callbacks_total{0};
thread_local int callbacks_here = 0;
thread_local const vortan_error_info* last_reported = nullptr;

void count_callback(const vortan_error_info* info, void* user_data) {
    static_cast<std::atomic<int>*>(user_data)->fetch_add(1, std::memory_order_relaxed);
    ++callbacks_here;
    last_reported = info;
}

/// The library-wide queries; every thread calls them between its own work.
void query_library(const char* first_version) {
    const char* version = vortan_get_version();
    EXPECT_EQ(version, first_version);
    EXPECT_STREQ(version, "1.4.0");
    uint32_t major = 0, minor = 0, patch = 0;
    EXPECT_EQ(vortan_get_version_info(&major, &minor, &patch), VORTAN_SUCCESS);
    EXPECT_EQ(major * 10000 + minor * 100 + patch, 10400u);
    EXPECT_EQ(vortan_get_max_qudits(), 12u);
    EXPECT_EQ(vortan_get_max_dimension(), 3u);
    EXPECT_EQ(vortan_get_max_state_size(), 100000u);
    EXPECT_TRUE(vortan_is_valid_dimension(3));
    EXPECT_STREQ(vortan_get_error_string(VORTAN_ERROR_BUFFER_TOO_SMALL), "Buffer too small");
    EXPECT_EQ(vortan_initialize(), VORTAN_SUCCESS);
}

class Worker {
public:
    explicit Worker(unsigned seed) : random_(seed) {}

    void run(std::latch& start) {
        start.arrive_and_wait();
        // Every thread asks at once: the first call races the others if the
        // text is composed at call time.
        const char* version = vortan_get_version();
        for (int d : {2, 3, 2, 3, 2}) q_.push_back(create(d));
        for (int round = 0; round < ROUNDS; ++round) {
            query_library(version);
            for (int step = 0; step < 6; ++step) random_gate();
            deliberate_failure();
            read_out();
            if (round % 4 == 3) measure_and_renew();
        }
        for (vortan_quantum_property*& p : q_) EXPECT_EQ(vortan_quantum_property_destroy(&p), VORTAN_SUCCESS);
        EXPECT_EQ(callbacks_here, failures_);
    }

private:
    vortan_quantum_property* create(int32_t dimension) {
        vortan_quantum_property* p = nullptr;
        EXPECT_EQ(vortan_quantum_property_create(dimension, &p, &error_), VORTAN_SUCCESS);
        return p;
    }

    std::size_t pick(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(random_); }
    uint32_t dimension_of(vortan_quantum_property* p) {
        uint32_t d = 0;
        EXPECT_EQ(vortan_quantum_property_get_dimension(p, &d), VORTAN_SUCCESS);
        return d;
    }

    void random_gate() {
        vortan_quantum_property* target = q_[pick(q_.size())];
        vortan_quantum_property* other = q_[pick(q_.size())];
        vortan_predicate* control = nullptr;
        std::size_t controls = 0;
        if (other != target && pick(2) == 0) {
            ASSERT_EQ(vortan_predicate_create(other, int32_t(pick(dimension_of(other))), pick(3) != 0, &control),
                      VORTAN_SUCCESS);
            controls = 1;
        }
        const double fraction = pick(3) == 0 ? 1.0 : std::uniform_real_distribution<double>(-2.0, 2.0)(random_);
        vortan_result r = VORTAN_SUCCESS;
        switch (pick(8)) {
            case 0: r = vortan_shift_operation(target, fraction, &control, controls, &error_); break;
            case 1: r = vortan_clock_operation(target, fraction, &control, controls, &error_); break;
            case 2: r = vortan_cycle_operation(target, fraction, &control, controls, &error_); break;
            case 3: r = vortan_hadamard_operation(target, &control, controls, &error_); break;
            case 4: r = vortan_fractional_hadamard_operation(target, fraction, &control, controls, &error_); break;
            case 5: r = vortan_inverse_hadamard_operation(target, &control, controls, &error_); break;
            case 6:
                if (other != target && dimension_of(other) == dimension_of(target))
                    r = vortan_i_swap_operation(target, other, fraction, nullptr, 0, &error_);
                break;
            default:
                if (controls == 1) r = vortan_phase_rotate_operation(&control, 1, fraction, &error_);
        }
        EXPECT_EQ(r, VORTAN_SUCCESS) << error_.message;
        vortan_predicate_destroy(&control);
    }

    /// A failing call of one of several kinds: the code is the documented
    /// one and the callback ran once, on this thread, with this record.
    void deliberate_failure() {
        vortan_quantum_property* qubit = q_[0];
        vortan_quantum_property* qutrit = q_[1];
        vortan_result expected = VORTAN_SUCCESS, r = VORTAN_SUCCESS;
        const char* function = "";
        const int before = callbacks_here;
        switch (pick(4)) {
            case 0:
                expected = VORTAN_ERROR_INVALID_ARGUMENT, function = "vortan_shift_operation";
                r = vortan_shift_operation(qubit, std::nan(""), nullptr, 0, &error_);
                break;
            case 1:
                expected = VORTAN_ERROR_INCOMPATIBLE_DIMENSIONS, function = "vortan_swap_operation";
                r = vortan_swap_operation(qubit, qutrit, nullptr, 0, &error_);
                break;
            case 2: {
                expected = VORTAN_ERROR_TARGET_CONTROL_OVERLAP, function = "vortan_hadamard_operation";
                vortan_predicate* self = nullptr;
                ASSERT_EQ(vortan_predicate_create(qutrit, 0, true, &self), VORTAN_SUCCESS);
                r = vortan_hadamard_operation(qutrit, &self, 1, &error_);
                vortan_predicate_destroy(&self);
                break;
            }
            default: {
                expected = VORTAN_ERROR_BUFFER_TOO_SMALL, function = "vortan_measure_properties";
                int32_t outcome[1];
                r = vortan_measure_properties(q_.data(), 2, outcome, 1, &error_);
            }
        }
        ++failures_;
        EXPECT_EQ(r, expected) << error_.message;
        EXPECT_EQ(error_.code, expected);
        EXPECT_STREQ(error_.function, function);
        EXPECT_EQ(callbacks_here, before + 1);
        EXPECT_EQ(last_reported, &error_);
    }

    /// Probabilities sum to one and the density matrix has trace one.
    void read_out() {
        vortan_quantum_property* pair[] = {q_[pick(q_.size())], q_[pick(q_.size())]};
        const std::size_t count = pair[0] == pair[1] ? 1 : 2;
        std::vector<vortan_probability_entry> entries(9);
        size_t combinations = 0;
        ASSERT_EQ(vortan_calculate_probabilities(pair, count, entries.data(), entries.size(), &combinations, &error_),
                  VORTAN_SUCCESS)
            << error_.message;
        double sum = 0;
        for (std::size_t i = 0; i < combinations; ++i) sum += entries[i].probability;
        EXPECT_NEAR(sum, 1.0, 1e-4);

        std::vector<vortan_density_element> matrix(81);
        size_t n = 0;
        ASSERT_EQ(vortan_calculate_reduced_density_matrix(pair, count, matrix.data(), matrix.size(), &n, &error_),
                  VORTAN_SUCCESS)
            << error_.message;
        double trace = 0;
        for (std::size_t i = 0; i < n; ++i) trace += matrix[i * n + i].real;
        EXPECT_NEAR(trace, 1.0, 1e-4);
    }

    /// Measures two qudits, forces the outcome just seen, projects, takes one
    /// property out of its group, and replaces it with a fresh one.
    void measure_and_renew() {
        vortan_quantum_property* pair[] = {q_[2], q_[3]};
        int32_t seen[2] = {-1, -1}, forced[2] = {-1, -1};
        ASSERT_EQ(vortan_measure_properties(pair, 2, seen, 2, &error_), VORTAN_SUCCESS) << error_.message;
        ASSERT_EQ(vortan_forced_measure_properties(pair, 2, seen, 2, forced, 2, &error_), VORTAN_SUCCESS)
            << error_.message;
        EXPECT_EQ(std::memcmp(seen, forced, sizeof seen), 0);

        vortan_predicate* control = nullptr;
        ASSERT_EQ(vortan_predicate_create(q_[4], 0, true, &control), VORTAN_SUCCESS);
        int32_t answer = -1;
        EXPECT_EQ(vortan_stochastic_projection_modern(&control, 1, &answer, &error_), VORTAN_SUCCESS);
        EXPECT_TRUE(answer == 0 || answer == 1);
        vortan_predicate_destroy(&control);

        vortan_batch_op ops[2] = {};
        ops[0].opcode = VORTAN_OP_HADAMARD, ops[0].target = q_[2], ops[0].fraction = std::nan("");
        ops[1].opcode = VORTAN_OP_Y, ops[1].target = q_[4], ops[1].fraction = 0.5;
        vortan_batch_result result{};
        EXPECT_EQ(vortan_execute_batch(ops, 2, &result, &error_), VORTAN_SUCCESS) << result.error_message;
        EXPECT_EQ(result.ops_executed, 2u);

        const std::size_t leaving = 2 + pick(3);
        const uint32_t d = dimension_of(q_[leaving]);
        ASSERT_EQ(vortan_quantum_property_factorize_and_destroy(&q_[leaving], &error_), VORTAN_SUCCESS);
        q_[leaving] = create(int32_t(d));
    }

    std::mt19937 random_;
    std::vector<vortan_quantum_property*> q_;
    vortan_error_info error_{};
    int failures_ = 0;
};

TEST(Threads, workers_with_their_own_properties_share_the_callback_and_the_library_queries) {
    callbacks_total = 0;
    vortan_set_error_callback(&count_callback, &callbacks_total);
    std::latch start(THREADS);
    std::vector<Worker> workers;
    for (unsigned i = 0; i < THREADS; ++i) workers.emplace_back(1000 + i);
    std::vector<std::thread> threads;
    for (Worker& worker : workers) threads.emplace_back([&worker, &start] { worker.run(start); });
    for (std::thread& thread : threads) thread.join();
    vortan_cleanup();
    EXPECT_EQ(callbacks_total.load(), THREADS * ROUNDS);
}

}  // namespace
