// The reduced density matrix of a list of qudits. The defining sum runs over
// all pairs of entries whose traced dits agree; visiting only those pairs,
// grouped by their traced dits, keeps the order of every addition and of the
// elements exactly that of the plain double loop over all pairs.

#include <algorithm>
#include <unordered_map>

#include "qudit/measurement/word_index.h"
#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

// How many entries ahead the scattered reads are announced: enough to cover
// a miss to memory at the cost of one entry's work.
constexpr std::size_t PREFETCH_DISTANCE = 16;

/// Each entry reduced to what the pair sum needs: its amplitude, the id of
/// its kept dits and the id of its traced dits, ids given by first occurrence.
struct PairTerms {
    std::vector<std::complex<double>> amplitudes;
    std::vector<std::uint32_t> kept;
    std::vector<std::uint32_t> traced;
    std::uint32_t traced_groups = 0;
};

/// The entries grouped by their traced dits: group g's members stand side by
/// side, ascending, at [offsets[g], offsets[g + 1]), so that the inner loop
/// reads one contiguous run instead of scattered entries.
struct Groups {
    struct Member {
        std::complex<double> amplitude;
        std::uint32_t kept;
    };
    std::vector<std::uint32_t> offsets;
    std::vector<Member> members;

    explicit Groups(const PairTerms& terms) : offsets(terms.traced_groups + 1, 0), members(terms.amplitudes.size()) {
        for (const std::uint32_t g : terms.traced) ++offsets[g + 1];
        for (std::size_t g = 0; g < terms.traced_groups; ++g) offsets[g + 1] += offsets[g];
        std::vector<std::uint32_t> fill(offsets.begin(), offsets.end() - 1);
        for (std::size_t j = 0; j < members.size(); ++j)
            members[fill[terms.traced[j]]++] = {terms.amplitudes[j], terms.kept[j]};
    }

    /// The number of pairs the sum visits: the squares of the group sizes.
    std::uint64_t pair_count() const {
        std::uint64_t pairs = 0;
        for (std::size_t g = 0; g + 1 < offsets.size(); ++g) {
            const std::uint64_t size = offsets[g + 1] - offsets[g];
            pairs += size * size;
        }
        return pairs;
    }
};

// For each entry i in storage order, the entries j of its group in storage
// order: the matching pairs of the full double loop, in the same sequence.
template <class Visit>
void for_each_pair(const PairTerms& terms, const Groups& groups, Visit&& visit) {
    const std::size_t n = terms.amplitudes.size();
    for (std::size_t i = 0; i < n; ++i) {
        if (i + PREFETCH_DISTANCE < n)
            __builtin_prefetch(&groups.members[groups.offsets[terms.traced[i + PREFETCH_DISTANCE]]]);
        const std::uint32_t g = terms.traced[i];
        for (std::uint32_t m = groups.offsets[g]; m < groups.offsets[g + 1]; ++m) visit(i, groups.members[m]);
    }
}

/// Numbers of the places of a labels x labels matrix, one word per place:
/// the cheapest index where the pairs reach a fair part of the square.
class DensePlaces {
public:
    explicit DensePlaces(std::uint32_t labels)
        : labels_(labels), numbers_(static_cast<std::size_t>(labels) * labels, WordIndex::NONE) {}
    std::uint32_t find_or_insert(std::uint32_t row, std::uint32_t column, std::uint32_t number) {
        std::uint32_t& slot = numbers_[static_cast<std::size_t>(row) * labels_ + column];
        if (slot != WordIndex::NONE) return slot;
        slot = number;
        return WordIndex::NONE;
    }
    std::uint32_t find(std::uint32_t row, std::uint32_t column) const {
        return numbers_[static_cast<std::size_t>(row) * labels_ + column];
    }

private:
    std::size_t labels_;
    std::vector<std::uint32_t> numbers_;
};

