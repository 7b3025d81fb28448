// Measurement with collapse, sampled or forced. Both end in the same
// collapse: a two-ended partition, then a renormalisation at float precision.

#include <bit>
#include <limits>
#include <span>
#include <type_traits>
#include <stdexcept>
#include <utility>

#include "qudit/measurement/random_source.h"
#include "qudit/selection.h"
#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

// Every read is checked: the collapse does not rely on its callers, and a
// mismatch at an earlier position spares the later reads.
template <class T>
bool shows_outcome(const T& dits, const std::vector<std::int32_t>& qudits, const std::vector<std::int32_t>& outcome) {
    for (std::size_t i = 0; i < qudits.size(); ++i) {
        const Dit dit = dits[qudits[i]];
        if (dit.value != static_cast<std::uint64_t>(static_cast<std::int64_t>(outcome[i]))) return false;
    }
    return true;
}

/// The test of shows_outcome for one call: compiled on the packed forms when
/// every index is in range, the checked reads otherwise.
template <class T>
class OutcomeTest {
public:
    OutcomeTest(const std::vector<std::int32_t>& qudits, const std::vector<std::int32_t>& outcome)
        : qudits_(qudits), outcome_(outcome) {
        if constexpr (!is_dynamic_v<T>) {
            compiled_ = Selection<T>::fits(qudits);
            if (compiled_) selection_ = Selection<T>(qudits, outcome);
        }
    }

    bool operator()(const T& dits) const {
        if constexpr (!is_dynamic_v<T>)
            if (compiled_) return selection_.passes(dits.values);
        return shows_outcome(dits, qudits_, outcome_);
    }

private:
    struct None {};
    const std::vector<std::int32_t>& qudits_;
    const std::vector<std::int32_t>& outcome_;
    bool compiled_ = false;
    std::conditional_t<is_dynamic_v<T>, None, Selection<T>> selection_{};
};

/// The two-ended partition of collapse_to_outcome on a packed form, with its
/// result and none of its branches per entry. With k survivors, the entries
/// below k that do not show the outcome are its holes, taken in ascending
/// order, and the survivors at k or above its donors, taken in descending
/// order: each hole receives the next donor, and the list ends at k.
template <class T>
void keep_shown(std::vector<BasisEntry<T>>& entries, const Selection<T>& selection) {
    const std::size_t n = entries.size();
    std::vector<std::uint64_t> shown((n + 63) / 64, 0);
    std::size_t kept = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const std::uint64_t bit = selection.passes(entries[i].dits.values) ? 1 : 0;
        shown[i / 64] |= bit << (i % 64);
        kept += bit;
    }
    // The positions of word w that lie below k.
    const auto below = [&](std::size_t w) -> std::uint64_t {
        if (kept >= 64 * (w + 1)) return ~std::uint64_t{0};
        if (kept <= 64 * w) return 0;
        return (std::uint64_t{1} << (kept - 64 * w)) - 1;
    };
    std::size_t hole_word = 0, donor_word = shown.size();
    std::uint64_t holes = 0, donors = 0;
    for (;;) {
        while (holes == 0) {
            if (64 * hole_word >= kept) {
                entries.resize(kept);
                return;
            }
            holes = ~shown[hole_word] & below(hole_word);
            ++hole_word;
        }
        const std::size_t hole = 64 * (hole_word - 1) + static_cast<std::size_t>(std::countr_zero(holes));
        holes &= holes - 1;
        // As many donors as holes: this never runs past the first word.
        while (donors == 0) {
            --donor_word;
            donors = shown[donor_word] & ~below(donor_word);
        }
        const auto top = static_cast<unsigned>(63 - std::countl_zero(donors));
        donors &= ~(std::uint64_t{1} << top);
        entries[hole] = entries[64 * donor_word + top];
    }
}

}  // namespace

template <class T>
std::mt19937& State<T>::generator() {
    // One per thread and state type. If seeding throws, the object is not
    // initialised and the next call tries again.
    thread_local std::mt19937 engine = seeded_generator();
    return engine;
}

