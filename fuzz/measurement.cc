// The five measurement exports: what they write, where they may not write,
// and that what they read out describes a normalised state.

#include <cmath>
#include <complex>
#include <cstring>

#include "session.h"

namespace vortan::fuzz {
namespace {

const std::initializer_list<vortan_result> MEASURE_CODES = {
    VORTAN_SUCCESS,         VORTAN_ERROR_NULL_POINTER,      VORTAN_ERROR_INVALID_ARGUMENT,
    VORTAN_ERROR_BUFFER_TOO_SMALL, VORTAN_ERROR_INVALID_DIMENSION, VORTAN_ERROR_INVALID_QUDIT_NUMBER,
    VORTAN_ERROR_INTERNAL};

/// A buffer size around `needed`: mostly exact, else short, empty or roomy.
std::size_t buffer_size(Input& in, std::uint64_t needed, std::size_t most) {
    std::uint64_t size;
    switch (in.below(8)) {
        case 7: size = needed == 0 ? 0 : needed - 1; break;
        case 6: size = 0; break;
        case 5: size = needed + 1 + in.below(3); break;
        case 4: size = in.below(8); break;
        default: size = needed; break;
    }
    return size > most ? in.below(8) : static_cast<std::size_t>(size);
}

/// Value of place `i` in combination `k`, properties[0] the fastest digit.
std::int32_t digit(std::uint64_t k, const std::vector<std::uint32_t>& dims, std::size_t i) {
    for (std::size_t j = 0; j < i; ++j) k /= dims[j];
    return static_cast<std::int32_t>(k % dims[i]);
}

/// True if combination `k` gives two places of one property different values.
bool contradicts(std::uint64_t k, const std::vector<int>& slots, const std::vector<std::uint32_t>& dims) {
    for (std::size_t i = 0; i < slots.size(); ++i)
        for (std::size_t j = i + 1; j < slots.size(); ++j)
            if (slots[i] == slots[j] && digit(k, dims, i) != digit(k, dims, j)) return true;
    return false;
}

}  // namespace

void Session::measure() {
    PropertyList list = property_list(true);
    const std::size_t declared = in_.one_in(12) ? 0 : list.slots.size() + (in_.one_in(4) ? in_.below(3) : 0);
    const std::size_t size = in_.one_in(12) && declared > 0 ? declared - 1 : declared;
    const bool null_output = in_.one_in(16);
    Guarded<std::int32_t> output(declared);
    Call call("vortan_measure_properties", true, !in_.one_in(6));
    const vortan_result code = call.check(
        vortan_measure_properties(list.data(), list.count, null_output ? nullptr : output.data(), size, call.record()),
        MEASURE_CODES);
    output.check_guard(call.function());
    join(list.slots, code == VORTAN_SUCCESS);
    if (code != VORTAN_SUCCESS) {
        if (!output.untouched(0, declared)) broken(call.function(), "failed with %d and wrote the output", code);
        if (code == VORTAN_ERROR_INTERNAL) taint(list.slots);
        return;
    }
    const std::size_t n = list.slots.size();
    if (!output.untouched(n, declared)) broken(call.function(), "wrote past property_count");
    if (output.untouched(0, n)) {
        // Only a state without entries gives no outcome.
        if (normalised(list.slots)) broken(call.function(), "gave no outcome for a normalised state");
        return;
    }
    std::vector<std::int32_t> outcome(output.data(), output.data() + n);
    for (std::size_t i = 0; i < n; ++i) {
        const Property& p = properties_[list.slots[i]];
        if (outcome[i] < 0 || static_cast<std::uint32_t>(outcome[i]) >= p.dimension)
            broken(call.function(), "gave %d for a qudit of dimension %u", outcome[i], p.dimension);
        for (std::size_t j = 0; j < i; ++j)
            if (list.slots[j] == list.slots[i] && outcome[j] != outcome[i])
                broken(call.function(), "gave one property the values %d and %d", outcome[j], outcome[i]);
    }
    if (normalised(list.slots)) {
        const double p = probability_of(list.slots, outcome);
        if (p >= 0.0 && std::fabs(p - 1.0) > NORM_TOLERANCE)
            broken(call.function(), "left its own outcome with probability %.9g", p);
    }
}

void Session::forced_measure() {
    PropertyList list = property_list(true);
    const std::size_t n = list.slots.size();
    std::vector<std::int32_t> values(n);
    for (std::size_t i = 0; i < n; ++i) {
        const std::uint32_t d = properties_[list.slots[i]].dimension;
        values[i] = in_.one_in(8) || d == 0 ? in_.dit_value() : static_cast<std::int32_t>(in_.below(d));
    }
    auto forced = std::make_unique<std::int32_t[]>(n);
    std::copy(values.begin(), values.end(), forced.get());
    std::size_t forced_count = list.count;
    if (in_.one_in(12)) forced_count = n + 1;  // refused before anything is read
    const bool null_forced = in_.one_in(16);
    const bool null_output = in_.one_in(4);
    const std::size_t declared = in_.one_in(12) ? 0 : n + (in_.one_in(4) ? in_.below(3) : 0);
    const std::size_t size = in_.one_in(12) && declared > 0 ? declared - 1 : declared;
    Guarded<std::int32_t> output(declared);
    Call call("vortan_forced_measure_properties", true, !in_.one_in(6));
    const vortan_result code = call.check(
        vortan_forced_measure_properties(list.data(), list.count, null_forced ? nullptr : forced.get(), forced_count,
                                         null_output ? nullptr : output.data(), size, call.record()),
        MEASURE_CODES);
    output.check_guard(call.function());
    join(list.slots, code == VORTAN_SUCCESS);
    if (code != VORTAN_SUCCESS) {
        if (!output.untouched(0, declared)) broken(call.function(), "failed with %d and wrote the output", code);
        if (code == VORTAN_ERROR_INTERNAL) taint(list.slots);
        return;
    }
    if (!null_output) {
        if (!output.untouched(n, declared)) broken(call.function(), "wrote past property_count");
        if (n > 0 && std::memcmp(output.data(), values.data(), n * sizeof(std::int32_t)) != 0)
            broken(call.function(), "gave an outcome other than the forced one");
    }
    for (std::size_t i = 0; i < n; ++i)
        if (values[i] < 0 || static_cast<std::uint32_t>(values[i]) >= properties_[list.slots[i]].dimension)
            broken(call.function(), "accepted %d for a qudit of dimension %u", values[i],
                   properties_[list.slots[i]].dimension);
    if (normalised(list.slots)) {
        const double p = probability_of(list.slots, values);
        if (p >= 0.0 && std::fabs(p - 1.0) > NORM_TOLERANCE)
            broken(call.function(), "left the forced outcome with probability %.9g", p);
    }
}

void Session::probabilities() {
    PropertyList list = property_list(true);
    const std::vector<std::uint32_t> dims = dimensions(list.slots);
    const std::uint64_t needed = combinations(list.slots);
    const std::size_t declared = buffer_size(in_, needed, MAX_BUFFER);
    const bool null_output = in_.one_in(16), null_count = in_.one_in(4);
    // Each entry's outcome_values: NULL or room for every place, then a guard.
    const std::size_t width = list.slots.size() + Guarded<std::int32_t>::GUARD;
    Guarded<std::int32_t> values(declared * width);
    Guarded<vortan_probability_entry> output(declared);
    for (std::size_t k = 0; k < declared; ++k)
        output[k].outcome_values = in_.one_in(4) ? nullptr : values.data() + k * width;
    std::vector<vortan_probability_entry> before(output.data(), output.data() + declared);
    std::size_t count = 77;
    Call call("vortan_calculate_probabilities", true, !in_.one_in(6));
    const vortan_result code =
        call.check(vortan_calculate_probabilities(list.data(), list.count, null_output ? nullptr : output.data(),
                                                  declared, null_count ? nullptr : &count, call.record()),
                   MEASURE_CODES);
    output.check_guard(call.function());
    values.check_guard(call.function());
    // Code 3 comes only after the merge.
    join(list.slots, code == VORTAN_SUCCESS || code == VORTAN_ERROR_BUFFER_TOO_SMALL);
    if (code != VORTAN_SUCCESS) {
        if (count != 77) broken(call.function(), "failed and wrote out_count");
        if ((declared > 0 && std::memcmp(before.data(), output.data(), declared * sizeof before[0]) != 0) ||
            !values.untouched(0, declared * width))
            broken(call.function(), "failed with %d and wrote the output", code);
        if (code == VORTAN_ERROR_BUFFER_TOO_SMALL && declared >= needed && list.counted_as_listed())
            broken(call.function(), "called %zu entries too few for %zu combinations", declared,
                   static_cast<std::size_t>(needed));
        return;
    }
    if (!list.counted_as_listed()) broken(call.function(), "succeeded on a list it cannot have read");
    if (!null_count && count != needed) broken(call.function(), "counted %zu combinations", count);
    double total = 0.0;
    for (std::size_t k = 0; k < declared; ++k) {
        const vortan_probability_entry& e = output[k];
        if (k >= needed) {
            if (std::memcmp(&e, &before[k], sizeof e) != 0) broken(call.function(), "wrote past the combinations");
            continue;
        }
        if (e.outcome_values != before[k].outcome_values || e.reserved0 != before[k].reserved0)
            broken(call.function(), "changed what the host owns in entry %zu", k);
        if (e.outcome_count != list.slots.size()) broken(call.function(), "outcome_count %zu", e.outcome_count);
        if (e.outcome_values != nullptr) {
            for (std::size_t i = 0; i < list.slots.size(); ++i)
                if (e.outcome_values[i] != digit(k, dims, i))
                    broken(call.function(), "entry %zu place %zu holds %d", k, i, e.outcome_values[i]);
            if (!values.untouched(k * width + list.slots.size(), (k + 1) * width))
                broken(call.function(), "wrote past the outcome values of entry %zu", k);
        }
        if (!(e.probability >= 0.0f && e.probability <= 1.0f + NORM_TOLERANCE) && normalised(list.slots))
            broken(call.function(), "entry %zu has probability %.9g", k, double{e.probability});
        if (e.probability != 0.0f && contradicts(k, list.slots, dims))
            broken(call.function(), "gave one property two values with probability %.9g", double{e.probability});
        total += e.probability;
    }
    if (normalised(list.slots) && std::fabs(total - 1.0) > NORM_TOLERANCE)
        broken(call.function(), "probabilities of a normalised state sum to %.9g", total);
}

void Session::density_matrix() {
    PropertyList list = property_list(true);
    const std::vector<std::uint32_t> dims = dimensions(list.slots);
    const std::uint64_t side = combinations(list.slots);
    const std::size_t declared = buffer_size(in_, side * side, MAX_BUFFER);
    const bool null_output = in_.one_in(16), null_dimension = in_.one_in(4);
    Guarded<vortan_density_element> output(declared);
    std::size_t dimension = 77;
    Call call("vortan_calculate_reduced_density_matrix", true, !in_.one_in(6));
    const vortan_result code =
        call.check(vortan_calculate_reduced_density_matrix(list.data(), list.count,
                                                           null_output ? nullptr : output.data(), declared,
                                                           null_dimension ? nullptr : &dimension, call.record()),
                   {VORTAN_SUCCESS, VORTAN_ERROR_NULL_POINTER, VORTAN_ERROR_INVALID_ARGUMENT,
                    VORTAN_ERROR_BUFFER_TOO_SMALL, VORTAN_ERROR_INTERNAL});
    output.check_guard(call.function());
    if (code != VORTAN_SUCCESS) {
        if (dimension != 77) broken(call.function(), "failed and wrote out_dimension");
        // Only a failure in the engine may have zeroed the buffer first.
        if (code != VORTAN_ERROR_INTERNAL && !output.untouched(0, declared))
            broken(call.function(), "failed with %d and wrote the output", code);
        if (code == VORTAN_ERROR_INTERNAL) join(list.slots);
        return;
    }
    join(list.slots, true);
    if (!list.counted_as_listed()) broken(call.function(), "succeeded on a list it cannot have read");
    if (!null_dimension && dimension != side) broken(call.function(), "gave side %zu for %zu", dimension, std::size_t(side));
    const std::size_t n = static_cast<std::size_t>(side);
    if (!output.untouched(n * n, declared)) broken(call.function(), "wrote past n * n");
    const auto at = [&](std::size_t r, std::size_t c) {
        return std::complex<double>(output[r * n + c].real, output[r * n + c].imag);
    };
    double trace = 0.0;
    for (std::size_t r = 0; r < n; ++r) {
        trace += at(r, r).real();
        for (std::size_t c = 0; c < n; ++c) {
            const std::complex<double> v = at(r, c);
            if (!std::isfinite(v.real()) || !std::isfinite(v.imag())) {
                if (normalised(list.slots)) broken(call.function(), "element (%zu, %zu) is not finite", r, c);
                continue;
            }
            if ((contradicts(r, list.slots, dims) || contradicts(c, list.slots, dims)) && v != 0.0)
                broken(call.function(), "element (%zu, %zu) pairs contradicting values", r, c);
            if (!normalised(list.slots)) continue;
            if (std::abs(v - std::conj(at(c, r))) > 1e-5) broken(call.function(), "not Hermitian at (%zu, %zu)", r, c);
            if (std::norm(v) > at(r, r).real() * at(c, c).real() + 1e-5)
                broken(call.function(), "element (%zu, %zu) exceeds its diagonal", r, c);
        }
    }
    if (normalised(list.slots) && std::fabs(trace - 1.0) > NORM_TOLERANCE)
        broken(call.function(), "trace %.9g on a normalised state", trace);
}

void Session::projection() {
    PredicateList predicates = predicate_list(true);
    const bool null_result = in_.one_in(16);
    Guarded<std::int32_t> result(1);
    Call call("vortan_stochastic_projection_modern", true, !in_.one_in(6));
    const vortan_result code = call.check(
        vortan_stochastic_projection_modern(predicates.data(), predicates.count, null_result ? nullptr : result.data(),
                                            call.record()),
        {VORTAN_SUCCESS, VORTAN_ERROR_NULL_POINTER, VORTAN_ERROR_INVALID_ARGUMENT, VORTAN_ERROR_INVALID_DIMENSION,
         VORTAN_ERROR_INVALID_QUDIT_NUMBER, VORTAN_ERROR_INTERNAL});
    result.check_guard(call.function());
    std::vector<int> named;
    add_predicate_properties(predicates, named);
    join(named, code == VORTAN_SUCCESS);
    if (code != VORTAN_SUCCESS) {
        if (!result.untouched(0, 1)) broken(call.function(), "failed with %d and wrote the result", code);
        if (code == VORTAN_ERROR_INTERNAL) taint(named);
        return;
    }
    if (result[0] != 0 && result[0] != 1) broken(call.function(), "answered %d", result[0]);
}

}  // namespace vortan::fuzz
