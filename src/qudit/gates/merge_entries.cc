// Summing duplicate basis states after a gate has spread entries, and pruning
// what is negligible.

#include <algorithm>
#include <cmath>

#include "qudit/gates/radix_sort.h"
#include "qudit/state_impl.h"

namespace vortan::qudit {

template <class T>
void State<T>::merge_entries(std::vector<Entry>& list) {
    const auto is_negligible = [](const Entry& e) { return negligible(e.amplitude); };
    const std::size_t n = list.size();
    if (n == 0) return;
    if (n == 1) {
        if (is_negligible(list.front())) list.clear();
        return;
    }
    if (n <= 8) {
        // Few entries: compare all pairs and keep the order of first occurrence.
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = i + 1; j < n; ++j)
                if (list[i].dits == list[j].dits) {
                    list[i].amplitude += list[j].amplitude;
                    list[j].amplitude = 0.0;
                }
        std::erase_if(list, is_negligible);
        return;
    }
    if constexpr (!is_dynamic_v<T>) {
        // Ascending values word, as a sort would give; equal keys meet in
        // list order, which only moves the rounding of their sum.
        const std::vector<std::uint64_t> items = key_order(list, KEY_BITS);
        std::vector<Entry> merged;
        merged.reserve(n);
        for (std::uint64_t item : items) append_merged(merged, list[static_cast<std::uint32_t>(item)]);
        drop_last_if_negligible(merged);
        list = std::move(merged);
    } else {
        std::sort(list.begin(), list.end(), [](const Entry& a, const Entry& b) { return a.dits < b.dits; });
        std::size_t last = 0;
        for (std::size_t i = 1; i < n; ++i) {
            if (list[i].dits == list[last].dits)
                list[last].amplitude += list[i].amplitude;
            else if (++last != i)
                list[last] = std::move(list[i]);
        }
        list.resize(last + 1);
        std::erase_if(list, is_negligible);
    }
}

#define VORTAN_INSTANTIATE(T) template void State<T>::merge_entries(std::vector<BasisEntry<T>>&);
#include "qudit/state_members.def"

}  // namespace vortan::qudit
