// The outcome distribution of a list of qudits: the one place where
// amplitudes become probabilities.

#include <algorithm>
#include <unordered_map>

#include "qudit/measurement/outcome_tally.h"
#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

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
        result = tally_outcomes(entries_, OutcomeCode<T>(qudits), qudits.size());
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
