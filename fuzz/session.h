#pragma once
// The host the fuzzer plays: a small pool of properties and predicates, used
// by the rules of vortan.h (no destroyed handle is passed again; predicates
// go before their property), and a model of what the library must answer.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "checks.h"
#include "input.h"
#include "vortan.h"

namespace vortan::fuzz {

/// The pool's size bounds the named qudits of a group; qudits left behind by
/// vortan_quantum_property_destroy still let a group reach the limit of 12.
constexpr int PROPERTIES = 8;
constexpr int PREDICATES = 8;
/// Calls per input, so that every input runs quickly.
constexpr std::size_t MAX_STEPS = 160;
/// Largest probability or density buffer the fuzzer allocates, in elements.
constexpr std::size_t MAX_BUFFER = 4096;

/// Groups as the host can know them: properties named in one call are
/// joined (an over-estimate when a merge fails part way, which only makes
/// the norm checks skip more). A tainted group may hold a state of any norm.
class Groups {
public:
    int fresh();
    int find(int group);
    void join(int a, int b);
    void taint(int group) { tainted_[static_cast<std::size_t>(find(group))] = true; }
    bool tainted(int group) { return tainted_[static_cast<std::size_t>(find(group))]; }

private:
    std::vector<int> parent_;
    std::vector<bool> tainted_;
};

/// A list of handles as the host passes it: an exact-size array (so that
/// AddressSanitizer sees any read past it), a count that may differ from its
/// length, or no array at all.
template <class Handle>
struct HandleList {
    std::vector<int> slots;  // pool slot of each element
    std::unique_ptr<Handle[]> array;
    std::size_t count = 0;
    bool null_array = false;

    Handle* data() const { return null_array ? nullptr : array.get(); }
    bool counted_as_listed() const { return !null_array && count == slots.size(); }
};
using PropertyList = HandleList<vortan_quantum_property*>;
using PredicateList = HandleList<vortan_predicate*>;

class Session {
public:
    explicit Session(Input& input) : in_(input) {}
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    void run();

private:
    struct Property {
        vortan_quantum_property* handle = nullptr;
        std::uint32_t dimension = 0;
        int group = -1;
        int merged = -1;  // in merged_: groups the library has certainly formed
    };
    struct Predicate {
        vortan_predicate* handle = nullptr;
        int property = -1;
    };

    // Decoding the next call's arguments.
    int pick_property();
    int pick_predicate();
    PropertyList property_list(bool size_max_allowed);
    PredicateList predicate_list(bool size_max_allowed);

    // The calls, one family each.
    void library_call();
    void callback_call();
    void create_property();
    void destroy_property(bool factorize);
    void accessors();
    void create_predicate();
    void destroy_predicate();
    void size_calculators();
    void one_target_gate();
    void hadamard_gate();
    void two_target_gate();
    void phase_rotate();
    void measure();
    void forced_measure();
    void probabilities();
    void density_matrix();
    void projection();
    void batch();
    void spread();
    void gather();

    // The model.
    /// Joins the groups of the slots' properties in the model; `merged` says
    /// the call certainly merged them (it succeeded), which the model keeps
    /// apart: such properties must agree on their qudit and entry counts.
    void join(const std::vector<int>& slots, bool merged = false);
    void taint(const std::vector<int>& slots);
    /// Appends the property slot of each predicate a call reads from `list`.
    void add_predicate_properties(const PredicateList& list, std::vector<int>& slots) const;
    bool normalised(const std::vector<int>& slots);
    std::uint64_t combinations(const std::vector<int>& slots) const;
    /// The dimension of each slot's property, 0 for an empty slot.
    std::vector<std::uint32_t> dimensions() const;
    /// The same for the listed slots, in list order.
    std::vector<std::uint32_t> dimensions(const std::vector<int>& slots) const;
    void drop_predicates_of(int slot);
    /// Probability of one outcome of the listed properties, read back through
    /// vortan_calculate_probabilities; negative if the buffer would be too big.
    double probability_of(const std::vector<int>& slots, const std::vector<std::int32_t>& outcome);
    void check_invariants();

    Input& in_;
    Property properties_[PROPERTIES];
    Predicate predicates_[PREDICATES];
    Groups groups_;
    Groups merged_;
    std::size_t step_ = 0;
};

}  // namespace vortan::fuzz
