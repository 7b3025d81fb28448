// The spreading frame and the Hadamard pair. A selected entry becomes d
// entries, one per value of the target; the state grows, so the size is
// refused in advance and all work happens on a copy.

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <optional>
#include <stdexcept>
#include <vector>

#include "qudit/gates/packed_clock.h"
#include "qudit/gates/radix_sort.h"
#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

// e^(i a) / sqrt(d) with a = (d - k) * turn * j / d, unreduced, in exactly
// this order; at k = 0 the angle is 2 pi j, whose sine stays as a tiny residue.
template <int Sign>
void fourier_factors(std::uint64_t d, std::uint64_t columns, double, std::complex<double>* table) {
    const double scale = 1.0 / std::sqrt(static_cast<double>(d));
    for (std::uint64_t k = 0; k < d; ++k)
        for (std::uint64_t j = 0; j < columns; ++j) {
            const double angle =
                static_cast<double>(d - k) * (Sign * TWO_PI) * static_cast<double>(j) / static_cast<double>(d);
            table[k * columns + j] = {std::cos(angle) * scale, std::sin(angle) * scale};
        }
}

constexpr SpreadRule HADAMARD{"hadamard", "Hadamard operation has overlapping targets and controls", "Hadamard",
                              "Hadamard", &fourier_factors<+1>};
constexpr SpreadRule INVERSE_HADAMARD{"inverse_hadamard",
                                      "inverse-Hadamard operation has overlapping targets and controls",
                                      "Inverse hadamard", "Hadamard", &fourier_factors<-1>};

/// The last expansion of a spreading gate on a packed form, made already
/// merged from a list read in ascending order of dits. Ascending, the dits
/// above the target (hi) change slowest, then the target value j, then the
/// dits below (lo); an output key is hi, k, lo. So each hi group is cut into
/// its runs of equal j, the runs are matched by lo into bases (at most one
/// entry per j), and each k walks the bases: every output is summed from its
/// partners in rising j, as merging the expanded list would sum them, and
/// comes out in order. The entries of a base are all selected or all not,
/// since predicates never read a target.
template <class T>
struct Regroup {
    using Entry = BasisEntry<T>;
    static constexpr unsigned BITS = static_cast<unsigned>(T::bits_per_dit);
    static constexpr std::size_t RUNS = T::mask + 1;  // every value a field holds
    using Members = std::array<const Entry*, RUNS>;   // null where j is absent

    std::uint32_t target;
    std::uint64_t d;
    std::uint64_t columns;
    const std::complex<double>* factors;  // [k * columns + j]
    const Predicates& predicates;
    const char* context;
    const PackedClock<T>* clock;  // turns each sum made, where not null

    Entry made(std::uint64_t values, std::uint64_t dimensions, std::complex<double> sum) const {
        return {T{values, dimensions}, clock != nullptr ? clock->turn(values, dimensions, sum) : sum};
    }

    /// The target value of a selected entry, refused as the expansion would.
    std::uint64_t checked_value(const T& dits) const {
        const std::uint64_t value = dits.value_at(target);
        if (value >= columns)
            throw std::out_of_range(str_cat(context, ": dit value ", value, " out of range [0, ", columns, ")"));
        return value;
    }

    /// Appends the merged expansion of at(0), ..., at(n - 1) to `out`. False,
    /// with part of it appended, at the first entry whose dits are not above
    /// those of the one before.
    template <class At>
    bool run(std::size_t n, At at, std::vector<Entry>& out) const {
        return T::shift_of(target) == 0 ? run_lowest(n, at, out) : run_general(n, at, out);
    }

private:
    /// Output k of a selected base; every value present is below `columns`.
    static std::complex<double> combine(const Members& members, const std::complex<double>* row) {
        std::size_t r = 0;
        while (members[r] == nullptr) ++r;
        std::complex<double> sum = members[r]->amplitude * row[r];
        for (++r; r < RUNS; ++r)
            if (members[r] != nullptr) sum += members[r]->amplitude * row[r];
        return sum;
    }

