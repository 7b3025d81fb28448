#pragma once
// The fuzzer's input read as a program: every choice takes the next byte, and
// an exhausted input reads as zeros, so every prefix of an input is a program
// too. Value tables put the interesting numbers one byte away.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace vortan::fuzz {

class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    bool exhausted() const { return pos_ >= size_; }

    std::uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }

    /// A choice in [0, n).
    std::uint32_t below(std::uint32_t n) { return n == 0 ? 0 : byte() % n; }

    /// True once in `n` byte values; false when the input is exhausted.
    bool one_in(std::uint32_t n) { return below(n) == n - 1; }

    std::uint64_t u64() {
        std::uint64_t value = 0;
        for (int i = 0; i < 8; ++i) value = value << 8 | byte();
        return value;
    }

    /// A fraction or an angle: ordinary powers first, then the edges a host
    /// can pass (NaN, infinities, huge, denormal), then any bit pattern.
    double number() {
        constexpr double inf = std::numeric_limits<double>::infinity();
        static constexpr double table[] = {
            1.0, 0.5, -0.5, 0.25, 0.0, -1.0, 2.0, 1.0 / 3.0, -0.75, 3.0, 4.0, 1.5,
            0x1.0000000000001p0, 0x1.fffffffffffffp-1, 1e-300,
            std::numeric_limits<double>::denorm_min(), -std::numeric_limits<double>::denorm_min(),
            std::numeric_limits<double>::min(), 1e6 + 0.5, -12345.25, 1e12 + 0.125, 1e15, -1e15, 1e16,
            1e300, -1e300, std::numeric_limits<double>::max(), -std::numeric_limits<double>::max(),
            std::numeric_limits<double>::quiet_NaN(), inf, -inf, 6.283185307179586};
        constexpr std::uint32_t n = sizeof table / sizeof table[0];
        const std::uint32_t pick = below(n + 2);
        if (pick < n) return table[pick];
        if (pick == n) return static_cast<double>(static_cast<std::int8_t>(byte())) / 16.0;
        const std::uint64_t bits = u64();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

    /// A dit value or an outcome: in range mostly, sometimes far out of it.
    std::int32_t dit_value() {
        static constexpr std::int32_t table[] = {0, 1, 2, 0, 1, 2, 3, -1, 99,
                                                 std::numeric_limits<std::int32_t>::min(),
                                                 std::numeric_limits<std::int32_t>::max()};
        return table[below(sizeof table / sizeof table[0])];
    }

    /// A dimension for create: valid mostly, then the edges.
    std::int32_t dimension() {
        static constexpr std::int32_t table[] = {2, 3, 2, 3, 2, 3, 1, 0, 4, -1,
                                                 std::numeric_limits<std::int32_t>::min(),
                                                 std::numeric_limits<std::int32_t>::max()};
        return table[below(sizeof table / sizeof table[0])];
    }

private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t pos_ = 0;
};

}  // namespace vortan::fuzz
