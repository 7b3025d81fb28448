// The outcome distribution of a list of qudits: the one place where
// amplitudes become probabilities.

#include <algorithm>
#include <bit>
#include <unordered_map>

#include "qudit/measurement/word_index.h"
#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

// How many entries ahead a lookup of the hashed path is prefetched.
constexpr std::size_t LOOKAHEAD = 16;

struct OutcomeKeyHash {
    std::size_t operator()(const std::vector<std::int32_t>& outcome) const {
        return static_cast<std::size_t>(outcome_hash(outcome));
    }
};

// A dit read of the dynamic form, checked against that entry's own length.
std::int32_t checked_value(const DynamicDitArray& dits, std::int32_t qudit) {
    if (qudit < 0 || static_cast<std::uint64_t>(qudit) >= dits.size())
        throw BadQuditIndex(
            str_cat("probabilities: qudit index ", qudit, " out of range [0, ", dits.size(), ")"));
    return static_cast<std::int32_t>(dits.value_at(static_cast<std::uint32_t>(qudit)));
}

}  // namespace

template <class T>
OutcomeDistribution State<T>::probabilities(std::vector<std::int32_t> qudits) const {
    if (qudits.empty())
        for (std::uint64_t q = 0; q < num_qudits(); ++q) qudits.push_back(static_cast<std::int32_t>(q));
    for (const std::int32_t q : qudits) check_qudit_index(q, "probabilities");

    OutcomeDistribution result(qudits.size());
    if constexpr (!is_dynamic_v<T>) {
        // The outcome is a function of the listed fields of the values word
        // alone, so that word masked is a key with the same equality as the
        // outcome, repeated and long lists included. Records still come in
        // order of first occurrence and sum in storage order.
        std::uint64_t mask = 0;
        std::vector<unsigned> shifts;
        shifts.reserve(qudits.size());
        for (const std::int32_t q : qudits) {
            shifts.push_back(T::shift_of(static_cast<std::uint32_t>(q)));
            mask |= T::mask << shifts.back();
        }
        // `position_of(key, position)` is the record of a masked word, or NONE
        // after it has recorded `position` for it.
        const auto tally = [&](auto&& position_of, auto&& ahead) {
            const std::size_t n = entries_.size();
            for (std::size_t i = 0; i < n; ++i) {
                const Entry& entry = entries_[i];
                if (i + LOOKAHEAD < n) ahead(entries_[i + LOOKAHEAD].dits.values & mask);
                const double p = squared_magnitude(entry.amplitude);
                const auto position = static_cast<std::uint32_t>(result.size());
                const std::uint32_t found = position_of(entry.dits.values & mask, position);
                if (found != WordIndex::NONE) {
                    result.add(found, p);
                    continue;
                }
                std::int32_t* outcome = result.append(p);
                for (const unsigned shift : shifts)
                    *outcome++ = static_cast<std::int32_t>((entry.dits.values >> shift) & T::mask);
            }
        };
        // Few listed bits, or few enough for the entries: the masked word,
        // moved down, indexes a table of positions directly.
        const unsigned low = static_cast<unsigned>(std::countr_zero(mask));
        const std::uint64_t span = (mask >> low) + 1;
        if (span <= 65536 && span <= 4 * entries_.size() + 64) {
            std::vector<std::uint32_t> table(span, WordIndex::NONE);
            tally(
                [&](std::uint64_t key, std::uint32_t position) {
                    std::uint32_t& slot = table[key >> low];
                    if (slot != WordIndex::NONE) return slot;
                    slot = position;
                    return WordIndex::NONE;
                },
                [](std::uint64_t) {});
        } else {
            // As many outcomes as entries at most, and as the listed bits allow.
            const unsigned bits = static_cast<unsigned>(std::popcount(mask));
            const std::size_t most = bits >= 32 ? entries_.size()
                                                : std::min<std::size_t>(entries_.size(), std::size_t{1} << bits);
            WordIndex index(most);
            result.reserve(most);
            // A table this large misses the cache on most lookups: ask early.
            tally([&](std::uint64_t key, std::uint32_t position) { return index.find_or_insert(key, position); },
                  [&](std::uint64_t key) { index.prefetch(key); });
        }
    } else {
        std::unordered_map<std::vector<std::int32_t>, std::size_t, OutcomeKeyHash> index;
        index.max_load_factor(1.0f);
        index.reserve(entries_.size());
        std::vector<std::int32_t> scratch;
        scratch.reserve(qudits.size());
        for (const Entry& entry : entries_) {
            scratch.clear();
            for (const std::int32_t q : qudits) scratch.push_back(checked_value(entry.dits, q));
            const double p = squared_magnitude(entry.amplitude);
            const auto found = index.find(scratch);
            if (found != index.end()) {
                result.add(found->second, p);
            } else {
                index.emplace(scratch, result.size());
                std::copy(scratch.begin(), scratch.end(), result.append(p));
            }
        }
    }
    return result;
}

#define VORTAN_INSTANTIATE(T) \
    template OutcomeDistribution State<T>::probabilities(std::vector<std::int32_t>) const;
#include "qudit/state_members.def"

}  // namespace vortan::qudit