    /// Refuses a selected base holding a value past the factor table; null
    /// members are absent values.
    void check_members(const Members& members) const {
        for (std::size_t r = columns; r < RUNS; ++r)
            if (members[r] != nullptr) checked_value(members[r]->dits);
    }

    static const Entry* first_of(const Members& members) {
        std::size_t r = 0;
        while (members[r] == nullptr) ++r;
        return members[r];
    }

    // Target in the low bits: a group of one hi is a single base, and its d
    // outputs follow each other. Its members are kept packed, value and
    // amplitude, so that each output is a plain sum over them.
    template <class At>
    [[gnu::flatten]] bool run_lowest(std::size_t n, At at, std::vector<Entry>& out) const {
        std::array<std::complex<double>, RUNS> amplitudes;
        std::array<std::uint64_t, RUNS> values;
        for (std::size_t i = 0; i < n;) {
            const std::size_t begin = i;
            const T& head = at(i).dits;
            const std::uint64_t hi = head.values >> BITS;
            std::size_t count = 0;
            for (;;) {
                const Entry& entry = at(i);
                values[count] = entry.dits.values & T::mask;
                amplitudes[count++] = entry.amplitude;
                if (++i == n) break;
                const std::uint64_t next = at(i).dits.values;
                if (!(entry.dits.values < next)) return false;
                if (next >> BITS != hi) break;
            }
            if (!entry_passes_predicates(head, predicates)) {
                // Passed over, an entry stays as it is at its own value.
                for (std::size_t m = 0; m < count; ++m)
                    if (!negligible(amplitudes[m])) out.push_back(at(begin + m));
                continue;
            }
            if (values[count - 1] >= columns) checked_value(at(i - 1).dits);
            for (std::uint64_t k = 0; k < d; ++k) {
                const std::complex<double>* row = factors + k * columns;
                std::complex<double> sum = amplitudes[0] * row[values[0]];
                for (std::size_t m = 1; m < count; ++m) sum += amplitudes[m] * row[values[m]];
                if (!negligible(sum)) out.push_back(made(hi << BITS | k, head.dimensions, sum));
            }
        }
        return true;
    }

    template <class At>
    [[gnu::flatten]] bool run_general(std::size_t n, At at, std::vector<Entry>& out) const {
        struct Base {
            std::uint64_t lo;
            Members members;
            bool selected;
        };
        const unsigned shift = T::shift_of(target);
        const unsigned hi_shift = shift + BITS;
        const std::uint64_t lo_mask = (std::uint64_t{1} << shift) - 1;
        std::vector<Base> bases;
        for (std::size_t i = 0; i < n;) {
            // Run r of the group is [bounds[r], bounds[r + 1]).
            const std::uint64_t hi = at(i).dits.values >> hi_shift;
            std::array<std::size_t, RUNS + 1> bounds;
            std::size_t run = 0;
            bounds[0] = i;
            for (;;) {
                const std::uint64_t key = at(i).dits.values;
                for (const std::uint64_t j = key >> shift & T::mask; run < j;) bounds[++run] = i;
                if (++i == n) break;
                const std::uint64_t next = at(i).dits.values;
                if (!(key < next)) return false;
                if (next >> hi_shift != hi) break;
            }
            const std::uint64_t top = run;  // the highest value present
            while (run < RUNS) bounds[++run] = i;

            std::size_t count = 0;
            std::array<std::size_t, RUNS> next;
            for (std::size_t r = 0; r < RUNS; ++r) next[r] = bounds[r];
            for (;;) {
                std::uint64_t lo = UINT64_MAX;
                for (std::size_t r = 0; r < RUNS; ++r)
                    if (next[r] < bounds[r + 1]) lo = std::min(lo, at(next[r]).dits.values & lo_mask);
                if (lo == UINT64_MAX) break;
                if (count == bases.size()) bases.emplace_back();
                Base& base = bases[count++];
                base.lo = lo;
                for (std::size_t r = 0; r < RUNS; ++r)
                    base.members[r] =
                        next[r] < bounds[r + 1] && (at(next[r]).dits.values & lo_mask) == lo ? &at(next[r]++) : nullptr;
                base.selected = entry_passes_predicates(first_of(base.members)->dits, predicates);
                if (base.selected) check_members(base.members);
            }

            // Values at or past d occur only where a dit holds more than its
            // dimension; passed over, such an entry keeps its place.
            const std::uint64_t outputs = std::max<std::uint64_t>(d, top + 1);
            for (std::uint64_t k = 0; k < outputs; ++k) {
                const std::uint64_t key = hi << hi_shift | k << shift;
                const std::complex<double>* row = factors + k * columns;
                for (std::size_t b = 0; b < count; ++b) {
                    const Base& base = bases[b];
                    if (!base.selected) {
                        const Entry* member = k < RUNS ? base.members[k] : nullptr;
                        if (member != nullptr && !negligible(member->amplitude)) out.push_back(*member);
                    } else if (k < d) {
                        const std::complex<double> sum = combine(base.members, row);
                        if (!negligible(sum))
                            out.push_back(made(key | base.lo, first_of(base.members)->dits.dimensions, sum));
                    }
                }
            }
        }
        return true;
    }
};

}  // namespace

