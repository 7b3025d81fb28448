#pragma once
// What the reading operations of a state return: outcome distributions and
// the elements of a reduced density matrix. Internal records; the boundary
// lays them out into the host's buffers.

#include <complex>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "qudit/dit_array.h"

namespace vortan::qudit {

/// An allocator whose resize leaves new elements uninitialised: for storage
/// that is written right after it is made.
template <class U>
struct UninitialisedAllocator : std::allocator<U> {
    template <class V>
    struct rebind {
        using other = UninitialisedAllocator<V>;
    };
    UninitialisedAllocator() = default;
    template <class V>
    UninitialisedAllocator(const UninitialisedAllocator<V>&) noexcept {}
    template <class V>
    void construct(V* at) noexcept {
        ::new (static_cast<void*>(at)) V;
    }
    template <class V, class... Args>
    void construct(V* at, Args&&... args) {
        ::new (static_cast<void*>(at)) V(std::forward<Args>(args)...);
    }
};

/// The outcome distribution of a list of qudits. Record i has an outcome, one
/// dit value per element of the list in the list's order, and a probability:
/// the summed squared magnitude of the entries that show it (not divided by
/// the state's norm). The outcomes lie in one array, `width` values apart, so
/// that a record costs no allocation of its own; with many outcomes (one per
/// entry at worst) that allocation was most of the cost of the reading.
class OutcomeDistribution {
public:
    explicit OutcomeDistribution(std::size_t width = 0) : width_(width) {}

    /// Records, not values.
    std::size_t size() const { return probabilities_.size(); }
    bool empty() const { return probabilities_.empty(); }
    /// Values per outcome: the length of the qudit list.
    std::size_t width() const { return width_; }
    std::span<const std::int32_t> outcome(std::size_t record) const {
        return {outcomes_.data() + record * width_, width_};
    }
    double probability(std::size_t record) const { return probabilities_[record]; }
    /// All probabilities in record order.
    const std::vector<double>& probabilities() const { return probabilities_; }

    void reserve(std::size_t records) {
        probabilities_.reserve(records);
        outcomes_.reserve(records * width_);
    }
    /// Appends a record of probability `p` and returns where its `width`
    /// values are to be written; they are not initialised.
    std::int32_t* append(double p) {
        probabilities_.push_back(p);
        outcomes_.resize(outcomes_.size() + width_);
        return outcomes_.data() + (outcomes_.size() - width_);
    }
    /// Adds `p` to the probability of a record.
    void add(std::size_t record, double p) { probabilities_[record] += p; }

private:
    std::size_t width_;
    std::vector<std::int32_t, UninitialisedAllocator<std::int32_t>> outcomes_;
    std::vector<double> probabilities_;
};

/// The reached places of a reduced density matrix. Rows and columns are
/// labels: the distinct lists of kept dit values, each stored once, so that an
/// element takes three words however many qudits are kept.
struct DensityMatrix {
    /// The sum of a[i] * conj(a[j]) over the entry pairs whose kept dits are
    /// labels `row` (ket) and `column` (bra) and whose traced dits agree.
    struct Element {
        std::complex<double> value;
        std::uint32_t row;
        std::uint32_t column;
    };

    /// Dits per label: the length of the qudit list.
    std::size_t width = 0;
    std::uint32_t label_count = 0;
    /// Label k's dit values, in list order, at [k * width, (k + 1) * width);
    /// labels are numbered in order of first occurrence in storage.
    std::vector<std::int32_t> labels;
    /// In order of the first pair that reaches them, no place twice.
    std::vector<Element> elements;

    std::span<const std::int32_t> label(std::uint32_t k) const { return {labels.data() + k * width, width}; }
};

/// FNV-1a over whole elements rather than bytes, each sign-extended to 64
/// bits: the hash that outcome tables are specified with.
inline std::uint64_t outcome_hash(std::span<const std::int32_t> outcome) {
    std::uint64_t hash = FNV_OFFSET_BASIS;
    for (const std::int32_t value : outcome)
        hash = fnv1a_step(hash, static_cast<std::uint64_t>(static_cast<std::int64_t>(value)));
    return hash;
}

}  // namespace vortan::qudit
