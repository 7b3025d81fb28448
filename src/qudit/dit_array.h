#pragma once
// Basis states as tuples of dits: the packed fixed-size form that every live
// state keys its entries on, and the dynamic form in which basis states cross
// between state types.

#include <algorithm>
#include <compare>
#include <cstdint>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

#include "qudit/errors.h"
#include "qudit/limits.h"
#include "qudit/text.h"

namespace vortan::qudit {

/// One dit as read out: its level and the number of levels of its qudit.
/// Nothing keeps value below dimension.
struct Dit {
    std::uint64_t value = 0;
    std::uint64_t dimension = 0;

    friend bool operator==(const Dit&, const Dit&) = default;
};

inline constexpr std::uint64_t FNV_OFFSET_BASIS = 0xcbf29ce484222325ULL;
inline constexpr std::uint64_t FNV_PRIME = 0x100000001b3ULL;

/// One FNV-1a step over a whole 64-bit word rather than its bytes.
constexpr std::uint64_t fnv1a_step(std::uint64_t hash, std::uint64_t word) {
    return (hash ^ word) * FNV_PRIME;
}

/// N dits of dimension at most D packed into two words: `values` holds the
/// level of dit i and `dimensions` its dimension less one, both in bits
/// i * bits_per_dit up; dit 0 in the low bits. A field nobody wrote reads as
/// value 0, dimension 1.
template <std::uint64_t D, std::uint64_t N>
class DitArray {
    static_assert(D == 2 || D == 3, "dits have dimension 2 or 3");
    static_assert(N >= 1 && N <= MAX_NUM_QUDITS, "1 to 12 dits");

public:
    static constexpr std::uint64_t max_dimension = D;
    static constexpr std::uint64_t bits_per_dit = D == 2 ? 1 : 2;
    static constexpr std::uint64_t dits_per_word = 64 / bits_per_dit;
    static constexpr std::uint64_t mask = (std::uint64_t{1} << bits_per_dit) - 1;
    // The arithmetic below is written for any word index; at these sizes it is
    // always word 0, so one word per field suffices.
    static_assert(N <= dits_per_word, "all dits fit in one word");

    std::uint64_t values = 0;
    std::uint64_t dimensions = 0;

    /// Bit position of dit i within its word.
    static constexpr unsigned shift_of(std::uint32_t i) {
        return static_cast<unsigned>((i % dits_per_word) * bits_per_dit);
    }

    /// Writable reference to one dit; lives for one statement.
    class Ref {
    public:
        operator Dit() const { return unpack(*values_, *dimensions_, shift_); }

        /// Stores value and dimension; refuses a value >= D or a dimension > D
        /// before touching either word.
        Ref& operator=(const Dit& dit) {
            if (dit.value >= D) throw std::out_of_range("DitArray::operator=: v.value >= MAX_DIMENSION");
            if (dit.dimension > D) throw std::out_of_range("DitArray::operator=: v.dimension > MAX_DIMENSION");
            *values_ = (*values_ & ~(mask << shift_)) | (dit.value << shift_);
            // dimension 0 is not masked: callers never pass it.
            *dimensions_ = (*dimensions_ & ~(mask << shift_)) | ((dit.dimension - 1) << shift_);
            return *this;
        }
        Ref& operator=(const Ref& other) { return *this = static_cast<Dit>(other); }

        /// Ring addition: value (value + v) mod dimension, same dimension.
        Dit operator+(std::uint64_t v) const {
            const Dit dit = *this;
            if (v >= dit.dimension) throw std::out_of_range("DitArray::operator+: v >= dimension()");
            return {(dit.value + v) % dit.dimension, dit.dimension};
        }

    private:
        friend class DitArray;
        Ref(std::uint64_t* values, std::uint64_t* dimensions, unsigned shift)
            : values_(values), dimensions_(dimensions), shift_(shift) {}
        std::uint64_t* values_;
        std::uint64_t* dimensions_;
        unsigned shift_;
    };

    static constexpr std::uint64_t size() { return N; }

    Ref operator[](std::int32_t index) {
        check_index(index);
        return Ref(&values, &dimensions, shift_of(static_cast<std::uint32_t>(index)));
    }
    Dit operator[](std::int32_t index) const {
        check_index(index);
        return unpack(values, dimensions, shift_of(static_cast<std::uint32_t>(index)));
    }

    /// Level of dit i without the range check; for indices checked beforehand.
    std::uint64_t value_at(std::uint32_t i) const { return (values >> shift_of(i)) & mask; }

    /// Equal when the values are: recorded dimensions take no part.
    friend bool operator==(const DitArray& a, const DitArray& b) { return a.values == b.values; }
    /// The dit of highest index is the most significant.
    friend bool operator<(const DitArray& a, const DitArray& b) { return a.values < b.values; }

