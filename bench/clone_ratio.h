#pragma once
// Costs as a ratio to `clone` of the same number of entries, timed in the
// same run: one copy pass is the unit, so figures taken on a loaded or a
// different machine still compare.

#include <benchmark/benchmark.h>

#include <cstdint>

namespace vortan::bench {

/// CPU seconds of one clone of a state of `entries` entries, and its release.
/// Measured on the first request for each size, then kept for the run.
double clone_seconds(std::uint64_t entries);

/// Adds the counter "x_clone": the CPU time of one of `units_per_iteration`
/// units of work over clone_seconds(entries). Call after the timed loop. It
/// is an inverted rate, which the console prints with an "s": read it as a
/// plain number.
void report_clone_ratio(benchmark::State& st, std::uint64_t entries, double units_per_iteration = 1.0);

}  // namespace vortan::bench
