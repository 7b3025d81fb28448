// Whether one qudit is a factor of its state, and its one-qudit state if it
// is. Both read the sparse list as it is: entries are grouped by the qudit's
// dit value into buckets of positions, and branches are compared on sorted
// copies by one walk, never entry against entry.

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "qudit/gates/radix_sort.h"
#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

// A branch at or below this share of the total weight does not count.
constexpr double NEGLIGIBLE_BRANCH = 1e-8;
// Largest difference of ratios, and largest stray amplitude.
constexpr double FACTOR_TOLERANCE = 1e-10;
// A branch at or below this share of the heaviest one gets coefficient 0.
constexpr double NEGLIGIBLE_COEFFICIENT = 1e-8;
// Coefficients of a smaller squared norm are left unnormalised.
constexpr double MIN_FACTOR_NORM2 = 1e-20;
// Coefficients of this magnitude or less are not emitted.
constexpr double MIN_FACTOR_MAGNITUDE = 1e-15;

double magnitude(std::complex<double> z) { return std::hypot(z.real(), z.imag()); }

/// The entries in which the qudit has one value: positions in state order,
/// and the sum of their squared magnitudes, in that order.
struct Bucket {
    std::uint64_t value = 0;
    std::vector<std::uint32_t> positions;
    double weight = 0.0;
};

/// The non-empty buckets of the values below d, ascending by value; entries
/// whose value is not below d belong to none. The packed form's index was
/// checked on the first entry and every entry has N dits; the dynamic form
/// checks each entry.
template <class T>
std::vector<Bucket> make_buckets(const std::vector<BasisEntry<T>>& entries, std::int32_t qudit, std::uint64_t d) {
    auto fill = [&](auto&& bucket_of) {
        for (std::size_t p = 0; p < entries.size(); ++p) {
            std::uint64_t value;
            if constexpr (is_dynamic_v<T>)
                value = entries[p].dits[qudit].value;
            else
                value = entries[p].dits.value_at(static_cast<std::uint32_t>(qudit));
            if (value >= d) continue;
            Bucket& bucket = bucket_of(value);
            bucket.positions.push_back(static_cast<std::uint32_t>(p));
            bucket.weight += squared_magnitude(entries[p].amplitude);
        }
    };
    std::vector<Bucket> buckets;
    if constexpr (is_dynamic_v<T>) {
        // Any value can occur in the dynamic form.
        std::map<std::uint64_t, Bucket> by_value;
        fill([&](std::uint64_t value) -> Bucket& { return by_value[value]; });
        for (auto& [value, bucket] : by_value) {
            bucket.value = value;
            buckets.push_back(std::move(bucket));
        }
    } else {
        // A packed field holds at most mask + 1 values.
        std::array<Bucket, T::mask + 1> by_value;
        fill([&](std::uint64_t value) -> Bucket& { return by_value[value]; });
        for (std::uint64_t value = 0; value < by_value.size(); ++value) {
            if (by_value[value].positions.empty()) continue;
            by_value[value].value = value;
            buckets.push_back(std::move(by_value[value]));
        }
    }
    return buckets;
}

/// Packed values with the qudit's field cleared and the fields in reverse
/// order, dit 0 the most significant: ordered as numbers, these keys order
/// the dits lexicographically from dit 0 up, as the dynamic form orders its
/// lists, so that both forms walk their branches in the same order.
template <std::uint64_t D, std::uint64_t N>
std::uint64_t rest_key(const DitArray<D, N>& dits, std::int32_t qudit) {
    std::uint64_t key = 0;
    for (std::uint32_t i = 0; i < N; ++i)
        key = (key << DitArray<D, N>::bits_per_dit) | (i == static_cast<std::uint32_t>(qudit) ? 0 : dits.value_at(i));
    return key;
}

/// A copy with the qudit's dit set to value 0, its dimension kept.
DynamicDitArray rest_key(const DynamicDitArray& dits, std::int32_t qudit) {
    DynamicDitArray key = dits;
    key[qudit] = Dit{0, dits[qudit].dimension};
    return key;
}

template <class Key>
struct RestEntry {
    Key key;
    std::complex<double> amplitude;
};

/// The branch of one bucket as the state of the other qudits, sorted. Keys
/// are distinct, since entries are, so any sort gives this one order.
template <class T>
auto sorted_rest(const std::vector<BasisEntry<T>>& entries, const Bucket& bucket, std::int32_t qudit) {
    using Key = decltype(rest_key(std::declval<const T&>(), qudit));
    std::vector<RestEntry<Key>> rest;
    rest.reserve(bucket.positions.size());
    for (std::uint32_t p : bucket.positions) rest.push_back({rest_key(entries[p].dits, qudit), entries[p].amplitude});
    constexpr std::size_t RADIX_FROM = 256;
    if constexpr (!is_dynamic_v<T>) {
        // A comparison sort of a branch at the size limit would be most of
        // the cost of the whole test: linear instead, by position.
        if (rest.size() >= RADIX_FROM) {
            std::vector<std::uint64_t> items(rest.size()), scratch;
            for (std::size_t i = 0; i < rest.size(); ++i) items[i] = rest[i].key << KEY_SHIFT | i;
            radix_sort(items, scratch, key_bits_of<T>());
            std::vector<RestEntry<Key>> sorted;
            sorted.reserve(rest.size());
            for (const std::uint64_t item : items) sorted.push_back(rest[static_cast<std::uint32_t>(item)]);
            return sorted;
        }
    }
    std::sort(rest.begin(), rest.end(), [](const RestEntry<Key>& a, const RestEntry<Key>& b) { return a.key < b.key; });
    return rest;
}