/// The same over a hash of the places reached, for a sparse square.
class HashedPlaces {
public:
    std::uint32_t find_or_insert(std::uint32_t row, std::uint32_t column, std::uint32_t number) {
        return index_.find_or_insert(key(row, column), number);
    }
    std::uint32_t find(std::uint32_t row, std::uint32_t column) const { return index_.find(key(row, column)); }

private:
    static std::uint64_t key(std::uint32_t row, std::uint32_t column) {
        return static_cast<std::uint64_t>(row) << 32 | column;
    }
    WordIndex index_;
};

// A square of at most this many places is summed in one run, with room for
// all of them reserved at once: a few megabytes at most.
constexpr std::uint64_t ONE_RUN_PLACES = std::uint64_t{1} << 16;

// One run over the pairs, appending places as they are first met.
void sum_pairs_once(const PairTerms& terms, const Groups& groups, DensePlaces& places, std::size_t bound,
                    DensityMatrix& out) {
    out.elements.reserve(bound);
    for_each_pair(terms, groups, [&](std::size_t i, const Groups::Member& bra) {
        const std::complex<double> p = terms.amplitudes[i] * std::conj(bra.amplitude);
        const auto next = static_cast<std::uint32_t>(out.elements.size());
        const std::uint32_t number = places.find_or_insert(terms.kept[i], bra.kept, next);
        if (number == WordIndex::NONE)
            out.elements.push_back({p, terms.kept[i], bra.kept});
        else
            out.elements[number].value += p;
    });
}

// Places are numbered in the order the pair loop first meets them, and then
// summed over a second run of the same loop. The elements are allocated once
// at their final count, with no growth and no record per pair; each sum adds
// in the order of the loop, and a place's first product is assigned, not
// added to a zero, so that signed zeros come out as the plain loop gives them.
template <class Places>
void sum_pairs(const PairTerms& terms, const Groups& groups, Places& places, DensityMatrix& out) {
    std::uint32_t count = 0;
    for_each_pair(terms, groups, [&](std::size_t i, const Groups::Member& bra) {
        if (places.find_or_insert(terms.kept[i], bra.kept, count) == WordIndex::NONE) ++count;
    });
    out.elements.resize(count);
    // The loop meets places first in the order of their numbers.
    std::uint32_t met = 0;
    for_each_pair(terms, groups, [&](std::size_t i, const Groups::Member& bra) {
        const std::complex<double> p = terms.amplitudes[i] * std::conj(bra.amplitude);
        const std::uint32_t number = places.find(terms.kept[i], bra.kept);
        DensityMatrix::Element& element = out.elements[number];
        if (number == met) {
            element = {p, terms.kept[i], bra.kept};
            ++met;
        } else {
            element.value += p;
        }
    });
}

struct ValuesHash {
    std::size_t operator()(const std::vector<std::int32_t>& values) const {
        return static_cast<std::size_t>(outcome_hash(values));
    }
};

/// Dense ids for vectors of dit values, by first occurrence.
class VectorIds {
public:
    std::uint32_t id_of(const std::vector<std::int32_t>& values, bool& is_new) {
        const auto [at, inserted] = ids_.try_emplace(values, static_cast<std::uint32_t>(ids_.size()));
        is_new = inserted;
        return at->second;
    }
    std::uint32_t size() const { return static_cast<std::uint32_t>(ids_.size()); }

private:
    std::unordered_map<std::vector<std::int32_t>, std::uint32_t, ValuesHash> ids_;
};

}  // namespace

