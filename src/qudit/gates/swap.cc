// Two-qudit gates: swap exchanges dits in place; i_swap moves a fraction of
// each basis state to its exchanged partner, multiplied by i.

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>

#include "qudit/gates/entry_kernels.h"
#include "qudit/gates/fraction_period.h"
#include "qudit/gates/radix_sort.h"
#include "qudit/selection.h"
#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

/// Exchanges the whole dits q1 and q2 of the selected entries and, with
/// TURN, multiplies those whose two values differ by `moved`, on the packed
/// words: the value fields trade places; the dimension fields are equal in
/// the first entry's word, so every entry that shares it keeps it. An entry
/// of another word takes the checked road. Declines (false) where that shared
/// dimension is past D and could not be written back.
template <bool TURN, class T>
bool exchange_packed(std::vector<BasisEntry<T>>& entries, std::int32_t qudit1, std::int32_t qudit2,
                     const Predicates& predicates, std::complex<double> moved) {
    const unsigned shift1 = T::shift_of(static_cast<std::uint32_t>(qudit1));
    const unsigned shift2 = T::shift_of(static_cast<std::uint32_t>(qudit2));
    const std::uint64_t dimensions = entries.front().dits.dimensions;
    if (((dimensions >> shift1) & T::mask) + 1 > T::max_dimension) return false;
    // With the fields ordered, one shift by their distance lines them up.
    const unsigned low = std::min(shift1, shift2), apart = std::max(shift1, shift2) - low;
    const std::uint64_t field = T::mask << low;
    const Selection<T> selection(predicates);
    // An entry of another dimensions word, selected: the checked road.
    const auto checked = [&](BasisEntry<T>& entry) {
        const std::uint64_t differ = ((entry.dits.values >> shift1) ^ (entry.dits.values >> shift2)) & T::mask;
        if (TURN && differ == 0) return;
        if (TURN) entry.amplitude = times(entry.amplitude, moved);
        exchange(entry.dits, qudit1, qudit2);
    };
    selection.with_form([&](auto form) {
        for (BasisEntry<T>& entry : entries) {
            const std::uint64_t values = entry.dits.values;
            const bool passes = selection.template passes_as<decltype(form)::value>(values);
            if (entry.dits.dimensions != dimensions) [[unlikely]] {
                if (passes) checked(entry);
                continue;
            }
            // Selected or not, every word is written back: a select, not a
            // branch the selection's pattern could defeat. An exchange of
            // equal values changes nothing.
            const std::uint64_t differ = passes ? (values ^ (values >> apart)) & field : 0;
            entry.dits.values = values ^ (differ | (differ << apart));
            // The product is skipped, not selected: a select of a complex
            // costs more than the branch saves.
            if (TURN && differ != 0) entry.amplitude = times(entry.amplitude, moved);
        }
    });
    return true;
}

