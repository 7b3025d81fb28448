// Measurement with collapse, sampled or forced. Both end in the same
// collapse: a two-ended partition, then a renormalisation at float precision.

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <limits>
#include <span>
#include <type_traits>
#include <stdexcept>
#include <utility>

#include "qudit/measurement/outcome_tally.h"
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

/// The entries a collapse keeps: bit i % 64 of word i / 64 for entry i.
struct Survivors {
    std::vector<std::uint64_t> shown;
    std::size_t kept = 0;
};

template <class T>
Survivors shown_by(const std::vector<BasisEntry<T>>& entries, const Selection<T>& selection) {
    const std::size_t n = entries.size();
    Survivors survivors{std::vector<std::uint64_t>((n + 63) / 64, 0), 0};
    for (std::size_t i = 0; i < n; ++i) {
        const std::uint64_t bit = selection.passes(entries[i].dits.values) ? 1 : 0;
        survivors.shown[i / 64] |= bit << (i % 64);
        survivors.kept += bit;
    }
    return survivors;
}

/// The same from each entry's record, eight at a time: `record_of` holds n
/// records and is padded to a multiple of 8 with a byte no record has.
Survivors shown_by_record(const std::uint8_t* record_of, std::size_t n, std::uint8_t drawn) {
    constexpr std::uint64_t LOW7 = 0x7F7F7F7F7F7F7F7FULL, HIGH = 0x8080808080808080ULL;
    Survivors survivors{std::vector<std::uint64_t>((n + 63) / 64, 0), 0};
    const std::uint64_t pattern = 0x0101010101010101ULL * drawn;
    for (std::size_t c = 0; c < (n + 7) / 8; ++c) {
        std::uint64_t chunk;
        std::memcpy(&chunk, record_of + 8 * c, 8);
        const std::uint64_t differ = chunk ^ pattern;
        // High bit of each byte that is zero, exactly (no borrow between bytes).
        const std::uint64_t equal = ~(((differ & LOW7) + LOW7) | differ) & HIGH;
        // Byte j's flag, at bit 8j + 7, lands on bit 56 + j; no two products meet.
        const std::uint64_t bits = ((equal >> 7) * 0x0102040810204080ULL) >> 56;
        survivors.shown[c / 8] |= bits << (8 * (c % 8));
    }
    // Counted per word: the generic target has no population count instruction.
    for (const std::uint64_t word : survivors.shown) survivors.kept += static_cast<std::size_t>(std::popcount(word));
    return survivors;
}

/// The squared norm summed into a float, rounded at every step.
inline float add_squared(float norm2, const std::complex<double>& amplitude) {
    return static_cast<float>(static_cast<double>(norm2) + squared_magnitude(amplitude));
}

/// The two-ended partition of collapse_to_outcome on a packed form, with its
/// result and none of its branches per entry. With k survivors, the entries
/// below k that are not shown are its holes, taken in ascending order, and
/// the shown ones at k or above its donors, taken in descending order: each
/// hole receives the next donor, and the list ends at k. Returns the squared
/// norm of what is kept, summed in list order block by block as the holes
/// are filled, so that its chain of float additions overlaps the copying.
template <class T>
float keep_shown(std::vector<BasisEntry<T>>& entries, const Survivors& survivors) {
    const std::vector<std::uint64_t>& shown = survivors.shown;
    const std::size_t kept = survivors.kept;
    // The positions of word w that lie below k.
    const auto below = [&](std::size_t w) -> std::uint64_t {
        if (kept >= 64 * (w + 1)) return ~std::uint64_t{0};
        if (kept <= 64 * w) return 0;
        return (std::uint64_t{1} << (kept - 64 * w)) - 1;
    };
    std::size_t donor_word = shown.size();
    std::uint64_t donors = 0;
    float norm2 = 0.0f;
    for (std::size_t w = 0; 64 * w < kept; ++w) {
        for (std::uint64_t holes = ~shown[w] & below(w); holes != 0; holes &= holes - 1) {
            const std::size_t hole = 64 * w + static_cast<std::size_t>(std::countr_zero(holes));
            // As many donors as holes: this never runs past the first word.
            while (donors == 0) {
                --donor_word;
                donors = shown[donor_word] & ~below(donor_word);
            }
            const auto top = static_cast<unsigned>(63 - std::countl_zero(donors));
            donors &= ~(std::uint64_t{1} << top);
            entries[hole] = entries[64 * donor_word + top];
        }
        const std::size_t end = std::min(kept, 64 * (w + 1));
        for (std::size_t i = 64 * w; i < end; ++i) norm2 = add_squared(norm2, entries[i].amplitude);
    }
    entries.resize(kept);
    return norm2;
}

/// The end of every collapse: refuses what is empty or of squared norm at
/// most float epsilon, else scales by 1 / sqrt(norm2) taken in float.
template <class T>
void renormalise_kept(std::vector<BasisEntry<T>>& entries, float norm2) {
    if (entries.empty() || !(norm2 > std::numeric_limits<float>::epsilon()))
        throw std::runtime_error("State collapsed to zero amplitude");
    const double factor = static_cast<double>(1.0f / std::sqrt(norm2));
    for (BasisEntry<T>& entry : entries)
        entry.amplitude = {entry.amplitude.real() * factor, entry.amplitude.imag() * factor};
}

/// The outcome of a record drawn from `records` with this thread's
/// generator, seeded first even when the draw needs no number.
template <class T>
std::vector<std::int32_t> drawn_outcome(const OutcomeDistribution& records, std::mt19937& engine,
                                        std::int32_t& drawn) {
    drawn = draw_index(weights_of(records.probabilities()), engine);
    const std::span<const std::int32_t> chosen = records.outcome(static_cast<std::size_t>(drawn));
    return std::vector<std::int32_t>(chosen.begin(), chosen.end());
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
    std::int32_t drawn = 0;
    if constexpr (!is_dynamic_v<T>) {
        // Few outcomes on a packed form: the tally notes each entry's record,
        // and the collapse keeps the entries of the drawn one by those notes
        // alone, in the same order as by their dits.
        if (!qudits.empty()) {
            for (const std::int32_t q : qudits) check_qudit_index(q, "probabilities");
            const OutcomeCode<T> code(qudits);
            if (code.codes() < 256) {
                const std::size_t n = entries_.size();
                const std::size_t padded = (n + 7) / 8 * 8;
                std::unique_ptr<std::uint8_t[]> record_of(new std::uint8_t[padded]);
                std::fill(record_of.get() + n, record_of.get() + padded, std::uint8_t{255});
                const OutcomeDistribution records = tally_outcomes(entries_, code, qudits.size(), record_of.get());
                if (records.empty()) return {};
                std::vector<std::int32_t> outcome = drawn_outcome<T>(records, generator(), drawn);
                const float norm2 =
                    keep_shown(entries_, shown_by_record(record_of.get(), n, static_cast<std::uint8_t>(drawn)));
                renormalise_kept(entries_, norm2);
                return outcome;
            }
        }
    }
    const OutcomeDistribution records = probabilities(qudits);
    if (records.empty()) return {};
    std::vector<std::int32_t> outcome = drawn_outcome<T>(records, generator(), drawn);
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
    float norm2 = 0.0f;
    if constexpr (!is_dynamic_v<T>) {
        compiled = Selection<T>::fits(qudits);
        if (compiled) norm2 = keep_shown(entries_, shown_by(entries_, Selection<T>(qudits, outcome)));
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
        for (const Entry& entry : entries_) norm2 = add_squared(norm2, entry.amplitude);
    }
    renormalise_kept(entries_, norm2);
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
