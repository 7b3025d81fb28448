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
    /// The kept dits of each kept id, in list order.
    std::vector<std::vector<std::int32_t>> kept_values;
    std::uint32_t traced_groups = 0;
};

// For each entry i in storage order, the entries j of its group in storage
// order: the matching pairs of the full double loop, in the same sequence.
std::vector<DensityElement> sum_pairs(const PairTerms& terms) {
    const std::size_t n = terms.amplitudes.size();
    std::vector<std::uint32_t> offsets(terms.traced_groups + 1, 0);
    for (const std::uint32_t g : terms.traced) ++offsets[g + 1];
    for (std::size_t g = 0; g < terms.traced_groups; ++g) offsets[g + 1] += offsets[g];
    // Members of each group side by side, ascending: the inner loop then
    // reads one contiguous run instead of scattered entries.
    struct Member {
        std::complex<double> amplitude;
        std::uint32_t kept;
    };
    std::vector<Member> members(n);
    std::vector<std::uint32_t> fill(offsets.begin(), offsets.end() - 1);
    for (std::size_t j = 0; j < n; ++j) members[fill[terms.traced[j]]++] = {terms.amplitudes[j], terms.kept[j]};

    std::vector<DensityElement> result;
    WordIndex index;
    for (std::size_t i = 0; i < n; ++i) {
        if (i + PREFETCH_DISTANCE < n) __builtin_prefetch(&members[offsets[terms.traced[i + PREFETCH_DISTANCE]]]);
        const std::uint32_t g = terms.traced[i];
        const std::complex<double> ket = terms.amplitudes[i];
        const std::uint64_t row_key = static_cast<std::uint64_t>(terms.kept[i]) << 32;
        for (std::uint32_t m = offsets[g]; m < offsets[g + 1]; ++m) {
            const Member& bra = members[m];
            const std::complex<double> p = ket * std::conj(bra.amplitude);
            const auto position = static_cast<std::uint32_t>(result.size());
            const std::uint32_t found = index.find_or_insert(row_key | bra.kept, position);
            if (found != WordIndex::NONE)
                result[found].value += p;
            else
                result.push_back({terms.kept_values[terms.kept[i]], terms.kept_values[bra.kept], p});
        }
    }
    return result;
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
std::vector<DensityElement> State<T>::reduced_density_matrix(std::vector<std::int32_t> qudits) const {
    std::vector<std::int32_t> traced;
    for (std::uint64_t q = 0; q < num_qudits(); ++q)
        if (std::find(qudits.begin(), qudits.end(), static_cast<std::int32_t>(q)) == qudits.end())
            traced.push_back(static_cast<std::int32_t>(q));

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
            const auto next_kept = static_cast<std::uint32_t>(terms.kept_values.size());
            const std::uint32_t kept = kept_ids.find_or_insert(entry.dits.values & kept_mask, next_kept);
            if (kept == WordIndex::NONE) {
                std::vector<std::int32_t> values;
                values.reserve(qudits.size());
                for (const std::int32_t q : qudits)
                    values.push_back(static_cast<std::int32_t>(entry.dits.value_at(static_cast<std::uint32_t>(q))));
                terms.kept_values.push_back(std::move(values));
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
            if (is_new) terms.kept_values.push_back(kept_values);
            terms.traced.push_back(traced_ids.id_of(traced_values, is_new));
        }
        terms.traced_groups = traced_ids.size();
    }
    return sum_pairs(terms);
}

#define VORTAN_INSTANTIATE(T) \
    template std::vector<DensityElement> State<T>::reduced_density_matrix(std::vector<std::int32_t>) const;
#include "qudit/state_members.def"

}  // namespace vortan::qudit