template <class T>
bool State<T>::spread(const Targets& targets, const Predicates& predicates, const SpreadRule& rule, double fraction,
                      std::vector<Entry>* previous, const double* clock_fraction) {
    check_target_control_overlap(targets, predicates, rule.overlap);
    for (std::int32_t target : targets) check_qudit_index_signed(target, rule.context);
    for (const Predicate& predicate : predicates) check_qudit_index_signed(predicate.qudit_index, rule.context);
    if (entries_.empty()) return false;

    // Pessimistic on purpose: predicates are not looked at, and the text names
    // the partial product at the first target that goes over.
    std::uint64_t estimate = entries_.size();
    for (std::int32_t target : targets) {
        estimate *= static_cast<Dit>(entries_.front().dits[target]).dimension;
        if (estimate > MAX_STATE_SIZE)
            throw StateSizeExceeded(str_cat(rule.estimate_name, " on ", targets.size(), " target(s) would produce ~",
                                            estimate, " intermediate basis states (current: ", entries_.size(),
                                            "), exceeding limit of ", MAX_STATE_SIZE,
                                            ". Measure some qudits first to reduce state size."));
    }

    // The state's own list is only read until the end, so every failure
    // leaves it as it was; with one target it is read in place of a copy.
    std::vector<Entry> working;
    const std::vector<Entry>* source = &entries_;
    if (targets.empty()) source = &(working = entries_);
    bool merged = false, clocked = false;
    std::vector<std::complex<double>> factors;
    for (std::size_t t = 0; t < targets.size(); ++t) {
        const std::int32_t target = targets[t];
        const std::uint64_t d = static_cast<Dit>(source->front().dits[target]).dimension;
        const std::uint64_t current = source->size();
        if (d * current > MAX_STATE_SIZE)
            throw StateSizeExceeded(str_cat(rule.product_name, " would produce ~", d * current,
                                            " basis states (current: ", current, ", dim: ", d,
                                            "), exceeding limit of ", MAX_STATE_SIZE));
        // A packed dit can hold any value below D whatever its dimension says.
        std::uint64_t columns = d;
        if constexpr (!is_dynamic_v<T>) columns = std::max(d, T::max_dimension);
        factors.assign(d * columns, {});
        rule.factors(d, columns, fraction, factors.data());

        if constexpr (!is_dynamic_v<T>) {
            // No merging between targets: only the last expansion is regrouped
            // as it is made, where it can be.
            if (t + 1 == targets.size()) {
                std::optional<PackedClock<T>> clock;
                if (clock_fraction != nullptr) clock.emplace(targets, *clock_fraction);
                std::vector<Entry> last;
                if (spread_merged(*source, target, d, columns, factors.data(), predicates, rule.context,
                                  clock ? &*clock : nullptr, last)) {
                    working = std::move(last);
                    merged = true;
                    clocked = clock.has_value();
                    break;
                }
            }
        }
        std::vector<Entry> next;
        next.reserve(d * current);
        for (const Entry& entry : *source) {
            if (!entry_passes_predicates(entry.dits, predicates)) {
                next.push_back(entry);
                continue;
            }
            const Dit dit = entry.dits[target];
            if (dit.value >= columns)
                throw std::out_of_range(str_cat(rule.context, ": dit value ", dit.value, " out of range [0, ",
                                                columns, ")"));
            for (std::uint64_t k = 0; k < d; ++k) {
                Entry& out = next.emplace_back(entry);
                out.dits[target] = Dit{k, dit.dimension};
                out.amplitude = entry.amplitude * factors[k * columns + dit.value];
            }
        }
        working = std::move(next);
        source = &working;
    }
    if (!merged) merge_entries(working);
    if (previous) *previous = std::move(entries_);
    entries_ = std::move(working);
    return clocked;
}

