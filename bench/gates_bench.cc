// Gates per entry. States are twelve qudits: qudit 0 is the target, a qubit
// or a qutrit, qudit 1 a control, and the rest count distinct entries.
// Aims, read off x_clone: the in-place gates at most 1.2 x one copy pass at
// 100000 entries, swap and whole i-swap 1.5 x; the spreading gates regroup
// in linear time, at most 6 x on qubits and 9 x on qutrits.

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "clone_ratio.h"
#include "qudit/state_impl.h"

namespace {

using namespace vortan::qudit;

std::unique_ptr<IState> group(std::uint64_t target_dimension, std::uint64_t count) {
    std::vector<DynamicBasisEntry> list;
    list.reserve(count);
    for (std::uint64_t code = 0; code < count; ++code) {
        std::vector<Dit> dits{{code % target_dimension, target_dimension}};
        for (std::uint64_t q = 1, c = code / target_dimension; q < 12; ++q, c /= 3) dits.push_back({c % 3, 3});
        list.push_back({DynamicDitArray(std::move(dits)), {1.0 / double(code + 1), 0.5}});
    }
    return make_state(3, 12, list);
}

const Targets TARGET{0};
const Predicates CONTROL{{1, 2, false}};  // passes two thirds of the entries

template <class Gate>
void in_place(benchmark::State& st, Gate gate) {
    auto state = group(static_cast<std::uint64_t>(st.range(1)), static_cast<std::uint64_t>(st.range(0)));
    for (auto _ : st) {
        gate(*state);
        benchmark::ClobberMemory();
    }
    st.counters["ns/entry"] = benchmark::Counter(static_cast<double>(st.iterations() * st.range(0)),
                                                 benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    vortan::bench::report_clone_ratio(st, static_cast<std::uint64_t>(st.range(0)));
}

// Spreading gates change the state: each iteration starts from a fresh clone.
template <class Gate>
void spreading(benchmark::State& st, Gate gate) {
    const auto original = group(static_cast<std::uint64_t>(st.range(1)), static_cast<std::uint64_t>(st.range(0)));
    for (auto _ : st) {
        st.PauseTiming();
        auto state = original->clone();
        st.ResumeTiming();
        gate(*state);
        st.PauseTiming();
        state.reset();
        st.ResumeTiming();
    }
    st.counters["ns/entry"] = benchmark::Counter(static_cast<double>(st.iterations() * st.range(0)),
                                                 benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    vortan::bench::report_clone_ratio(st, static_cast<std::uint64_t>(st.range(0)));
}

void sizes(benchmark::internal::Benchmark* b) {
    for (std::int64_t d : {2, 3})
        for (std::int64_t n : {1000, 10000, 100000}) b->Args({n, d});
    b->ArgNames({"entries", "dim"})->Unit(benchmark::kMicrosecond);
}

void spreading_sizes(benchmark::internal::Benchmark* b) {
    b->Args({1000, 2})->Args({10000, 2})->Args({50000, 2})->Args({1000, 3})->Args({10000, 3})->Args({33333, 3});
    b->ArgNames({"entries", "dim"})->Unit(benchmark::kMicrosecond);
}

void BM_shift(benchmark::State& st) { in_place(st, [](IState& s) { s.shift(TARGET, CONTROL); }); }
void BM_cycle(benchmark::State& st) { in_place(st, [](IState& s) { s.cycle(TARGET, CONTROL); }); }
void BM_clock(benchmark::State& st) { in_place(st, [](IState& s) { s.clock(TARGET, CONTROL); }); }
void BM_fractional_clock(benchmark::State& st) { in_place(st, [](IState& s) { s.fractional_clock(TARGET, 0.3, CONTROL); }); }
void BM_phase_rotate(benchmark::State& st) { in_place(st, [](IState& s) { s.phase_rotate(CONTROL, 0.7); }); }
BENCHMARK(BM_shift)->Apply(sizes);
BENCHMARK(BM_cycle)->Apply(sizes);
BENCHMARK(BM_clock)->Apply(sizes);
BENCHMARK(BM_fractional_clock)->Apply(sizes);
BENCHMARK(BM_phase_rotate)->Apply(sizes);

void BM_hadamard(benchmark::State& st) { spreading(st, [](IState& s) { s.hadamard(TARGET, {}); }); }
void BM_inverse_hadamard(benchmark::State& st) { spreading(st, [](IState& s) { s.inverse_hadamard(TARGET, CONTROL); }); }
void BM_fractional_shift(benchmark::State& st) { spreading(st, [](IState& s) { s.fractional_shift(TARGET, 0.5, CONTROL); }); }
void BM_fractional_cycle(benchmark::State& st) { spreading(st, [](IState& s) { s.fractional_cycle(TARGET, 0.5, CONTROL); }); }
BENCHMARK(BM_hadamard)->Apply(spreading_sizes);
BENCHMARK(BM_inverse_hadamard)->Apply(spreading_sizes);
BENCHMARK(BM_fractional_shift)->Apply(spreading_sizes);
BENCHMARK(BM_fractional_cycle)->Apply(spreading_sizes);

}  // namespace

namespace {

void pair_sizes(benchmark::internal::Benchmark* b) {
    b->Args({1000, 3})->Args({10000, 3})->Args({50000, 3});
    b->ArgNames({"entries", "dim"})->Unit(benchmark::kMicrosecond);
}

// Qudits 2 and 3 are counting qutrits; qudit 1 controls.
void BM_swap(benchmark::State& st) { in_place(st, [](IState& s) { s.swap(2, 3, CONTROL); }); }
void BM_i_swap_whole(benchmark::State& st) { in_place(st, [](IState& s) { s.i_swap(2, 3, 1.0, CONTROL); }); }
void BM_i_swap_fraction(benchmark::State& st) { spreading(st, [](IState& s) { s.i_swap(2, 3, 0.5, CONTROL); }); }
void BM_fractional_hadamard(benchmark::State& st) {
    spreading(st, [](IState& s) { s.fractional_hadamard(TARGET, 0.5, CONTROL); });
}
BENCHMARK(BM_swap)->Apply(pair_sizes);
BENCHMARK(BM_i_swap_whole)->Apply(pair_sizes);
BENCHMARK(BM_i_swap_fraction)->Apply(pair_sizes);
BENCHMARK(BM_fractional_hadamard)->Args({1000, 2})->Args({10000, 2})->Args({50000, 2})->Args({1000, 3})->Args({10000, 3})->Args({33333, 3})->ArgNames({"entries", "dim"})->Unit(benchmark::kMicrosecond);

}  // namespace
