#include "known_faults.h"

#include <cmath>

namespace vortan::fuzz {

bool avoid_known_faults(KnownFaultSite site, double fraction, std::vector<int>* slots,
                        const std::vector<std::uint32_t>& dimensions) {
    switch (site) {
        case KnownFaultSite::outcome_list: {
            // vortan_calculate_probabilities and the density matrix list every
            // combination before comparing their count with the buffer: a
            // property listed 16 times costs gigabytes before code 3. Lists
            // are cut to 2^16 combinations until the count comes first.
            std::uint64_t product = 1;
            std::size_t keep = 0;
            for (; keep < slots->size(); ++keep) {
                const std::uint32_t d = dimensions[static_cast<std::size_t>((*slots)[keep])];
                if (d != 0 && product * d > (std::uint64_t{1} << 16)) break;
                if (d != 0) product *= d;
            }
            if (keep == 0) keep = 1;
            slots->resize(keep);
            return false;
        }
        case KnownFaultSite::fractional_gate:
            // From about 1e15 the fractional clock, shift, cycle and Y lose
            // their phase (NaN from 1e308) and the fractional Hadamard its
            // period: the state's norm drifts with code 0.
            return std::isfinite(fraction) && std::fabs(fraction) >= 1e14;
    }
    return false;
}

}  // namespace vortan::fuzz
