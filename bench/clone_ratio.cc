#include "clone_ratio.h"

#include <algorithm>
#include <ctime>
#include <map>
#include <memory>
#include <vector>

#include "qudit/state.h"

namespace vortan::bench {
namespace {

using namespace vortan::qudit;

// The clock the suite's own CPU times are read from.
double cpu_now() {
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + 1e-9 * static_cast<double>(ts.tv_nsec);
}

// Distinct states of twelve qutrits: only the count matters to a copy.
std::unique_ptr<IState> state_of(std::uint64_t entries) {
    std::vector<DynamicBasisEntry> list;
    list.reserve(entries);
    for (std::uint64_t code = 0; code < entries; ++code) {
        std::vector<Dit> dits(12);
        for (std::uint64_t q = 0, c = code; q < 12; ++q, c /= 3) dits[q] = {c % 3, 3};
        list.push_back({DynamicDitArray(std::move(dits)), {1.0, 0.5}});
    }
    return make_state(3, 12, list);
}

double measure_clone(std::uint64_t entries) {
    const auto state = state_of(entries);
    benchmark::DoNotOptimize(state->clone());
    // The median of seven batches of at least 20 ms each: a batch that shared
    // the core with something else does not set the unit.
    std::vector<double> batches;
    for (int b = 0; b < 7; ++b) {
        const double start = cpu_now();
        double elapsed = 0.0;
        std::uint64_t count = 0;
        do {
            benchmark::DoNotOptimize(state->clone());
            ++count;
            elapsed = cpu_now() - start;
        } while (elapsed < 0.02);
        batches.push_back(elapsed / static_cast<double>(count));
    }
    std::nth_element(batches.begin(), batches.begin() + 3, batches.end());
    return batches[3];
}

}  // namespace

double clone_seconds(std::uint64_t entries) {
    static std::map<std::uint64_t, double> known;
    const auto found = known.find(entries);
    if (found != known.end()) return found->second;
    return known[entries] = measure_clone(entries);
}

void report_clone_ratio(benchmark::State& st, std::uint64_t entries, double units_per_iteration) {
    // A rate over the run's CPU seconds, inverted: seconds / (units * clone).
    const double unit = static_cast<double>(st.iterations()) * units_per_iteration * clone_seconds(entries);
    st.counters["x_clone"] = benchmark::Counter(unit, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

}  // namespace vortan::bench