/// The general path of i_swap on a packed form without expanding: the result
/// that appending every partner and merging gives, for lists of 9 or more.
/// The partner of a selected entry (a,b) is (b,a), its key with two fields
/// exchanged; on the keys of one pair of values (a,b) that exchange adds a
/// constant, so it keeps their order. Walking the entries in ascending key
/// order and splitting the selected ones by their pair of values gives the
/// partners as at most D(D-1) ascending runs, which merge with the entries
/// into the ascending, summed and pruned list. Predicates never name a
/// target, so a partner is selected as its source is: an entry meets at most
/// one partner, and a sum of two terms is the same in either order, so even
/// the rounding is the merge's. Declines (false, nothing changed) unless
/// every entry shares the first entry's dimensions word, whose target field
/// the checked road could write, and no two entries share their key.
template <class T>
bool i_swap_regrouped(std::vector<BasisEntry<T>>& entries, std::int32_t qudit1, std::int32_t qudit2,
                      const Predicates& predicates, std::complex<double> stay, std::complex<double> moved) {
    constexpr unsigned KEY_BITS = key_bits_of<T>();
    constexpr std::size_t CLASSES = std::size_t{1} << (2 * T::bits_per_dit);
    const unsigned shift1 = T::shift_of(static_cast<std::uint32_t>(qudit1));
    const unsigned shift2 = T::shift_of(static_cast<std::uint32_t>(qudit2));
    const std::size_t n = entries.size();
    const std::uint64_t dimensions = entries.front().dits.dimensions;
    if (((dimensions >> shift1) & T::mask) + 1 > T::max_dimension) return false;

    // Keys with their positions, ascending: often they already are, as the
    // list a merge of 9 or more leaves.
    std::vector<std::uint64_t> items(n), scratch;
    bool ascending = true;
    for (std::size_t i = 0; i < n; ++i) {
        if (entries[i].dits.dimensions != dimensions) return false;
        items[i] = entries[i].dits.values << KEY_SHIFT | i;
        ascending = ascending && (i == 0 || items[i - 1] >> KEY_SHIFT < items[i] >> KEY_SHIFT);
    }
    if (!ascending) {
        radix_sort(items, scratch, KEY_BITS);
        for (std::size_t i = 1; i < n; ++i)
            if (items[i - 1] >> KEY_SHIFT == items[i] >> KEY_SHIFT) return false;
    }

    // The selected entries whose values differ, as partner keys with their
    // source position, split by (a,b) and ascending within each split.
    const Selection<T> selection(predicates);
    const auto split_of = [&](std::uint64_t key) -> std::size_t {
        const std::uint64_t a = (key >> shift1) & T::mask, b = (key >> shift2) & T::mask;
        if (a == b || !selection.passes(key)) return CLASSES;
        return static_cast<std::size_t>(a << T::bits_per_dit | b);
    };
    std::array<std::size_t, CLASSES + 1> start{};
    for (const std::uint64_t item : items) ++start[split_of(item >> KEY_SHIFT)];
    std::size_t moving = 0;
    for (std::size_t k = 0; k < CLASSES; ++k) {
        const std::size_t count = start[k];
        start[k] = moving;
        moving += count;
    }
    std::array<std::size_t, CLASSES> fill{};
    std::copy_n(start.begin(), CLASSES, fill.begin());
    scratch.resize(moving);
    for (const std::uint64_t item : items) {
        const std::uint64_t key = item >> KEY_SHIFT;
        const std::size_t split = split_of(key);
        if (split == CLASSES) continue;
        const std::uint64_t differ = ((key >> shift1) ^ (key >> shift2)) & T::mask;
        scratch[fill[split]++] = (key ^ (differ << shift1 | differ << shift2)) << KEY_SHIFT | (item & 0xffffffffu);
    }

    struct Run {
        const std::uint64_t* at;
        const std::uint64_t* end;
    };
    std::array<Run, CLASSES + 1> runs;
    std::size_t live = 0;
    runs[live++] = {items.data(), items.data() + n};  // the entries themselves come first
    for (std::size_t k = 0; k < CLASSES; ++k)
        if (start[k] != fill[k]) runs[live++] = {scratch.data() + start[k], scratch.data() + fill[k]};

    std::vector<BasisEntry<T>> merged;
    merged.reserve(n + moving);
    while (live > 0) {
        std::uint64_t key = runs[0].at != runs[0].end ? *runs[0].at >> KEY_SHIFT : ~std::uint64_t{0};
        for (std::size_t r = 1; r < live; ++r) key = std::min(key, *runs[r].at >> KEY_SHIFT);
        std::complex<double> amplitude;
        bool found = false;
        if (runs[0].at != runs[0].end && *runs[0].at >> KEY_SHIFT == key) {
            const BasisEntry<T>& entry = entries[static_cast<std::uint32_t>(*runs[0].at++)];
            amplitude = split_of(key) == CLASSES ? entry.amplitude : stay * entry.amplitude;
            found = true;
        }
        for (std::size_t r = 1; r < live; ++r) {
            if (*runs[r].at >> KEY_SHIFT != key) continue;
            const std::complex<double> part = moved * entries[static_cast<std::uint32_t>(*runs[r].at++)].amplitude;
            amplitude = found ? amplitude + part : part;
            if (runs[r].at == runs[r].end) runs[r] = runs[--live];
            break;  // partner keys are distinct: no other run holds this one
        }
        if (!negligible(amplitude)) {
            // Field by field: a record built whole on the stack and copied
            // stalls on the store of its key.
            BasisEntry<T>& out = merged.emplace_back();
            out.dits.values = key;
            out.dits.dimensions = dimensions;
            out.amplitude = amplitude;
        }
        if (runs[0].at == runs[0].end && live == 1) break;
    }
    entries = std::move(merged);
    return true;
}

}  // namespace

