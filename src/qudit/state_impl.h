#pragma once
// State<T>: the sparse state over one dit-array form. Included only where the
// family is instantiated (state_instances.cc) or constructed (the factory).

#include <cmath>
#include <complex>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "qudit/dit_array.h"
#include "qudit/entry_index.h"
#include "qudit/errors.h"
#include "qudit/gates/spread_rule.h"
#include "qudit/limits.h"
#include "qudit/state.h"
#include "qudit/text.h"

namespace vortan::qudit {

template <class T>
class PackedClock;

/// Significant bits of a packed values word: the key a regrouping sorts on.
template <class T>
constexpr unsigned key_bits_of() {
    if constexpr (is_dynamic_v<T>)
        return 0;
    else
        return static_cast<unsigned>(T::size() * T::bits_per_dit);
}

/// Sparse state: the basis entries that exist, each with its amplitude, in no
/// promised order. No two entries have equal dit values; amplitudes are not
/// kept normalised.
template <class T>
class State final : public IState {
public:
    using Entry = BasisEntry<T>;
    static constexpr unsigned KEY_BITS = key_bits_of<T>();

    /// Builds from an exchange list: equal dits merged (first occurrence keeps
    /// its place and recorded dimensions), exact zeros removed. No
    /// normalisation and no size check; the factory checked the raw length.
    State(std::uint64_t dimension, std::uint64_t num_qudits, const std::vector<DynamicBasisEntry>& list);
    State(const State&) = default;
    /// Takes packed entries as they are, dropping exact zeros. With
    /// `distinct` false, equal dits are merged first as above; true promises
    /// that no two entries share their dits.
    State(std::vector<Entry> list, bool distinct)
        requires(!is_dynamic_v<T>);
    /// Takes packed entries as they are, with no pass over them: the caller
    /// promises that no two share their dits and none is exactly zero.
    static std::unique_ptr<State> adopt(std::vector<Entry> list)
        requires(!is_dynamic_v<T>)
    {
        auto state = std::make_unique<State>(std::vector<Entry>{}, true);
        state->entries_ = std::move(list);
        return state;
    }

    std::uint64_t dimension() const override;
    std::uint64_t qudit_dimension(std::int32_t qudit) const override;
    std::uint64_t num_qudits() const override;
    std::uint64_t state_size() const override { return entries_.size(); }
    std::vector<DynamicBasisEntry> basis_entries() const override;
    std::unique_ptr<IState> clone() const override { return std::make_unique<State>(*this); }
    void normalize() override;
    OutcomeDistribution probabilities(std::vector<std::int32_t> qudits) const override;
    DensityMatrix reduced_density_matrix(std::vector<std::int32_t> qudits) const override;
    std::vector<std::int32_t> measure(std::vector<std::int32_t> qudits) override;
    std::vector<std::int32_t> forced_measure(std::vector<std::int32_t> qudits,
                                             std::vector<std::int32_t> outcomes) override;

    /// Keeps the entries whose dit at qudits[i] equals outcome[i] for every i,
    /// by a two-ended partition (A+ B- C+ D- E+ becomes A+ E+ C+), then scales
    /// the survivors by 1/sqrt of their squared norm summed in float. Throws
    /// std::runtime_error "State collapsed to zero amplitude" when nothing is
    /// left or that norm is at most 2^-23; the removal stays done.
    void collapse_to_outcome(const std::vector<std::int32_t>& qudits, const std::vector<std::int32_t>& outcome);

    void phase_rotate(const Predicates& predicates, double angle) override;
    void shift(const Targets& targets, const Predicates& predicates) override;
    void fractional_shift(const Targets& targets, double fraction, const Predicates& predicates) override;
    void fractional_cycle(const Targets& targets, double fraction, const Predicates& predicates) override;
    void cycle(const Targets& targets, const Predicates& predicates) override;
    void clock(const Targets& targets, const Predicates& predicates) override;
    void fractional_clock(const Targets& targets, double fraction, const Predicates& predicates) override;
    void hadamard(const Targets& targets, const Predicates& predicates) override;
    void fractional_hadamard(const Targets& targets, double fraction, const Predicates& predicates) override;
    void inverse_hadamard(const Targets& targets, const Predicates& predicates) override;
    void swap(std::int32_t qudit1, std::int32_t qudit2, const Predicates& predicates) override;
    void i_swap(std::int32_t qudit1, std::int32_t qudit2, double fraction, const Predicates& predicates) override;
    bool is_factorizable(std::int32_t qudit) const override;
    std::vector<DynamicBasisEntry> extract_factor(std::int32_t qudit) const override;
    void basis_rotation(std::vector<std::int32_t> dits_a, std::vector<std::int32_t> dits_b, double angle) override;
    bool packed_entries(std::vector<PackedEntry>& out) const override;
    bool value_weights(std::int32_t qudit, std::vector<double>& weights) const override;
    std::unique_ptr<IState> without_qudit(std::int32_t qudit, std::int64_t keep) const override;

