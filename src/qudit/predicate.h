#pragma once
// Controls of a gate: conditions on dits of the very state the gate works on,
// joined by AND. Every gate filters entries through them as it walks the list.

#include <cstdint>
#include <vector>

#include "qudit/dit_array.h"
#include "qudit/errors.h"

namespace vortan::qudit {

/// One control: holds where dit `qudit_index` equals `value` (is_equal) or
/// differs from it. Indices are valid for one state at one moment.
struct Predicate {
    std::int32_t qudit_index;
    std::int32_t value;
    bool is_equal;
};

using Targets = std::vector<std::int32_t>;
using Predicates = std::vector<Predicate>;

/// Refuses a qudit that is both target and control, so that a gate can never
/// change what its own selection reads. Runs before anything else in a gate.
inline void check_target_control_overlap(const Targets& targets, const Predicates& predicates, const char* message) {
    for (std::int32_t target : targets)
        for (const Predicate& predicate : predicates)
            if (target == predicate.qudit_index) throw TargetControlOverlap(message);
}

/// True when every predicate holds for `dits`, looked at in order; stops at the
/// first that fails. A value outside the qudit's range never matches. Each
/// read goes through the array's range check.
template <class T>
inline bool entry_passes_predicates(const T& dits, const Predicates& predicates) {
    for (const Predicate& predicate : predicates) {
        const std::uint64_t value = static_cast<Dit>(dits[predicate.qudit_index]).value;
        const bool equal = value == static_cast<std::uint64_t>(static_cast<std::int64_t>(predicate.value));
        if (equal != predicate.is_equal) return false;
    }
    return true;
}

}  // namespace vortan::qudit