template <class T>
void State<T>::check_pair(std::int32_t qudit1, std::int32_t qudit2, const Predicates& predicates,
                          const char* overlap, const char* context, const char* different) const {
    check_target_control_overlap({qudit1, qudit2}, predicates, overlap);
    check_qudit_index_signed(qudit1, context);
    check_qudit_index_signed(qudit2, context);
    for (const Predicate& predicate : predicates) check_qudit_index_signed(predicate.qudit_index, context);
    if (entries_.empty()) return;
    // Judged on the first entry alone: all entries agree on dimensions.
    const T& first = entries_.front().dits;
    if (first[qudit1].dimension != first[qudit2].dimension) throw DifferentDimensions(different);
}

template <class T>
void State<T>::swap(std::int32_t qudit1, std::int32_t qudit2, const Predicates& predicates) {
    check_pair(qudit1, qudit2, predicates, "Swap operation has overlapping targets and controls", "swap",
               "Targets of swap operation have different dimensions");
    if (entries_.empty()) return;
    bool packed = false;
    if constexpr (!is_dynamic_v<T>) packed = exchange_packed<false>(entries_, qudit1, qudit2, predicates, {});
    if (!packed)
        for (Entry& entry : entries_)
            if (entry_passes_predicates(entry.dits, predicates)) exchange(entry.dits, qudit1, qudit2);
    check_state_size();
}

template <class T>
void State<T>::i_swap(std::int32_t qudit1, std::int32_t qudit2, double fraction, const Predicates& predicates) {
    check_pair(qudit1, qudit2, predicates, "Fractional i-swap operation has overlapping targets and controls",
               "i_swap", "Targets of fractional-i-swap operation have different dimensions");
    if (entries_.empty()) return;
    // Huge fractions lose the period in the product, and past about 1.1e308
    // it overflows to infinity and the gate to NaN: they are reduced first.
    const double theta = reduce_by_period(fraction, I_SWAP_PERIOD) * 1.5707963267948966;
    const double c = std::cos(theta), s = std::sin(theta);
    const auto values_differ = [&](const T& dits) { return dits[qudit1].value != dits[qudit2].value; };

    // At odd whole fractions nothing stays behind: a pure relabelling with a
    // phase, in place, and no partner can meet another.
    if (std::abs(c) < 1e-12) {
        if constexpr (!is_dynamic_v<T>)
            if (exchange_packed<true>(entries_, qudit1, qudit2, predicates, std::complex<double>(0.0, s))) return;
        for (Entry& entry : entries_) {
            if (!entry_passes_predicates(entry.dits, predicates) || !values_differ(entry.dits)) continue;
            entry.amplitude = entry.amplitude * std::complex<double>(0.0, s);
            exchange(entry.dits, qudit1, qudit2);
        }
        return;
    }

    const std::size_t n = entries_.size();
    if (2 * n > MAX_STATE_SIZE)
        throw StateSizeExceeded(str_cat("i_swap could produce up to ", 2 * n, " basis states (current: ", n,
                                        "), exceeding limit of ", MAX_STATE_SIZE,
                                        ". Measure some qudits first to reduce state size."));
    if constexpr (!is_dynamic_v<T>)
        if (n >= 9 && i_swap_regrouped(entries_, qudit1, qudit2, predicates, std::complex<double>(c, 0.0),
                                       std::complex<double>(0.0, s)))
            return;
    entries_.reserve(2 * n);
    // By index and only over the first n: the partners appended here are not visited.
    for (std::size_t i = 0; i < n; ++i) {
        if (!entry_passes_predicates(entries_[i].dits, predicates) || !values_differ(entries_[i].dits)) continue;
        const std::complex<double> amplitude = entries_[i].amplitude;
        entries_[i].amplitude = std::complex<double>(c, 0.0) * amplitude;
        Entry partner{entries_[i].dits, std::complex<double>(0.0, s) * amplitude};
        exchange(partner.dits, qudit1, qudit2);
        entries_.push_back(std::move(partner));
    }
    merge_entries(entries_);
}

#define VORTAN_INSTANTIATE(T)                                                                           \
    template void State<T>::check_pair(std::int32_t, std::int32_t, const Predicates&, const char*,    \
                                       const char*, const char*) const;                               \
    template void State<T>::swap(std::int32_t, std::int32_t, const Predicates&);                        \
    template void State<T>::i_swap(std::int32_t, std::int32_t, double, const Predicates&);
#include "qudit/state_members.def"

}  // namespace vortan::qudit
