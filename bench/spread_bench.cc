// The gates that regroup entries, and the operations that change the number
// of qudits, each as a ratio to one copy pass (clone) over the same number of
// entries, timed in the same process just before: "x_clone" is what to read.
// Goals: Hadamard family at most 6 x on qubits (50000 entries) and 9 x on
// qutrits (33333); fractional shift and cycle at most twice that; fractional
// i-swap at most 8 x; removal at most 6 x; entangling at most 5 x per
// produced entry.

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <ctime>
#include <memory>
#include <vector>

#include "api/handles.h"
#include "property/entangle.h"
#include "property/remove_qudit.h"
#include "qudit/state_impl.h"

namespace {

using namespace vortan;
using namespace vortan::qudit;

/// This thread's CPU time in seconds: a shared machine's preemption stays
/// out of both sides of the ratio.
double cpu_now() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

/// Nanoseconds per entry of one clone of `state`, best of a few rounds.
double clone_ns_per_entry(const IState& state) {
    double best = INFINITY;
    for (int round = 0; round < 9; ++round) {
        const double start = cpu_now();
        auto copy = state.clone();
        benchmark::DoNotOptimize(copy.get());
        const double took = cpu_now() - start;
        copy.reset();
        best = std::min(best, took);
    }
    return best * 1e9 / static_cast<double>(std::max<std::uint64_t>(state.state_size(), 1));
}

/// Per-entry cost of the timed part and its ratio to the clone of as many
/// entries.
void report(benchmark::State& st, double seconds, double entries, double clone_ns) {
    const double ns = seconds * 1e9 / (static_cast<double>(st.iterations()) * entries);
    st.counters["ns/entry"] = ns;
    st.counters["clone ns"] = clone_ns;
    st.counters["x_clone"] = ns / clone_ns;
}

/// Twelve qudits: qudit 0 the target, of `dimension`, qudit 1 a control, the
/// rest counting; `count` distinct entries in the qutrit form.
std::unique_ptr<IState> group(std::uint64_t dimension, std::uint64_t count) {
    std::vector<DynamicBasisEntry> list;
    list.reserve(count);
    for (std::uint64_t code = 0; code < count; ++code) {
        std::vector<Dit> dits{{code % dimension, dimension}};
        for (std::uint64_t q = 1, c = code / dimension; q < 12; ++q, c /= 3) dits.push_back({c % 3, 3});
        list.push_back({DynamicDitArray(std::move(dits)), {1.0 / double(code + 1), 0.5}});
    }
    return make_state(3, 12, list);
}

const Targets TARGET{0};
const Predicates CONTROL{{1, 2, false}};

// Every iteration starts from a clone made outside the timing; the manual
// time, in CPU seconds of this thread, covers the gate alone.
template <class Gate>
void regrouping(benchmark::State& st, Gate gate) {
    const auto original = group(static_cast<std::uint64_t>(st.range(1)), static_cast<std::uint64_t>(st.range(0)));
    const double clone_ns = clone_ns_per_entry(*original);
    double seconds = 0;
    for (auto _ : st) {
        auto state = original->clone();
        const double start = cpu_now();
        gate(*state);
        const double took = cpu_now() - start;
        seconds += took;
        st.SetIterationTime(took);
    }
    report(st, seconds, static_cast<double>(st.range(0)), clone_ns);
}

void sizes(benchmark::internal::Benchmark* b) {
    b->Args({50000, 2})->Args({33333, 3})->ArgNames({"entries", "dim"})->UseManualTime()->Unit(benchmark::kMicrosecond);
}

void BM_spread_hadamard(benchmark::State& st) { regrouping(st, [](IState& s) { s.hadamard(TARGET, {}); }); }
void BM_spread_inverse_hadamard(benchmark::State& st) {
    regrouping(st, [](IState& s) { s.inverse_hadamard(TARGET, CONTROL); });
}
void BM_spread_fractional_hadamard(benchmark::State& st) {
    regrouping(st, [](IState& s) { s.fractional_hadamard(TARGET, 0.5, CONTROL); });
}
void BM_spread_fractional_shift(benchmark::State& st) {
    regrouping(st, [](IState& s) { s.fractional_shift(TARGET, 0.5, CONTROL); });
}
void BM_spread_fractional_cycle(benchmark::State& st) {
    regrouping(st, [](IState& s) { s.fractional_cycle(TARGET, 0.5, CONTROL); });
}
// Qudits 2 and 3 are counting qutrits.
void BM_spread_fractional_i_swap(benchmark::State& st) {
    regrouping(st, [](IState& s) { s.i_swap(2, 3, 0.5, CONTROL); });
}
BENCHMARK(BM_spread_hadamard)->Apply(sizes);
BENCHMARK(BM_spread_inverse_hadamard)->Apply(sizes);
BENCHMARK(BM_spread_fractional_hadamard)->Apply(sizes);
BENCHMARK(BM_spread_fractional_shift)->Apply(sizes);
BENCHMARK(BM_spread_fractional_cycle)->Apply(sizes);
BENCHMARK(BM_spread_fractional_i_swap)->Args({50000, 3})->ArgNames({"entries", "dim"})->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

// Qudit 5 of twelve qutrits, 1 in every entry, goes; the last moves into
// its place.
void BM_spread_remove_definite_qudit(benchmark::State& st) {
    const auto count = static_cast<std::uint64_t>(st.range(0));
    std::vector<DynamicBasisEntry> list;
    for (std::uint64_t code = 0; code < count; ++code) {
        std::vector<Dit> dits;
        for (std::uint64_t q = 0, c = code; q < 12; ++q)
            if (q == 5) {
                dits.push_back({1, 3});
            } else {
                dits.push_back({c % 3, 3});
                c /= 3;
            }
        list.push_back({DynamicDitArray(std::move(dits)), std::polar(0.001, 0.001 * double(code))});
    }
    const auto original = make_state(3, 12, list);
    const double clone_ns = clone_ns_per_entry(*original);
    double seconds = 0;
    for (auto _ : st) {
        std::array<std::unique_ptr<QuantumProperty>, 12> properties;
        std::vector<QuantumProperty*> group;
        for (auto& p : properties) group.push_back((p = std::make_unique<QuantumProperty>(3)).get());
        tensor_state(group);
        properties[0]->shared->state = original->clone();
        const std::shared_ptr<SharedState> shared = properties[5]->shared;
        const double start = cpu_now();
        remove_qudit(*shared, *properties[5]);
        const double took = cpu_now() - start;
        seconds += took;
        st.SetIterationTime(took);
        if (shared->state->state_size() != count) st.SkipWithError("removal lost entries");
    }
    report(st, seconds, static_cast<double>(count), clone_ns);
}
BENCHMARK(BM_spread_remove_definite_qudit)->Arg(10000)->Arg(100000)->ArgName("entries")->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

// 400 x 250 distinct six-qutrit states: 100000 produced entries, compared
// with the clone of a state of that many.
void BM_spread_entangle(benchmark::State& st) {
    const auto six = [](std::uint64_t count) {
        std::vector<DynamicBasisEntry> list;
        for (std::uint64_t code = 0; code < count; ++code) {
            std::vector<Dit> dits;
            for (std::uint64_t q = 0, c = code; q < 6; ++q, c /= 3) dits.push_back({c % 3, 3});
            list.push_back({DynamicDitArray(std::move(dits)), {1.0, 0.25}});
        }
        return make_state(3, 6, list);
    };
    const auto left = six(400), right = six(250);
    const double produced = 400.0 * 250.0;
    const double clone_ns = clone_ns_per_entry(*group(3, 100000));
    double seconds = 0;
    for (auto _ : st) {
        QuantumProperty a(3), b(3);
        a.shared->state = left->clone();
        b.shared->state = right->clone();
        const double start = cpu_now();
        entangle(a, b);
        const double took = cpu_now() - start;
        seconds += took;
        st.SetIterationTime(took);
    }
    report(st, seconds, produced, clone_ns);
}
BENCHMARK(BM_spread_entangle)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
