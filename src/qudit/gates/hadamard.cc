// The spreading frame and the Hadamard pair. A selected entry becomes d
// entries, one per value of the target; the state grows, so the size is
// refused in advance and all work happens on a copy.

#include <cmath>
#include <complex>

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
void State<T>::spread(const Targets& targets, const Predicates& predicates, const SpreadRule& rule, double fraction) {
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

    std::vector<Entry> working = entries_;
    std::vector<std::complex<double>> factors;
    for (std::int32_t target : targets) {
        const std::uint64_t d = static_cast<Dit>(working.front().dits[target]).dimension;
        const std::uint64_t current = working.size();
        if (d * current > MAX_STATE_SIZE)
            throw StateSizeExceeded(str_cat(rule.product_name, " would produce ~", d * current,
                                            " basis states (current: ", current, ", dim: ", d,
                                            "), exceeding limit of ", MAX_STATE_SIZE));
        // A packed dit can hold any value below D whatever its dimension says.
        std::uint64_t columns = d;
        if constexpr (!is_dynamic_v<T>) columns = std::max(d, T::max_dimension);
        factors.assign(d * columns, {});
        rule.factors(d, columns, fraction, factors.data());

        std::vector<Entry> next;
        next.reserve(d * current);
        for (const Entry& entry : working) {
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
    }
    merge_entries(working);
    entries_ = std::move(working);
}

template <class T>
void State<T>::hadamard(const Targets& targets, const Predicates& predicates) {
    spread(targets, predicates, HADAMARD, 0.0);
}

template <class T>
void State<T>::inverse_hadamard(const Targets& targets, const Predicates& predicates) {
    spread(targets, predicates, INVERSE_HADAMARD, 0.0);
}

#define VORTAN_INSTANTIATE(T)                                                                            \
    template void State<T>::spread(const Targets&, const Predicates&, const SpreadRule&, double);        \
    template void State<T>::hadamard(const Targets&, const Predicates&);                                 \
    template void State<T>::inverse_hadamard(const Targets&, const Predicates&);
#include "qudit/state_members.def"

}  // namespace vortan::qudit
