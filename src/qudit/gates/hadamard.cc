// The spreading frame and the Hadamard pair. A selected entry becomes d
// entries, one per value of the target; the state grows, so the size is
// refused in advance and all work happens on a copy.

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>

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

}  // namespace

template <class T>
void State<T>::spread(const Targets& targets, const Predicates& predicates, const SpreadRule& rule, double fraction,
                      std::vector<Entry>* previous) {
    check_target_control_overlap(targets, predicates, rule.overlap);
    for (std::int32_t target : targets) check_qudit_index_signed(target, rule.context);
    for (const Predicate& predicate : predicates) check_qudit_index_signed(predicate.qudit_index, rule.context);
    if (entries_.empty()) return;

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
    bool merged = false;
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
            // as it is made.
            if (t + 1 == targets.size()) {
                working = spread_merged(*source, target, d, columns, factors.data(), predicates, rule.context);
                merged = true;
                break;
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
}

template <class T>
std::vector<BasisEntry<T>> State<T>::spread_merged(const std::vector<Entry>& source, std::int32_t target,
                                                    std::uint64_t d, std::uint64_t columns,
                                                    const std::complex<double>* factors,
                                                    const Predicates& predicates, const char* context) {
    if constexpr (is_dynamic_v<T>) {
        throw std::logic_error("spread_merged needs a packed form");
    } else {
        const auto at = static_cast<std::uint32_t>(target);
        const unsigned shift = T::shift_of(at);
        const std::size_t n = source.size();

        // One pass: what the predicates select, the target values checked as
        // the expansion would meet them, and whether the list is ascending.
        std::vector<std::uint8_t> selected(n);
        std::size_t expanded = 0;
        bool ascending = true;
        for (std::size_t i = 0; i < n; ++i) {
            const T& dits = source[i].dits;
            selected[i] = entry_passes_predicates(dits, predicates);
            if (selected[i]) {
                if (const std::uint64_t value = dits.value_at(at); value >= columns)
                    throw std::out_of_range(
                        str_cat(context, ": dit value ", value, " out of range [0, ", columns, ")"));
                expanded += d;
            } else {
                ++expanded;
            }
            if (i > 0 && !(source[i - 1].dits.values < dits.values)) ascending = false;
        }

        std::vector<Entry> out;
        if (expanded <= 8) {
            // Short lists keep the order of first occurrence: expand, then merge.
            for (std::size_t i = 0; i < n; ++i) {
                const Entry& entry = source[i];
                if (!selected[i]) {
                    out.push_back(entry);
                    continue;
                }
                const std::uint64_t value = entry.dits.value_at(at);
                for (std::uint64_t k = 0; k < d; ++k)
                    out.push_back({T{(entry.dits.values & ~(T::mask << shift)) | k << shift, entry.dits.dimensions},
                                   entry.amplitude * factors[k * columns + value]});
            }
            merge_entries(out);
            return out;
        }

        // Regrouping works on the list in ascending order of dits; what a
        // spreading gate leaves is already so, anything else is sorted here,
        // n entries rather than the d n of the expansion.
        std::vector<Entry> sorted;
        const std::vector<Entry>* list = &source;
        if (!ascending) {
            std::vector<std::uint64_t> items(n), scratch;
            for (std::size_t i = 0; i < n; ++i) items[i] = source[i].dits.values << KEY_SHIFT | i;
            radix_sort(items, scratch, KEY_BITS);
            sorted.resize(n);
            std::vector<std::uint8_t> flags(n);
            bool repeated = false;
            for (std::size_t i = 0; i < n; ++i) {
                const auto from = static_cast<std::uint32_t>(items[i]);
                sorted[i] = source[from];
                flags[i] = selected[from];
                repeated = repeated || (i > 0 && sorted[i - 1].dits == sorted[i].dits);
            }
            if (repeated) {
                // Only a list expanded over earlier targets repeats dits:
                // expand it too and merge the whole.
                out.reserve(expanded);
                for (std::size_t i = 0; i < n; ++i) {
                    if (!flags[i]) {
                        out.push_back(sorted[i]);
                        continue;
                    }
                    const T& dits = sorted[i].dits;
                    for (std::uint64_t k = 0; k < d; ++k)
                        out.push_back({T{(dits.values & ~(T::mask << shift)) | k << shift, dits.dimensions},
                                       sorted[i].amplitude * factors[k * columns + dits.value_at(at)]});
                }
                merge_entries(out);
                return out;
            }
            selected = std::move(flags);
            list = &sorted;
        }
        const Entry* entries = list->data();

        // In ascending order the dits above the target (hi) change slowest,
        // then the target value j, then the dits below (lo). An output key
        // is hi, k, lo: so each hi group is cut into its runs of equal j,
        // the runs are merged by lo into bases (one entry per j at most),
        // and each k walks the bases. The entries of a base are all selected
        // or all not, since predicates never read the target.
        constexpr std::uint32_t NONE = UINT32_MAX;
        constexpr std::size_t RUNS = T::max_dimension;
        struct Base {
            std::uint64_t lo;
            std::array<std::uint32_t, RUNS> at;
        };
        const unsigned hi_shift = shift + static_cast<unsigned>(T::bits_per_dit);
        const std::uint64_t lo_mask = (std::uint64_t{1} << shift) - 1;
        std::vector<Base> bases;
        out.reserve(expanded);
        for (std::size_t begin = 0; begin < n;) {
            const std::uint64_t hi = entries[begin].dits.values >> hi_shift;
            std::array<std::size_t, RUNS + 1> bounds;
            std::size_t i = begin;
            for (std::size_t r = 0; r < RUNS; ++r) {
                bounds[r] = i;
                while (i < n && entries[i].dits.values >> hi_shift == hi && entries[i].dits.value_at(at) == r) ++i;
            }
            bounds[RUNS] = i;
            if (bases.size() < i - begin) bases.resize(i - begin);
            begin = i;

            std::size_t count = 0;
            if (lo_mask == 0) {
                // Nothing below the target: the group is one base.
                Base& base = bases[count++];
                base.lo = 0;
                for (std::size_t r = 0; r < RUNS; ++r)
                    base.at[r] = bounds[r] < bounds[r + 1] ? static_cast<std::uint32_t>(bounds[r]) : NONE;
            } else {
                std::array<std::size_t, RUNS> next;
                for (std::size_t r = 0; r < RUNS; ++r) next[r] = bounds[r];
                for (;;) {
                    std::uint64_t lo = UINT64_MAX;
                    for (std::size_t r = 0; r < RUNS; ++r)
                        if (next[r] < bounds[r + 1]) lo = std::min(lo, entries[next[r]].dits.values & lo_mask);
                    if (lo == UINT64_MAX) break;
                    Base& base = bases[count++];
                    base.lo = lo;
                    for (std::size_t r = 0; r < RUNS; ++r)
                        base.at[r] = next[r] < bounds[r + 1] && (entries[next[r]].dits.values & lo_mask) == lo
                                         ? static_cast<std::uint32_t>(next[r]++)
                                         : NONE;
                }
            }

            for (std::uint64_t k = 0; k < d; ++k) {
                const std::uint64_t key_k = hi << hi_shift | k << shift;
                const std::complex<double>* row = factors + k * columns;
                for (std::size_t b = 0; b < count; ++b) {
                    const Base& base = bases[b];
                    std::size_t r = 0;
                    while (base.at[r] == NONE) ++r;
                    const Entry& first = entries[base.at[r]];
                    if (!selected[base.at[r]]) {
                        // Passed over, an entry stays as it is at its own value.
                        if (k < RUNS && base.at[k] != NONE && !negligible(entries[base.at[k]].amplitude))
                            out.push_back(entries[base.at[k]]);
                        continue;
                    }
                    Entry result{T{key_k | base.lo, first.dits.dimensions}, first.amplitude * row[r]};
                    for (++r; r < RUNS; ++r)
                        if (base.at[r] != NONE) result.amplitude += entries[base.at[r]].amplitude * row[r];
                    if (!negligible(result.amplitude)) out.push_back(result);
                }
            }
        }
        return out;
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
void State<T>::hadamard_keeping(const Targets& targets, const Predicates& predicates, std::vector<Entry>& previous) {
    spread(targets, predicates, HADAMARD, 0.0, &previous);
}

#define VORTAN_INSTANTIATE(T)                                                                            \
    template void State<T>::spread(const Targets&, const Predicates&, const SpreadRule&, double,         \
                                   std::vector<BasisEntry<T>>*);                                         \
    template std::vector<BasisEntry<T>> State<T>::spread_merged(                                         \
        const std::vector<BasisEntry<T>>&, std::int32_t, std::uint64_t, std::uint64_t,                   \
        const std::complex<double>*, const Predicates&, const char*);                                    \
    template void State<T>::hadamard(const Targets&, const Predicates&);                                 \
    template void State<T>::inverse_hadamard(const Targets&, const Predicates&);                         \
    template void State<T>::hadamard_keeping(const Targets&, const Predicates&, std::vector<BasisEntry<T>>&);
#include "qudit/state_members.def"

}  // namespace vortan::qudit