/// Whether a branch is the reference branch times one complex factor. The
/// factor is the first ratio met in key order and later ratios are measured
/// against it, so small reference amplitudes make the test strict.
template <class Key>
bool proportional(const std::vector<RestEntry<Key>>& reference, const std::vector<RestEntry<Key>>& branch) {
    std::complex<double> ratio;
    bool has_ratio = false;
    // A reference entry without partner: the branch's factor must be negligible.
    auto unpartnered_reference = [&] {
        if (has_ratio) return !(magnitude(ratio) > FACTOR_TOLERANCE);
        ratio = 0.0;
        has_ratio = true;
        return true;
    };
    // An entry of the branch without partner must itself be negligible.
    auto stray = [](const RestEntry<Key>& e) { return magnitude(e.amplitude) > FACTOR_TOLERANCE; };

    std::size_t i = 0, j = 0;
    while (i < reference.size() && j < branch.size()) {
        if (reference[i].key == branch[j].key) {
            const std::complex<double> r = branch[j].amplitude / reference[i].amplitude;
            if (!has_ratio) {
                ratio = r;
                has_ratio = true;
            } else if (magnitude(r - ratio) > FACTOR_TOLERANCE) {
                return false;
            }
            ++i;
            ++j;
        } else if (branch[j].key < reference[i].key) {
            if (stray(branch[j++])) return false;
        } else {
            if (!unpartnered_reference()) return false;
            ++i;
        }
    }
    for (; i < reference.size(); ++i)
        if (!unpartnered_reference()) return false;
    for (; j < branch.size(); ++j)
        if (stray(branch[j])) return false;
    return true;
}

/// Equal values at every position but the qudit's, over n positions.
template <class T>
bool same_elsewhere(const T& a, const T& b, std::int32_t qudit, std::uint64_t n) {
    if constexpr (is_dynamic_v<T>) {
        for (std::uint64_t i = 0; i < n; ++i) {
            const auto q = static_cast<std::int32_t>(i);
            if (q != qudit && a[q].value != b[q].value) return false;
        }
        return true;
    } else {
        const std::uint64_t field = T::mask << T::shift_of(static_cast<std::uint32_t>(qudit));
        return ((a.values ^ b.values) & ~field) == 0;
    }
}

}  // namespace

template <class T>
bool State<T>::is_factorizable(std::int32_t qudit) const {
    if (entries_.empty() || num_qudits() < 2) return true;
    const std::uint64_t d = entries_.front().dits[qudit].dimension;
    const std::vector<Bucket> buckets = make_buckets(entries_, qudit, d);
    if (d == 0) return true;

    double total = 0.0;
    for (const Bucket& bucket : buckets) total += bucket.weight;
    const double threshold = total * NEGLIGIBLE_BRANCH;
    auto counts = [threshold](const Bucket& bucket) { return bucket.weight > threshold; };

    // The lowest significant value is the reference; none means all weight is
    // negligible, which an all-zero state is.
    const auto reference = std::find_if(buckets.begin(), buckets.end(), counts);
    if (reference == buckets.end()) return true;
    const auto reference_rest = sorted_rest(entries_, *reference, qudit);
    for (auto bucket = reference + 1; bucket != buckets.end(); ++bucket)
        if (counts(*bucket) && !proportional(reference_rest, sorted_rest(entries_, *bucket, qudit))) return false;
    return true;
}

template <class T>
std::vector<DynamicBasisEntry> State<T>::extract_factor(std::int32_t qudit) const {
    if (entries_.empty()) return {};
    const std::uint64_t d = entries_.front().dits[qudit].dimension;
    const std::vector<Bucket> buckets = make_buckets(entries_, qudit, d);
    if (d == 0) return {};

    // The heaviest branch: the first of equals wins, and zero weights have none.
    const Bucket* best = nullptr;
    double best_weight = 0.0;
    for (const Bucket& bucket : buckets) {
        if (bucket.weight > best_weight) {
            best = &bucket;
            best_weight = bucket.weight;
        }
    }
    if (best == nullptr) return {};

    // Each value's coefficient is its amplitude relative to the reference
    // entry, read where the other qudits are as in the reference.
    const Entry& reference = entries_[best->positions.front()];
    std::vector<std::complex<double>> coefficients(buckets.size());
    for (std::size_t k = 0; k < buckets.size(); ++k) {
        if (NEGLIGIBLE_COEFFICIENT * best_weight >= buckets[k].weight) continue;
        for (std::uint32_t p : buckets[k].positions) {
            if (same_elsewhere(entries_[p].dits, reference.dits, qudit, num_qudits())) {
                coefficients[k] = entries_[p].amplitude / reference.amplitude;
                break;
            }
        }
    }

    double norm2 = 0.0;
    for (const std::complex<double>& c : coefficients) norm2 += squared_magnitude(c);
    if (norm2 > MIN_FACTOR_NORM2) {
        const double scale = 1.0 / std::sqrt(norm2);
        for (std::complex<double>& c : coefficients) c *= scale;
    }

    std::vector<DynamicBasisEntry> factor;
    for (std::size_t k = 0; k < buckets.size(); ++k)
        if (magnitude(coefficients[k]) > MIN_FACTOR_MAGNITUDE)
            factor.push_back({DynamicDitArray({Dit{buckets[k].value, d}}), coefficients[k]});
    return factor;
}

#define VORTAN_INSTANTIATE(T)                                     \
    template bool State<T>::is_factorizable(std::int32_t) const; \
    template std::vector<DynamicBasisEntry> State<T>::extract_factor(std::int32_t) const;
#include "qudit/state_members.def"

}  // namespace vortan::qudit
