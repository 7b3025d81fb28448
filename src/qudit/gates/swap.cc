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
    const Multiplier turn(moved);
    // An entry of another dimensions word, selected: the checked road.
    const auto checked = [&](BasisEntry<T>& entry) {
        const std::uint64_t differ = ((entry.dits.values >> shift1) ^ (entry.dits.values >> shift2)) & T::mask;
        if (TURN && differ == 0) return;
        if (TURN) entry.amplitude = turn(entry.amplitude);
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
            if (TURN && differ != 0) entry.amplitude = turn(entry.amplitude);
        }
    });
    return true;
}

/// Positions of a packed entry list in ascending order of their keys: the
/// list itself when it already ascends, as the list a merge of 9 or more
/// leaves does.
template <class T>
struct Ascending {
    const std::vector<BasisEntry<T>>& entries;
    std::uint64_t key(std::size_t j) const { return entries[j].dits.values; }
    std::uint32_t index(std::size_t j) const { return static_cast<std::uint32_t>(j); }
};
/// ... or through (key, index) items sorted by key.
template <class T>
struct Sorted {
    const std::vector<std::uint64_t>& items;
    std::uint64_t key(std::size_t j) const { return items[j] >> KEY_SHIFT; }
    std::uint32_t index(std::size_t j) const { return static_cast<std::uint32_t>(items[j]); }
};

/// First position, among n of strictly ascending keys, whose key is at least
/// `key` (n if none), looked for outward from `guess`: one comparison when
/// the guess is right, a few more the nearer it is.
template <class View>
std::size_t position_from(const View& view, std::size_t n, std::uint64_t key, std::size_t guess) {
    std::size_t lo, hi;  // the answer lies in [lo, hi]
    if (view.key(guess) == key) return guess;
    std::size_t step = 1;
    if (view.key(guess) < key) {
        // Everything before lo is below the key.
        lo = guess + 1;
        while (lo + step <= n && view.key(lo + step - 1) < key) {
            lo += step;
            step *= 2;
        }
        hi = std::min(lo + step - 1, n);
    } else {
        // Everything from hi on is above the key.
        hi = guess;
        while (hi >= step && view.key(hi - step) > key) {
            hi -= step;
            step *= 2;
        }
        lo = hi >= step ? hi - step : 0;
    }
    while (lo < hi) {
        const std::size_t mid = lo + (hi - lo) / 2;
        if (view.key(mid) < key)
            lo = mid + 1;
        else
            hi = mid;
    }
    return lo;
}

/// Merges `added`, ascending, into `list`, ascending, with no key in common:
/// from the back, so that only the entries above the lowest added one move.
template <class T>
void merge_in(std::vector<BasisEntry<T>>& list, const std::vector<BasisEntry<T>>& added) {
    std::size_t kept = list.size(), from = added.size();
    list.resize(kept + from);
    for (std::size_t to = list.size(); from > 0;) {
        if (kept > 0 && list[kept - 1].dits.values > added[from - 1].dits.values)
            list[--to] = list[--kept];
        else
            list[--to] = added[--from];
    }
}

/// Appends an entry field by field: a record built whole on the stack and
/// copied stalls on the store of its key.
template <class T>
void append(std::vector<BasisEntry<T>>& list, std::uint64_t values, std::uint64_t dimensions,
            std::complex<double> amplitude) {
    BasisEntry<T>& out = list.emplace_back();
    out.dits.values = values;
    out.dits.dimensions = dimensions;
    out.amplitude = amplitude;
}

