// Changing the number of qudits on the packed words: taking one out, and the
// tensor product of two states. Both build the new state's entries directly,
// with no dit vector per entry.

#include <array>
#include <iterator>
#include <memory>
#include <type_traits>

#include "qudit/state_impl.h"

namespace vortan::qudit {
namespace {

/// Entries seen through a function, as a range whose length the vector reads
/// before it builds every element in place. Forward in all but its reference,
/// which is a value: enough for the one pass of the vector's assign, which
/// reads each element once and in order, so the function may keep tallies.
template <class Source, class Function>
class Transforming {
public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = std::invoke_result_t<Function&, const Source&>;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = value_type;

    Transforming(const Source* at, Function& function) : at_(at), function_(&function) {}
    value_type operator*() const { return (*function_)(*at_); }
    Transforming& operator++() {
        ++at_;
        return *this;
    }
    Transforming operator++(int) { return Transforming(at_++, *function_); }
    friend bool operator==(const Transforming& a, const Transforming& b) { return a.at_ == b.at_; }
    friend difference_type operator-(const Transforming& a, const Transforming& b) { return a.at_ - b.at_; }

private:
    const Source* at_;
    Function* function_;
};

}  // namespace

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
        if (entries_.empty()) return true;
        const unsigned shift = T::shift_of(static_cast<std::uint32_t>(qudit));
        const std::size_t n = entries_.size();
        // A definite qudit, as every measured one is, has a single weight,
        // which can only be told from zero: a sum of non-negative terms is
        // zero, infinite or NaN in any order alike. Four lanes then, in
        // blocks that stop at the first other value, and no chain of
        // dependent additions through memory.
        const std::uint64_t first = (entries_.front().dits.values >> shift) & T::mask;
        std::array<double, 4> lanes{};
        std::uint64_t differ = 0;
        std::size_t i = 0;
        for (; i + 4 <= n && differ == 0; i += 4)
            for (std::size_t k = 0; k < 4; ++k) {
                differ |= ((entries_[i + k].dits.values >> shift) & T::mask) ^ first;
                lanes[k] += squared_magnitude(entries_[i + k].amplitude);
            }
        for (; i < n && differ == 0; ++i) {
            differ |= ((entries_[i].dits.values >> shift) & T::mask) ^ first;
            lanes[0] += squared_magnitude(entries_[i].amplitude);
        }
        if (differ == 0) {
            if (weights.size() <= first) weights.resize(first + 1, 0.0);
            weights[first] += (lanes[0] + lanes[1]) + (lanes[2] + lanes[3]);
            return true;
        }
        // Several values: each weight summed in storage order, as the heaviest
        // is chosen among them. A field holds at most mask: a fixed table,
        // cut to what was seen.
        std::array<double, T::mask + 1> table{};
        std::uint64_t seen = 0;
        for (const Entry& entry : entries_) {
            const std::uint64_t value = (entry.dits.values >> shift) & T::mask;
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
        // Entries that agreed on the removed dit stay distinct without it;
        // then exact zeros, which the factory drops, are all that may go.
        const std::uint64_t first = entries_.empty() ? 0 : entries_.front().dits.value_at(static_cast<std::uint32_t>(qudit));
        std::uint64_t differ = 0;
        std::size_t zeros = 0;
        const auto closed_up = [&](const Entry& entry) {
            differ |= ((entry.dits.values >> freed) & T::mask) ^ first;
            zeros += entry.amplitude.real() == 0.0 && entry.amplitude.imag() == 0.0;
            return BasisEntry<Smaller>{{close_up(entry.dits.values), close_up(entry.dits.dimensions)}, entry.amplitude};
        };
        std::vector<BasisEntry<Smaller>> list;
        if (keep < 0) {
            // Every entry: built in place from a range of known length, with
            // no zero-fill and no test of the capacity per entry.
            list.assign(Transforming(entries_.data(), closed_up), Transforming(entries_.data() + entries_.size(), closed_up));
        } else {
            list.reserve(entries_.size());
            for (const Entry& entry : entries_)
                if (((entry.dits.values >> freed) & T::mask) == static_cast<std::uint64_t>(keep))
                    list.push_back(closed_up(entry));
        }
        // Kept entries of several values may meet: the factory's merge, which
        // sums before it drops zeros.
        if (keep < 0 && differ != 0) return std::make_unique<State<Smaller>>(std::move(list), false);
        if (zeros != 0)
            std::erase_if(list, [](const BasisEntry<Smaller>& e) {
                return e.amplitude.real() == 0.0 && e.amplitude.imag() == 0.0;
            });
        return State<Smaller>::adopt(std::move(list));
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