template <class T>
std::vector<std::int32_t> State<T>::measure(std::vector<std::int32_t> qudits) {
    const OutcomeDistribution records = probabilities(qudits);
    if (records.empty()) return {};
    // Seeding comes before the draw, even when the draw needs no number.
    std::mt19937& engine = generator();
    const std::int32_t drawn = draw_index(weights_of(records.probabilities()), engine);
    const std::span<const std::int32_t> chosen = records.outcome(static_cast<std::size_t>(drawn));
    std::vector<std::int32_t> outcome(chosen.begin(), chosen.end());
    // The caller's list, not the filled one: an empty list collapses nothing
    // and only renormalises.
    collapse_to_outcome(qudits, outcome);
    return outcome;
}

template <class T>
void State<T>::collapse_to_outcome(const std::vector<std::int32_t>& qudits, const std::vector<std::int32_t>& outcome) {
    // Two-ended partition: survivors before the first hole keep their places,
    // and each later hole takes the last survivor behind it. The order shows
    // in later distributions, so it is fixed here rather than left to a
    // library partition.
    bool compiled = false;
    if constexpr (!is_dynamic_v<T>) {
        compiled = Selection<T>::fits(qudits);
        if (compiled) keep_shown(entries_, Selection<T>(qudits, outcome));
    }
    if (!compiled) {
        const OutcomeTest<T> shows(qudits, outcome);
        auto first = entries_.begin();
        auto last = entries_.end();
        for (;;) {
            while (first != last && shows(first->dits)) ++first;
            if (first == last) break;
            --last;
            while (first != last && !shows(last->dits)) --last;
            if (first == last) break;
            std::iter_swap(first, last);
            ++first;
        }
        entries_.erase(first, entries_.end());
    }

    if (entries_.empty()) throw std::runtime_error("State collapsed to zero amplitude");
    // The norm is taken at float precision, rounded at every step.
    float norm2 = 0.0f;
    for (const Entry& entry : entries_) {
        const double p = squared_magnitude(entry.amplitude);
        norm2 = static_cast<float>(static_cast<double>(norm2) + p);
    }
    if (!(norm2 > std::numeric_limits<float>::epsilon())) throw std::runtime_error("State collapsed to zero amplitude");
    const double factor = static_cast<double>(1.0f / std::sqrt(norm2));
    for (Entry& entry : entries_) entry.amplitude = {entry.amplitude.real() * factor, entry.amplitude.imag() * factor};
}

template <class T>
std::vector<std::int32_t> State<T>::forced_measure(std::vector<std::int32_t> qudits, std::vector<std::int32_t> outcomes) {
    if (qudits.size() != outcomes.size())
        throw std::invalid_argument("Forced measurement requires the same number of qudit indices and outcome values");
    if (entries_.empty()) throw std::runtime_error("Cannot measure an empty quantum state");
    const std::uint64_t count = qudit_count();
    const T& reference = entries_.front().dits;
    // Index, then value, position by position.
    for (std::size_t i = 0; i < qudits.size(); ++i) {
        if (qudits[i] < 0 || static_cast<std::uint64_t>(qudits[i]) >= count)
            throw std::out_of_range("Qudit index out of range for forced measurement");
        // The limit is the named qudit's own dimension, not the form's D.
        const Dit dit = reference[qudits[i]];
        if (outcomes[i] < 0 || static_cast<std::uint64_t>(outcomes[i]) >= dit.dimension)
            throw std::invalid_argument("Forced measurement outcome value is out of range for the qudit dimension");
    }
    // Presence, not weight: an entry of amplitude 0 counts. A negligible one
    // passes here and is refused by the collapse, destructively.
    const OutcomeTest<T> shows(qudits, outcomes);
    bool present = false;
    for (const Entry& entry : entries_)
        if (shows(entry.dits)) {
            present = true;
            break;
        }
    if (!present)
        throw std::invalid_argument("Forced measurement outcome is inconsistent with the current state amplitudes");
    collapse_to_outcome(qudits, outcomes);
    return outcomes;
}

#define VORTAN_INSTANTIATE(T)                                                                               \
    template std::mt19937& State<T>::generator();                                                           \
    template std::vector<std::int32_t> State<T>::measure(std::vector<std::int32_t>);                         \
    template void State<T>::collapse_to_outcome(const std::vector<std::int32_t>&, const std::vector<std::int32_t>&); \
    template std::vector<std::int32_t> State<T>::forced_measure(std::vector<std::int32_t>, std::vector<std::int32_t>);
#include "qudit/state_members.def"

}  // namespace vortan::qudit
