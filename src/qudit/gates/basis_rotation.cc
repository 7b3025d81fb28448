// A two-level rotation between two named basis states of the whole state: the
// pair of amplitudes turns by exp(-i angle X) and nothing else moves.

#include <cmath>

#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

// On the modulus: merge_entries prunes per component at 1e-10 instead.
constexpr double ROTATION_PRUNE_THRESHOLD = 1e-15;

double modulus(std::complex<double> z) { return std::hypot(z.real(), z.imag()); }

}  // namespace

template <class T>
void State<T>::basis_rotation(std::vector<std::int32_t> dits_a, std::vector<std::int32_t> dits_b, double angle) {
    if (entries_.empty()) return;

    // Keys start as copies of the first entry, so short lists name states
    // relative to it. A packed key refuses a value it cannot hold before the
    // state is touched; the dynamic form stores any value.
    const T& first = entries_.front().dits;
    T key_a = first;
    T key_b = first;
    for (std::size_t i = 0; i < dits_a.size() && i < dits_b.size() && i < num_qudits(); ++i) {
        const auto q = static_cast<std::int32_t>(i);
        const std::uint64_t dimension = first[q].dimension;
        key_a[q] = Dit{static_cast<std::uint64_t>(dits_a[i]), dimension};
        key_b[q] = Dit{static_cast<std::uint64_t>(dits_b[i]), dimension};
    }

    std::ptrdiff_t index_a = -1;
    std::ptrdiff_t index_b = -1;
    for (std::size_t k = 0; k < entries_.size() && (index_a < 0 || index_b < 0); ++k) {
        if (index_a < 0 && entries_[k].dits == key_a) index_a = static_cast<std::ptrdiff_t>(k);
        if (index_b < 0 && entries_[k].dits == key_b) index_b = static_cast<std::ptrdiff_t>(k);
    }
    // Nothing to rotate: not even the phase of equal keys changes.
    if (index_a < 0 && index_b < 0) return;

    const std::complex<double> a = index_a < 0 ? 0.0 : entries_[static_cast<std::size_t>(index_a)].amplitude;
    const std::complex<double> b = index_b < 0 ? 0.0 : entries_[static_cast<std::size_t>(index_b)].amplitude;
    const double c = std::cos(angle);
    const std::complex<double> is(0.0, std::sin(angle));
    const std::complex<double> new_a = c * a - is * b;
    const std::complex<double> new_b = c * b - is * a;

    // Store, remove or append one amplitude; true when an entry was removed.
    auto place = [this](std::ptrdiff_t index, T& key, std::complex<double> value) {
        const bool keep = modulus(value) > ROTATION_PRUNE_THRESHOLD;
        if (index < 0) {
            if (keep) entries_.push_back(Entry{std::move(key), value});
            return false;
        }
        if (keep) {
            entries_[static_cast<std::size_t>(index)].amplitude = value;
            return false;
        }
        entries_.erase(entries_.begin() + index);
        return true;
    };

    if (place(index_a, key_a, new_a)) {
        // The gap closes in order. With equal keys the entry is gone, and B',
        // equal to A' bit for bit, would not be kept either.
        if (index_b > index_a)
            --index_b;
        else if (index_b == index_a)
            index_b = -1;
    }
    place(index_b, key_b, new_b);
}

#define VORTAN_INSTANTIATE(T) \
    template void State<T>::basis_rotation(std::vector<std::int32_t>, std::vector<std::int32_t>, double);
#include "qudit/state_members.def"

}  // namespace vortan::qudit
