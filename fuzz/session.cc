// The pool, the model of groups, the library-wide calls and the handle
// calls, and the invariants checked after every step.

#include <cmath>
#include <cstring>
#include <limits>

#include "session.h"

namespace vortan::fuzz {

int Groups::fresh() {
    parent_.push_back(static_cast<int>(parent_.size()));
    tainted_.push_back(false);
    return parent_.back();
}

int Groups::find(int group) {
    while (parent_[static_cast<std::size_t>(group)] != group) group = parent_[static_cast<std::size_t>(group)];
    return group;
}

void Groups::join(int a, int b) {
    a = find(a);
    b = find(b);
    if (a == b) return;
    parent_[static_cast<std::size_t>(b)] = a;
    tainted_[static_cast<std::size_t>(a)] = tainted_[static_cast<std::size_t>(a)] || tainted_[static_cast<std::size_t>(b)];
}

Session::~Session() {
    // Predicates first, as the header asks of a host.
    for (Predicate& p : predicates_) vortan_predicate_destroy(&p.handle);
    for (Property& p : properties_) vortan_quantum_property_destroy(&p.handle);
}

void Session::run() {
    while (!in_.exhausted() && step_ < MAX_STEPS) {
        switch (in_.below(26)) {
            case 0: library_call(); break;
            case 1: callback_call(); break;
            case 2: case 3: create_property(); break;
            case 4: destroy_property(false); break;
            case 5: destroy_property(true); break;
            case 6: accessors(); break;
            case 7: case 8: create_predicate(); break;
            case 9: destroy_predicate(); break;
            case 10: size_calculators(); break;
            case 11: case 12: one_target_gate(); break;
            case 13: case 14: hadamard_gate(); break;
            case 15: two_target_gate(); break;
            case 16: phase_rotate(); break;
            case 17: measure(); break;
            case 18: forced_measure(); break;
            case 19: probabilities(); break;
            case 20: density_matrix(); break;
            case 21: projection(); break;
            case 22: case 23: batch(); break;
            case 24: spread(); break;
            default: gather(); break;
        }
        check_invariants();
        ++step_;
    }
}

// ---------------------------------------------------------------------------
// Decoding

int Session::pick_property() {
    // Mostly a live property, so that calls get past their argument checks;
    // sometimes any slot, an empty one giving a NULL handle.
    const std::uint8_t choice = in_.byte();
    int live[PROPERTIES];
    int n = 0;
    for (int i = 0; i < PROPERTIES; ++i)
        if (properties_[i].handle != nullptr) live[n++] = i;
    if (choice < 232 && n > 0) return live[choice % n];
    return choice % PROPERTIES;
}

int Session::pick_predicate() {
    const std::uint8_t choice = in_.byte();
    int live[PREDICATES];
    int n = 0;
    for (int i = 0; i < PREDICATES; ++i)
        if (predicates_[i].handle != nullptr) live[n++] = i;
    if (choice < 232 && n > 0) return live[choice % n];
    return choice % PREDICATES;
}

PropertyList Session::property_list(bool size_max_allowed) {
    PropertyList list;
    std::size_t length;
    const std::uint32_t shape = in_.below(8);
    if (shape < 6) {
        length = 1 + in_.below(4);
        for (std::size_t i = 0; i < length; ++i) list.slots.push_back(pick_property());
    } else if (shape == 6) {
        length = 1 + in_.below(PROPERTIES);
        for (std::size_t i = 0; i < length; ++i) list.slots.push_back(pick_property());
    } else {
        // One or two properties listed many times over.
        length = 1 + in_.below(20);
        const int a = pick_property(), b = in_.one_in(2) ? pick_property() : a;
        for (std::size_t i = 0; i < length; ++i) list.slots.push_back(i % 3 == 2 ? b : a);
    }
    length = list.slots.size();
    list.array = std::make_unique<vortan_quantum_property*[]>(length);
    for (std::size_t i = 0; i < length; ++i) list.array[i] = properties_[list.slots[i]].handle;
    list.count = length;
    switch (in_.below(24)) {
        case 23: list.count = 0; break;
        case 22: list.null_array = true; break;
        case 21:
            // Refused before any element is read: the handles are copied into
            // a reserved vector, and no vector holds SIZE_MAX of them.
            if (size_max_allowed) list.count = std::numeric_limits<std::size_t>::max();
            break;
        default: break;
    }
    return list;
}

PredicateList Session::predicate_list(bool size_max_allowed) {
    PredicateList list;
    const std::size_t length = in_.below(4);
    for (std::size_t i = 0; i < length; ++i) list.slots.push_back(pick_predicate());
    list.array = std::make_unique<vortan_predicate*[]>(length);
    for (std::size_t i = 0; i < length; ++i) list.array[i] = predicates_[list.slots[i]].handle;
    list.count = length;
    switch (in_.below(24)) {
        case 23: list.count = 0; break;
        case 22: list.null_array = true; break;
        case 21: list.null_array = true, list.count = 0; break;
        case 20:
            // Copied into a reserved vector before any element is read.
            if (size_max_allowed) list.count = std::numeric_limits<std::size_t>::max();
            break;
        default: break;
    }
    return list;
}

// ---------------------------------------------------------------------------
// The model

void Session::join(const std::vector<int>& slots, bool merged) {
    const Property* first = nullptr;
    for (const int s : slots) {
        const Property& p = properties_[s];
        if (p.handle == nullptr) continue;
        if (first == nullptr) {
            first = &p;
            continue;
        }
        groups_.join(first->group, p.group);
        if (merged) merged_.join(first->merged, p.merged);
    }
}

void Session::add_predicate_properties(const PredicateList& list, std::vector<int>& slots) const {
    if (!list.counted_as_listed()) return;
    for (const int p : list.slots)
        if (predicates_[p].handle != nullptr) slots.push_back(predicates_[p].property);
}

void Session::taint(const std::vector<int>& slots) {
    for (const int s : slots)
        if (properties_[s].handle != nullptr) groups_.taint(properties_[s].group);
}

bool Session::normalised(const std::vector<int>& slots) {
    for (const int s : slots)
        if (properties_[s].handle == nullptr || groups_.tainted(properties_[s].group)) return false;
    return true;
}

std::uint64_t Session::combinations(const std::vector<int>& slots) const {
    std::uint64_t product = 1;
    for (const int s : slots) product *= properties_[s].dimension;
    return product;
}

std::vector<std::uint32_t> Session::dimensions() const {
    std::vector<std::uint32_t> result;
    for (const Property& p : properties_) result.push_back(p.handle != nullptr ? p.dimension : 0);
    return result;
}

std::vector<std::uint32_t> Session::dimensions(const std::vector<int>& slots) const {
    const std::vector<std::uint32_t> all = dimensions();
    std::vector<std::uint32_t> result;
    for (const int s : slots) result.push_back(all[static_cast<std::size_t>(s)]);
    return result;
}

void Session::drop_predicates_of(int slot) {
    for (Predicate& p : predicates_)
        if (p.handle != nullptr && p.property == slot) {
            vortan_predicate_destroy(&p.handle);
            if (p.handle != nullptr) broken("vortan_predicate_destroy", "left the handle set");
        }
}

void Session::check_invariants() {
    for (Property& p : properties_) {
        if (p.handle == nullptr) continue;
        std::uint32_t dimension = 0;
        std::size_t qudits = 0, entries = 0;
        if (vortan_quantum_property_get_dimension(p.handle, &dimension) != VORTAN_SUCCESS ||
            dimension != p.dimension)
            broken("vortan_quantum_property_get_dimension", "gave %u for a property made with %u", dimension,
                   p.dimension);
        if (vortan_quantum_property_get_num_active_qudits(p.handle, &qudits) != VORTAN_SUCCESS || qudits == 0 ||
            qudits > vortan_get_max_qudits())
            broken("vortan_quantum_property_get_num_active_qudits", "gave %zu qudits", qudits);
        if (vortan_quantum_property_get_state_vector_size(p.handle, &entries) != VORTAN_SUCCESS ||
            entries > vortan_get_max_state_size())
            broken("vortan_quantum_property_get_state_vector_size", "gave %zu entries", entries);
    }
    // Merges are never undone, so properties once merged share one state.
    for (int a = 0; a < PROPERTIES; ++a)
        for (int b = a + 1; b < PROPERTIES; ++b) {
            if (properties_[a].handle == nullptr || properties_[b].handle == nullptr ||
                merged_.find(properties_[a].merged) != merged_.find(properties_[b].merged))
                continue;
            std::size_t qa = 0, qb = 0, ea = 0, eb = 0;
            vortan_quantum_property_get_num_active_qudits(properties_[a].handle, &qa);
            vortan_quantum_property_get_num_active_qudits(properties_[b].handle, &qb);
            vortan_quantum_property_get_state_vector_size(properties_[a].handle, &ea);
            vortan_quantum_property_get_state_vector_size(properties_[b].handle, &eb);
            if (qa != qb || ea != eb)
                broken("vortan_quantum_property_get_num_active_qudits",
                       "two merged properties see %zu and %zu qudits, %zu and %zu entries", qa, qb, ea, eb);
        }
    // One property a step, in turn: its own distribution sums to 1.
    const int slot = static_cast<int>(step_ % PROPERTIES);
    if (properties_[slot].handle != nullptr && normalised({slot})) {
        double total = 0.0;
        for (std::int32_t v = 0; v < static_cast<std::int32_t>(properties_[slot].dimension); ++v)
            total += probability_of({slot}, {v});
        if (std::fabs(total - 1.0) > NORM_TOLERANCE)
            broken("vortan_calculate_probabilities", "one property's distribution sums to %.9g", total);
    }
}

double Session::probability_of(const std::vector<int>& slots, const std::vector<std::int32_t>& outcome) {
    const std::uint64_t n = combinations(slots);
    if (n > MAX_BUFFER) return -1.0;
    std::vector<vortan_quantum_property*> handles;
    for (const int s : slots) handles.push_back(properties_[s].handle);
    std::vector<vortan_probability_entry> buffer(n, vortan_probability_entry{0.0f, 0, nullptr, 0});
    Call call("vortan_calculate_probabilities", true, true);
    const vortan_result code =
        vortan_calculate_probabilities(handles.data(), handles.size(), buffer.data(), n, nullptr, call.record());
    if (call.check(code, {VORTAN_SUCCESS, VORTAN_ERROR_INTERNAL}) != VORTAN_SUCCESS)
        broken("vortan_calculate_probabilities", "failed on live properties: %s", call.message());
    std::size_t k = 0, stride = 1;
    for (std::size_t i = 0; i < slots.size(); ++i) {
        k += static_cast<std::size_t>(outcome[i]) * stride;
        stride *= properties_[slots[i]].dimension;
    }
    return buffer[k].probability;
}

// ---------------------------------------------------------------------------
// Steps toward the limits: what a program of single calls reaches slowly

void Session::spread() {
    // A Fourier transform on every live property: groups grow toward 100000
    // entries, where the gates refuse in advance.
    const bool fractional = in_.one_in(2);
    const double fraction = in_.number();
    for (int s = 0; s < PROPERTIES; ++s) {
        if (properties_[s].handle == nullptr) continue;
        Call call(fractional ? "vortan_fractional_hadamard_operation" : "vortan_hadamard_operation", true, true);
        const vortan_result code =
            fractional ? vortan_fractional_hadamard_operation(properties_[s].handle, fraction, nullptr, 0, call.record())
                       : vortan_hadamard_operation(properties_[s].handle, nullptr, 0, call.record());
        call.check(code, {VORTAN_SUCCESS, VORTAN_ERROR_INVALID_ARGUMENT, VORTAN_ERROR_STATE_SIZE_EXCEEDED,
                          VORTAN_ERROR_OUT_OF_MEMORY, VORTAN_ERROR_INTERNAL});
    }
}

void Session::gather() {
    // Every live property into one group, in slot order; with the qudits that
    // destroyed properties leave behind, groups pass 12 qudits.
    std::vector<int> slots;
    std::vector<vortan_quantum_property*> handles;
    for (int s = 0; s < PROPERTIES; ++s)
        if (properties_[s].handle != nullptr) {
            slots.push_back(s);
            handles.push_back(properties_[s].handle);
        }
    if (slots.empty()) return;
    const std::uint64_t needed = combinations(slots);
    std::vector<vortan_probability_entry> buffer(needed <= MAX_BUFFER ? needed : 1,
                                                 vortan_probability_entry{0.0f, 0, nullptr, 0});
    Call call("vortan_calculate_probabilities", true, true);
    const vortan_result code = call.check(
        vortan_calculate_probabilities(handles.data(), handles.size(), buffer.data(), buffer.size(), nullptr,
                                       call.record()),
        {VORTAN_SUCCESS, VORTAN_ERROR_BUFFER_TOO_SMALL, VORTAN_ERROR_INVALID_QUDIT_NUMBER, VORTAN_ERROR_INTERNAL});
    join(slots, code == VORTAN_SUCCESS || code == VORTAN_ERROR_BUFFER_TOO_SMALL);
    if (code != VORTAN_SUCCESS || !normalised(slots)) return;
    double total = 0.0;
    for (const vortan_probability_entry& e : buffer) total += e.probability;
    if (std::fabs(total - 1.0) > NORM_TOLERANCE)
        broken(call.function(), "probabilities of a normalised state sum to %.9g", total);
}

// ---------------------------------------------------------------------------
// Library-wide calls

void Session::library_call() {
    switch (in_.below(8)) {
        case 0: {
            Call call("vortan_initialize", false, false);
            call.check(vortan_initialize(), {VORTAN_SUCCESS});
            break;
        }
        case 1: {
            Call call("vortan_cleanup", false, false);
            call.check(vortan_cleanup(), {VORTAN_SUCCESS});
            forget_callback();
            break;
        }
        case 2: {
            const char* version = vortan_get_version();
            if (version == nullptr || std::strcmp(version, "1.4.0") != 0)
                broken("vortan_get_version", "gave \"%s\"", version ? version : "(NULL)");
            break;
        }
        case 3: {
            std::uint32_t parts[3] = {7, 7, 7};
            const std::uint32_t which_null = in_.below(5);  // 3 and 4: none
            std::uint32_t* p[3] = {&parts[0], &parts[1], &parts[2]};
            if (which_null < 3) p[which_null] = nullptr;
            Call call("vortan_get_version_info", false, false);
            const vortan_result code =
                call.check(vortan_get_version_info(p[0], p[1], p[2]), {VORTAN_SUCCESS, VORTAN_ERROR_NULL_POINTER});
            const bool ok = which_null >= 3;
            if ((code == VORTAN_SUCCESS) != ok) broken(call.function(), "returned %d with a NULL at %u", code, which_null);
            const bool right = ok ? parts[0] == 1 && parts[1] == 4 && parts[2] == 0
                                  : parts[0] == 7 && parts[1] == 7 && parts[2] == 7;
            if (!right) broken(call.function(), "wrote %u.%u.%u", parts[0], parts[1], parts[2]);
            break;
        }
        case 4:
            if (vortan_get_max_dimension() != 3 || vortan_get_max_qudits() != 12 ||
                vortan_get_max_state_size() != 100000)
                broken("vortan_get_max_*", "limits are not 3, 12 and 100000");
            break;
        case 5: {
            const std::int32_t d = in_.one_in(2) ? in_.dimension() : static_cast<std::int32_t>(in_.u64());
            if (vortan_is_valid_dimension(d) != (d >= 1 && d <= 3))
                broken("vortan_is_valid_dimension", "wrong answer for %d", d);
            break;
        }
        default: {
            static constexpr vortan_result codes[] = {0, 1, 2, 3, 4, 5, 100, 101, 102, 200, 900};
            static constexpr const char* texts[] = {"Success", "Null pointer error", "Invalid argument",
                                                    "Buffer too small", "Invalid dimension", "Invalid qudit number",
                                                    "Target control overlap", "Incompatible dimensions",
                                                    "State size exceeded", "Out of memory", "Internal error"};
            const vortan_result code = in_.one_in(2) ? codes[in_.below(11)] : static_cast<vortan_result>(in_.u64());
            const char* expected = "Unknown error";
            for (int i = 0; i < 11; ++i)
                if (codes[i] == code) expected = texts[i];
            const char* text = vortan_get_error_string(code);
            if (text == nullptr || std::strcmp(text, expected) != 0)
                broken("vortan_get_error_string", "gave \"%s\" for %d", text ? text : "(NULL)", code);
            break;
        }
    }
}

void Session::callback_call() {
    static int user_data[2];
    const int which = static_cast<int>(in_.below(3)) - 1;
    set_callback(which, in_.one_in(4) ? nullptr : &user_data[in_.below(2)]);
}

// ---------------------------------------------------------------------------
// Properties and predicates

void Session::create_property() {
    const int slot = static_cast<int>(in_.below(PROPERTIES));
    const std::int32_t dimension = in_.dimension();
    const bool null_out = in_.one_in(24);
    // The variable starts as something the library must not read.
    auto* const sentinel = reinterpret_cast<vortan_quantum_property*>(std::uintptr_t{0x5a5a5a5a5a5a5a5a});
    vortan_quantum_property* out = sentinel;
    Call call("vortan_quantum_property_create", true, !in_.one_in(6));
    const vortan_result code =
        call.check(vortan_quantum_property_create(dimension, null_out ? nullptr : &out, call.record()),
                   {VORTAN_SUCCESS, VORTAN_ERROR_NULL_POINTER, VORTAN_ERROR_INVALID_DIMENSION,
                    VORTAN_ERROR_STATE_SIZE_EXCEEDED, VORTAN_ERROR_OUT_OF_MEMORY, VORTAN_ERROR_INTERNAL});
    const bool valid = !null_out && (dimension == 2 || dimension == 3);
    if ((code == VORTAN_SUCCESS) != valid)
        broken(call.function(), "returned %d for dimension %d%s", code, dimension, null_out ? " and no out" : "");
    if (code != VORTAN_SUCCESS) {
        // Checks that fail before the factory leave the variable alone.
        const bool before = null_out || dimension < 1 || dimension > 3;
        if (out != (before ? sentinel : nullptr)) broken(call.function(), "failed and set the out variable");
        return;
    }
    if (out == nullptr || out == sentinel) broken(call.function(), "succeeded without a handle");
    Property& p = properties_[slot];
    if (p.handle != nullptr) {
        vortan_quantum_property_destroy(&out);  // the slot is taken; the new one goes at once
        return;
    }
    p.handle = out;
    p.dimension = static_cast<std::uint32_t>(dimension);
    p.group = groups_.fresh();
    p.merged = merged_.fresh();
}

void Session::destroy_property(bool factorize) {
    const int slot = pick_property();
    Property& p = properties_[slot];
    const bool null_address = in_.one_in(16);
    const char* name = factorize ? "vortan_quantum_property_factorize_and_destroy" : "vortan_quantum_property_destroy";
    if (!null_address) drop_predicates_of(slot);
    vortan_quantum_property* const before = p.handle;
    Call call(name, factorize, !in_.one_in(6));
    vortan_quantum_property** address = null_address ? nullptr : &p.handle;
    const vortan_result code =
        factorize ? call.check(vortan_quantum_property_factorize_and_destroy(address, call.record()),
                               {VORTAN_SUCCESS, VORTAN_ERROR_INTERNAL})
                  : call.check(vortan_quantum_property_destroy(address), {VORTAN_SUCCESS});
    if (code == VORTAN_SUCCESS) {
        if (p.handle != (null_address ? before : nullptr)) broken(name, "succeeded and left the handle set");
        return;
    }
    if (before == nullptr) broken(name, "failed on a NULL handle");
    if (p.handle != before) broken(name, "failed and changed the handle");
    taint({slot});  // the measurement may have collapsed part way
}

void Session::accessors() {
    const int slot = pick_property();
    vortan_quantum_property* const handle = in_.one_in(8) ? nullptr : properties_[slot].handle;
    const bool null_out = in_.one_in(8);
    const std::uint32_t which = in_.below(3);
    const char* names[] = {"vortan_quantum_property_get_dimension", "vortan_quantum_property_get_num_active_qudits",
                           "vortan_quantum_property_get_state_vector_size"};
    Call call(names[which], false, false);
    std::uint32_t dimension = 77;
    std::size_t value = 77;
    vortan_result code;
    if (which == 0)
        code = vortan_quantum_property_get_dimension(handle, null_out ? nullptr : &dimension);
    else if (which == 1)
        code = vortan_quantum_property_get_num_active_qudits(handle, null_out ? nullptr : &value);
    else
        code = vortan_quantum_property_get_state_vector_size(handle, null_out ? nullptr : &value);
    call.check(code, {VORTAN_SUCCESS, VORTAN_ERROR_NULL_POINTER});
    if ((code == VORTAN_SUCCESS) != (handle != nullptr && !null_out))
        broken(call.function(), "returned %d", code);
    if (code != VORTAN_SUCCESS && (dimension != 77 || value != 77)) broken(call.function(), "failed and wrote");
}

void Session::create_predicate() {
    const int slot = pick_property();
    vortan_quantum_property* const handle = properties_[slot].handle;
    const std::int32_t value = in_.dit_value();
    const bool is_equal = in_.below(2) == 0;
    const bool null_out = in_.one_in(16);
    auto* const sentinel = reinterpret_cast<vortan_predicate*>(std::uintptr_t{0x5a5a5a5a5a5a5a5a});
    vortan_predicate* out = sentinel;
    Call call("vortan_predicate_create", false, false);
    const vortan_result code =
        call.check(vortan_predicate_create(handle, value, is_equal, null_out ? nullptr : &out),
                   {VORTAN_SUCCESS, VORTAN_ERROR_NULL_POINTER, VORTAN_ERROR_OUT_OF_MEMORY, VORTAN_ERROR_INTERNAL});
    if ((code == VORTAN_SUCCESS) != (handle != nullptr && !null_out)) broken(call.function(), "returned %d", code);
    if (code != VORTAN_SUCCESS) {
        if (out != sentinel) broken(call.function(), "failed and wrote the out variable");
        return;
    }
    for (Predicate& p : predicates_)
        if (p.handle == nullptr) {
            p.handle = out;
            p.property = slot;
            return;
        }
    vortan_predicate_destroy(&out);
}

void Session::destroy_predicate() {
    Predicate& p = predicates_[pick_predicate()];
    const bool null_address = in_.one_in(16);
    vortan_predicate* const before = p.handle;
    Call call("vortan_predicate_destroy", false, false);
    call.check(vortan_predicate_destroy(null_address ? nullptr : &p.handle), {VORTAN_SUCCESS});
    if (p.handle != (null_address ? before : nullptr)) broken(call.function(), "left the handle set");
}

void Session::size_calculators() {
    PropertyList list = property_list(false);
    const bool matrix = in_.below(2) == 0;
    const bool null_out = in_.one_in(12), null_size = in_.one_in(3);
    bool any_null = false;
    for (const int s : list.slots) any_null = any_null || properties_[s].handle == nullptr;
    std::size_t out = 77, size = 77;
    Call call(matrix ? "vortan_calculate_matrix_size" : "vortan_calculate_combinations_count", false, false);
    const vortan_result code =
        matrix ? vortan_calculate_matrix_size(list.data(), list.count, null_out ? nullptr : &out,
                                              null_size ? nullptr : &size)
               : vortan_calculate_combinations_count(list.data(), list.count, null_out ? nullptr : &out);
    call.check(code, {VORTAN_SUCCESS, VORTAN_ERROR_NULL_POINTER, VORTAN_ERROR_INTERNAL});
    // Counting reads the listed elements only; the count is the listed length or 0.
    const bool ok = !null_out && (list.count == 0 || (!list.null_array && !any_null));
    if ((code == VORTAN_SUCCESS) != ok) broken(call.function(), "returned %d", code);
    if (code != VORTAN_SUCCESS) {
        if (out != 77 || size != 77) broken(call.function(), "failed and wrote");
        return;
    }
    const std::uint64_t expected = list.count == 0 ? 0 : combinations(list.slots);
    if (out != expected) broken(call.function(), "gave %zu where the dimensions give %zu", out, std::size_t{expected});
    if (matrix && !null_size && size != expected * expected)
        broken(call.function(), "gave %zu elements for a side of %zu", size, out);
}

}  // namespace vortan::fuzz