    /// Sums entries of equal dits and drops those whose components are both
    /// at most AMPLITUDE_PRUNE_EPSILON. Up to 8 entries keep their order of
    /// first occurrence; longer lists come out sorted by dits.
    static void merge_entries(std::vector<Entry>& list);

    /// Appends `entry` to a list built in ascending order of dits: summed into
    /// the last entry when their dits are equal, else after the last entry
    /// has been dropped if it is negligible. The list is done once
    /// drop_last_if_negligible has run on it.
    static void append_merged(std::vector<Entry>& list, const Entry& entry) {
        if (!list.empty()) {
            if (list.back().dits == entry.dits) {
                list.back().amplitude += entry.amplitude;
                return;
            }
            drop_last_if_negligible(list);
        }
        list.push_back(entry);
    }
    static void drop_last_if_negligible(std::vector<Entry>& list) {
        if (!list.empty() && negligible(list.back().amplitude)) list.pop_back();
    }

    /// Throws BadQuditIndex "<context>: qudit index i out of range [0, n)".
    void check_qudit_index(std::int32_t qudit, const char* context) const;
    /// As check_qudit_index, with a message of its own for a negative index.
    void check_qudit_index_signed(std::int32_t qudit, const char* context) const;
    /// Throws StateSizeExceeded past MAX_STATE_SIZE entries.
    void check_state_size() const;

    const std::vector<Entry>& entries() const { return entries_; }

private:
    /// This thread's generator for this state type, seeded on first use from
    /// the random device; a failed seeding is tried again on the next call.
    static std::mt19937& generator();

    /// Qudits per entry: N of the packed form; in the dynamic form the first
    /// entry's length, or the field when there is no entry.
    std::uint64_t qudit_count() const;

    /// The frame every spreading gate shares: checks, size estimate, expansion
    /// of each selected entry over the values of each target on a working
    /// copy, merge, and replacement of the list only at the end. With
    /// `previous` the replaced list is moved there rather than freed. With
    /// `clock_fraction`, the fractional clock of that reduced fraction turns
    /// the sums as a regrouped last expansion makes them; true when it did.
    bool spread(const Targets& targets, const Predicates& predicates, const SpreadRule& rule, double fraction,
                std::vector<Entry>* previous = nullptr, const double* clock_fraction = nullptr);
    /// The last expansion of spread on a packed form, regrouped as it is
    /// made: true with `out` the merged list of what expanding `source` over
    /// `target` gives, each sum made turned by `clock` where it is given;
    /// false, for short lists and repeated dits, which the plain expansion
    /// and merge take.
    static bool spread_merged(const std::vector<Entry>& source, std::int32_t target, std::uint64_t d,
                              std::uint64_t columns, const std::complex<double>* factors, const Predicates& predicates,
                              const char* context, const PackedClock<T>* clock, std::vector<Entry>& out);
    /// hadamard, the replaced list moved to `previous` (left alone when the
    /// state is empty or the gate fails), then the fractional clock of the
    /// reduced `clock_fraction` where the regrouping could apply it: true
    /// when it did, and otherwise it is the caller's to apply.
    bool hadamard_clocked(const Targets& targets, const Predicates& predicates, double clock_fraction,
                          std::vector<Entry>& previous);
    /// Fractional shift without its overlap check: the fractional clock
    /// conjugated by the Hadamard pair, all or nothing. Fractional cycle is
    /// the same with the fraction negated.
    void conjugated_clock(const Targets& targets, double fraction, const Predicates& predicates);
    /// The checks swap and i_swap share: overlap, indices, and (on a state
    /// with entries) equal dimensions of the two dits in the first entry.
    void check_pair(std::int32_t qudit1, std::int32_t qudit2, const Predicates& predicates, const char* overlap,
                    const char* context, const char* different) const;