template <class T>
DensityMatrix State<T>::reduced_density_matrix(std::vector<std::int32_t> qudits) const {
    std::vector<std::int32_t> traced;
    for (std::uint64_t q = 0; q < num_qudits(); ++q)
        if (std::find(qudits.begin(), qudits.end(), static_cast<std::int32_t>(q)) == qudits.end())
            traced.push_back(static_cast<std::int32_t>(q));

    DensityMatrix result;
    result.width = qudits.size();
    PairTerms terms;
    terms.amplitudes.reserve(entries_.size());
    terms.kept.reserve(entries_.size());
    terms.traced.reserve(entries_.size());
    if constexpr (!is_dynamic_v<T>) {
        // Every entry has N dits, so a bad index fails at the first read of
        // the first entry, with the dit array's message, or not at all.
        if (!entries_.empty())
            for (const std::int32_t q : qudits) static_cast<void>(entries_.front().dits[q]);
        // Dits are keyed by their fields of the values word: equal masked
        // words, equal dit lists.
        std::uint64_t kept_mask = 0, traced_mask = 0;
        for (const std::int32_t q : qudits) kept_mask |= T::mask << T::shift_of(static_cast<std::uint32_t>(q));
        for (const std::int32_t q : traced) traced_mask |= T::mask << T::shift_of(static_cast<std::uint32_t>(q));
        WordIndex kept_ids, traced_ids(entries_.size());
        for (std::size_t i = 0; i < entries_.size(); ++i) {
            const Entry& entry = entries_[i];
            if (i + PREFETCH_DISTANCE < entries_.size())
                traced_ids.prefetch(entries_[i + PREFETCH_DISTANCE].dits.values & traced_mask);
            terms.amplitudes.push_back(entry.amplitude);
            const std::uint32_t next_kept = result.label_count;
            const std::uint32_t kept = kept_ids.find_or_insert(entry.dits.values & kept_mask, next_kept);
            if (kept == WordIndex::NONE) {
                for (const std::int32_t q : qudits)
                    result.labels.push_back(
                        static_cast<std::int32_t>(entry.dits.value_at(static_cast<std::uint32_t>(q))));
                ++result.label_count;
            }
            terms.kept.push_back(kept == WordIndex::NONE ? next_kept : kept);
            const std::uint32_t group = traced_ids.find_or_insert(entry.dits.values & traced_mask, terms.traced_groups);
            terms.traced.push_back(group == WordIndex::NONE ? terms.traced_groups++ : group);
        }
    } else {
        // Checked reads entry by entry, kept dits then traced ones: the first
        // read that fails is the one the plain double loop would meet first.
        VectorIds kept_ids, traced_ids;
        std::vector<std::int32_t> kept_values, traced_values;
        for (const Entry& entry : entries_) {
            kept_values.clear();
            traced_values.clear();
            for (const std::int32_t q : qudits) kept_values.push_back(static_cast<std::int32_t>(Dit(entry.dits[q]).value));
            for (const std::int32_t q : traced)
                traced_values.push_back(static_cast<std::int32_t>(Dit(entry.dits[q]).value));
            terms.amplitudes.push_back(entry.amplitude);
            bool is_new = false;
            terms.kept.push_back(kept_ids.id_of(kept_values, is_new));
            if (is_new) result.labels.insert(result.labels.end(), kept_values.begin(), kept_values.end());
            terms.traced.push_back(traced_ids.id_of(traced_values, is_new));
        }
        terms.traced_groups = traced_ids.size();
        result.label_count = kept_ids.size();
    }
    const Groups groups(terms);
    // The square of the labels bounds the places; where the pairs are far
    // fewer, so are the places, and a hash of them is smaller.
    const std::uint64_t square = static_cast<std::uint64_t>(result.label_count) * result.label_count;
    const std::uint64_t pairs = groups.pair_count();
    if (square <= ONE_RUN_PLACES) {
        DensePlaces places(result.label_count);
        sum_pairs_once(terms, groups, places, static_cast<std::size_t>(std::min(square, pairs)), result);
    } else if (square <= 8 * pairs) {
        DensePlaces places(result.label_count);
        sum_pairs(terms, groups, places, result);
    } else {
        HashedPlaces places;
        sum_pairs(terms, groups, places, result);
    }
    return result;
}

#define VORTAN_INSTANTIATE(T) \
    template DensityMatrix State<T>::reduced_density_matrix(std::vector<std::int32_t>) const;
#include "qudit/state_members.def"

}  // namespace vortan::qudit