    friend std::uint64_t hash_value(const DitArray& a) { return fnv1a_step(FNV_OFFSET_BASIS, a.values); }

private:
    static Dit unpack(std::uint64_t values, std::uint64_t dimensions, unsigned shift) {
        return {(values >> shift) & mask, ((dimensions >> shift) & mask) + 1};
    }
    // One unsigned comparison: a negative index reads as a large one.
    static void check_index(std::int32_t index) {
        if (static_cast<std::uint32_t>(index) >= N)
            throw BadQuditIndex(str_cat("DitArray index ", index, " out of range [0, ", N, ")"));
    }
};

/// A list of dits of any length; owns its vector and copies deep.
class DynamicDitArray {
public:
    std::vector<Dit> dits;

    DynamicDitArray() = default;
    explicit DynamicDitArray(std::vector<Dit> list) : dits(std::move(list)) {}

    /// Writable reference to one dit; stores whatever it is given.
    class DitProxy {
    public:
        operator Dit() const { return array_->dits[static_cast<std::size_t>(index_)]; }
        DitProxy& operator=(const Dit& dit) {
            array_->dits[static_cast<std::size_t>(index_)] = dit;
            return *this;
        }
        DitProxy& operator=(const DitProxy& other) { return *this = static_cast<Dit>(other); }

        /// Ring addition; v and the dimension are compared as signed 32-bit numbers.
        Dit operator+(std::uint64_t v) const {
            const Dit dit = *this;
            if (static_cast<std::int32_t>(v) >= static_cast<std::int32_t>(dit.dimension) || dit.dimension == 0)
                throw std::out_of_range("DynamicDitArray::DitProxy::operator+: v >= dimension()");
            return {(dit.value + v) % dit.dimension, dit.dimension};
        }

    private:
        friend class DynamicDitArray;
        DitProxy(DynamicDitArray* array, std::int32_t index) : array_(array), index_(index) {}
        DynamicDitArray* array_;
        std::int32_t index_;
    };

    std::uint64_t size() const { return dits.size(); }

    DitProxy operator[](std::int32_t index) {
        check_index(index);
        return DitProxy(this, index);
    }
    Dit operator[](std::int32_t index) const {
        check_index(index);
        return dits[static_cast<std::size_t>(index)];
    }

    std::uint64_t value_at(std::uint32_t i) const { return dits[i].value; }

    /// Equal when lengths and values agree; dimensions take no part.
    friend bool operator==(const DynamicDitArray& a, const DynamicDitArray& b) {
        if (a.dits.size() != b.dits.size()) return false;
        for (std::size_t i = 0; i < a.dits.size(); ++i)
            if (a.dits[i].value != b.dits[i].value) return false;
        return true;
    }
    /// Lexicographic on values from dit 0 up; a proper prefix first.
    friend bool operator<(const DynamicDitArray& a, const DynamicDitArray& b) {
        const std::size_t n = std::min(a.dits.size(), b.dits.size());
        for (std::size_t i = 0; i < n; ++i)
            if (a.dits[i].value != b.dits[i].value) return a.dits[i].value < b.dits[i].value;
        return a.dits.size() < b.dits.size();
    }

    friend std::uint64_t hash_value(const DynamicDitArray& a) {
        std::uint64_t hash = FNV_OFFSET_BASIS;
        for (const Dit& dit : a.dits) hash = fnv1a_step(hash, dit.value);
        return hash;
    }

private:
    void check_index(std::int32_t index) const {
        if (index < 0 || static_cast<std::uint64_t>(index) >= dits.size())
            throw BadQuditIndex(str_cat("DynamicDitArray index ", index, " out of range [0, ", dits.size(), ")"));
    }
};

template <class T>
inline constexpr bool is_dynamic_v = std::is_same_v<T, DynamicDitArray>;

/// Hash functor over either form, for standard containers.
struct DitHash {
    template <class T>
    std::size_t operator()(const T& dits) const {
        return static_cast<std::size_t>(hash_value(dits));
    }
};

/// Builds a dit array from a list of dits. A packed array refuses more than N
/// dits and assigns the rest one by one through its checked proxy; dits past
/// the list stay value 0, dimension 1.
template <class T>
T make_basis_state(const std::vector<Dit>& dits) {
    if constexpr (is_dynamic_v<T>) {
        return T(dits);
    } else {
        if (dits.size() > T::size())
            throw BadQuditIndex(str_cat("make_basis_state: ", dits.size(), " dits supplied for a ", T::size(),
                                        "-dit basis state"));
        T array;
        for (std::size_t i = 0; i < dits.size(); ++i) array[static_cast<std::int32_t>(i)] = dits[i];
        return array;
    }
}

}  // namespace vortan::qudit