    std::vector<Entry> entries_;
    std::uint64_t dimension_;
    std::uint64_t num_qudits_;
};

template <class T>
State<T>::State(std::uint64_t dimension, std::uint64_t num_qudits, const std::vector<DynamicBasisEntry>& list)
    : dimension_(dimension), num_qudits_(num_qudits) {
    entries_.reserve(list.size());
    EntryIndex<T> index(list.size());
    for (const DynamicBasisEntry& item : list) {
        T dits = make_basis_state<T>(item.dits.dits);
        const auto position = static_cast<std::uint32_t>(entries_.size());
        const std::uint32_t found = index.find_or_insert(dits, position, entries_);
        if (found == EntryIndex<T>::NONE)
            entries_.push_back(Entry{std::move(dits), item.amplitude});
        else
            entries_[found].amplitude += item.amplitude;
    }
    // Only exact zeros go: -0.0 counts, a NaN does not.
    std::erase_if(entries_, [](const Entry& e) { return e.amplitude.real() == 0.0 && e.amplitude.imag() == 0.0; });
}

template <class T>
State<T>::State(std::vector<Entry> list, bool distinct)
    requires(!is_dynamic_v<T>)
    : dimension_(T::max_dimension), num_qudits_(T::size()) {
    if (distinct) {
        entries_ = std::move(list);
    } else {
        entries_.reserve(list.size());
        EntryIndex<T> index(list.size());
        for (const Entry& entry : list) {
            const auto position = static_cast<std::uint32_t>(entries_.size());
            const std::uint32_t found = index.find_or_insert(entry.dits, position, entries_);
            if (found == EntryIndex<T>::NONE)
                entries_.push_back(entry);
            else
                entries_[found].amplitude += entry.amplitude;
        }
    }
    std::erase_if(entries_, [](const Entry& e) { return e.amplitude.real() == 0.0 && e.amplitude.imag() == 0.0; });
}

template <class T>
std::uint64_t State<T>::dimension() const {
    if constexpr (is_dynamic_v<T>)
        return dimension_;
    else
        return T::max_dimension;
}

template <class T>
std::uint64_t State<T>::num_qudits() const {
    if constexpr (is_dynamic_v<T>)
        return num_qudits_;
    else
        return T::size();
}

template <class T>
std::uint64_t State<T>::qudit_count() const {
    if constexpr (is_dynamic_v<T>)
        return entries_.empty() ? num_qudits_ : entries_.front().dits.size();
    else
        return T::size();
}

template <class T>
std::uint64_t State<T>::qudit_dimension(std::int32_t qudit) const {
    check_qudit_index(qudit, "qudit_dimension");
    // An empty state has no dit to ask: it answers with its form's D.
    if (entries_.empty()) return dimension_;
    return static_cast<Dit>(entries_.front().dits[qudit]).dimension;
}

template <class T>
std::vector<DynamicBasisEntry> State<T>::basis_entries() const {
    std::vector<DynamicBasisEntry> out;
    out.reserve(entries_.size());
    for (const Entry& entry : entries_) {
        if constexpr (is_dynamic_v<T>) {
            out.push_back(entry);
        } else {
            std::vector<Dit> dits(T::size());
            for (std::uint32_t i = 0; i < T::size(); ++i) dits[i] = entry.dits[static_cast<std::int32_t>(i)];
            out.push_back(DynamicBasisEntry{DynamicDitArray(std::move(dits)), entry.amplitude});
        }
    }
    return out;
}

template <class T>
void State<T>::normalize() {
    if (entries_.empty()) return;
    double norm2 = 0.0;
    for (const Entry& e : entries_) norm2 += squared_magnitude(e.amplitude);
    // Negligible (or NaN) norms are left alone rather than divided by.
    if (!(norm2 > 1e-20)) return;
    // Already normalised to this accuracy: repeated calls must not drift.
    if (!(std::abs(norm2 - 1.0) > 1e-12)) return;
    const double scale = 1.0 / std::sqrt(norm2);
    for (Entry& e : entries_) e.amplitude = {e.amplitude.real() * scale, e.amplitude.imag() * scale};
}

template <class T>
void State<T>::check_qudit_index(std::int32_t qudit, const char* context) const {
    const std::uint64_t count = qudit_count();
    bool inside;
    if constexpr (is_dynamic_v<T>)
        inside = qudit >= 0 && static_cast<std::uint64_t>(qudit) < count;
    else
        inside = static_cast<std::uint32_t>(qudit) < T::size();
    if (!inside) throw BadQuditIndex(str_cat(context, ": qudit index ", qudit, " out of range [0, ", count, ")"));
}

template <class T>
void State<T>::check_qudit_index_signed(std::int32_t qudit, const char* context) const {
    if (qudit < 0) throw BadQuditIndex(str_cat(context, ": qudit index ", qudit, " is negative"));
    if constexpr (is_dynamic_v<T>)
        if (qudit_count() == 0) return;
    check_qudit_index(qudit, context);
}

template <class T>
void State<T>::check_state_size() const {
    if (entries_.size() > MAX_STATE_SIZE)
        throw StateSizeExceeded(
            str_cat("State has ", entries_.size(), " basis states, exceeding limit of ", MAX_STATE_SIZE));
}

// Single-token names of the compiled shapes, for instantiation lists
// (see state_members.def).
#define VORTAN_SHAPE(D, N) using DitArray##D##x##N = DitArray<D, N>;
#include "qudit/state_shapes.def"
#undef VORTAN_SHAPE

// The class and its storage operations are instantiated once, in
// state_instances.cc; each family of operations instantiates its own members.
#define VORTAN_SHAPE(D, N) extern template class State<DitArray<D, N>>;
#include "qudit/state_shapes.def"
#undef VORTAN_SHAPE
extern template class State<DynamicDitArray>;

}  // namespace vortan::qudit
