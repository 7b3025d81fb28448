// Changing the number of qudits on the packed words: taking one out, and the
// tensor product of two states. Both build the new state's entries directly,
// with no dit vector per entry.

#include <array>
#include <memory>

#include "qudit/state_impl.h"

namespace vortan::qudit {

template <class T>
bool State<T>::packed_entries(std::vector<PackedEntry>& out) const {
    if constexpr (is_dynamic_v<T>) {
        return false;
    } else {
        out.resize(entries_.size());
        for (std::size_t i = 0; i < entries_.size(); ++i)
            out[i] = {entries_[i].dits.values, entries_[i].dits.dimensions, entries_[i].amplitude};
        return true;
    }
}

template <class T>
bool State<T>::value_weights(std::int32_t qudit, std::vector<double>& weights) const {
    if constexpr (is_dynamic_v<T>) {
        return false;
    } else {
        // A field holds at most mask: a fixed table, cut to what was seen.
        std::array<double, T::mask + 1> table{};
        std::uint64_t seen = 0;
        for (const Entry& entry : entries_) {
            const std::uint64_t value = entry.dits.value_at(static_cast<std::uint32_t>(qudit));
            table[value] += squared_magnitude(entry.amplitude);
            seen |= std::uint64_t{1} << value;
        }
        for (std::uint64_t value = 0; value <= T::mask; ++value)
            if (seen >> value & 1) {
                if (weights.size() <= value) weights.resize(value + 1, 0.0);
                weights[value] += table[value];
            }
        return true;
    }
}

template <class T>
std::unique_ptr<IState> State<T>::without_qudit(std::int32_t qudit, std::int64_t keep) const {
    if constexpr (is_dynamic_v<T>) {
        return nullptr;
    } else if constexpr (T::size() < 2) {
        // No form of zero dits: the last qudit of a state is never removed.
        return nullptr;
    } else {
        using Smaller = DitArray<T::max_dimension, T::size() - 1>;
        const unsigned freed = T::shift_of(static_cast<std::uint32_t>(qudit));
        const unsigned last = T::shift_of(static_cast<std::uint32_t>(T::size() - 1));
        // The last field takes the freed place and is cleared; where the freed
        // place is the last, it is simply cleared.
        const auto close_up = [&](std::uint64_t word) {
            const std::uint64_t moved = (word >> last) & T::mask;
            word = (word & ~(T::mask << freed)) | (moved << freed);
            return word & ~(T::mask << last);
        };
        std::vector<BasisEntry<Smaller>> list;
        list.reserve(entries_.size());
        // Entries that agreed on the removed dit stay distinct without it.
        bool one_value = true;
        std::uint64_t first_value = 0;
        for (const Entry& entry : entries_) {
            const std::uint64_t value = entry.dits.value_at(static_cast<std::uint32_t>(qudit));
            if (keep >= 0 && value != static_cast<std::uint64_t>(keep)) continue;
            if (list.empty())
                first_value = value;
            else
                one_value = one_value && value == first_value;
            list.push_back({Smaller{close_up(entry.dits.values), close_up(entry.dits.dimensions)}, entry.amplitude});
        }
        return std::make_unique<State<Smaller>>(std::move(list), one_value);
    }
}

namespace {

/// A word of `count` dits of one bit each, respread to two bits a dit.
std::uint64_t widen(std::uint64_t word, std::uint64_t count) {
    std::uint64_t wide = 0;
    for (std::uint64_t i = 0; i < count; ++i) wide |= ((word >> i) & 1) << (2 * i);
    return wide;
}

/// `a` and `b` already in the words of DitArray<D, N>; `b`'s dits start at
/// bit `shift`. Keys of distinct entries of each side stay distinct.
template <std::uint64_t D, std::uint64_t N>
std::unique_ptr<IState> product_of(const std::vector<PackedEntry>& a, const std::vector<PackedEntry>& b,
                                   unsigned shift) {
    using Entry = BasisEntry<DitArray<D, N>>;
    std::vector<Entry> list;
    list.reserve(a.size() * b.size());
    for (const PackedEntry& x : a)
        for (const PackedEntry& y : b)
            list.push_back(Entry{{x.values | y.values << shift, x.dimensions | y.dimensions << shift},
                                 x.amplitude * y.amplitude});
    return std::make_unique<State<DitArray<D, N>>>(std::move(list), true);
}

using ProductBuilder = std::unique_ptr<IState> (*)(const std::vector<PackedEntry>&,
                                                   const std::vector<PackedEntry>&, unsigned);
// Row-major by dimension then qudit count, as the factory's table.
constexpr std::array<ProductBuilder, 2 * MAX_NUM_QUDITS> product_builders = {
#define VORTAN_SHAPE(D, N) &product_of<D, N>,
#include "qudit/state_shapes.def"
#undef VORTAN_SHAPE
};

}  // namespace

std::unique_ptr<IState> packed_product(const IState& a, const IState& b) {
    const std::uint64_t qudits_a = a.num_qudits(), qudits = qudits_a + b.num_qudits();
    if (qudits > MAX_NUM_QUDITS) return nullptr;
    std::vector<PackedEntry> list_a, list_b;
    if (!a.packed_entries(list_a) || !b.packed_entries(list_b)) return nullptr;
    const std::uint64_t dimension = std::max(a.dimension(), b.dimension());
    // A side of qubit form joins a qutrit form at two bits a dit.
    for (auto [list, state] : {std::pair{&list_a, &a}, std::pair{&list_b, &b}})
        if (state->dimension() < dimension)
            for (PackedEntry& entry : *list) {
                entry.values = widen(entry.values, state->num_qudits());
                entry.dimensions = widen(entry.dimensions, state->num_qudits());
            }
    const unsigned shift = static_cast<unsigned>(qudits_a * (dimension == 2 ? 1 : 2));
    return product_builders[(dimension - 2) * MAX_NUM_QUDITS + (qudits - 1)](list_a, list_b, shift);
}

#define VORTAN_INSTANTIATE(T)                                                                \
    template bool State<T>::packed_entries(std::vector<PackedEntry>&) const;                 \
    template bool State<T>::value_weights(std::int32_t, std::vector<double>&) const;        \
    template std::unique_ptr<IState> State<T>::without_qudit(std::int32_t, std::int64_t) const;
#include "qudit/state_members.def"

}  // namespace vortan::qudit
