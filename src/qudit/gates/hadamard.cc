// The spreading frame and the Hadamard pair. A selected entry becomes d
// entries, one per value of the target; the state grows, so the size is
// refused in advance and all work happens on a copy.

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
        // Each term is its key, its source position and the value k it takes,
        // or UNCHANGED for an entry the predicates pass over; its amplitude is
        // formed only when it is gathered in key order.
        constexpr std::uint64_t UNCHANGED = 3;
        const unsigned shift = T::shift_of(static_cast<std::uint32_t>(target));
        std::vector<std::uint64_t> items;
        items.reserve(d * source.size());
        for (std::size_t i = 0; i < source.size(); ++i) {
            const T& dits = source[i].dits;
            const std::uint64_t position = std::uint64_t{i} << 2;
            if (!entry_passes_predicates(dits, predicates)) {
                items.push_back(dits.values << KEY_SHIFT | position | UNCHANGED);
                continue;
            }
            const std::uint64_t value = dits.value_at(static_cast<std::uint32_t>(target));
            if (value >= columns)
                throw std::out_of_range(str_cat(context, ": dit value ", value, " out of range [0, ", columns, ")"));
            const std::uint64_t base = dits.values & ~(T::mask << shift);
            for (std::uint64_t k = 0; k < d; ++k) items.push_back((base | k << shift) << KEY_SHIFT | position | k);
        }
        const auto term = [&](std::uint64_t item) {
            const Entry& entry = source[static_cast<std::uint32_t>(item) >> 2];
            const std::uint64_t k = item & 3;
            if (k == UNCHANGED) return entry;
            const std::uint64_t value = entry.dits.value_at(static_cast<std::uint32_t>(target));
            return Entry{T{item >> KEY_SHIFT, entry.dits.dimensions}, entry.amplitude * factors[k * columns + value]};
        };

        std::vector<Entry> out;
        if (items.size() <= 8) {
            // Short lists keep the order of first occurrence.
            for (std::uint64_t item : items) out.push_back(term(item));
            merge_entries(out);
            return out;
        }
        std::vector<std::uint64_t> scratch;
        radix_sort(items, scratch, KEY_BITS);
        out.reserve(items.size());
        for (std::uint64_t item : items) append_merged(out, term(item));
        drop_last_if_negligible(out);
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
