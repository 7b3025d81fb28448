#pragma once
// The clock factors of a packed form looked up by the fields of an entry's
// words: every (value, dimension) pair a field can hold is computed once per
// call, so an entry of any dimensions word needs no sine and no checked read.

#include <complex>
#include <cstdint>
#include <vector>

#include "qudit/dit_array.h"
#include "qudit/gates/entry_kernels.h"
#include "qudit/predicate.h"

namespace vortan::qudit {

template <class T>
class PackedClock {
public:
    static constexpr std::size_t LEVELS = T::mask + 1;

    struct Target {
        unsigned shift;
        Multiplier factor[LEVELS * LEVELS];  // [value * LEVELS + dimension - 1]

        const Multiplier& at(std::uint64_t values, std::uint64_t dimensions) const {
            return factor[((values >> shift) & T::mask) * LEVELS + ((dimensions >> shift) & T::mask)];
        }
    };

    /// Every index of `targets` names a dit of T.
    PackedClock(const Targets& targets, double fraction) : targets_(targets.size()) {
        ClockFactors factor(fraction);
        for (std::size_t i = 0; i < targets.size(); ++i) {
            targets_[i].shift = T::shift_of(static_cast<std::uint32_t>(targets[i]));
            for (std::uint64_t v = 0; v < LEVELS; ++v)
                for (std::uint64_t d = 1; d <= LEVELS; ++d)
                    targets_[i].factor[v * LEVELS + d - 1] = Multiplier(factor(Dit{v, d}));
        }
    }

    const std::vector<Target>& targets() const { return targets_; }

    /// amplitude times each target's factor, one product per target in list
    /// order as turn_clock takes them: a product of the factors first would
    /// round differently.
    std::complex<double> turn(std::uint64_t values, std::uint64_t dimensions, std::complex<double> amplitude) const {
        for (const Target& target : targets_) amplitude = target.at(values, dimensions)(amplitude);
        return amplitude;
    }

private:
    std::vector<Target> targets_;
};

}  // namespace vortan::qudit