template <class T>
bool State<T>::spread_merged(const std::vector<Entry>& source, std::int32_t target, std::uint64_t d,
                             std::uint64_t columns, const std::complex<double>* factors, const Predicates& predicates,
                             const char* context, const PackedClock<T>* clock, std::vector<Entry>& out) {
    if constexpr (is_dynamic_v<T>) {
        return false;
    } else {
        const Regroup<T> regroup{static_cast<std::uint32_t>(target), d, columns, factors, predicates, context, clock};
        const std::size_t n = source.size();
        // The expansion reaches 9 entries from 9 inputs on; below that, count.
        // Short lists keep the order of first occurrence.
        std::size_t expanded = n;
        if (n <= 8)
            for (const Entry& entry : source)
                if (entry_passes_predicates(entry.dits, predicates)) expanded += d - 1;
        if (expanded <= 8) return false;

        // Selection is not known yet: room for everything selected.
        out.reserve(d * n);
        if (regroup.run(n, [&](std::size_t i) -> const Entry& { return source[i]; }, out)) return true;
        // Not ascending: regroup through the order of n (key, position) pairs
        // rather than moving records.
        out.clear();
        const std::vector<std::uint64_t> items = key_order(source, KEY_BITS);
        // False for repeated dits, which only a list expanded over earlier
        // targets has.
        return regroup.run(n, [&](std::size_t i) -> const Entry& { return source[static_cast<std::uint32_t>(items[i])]; },
                           out);
    }
}

template <class T>
void State<T>::hadamard(const Targets& targets, const Predicates& predicates) {
    spread(targets, predicates, HADAMARD, 0.0);
}

template <class T>
void State<T>::inverse_hadamard(const Targets& targets, const Predicates& predicates) {
    spread(targets, predicates, INVERSE_HADAMARD, 0.0);
}

template <class T>
bool State<T>::hadamard_clocked(const Targets& targets, const Predicates& predicates, double clock_fraction,
                                std::vector<Entry>& previous) {
    return spread(targets, predicates, HADAMARD, 0.0, &previous, &clock_fraction);
}

#define VORTAN_INSTANTIATE(T)                                                                            \
    template bool State<T>::spread(const Targets&, const Predicates&, const SpreadRule&, double,         \
                                   std::vector<BasisEntry<T>>*, const double*);                          \
    template bool State<T>::spread_merged(const std::vector<BasisEntry<T>>&, std::int32_t, std::uint64_t,    \
                                          std::uint64_t, const std::complex<double>*, const Predicates&,  \
                                          const char*, const PackedClock<T>*, std::vector<BasisEntry<T>>&); \
    template void State<T>::hadamard(const Targets&, const Predicates&);                                 \
    template void State<T>::inverse_hadamard(const Targets&, const Predicates&);                         \
    template bool State<T>::hadamard_clocked(const Targets&, const Predicates&, double,                \
                                             std::vector<BasisEntry<T>>&);
#include "qudit/state_members.def"

}  // namespace vortan::qudit