/// The general path of i_swap on a packed form without expanding: the list
/// that appending every partner and merging gives, for lists of 9 or more.
/// A selected entry (a,b) and its partner (b,a) differ only in the two target
/// fields, and predicates never name a target, so the partner of a selected
/// entry is selected too and the gate acts on such pairs alone: each entry
/// becomes stay times itself plus moved times its partner's old amplitude,
/// the two terms summed in the order the merge sums them. Walking the entries
/// in ascending key order, each finds its partner near where the last one of
/// its pair of values (a,b) found its own, since the exchange adds one
/// constant to the keys of a pair of values; partners that are not among the
/// entries are new keys, sorted and merged in at the end. Declines (false,
/// nothing changed) unless every entry shares the first entry's dimensions
/// word, whose target field the checked road could write, and no two entries
/// share their key.
template <class T, class View>
std::vector<BasisEntry<T>> i_swap_pairs(const std::vector<BasisEntry<T>>& entries, const View& view, unsigned shift1,
                                        unsigned shift2, const Selection<T>& selection, std::complex<double> stay,
                                        std::complex<double> moved) {
    constexpr std::size_t CLASSES = std::size_t{1} << (2 * T::bits_per_dit);
    const std::size_t n = entries.size();
    // Per pair of values, the distance from an entry to its partner last found.
    std::array<std::ptrdiff_t, CLASSES> offset{};
    std::vector<std::uint64_t> extras, scratch;  // new partner keys with their source
    std::vector<BasisEntry<T>> merged;
    merged.reserve(n);
    for (std::size_t v = 0; v < n; ++v) {
        const std::uint64_t key = view.key(v);
        const BasisEntry<T>& entry = entries[view.index(v)];
        const std::uint64_t a = (key >> shift1) & T::mask, b = (key >> shift2) & T::mask;
        std::complex<double> amplitude = entry.amplitude;
        if (a != b && selection.passes(key)) {
            const std::uint64_t differ = a ^ b;
            const std::uint64_t partner = key ^ (differ << shift1 | differ << shift2);
            const std::size_t pair = static_cast<std::size_t>(a << T::bits_per_dit | b);
            const std::ptrdiff_t guess = std::clamp<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(v) + offset[pair], 0,
                                                                    static_cast<std::ptrdiff_t>(n) - 1);
            const std::size_t at = position_from(view, n, partner, static_cast<std::size_t>(guess));
            offset[pair] = static_cast<std::ptrdiff_t>(at) - static_cast<std::ptrdiff_t>(v);
            amplitude = stay * amplitude;
            if (at < n && view.key(at) == partner)
                amplitude = amplitude + moved * entries[view.index(at)].amplitude;
            else
                extras.push_back(partner << KEY_SHIFT | view.index(v));
        }
        if (!negligible(amplitude)) append(merged, key, entry.dits.dimensions, amplitude);
    }
    if (extras.empty()) return merged;

    // Partners of no entry: moved times their source alone, in key order,
    // merged in from the back so that only the entries above the lowest of
    // them move.
    radix_sort(extras, scratch, key_bits_of<T>());
    const std::uint64_t dimensions = entries.front().dits.dimensions;
    std::vector<BasisEntry<T>> added;
    added.reserve(extras.size());
    for (const std::uint64_t item : extras) {
        const std::complex<double> amplitude = moved * entries[static_cast<std::uint32_t>(item)].amplitude;
        if (!negligible(amplitude)) append(added, item >> KEY_SHIFT, dimensions, amplitude);
    }
    merge_in(merged, added);
    return merged;
}

template <class T>
bool i_swap_regrouped(std::vector<BasisEntry<T>>& entries, std::int32_t qudit1, std::int32_t qudit2,
                      const Predicates& predicates, std::complex<double> stay, std::complex<double> moved) {
    const unsigned shift1 = T::shift_of(static_cast<std::uint32_t>(qudit1));
    const unsigned shift2 = T::shift_of(static_cast<std::uint32_t>(qudit2));
    const std::size_t n = entries.size();
    const std::uint64_t dimensions = entries.front().dits.dimensions;
    if (((dimensions >> shift1) & T::mask) + 1 > T::max_dimension) return false;
    bool ascending = true;
    for (std::size_t i = 0; i < n; ++i) {
        if (entries[i].dits.dimensions != dimensions) return false;
        ascending = ascending && (i == 0 || entries[i - 1].dits.values < entries[i].dits.values);
    }
    const Selection<T> selection(predicates);
    if (ascending) {
        entries = i_swap_pairs(entries, Ascending<T>{entries}, shift1, shift2, selection, stay, moved);
        return true;
    }
    const std::vector<std::uint64_t> items = key_order(entries, key_bits_of<T>());
    for (std::size_t i = 1; i < n; ++i)
        if (items[i - 1] >> KEY_SHIFT == items[i] >> KEY_SHIFT) return false;
    entries = i_swap_pairs(entries, Sorted<T>{items}, shift1, shift2, selection, stay, moved);
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
