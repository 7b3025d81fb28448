// Exhausted memory at every allocation of every family of operation. Each
// family runs on a fresh set of groups with the k-th allocation failing, for
// k = 1, 2, ... until a run meets no failure: once with that one failure, and
// once with every allocation failing from the k-th on. At every point the
// code and text are those the export gives for exhausted memory, the
// all-or-nothing operations have changed nothing, every group's list and its
// properties agree, and everything can still be used and destroyed. Under the
// sanitizers, LeakSanitizer checks at exit that nothing was lost.

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "api/allocation_injector.h"
#include "api/handles.h"
#include "property/entangle.h"
#include "qudit/state_forms.h"
#include "vortan.h"

namespace vortan::testing {
namespace {

using allocations::Failing;

// Failures heard by the callback since it was last cleared.
int reports = 0;
void count_report(const vortan_error_info*, void*) { ++reports; }

vortan_predicate* predicate(vortan_quantum_property* property, int32_t value, bool is_equal) {
    vortan_predicate* made = nullptr;
    EXPECT_EQ(vortan_predicate_create(property, value, is_equal, &made), VORTAN_SUCCESS);
    return made;
}

/// Five properties in three groups: p0 (2), p1 (3), p2 (2) entangled and
/// superposed; p3 (2) superposed alone; p4 (3) alone at |1>. Predicates:
/// on[0] p1 == 1, on[1] p3 == 0, on[2] p0 != 0, on[3] p4 == 1.
struct World {
    World() {
        for (const int32_t d : {2, 3, 2, 2, 3}) EXPECT_EQ(vortan_quantum_property_create(d, &p.emplace_back(), nullptr), 0);
        vortan_predicate* build[] = {predicate(p[0], 1, true), predicate(p[1], 0, false)};
        EXPECT_EQ(vortan_hadamard_operation(p[0], nullptr, 0, nullptr), 0);
        EXPECT_EQ(vortan_cycle_operation(p[1], 1.0, &build[0], 1, nullptr), 0);
        EXPECT_EQ(vortan_fractional_hadamard_operation(p[1], 0.5, nullptr, 0, nullptr), 0);
        EXPECT_EQ(vortan_hadamard_operation(p[2], &build[1], 1, nullptr), 0);
        EXPECT_EQ(vortan_fractional_hadamard_operation(p[3], 0.5, nullptr, 0, nullptr), 0);
        EXPECT_EQ(vortan_cycle_operation(p[4], 1.0, nullptr, 0, nullptr), 0);
        for (vortan_predicate*& made : build) vortan_predicate_destroy(&made);
        on = {predicate(p[1], 1, true), predicate(p[3], 0, true), predicate(p[0], 0, false), predicate(p[4], 1, true)};
    }
    // Predicates go first, as the host must; then every other handle is
    // given back with its qudit.
    ~World() {
        for (vortan_predicate*& made : on) vortan_predicate_destroy(&made);
        for (std::size_t i = 0; i < p.size(); ++i)
            EXPECT_EQ(i % 2 ? vortan_quantum_property_destroy(&p[i]) : vortan_quantum_property_factorize_and_destroy(&p[i], nullptr), 0);
    }
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    QuantumProperty* at(std::size_t i) const { return api::from_handle(p[i]); }
    std::vector<vortan_quantum_property*> p;
    std::vector<vortan_predicate*> on;
};

/// The world as bits: which handles share a group, each group's list of
/// handles with their indices, and its entries with the amplitudes' bits.
std::string snapshot(const World& w) {
    std::map<const SharedState*, std::size_t> groups;
    std::ostringstream out;
    for (std::size_t i = 0; i < w.p.size(); ++i) {
        if (w.p[i] == nullptr) continue;
        const SharedState* group = w.at(i)->shared.get();
        const auto [at, fresh] = groups.emplace(group, groups.size());
        out << "p" << i << ":g" << at->second << " ";
        if (!fresh) continue;
        out << "[";
        for (const QuantumProperty* member : group->properties) out << member->qudit_index << ",";
        out << "] " << group->state->num_qudits() << " qudits {";
        for (const qudit::DynamicBasisEntry& entry : group->state->basis_entries()) {
            for (const qudit::Dit& dit : entry.dits.dits) out << dit.value << "/" << dit.dimension;
            out << "=" << std::bit_cast<std::uint64_t>(entry.amplitude.real()) << ","
                << std::bit_cast<std::uint64_t>(entry.amplitude.imag()) << " ";
        }
        out << "} ";
    }
    return out.str();
}

/// Every live handle stands exactly once in the list of the group it points
/// to, every listed property points back to that group, and no two of a
/// group stand on one qudit; the exports agree on the group's qudit count.
::testing::AssertionResult consistent(const World& w) {
    std::set<const SharedState*> groups;
    for (std::size_t i = 0; i < w.p.size(); ++i) {
        if (w.p[i] == nullptr) continue;
        const QuantumProperty* property = w.at(i);
        if (!property->shared || !property->shared->state) return ::testing::AssertionFailure() << "p" << i << " has no state";
        const auto& list = property->shared->properties;
        if (std::count(list.begin(), list.end(), property) != 1)
            return ::testing::AssertionFailure() << "p" << i << " is not listed once in its group";
        groups.insert(property->shared.get());
        size_t count = 0;
        EXPECT_EQ(vortan_quantum_property_get_num_active_qudits(w.p[i], &count), 0);
        if (count != property->shared->state->num_qudits()) return ::testing::AssertionFailure() << "p" << i << " count";
    }
    for (const SharedState* group : groups) {
        std::set<std::int32_t> taken;
        for (const QuantumProperty* member : group->properties) {
            if (member->shared.get() != group) return ::testing::AssertionFailure() << "a listed property left the group";
            if (member->qudit_index < 0 || static_cast<std::uint64_t>(member->qudit_index) >= group->state->num_qudits() ||
                !taken.insert(member->qudit_index).second)
                return ::testing::AssertionFailure() << "qudit " << member->qudit_index << " is out of range or taken twice";
        }
    }
    return ::testing::AssertionSuccess();
}

/// Every live handle in one read-out, which merges all groups: it must
/// succeed and give a distribution of finite probabilities summing to at
/// most 1 (a collapse that failed midway may leave the norm below it).
void use_all(const World& w) {
    std::vector<vortan_quantum_property*> live;
    for (vortan_quantum_property* handle : w.p)
        if (handle != nullptr) live.push_back(handle);
    size_t n = 0;
    ASSERT_EQ(vortan_calculate_combinations_count(live.data(), live.size(), &n), 0);
    std::vector<vortan_probability_entry> out(n, vortan_probability_entry{0.0f, 0, nullptr, 0});
    ASSERT_EQ(vortan_calculate_probabilities(live.data(), live.size(), out.data(), out.size(), &n, nullptr), 0);
    double sum = 0.0;
    for (const vortan_probability_entry& e : out) sum += e.probability;
    EXPECT_TRUE(std::isfinite(sum) && sum <= 1.0 + 1e-5) << sum;
    EXPECT_TRUE(consistent(w));
}

enum class Kind {
    atomic,  // a failure leaves everything bit for bit as it was
    merge,   // a failure leaves everything as it was, or only `merged` done
    loose,   // only consistency is promised
};

struct Family {
    const char* name;
    const char* function;
    vortan_result exhausted;
    Kind kind;
    std::function<vortan_result(World&, vortan_error_info*)> call;
    /// For Kind::merge: the two handles whose groups merge, in the order of
    /// tensor_state; `product` if the state is then the plain product until
    /// the call succeeds (else what follows the merge may change it).
    std::vector<std::size_t> merged = {};
    bool product = true;
    vortan_result success = VORTAN_SUCCESS;
    /// Extra checks of the outcome, with the record; and what to release.
    std::function<void(World&, vortan_result, const vortan_error_info&)> after = {};
};

/// Runs `call` armed; disarmed again whatever happens, so that what escapes
/// (an exception out of an export) fails the test and no more.
template <class Call>
auto armed(Failing mode, std::uint64_t k, Call&& call) {
    struct Disarm {
        ~Disarm() { allocations::disarm(); }
    } disarm;
    allocations::arm(mode, k);
    return call();
}

/// The world after only the merge of `order`, as the operation begins.
std::string merged_snapshot(const std::vector<std::size_t>& order) {
    World twin;
    std::vector<QuantumProperty*> list;
    for (const std::size_t i : order) list.push_back(twin.at(i));
    tensor_state(list);
    return snapshot(twin);
}

void run(const Family& family, Failing mode) {
    SCOPED_TRACE(std::string(family.name) + (mode == Failing::kth_only ? ", one failure" : ", failing on"));
    const std::string merged = family.product && !family.merged.empty() ? merged_snapshot(family.merged) : "";
    // A family that goes wrong stops at its first flawed point.
    const bool flawless_before = !::testing::Test::HasFailure();
    vortan_set_error_callback(count_report, nullptr);
    for (std::uint64_t k = 1;; ++k) {
        SCOPED_TRACE("allocation " + std::to_string(k));
        World w;
        const std::string before = snapshot(w);
        vortan_error_info info{};
        info.code = -1;
        reports = 0;
        const vortan_result code = armed(mode, k, [&] { return family.call(w, &info); });
        const bool failed = allocations::injected();
        if (failed) {
            const char* text = family.exhausted == VORTAN_ERROR_OUT_OF_MEMORY ? "Memory allocation failed" : "std::bad_alloc";
            EXPECT_EQ(code, family.exhausted);
            EXPECT_TRUE(info.code == code && std::string(info.message) == text && info.function != nullptr &&
                        std::string(info.function) == family.function)
                << info.code << " " << info.message;
            EXPECT_EQ(reports, 1);
        } else {
            EXPECT_EQ(code, family.success);
            EXPECT_EQ(reports, family.success == VORTAN_SUCCESS ? 0 : 1);
        }
        if (family.after) family.after(w, code, info);
        EXPECT_TRUE(consistent(w));
        if (failed && family.kind == Kind::atomic) {
            EXPECT_EQ(snapshot(w), before);
        }
        if (failed && family.kind == Kind::merge && snapshot(w) != before) {
            // Then the merge is done, whole; and the state is its product.
            EXPECT_EQ(w.at(family.merged[0])->shared, w.at(family.merged[1])->shared);
            if (!merged.empty()) {
                EXPECT_EQ(snapshot(w), merged);
            }
        }
        use_all(w);
        if (!failed || (flawless_before && ::testing::Test::HasFailure())) break;
        ASSERT_LT(k, 100000u) << "the call never succeeded";
    }
    vortan_set_error_callback(nullptr, nullptr);
}

// A gate on p0 or p2 controlled by p1, all in one group: no merge.
Family gate(const char* name, const char* function, Kind kind,
            vortan_result (*op)(vortan_quantum_property*, double, vortan_predicate* const*, size_t, vortan_error_info*),
            double fraction, std::size_t target = 0) {
    return {name, function, VORTAN_ERROR_OUT_OF_MEMORY, kind,
            [=](World& w, vortan_error_info* info) { return op(w.p[target], fraction, &w.on[0], 1, info); }};
}

std::vector<Family> families() {
    const auto code200 = VORTAN_ERROR_OUT_OF_MEMORY;
    const auto code900 = VORTAN_ERROR_INTERNAL;
    std::vector<Family> list = {
        gate("shift", "vortan_shift_operation", Kind::loose, vortan_shift_operation, 1.0),
        gate("fractional shift", "vortan_shift_operation", Kind::atomic, vortan_shift_operation, 0.3),
        gate("x", "vortan_x_operation", Kind::loose, vortan_x_operation, 1.0, 2),
        gate("fractional x", "vortan_x_operation", Kind::atomic, vortan_x_operation, -0.7, 2),
        gate("cycle", "vortan_cycle_operation", Kind::loose, vortan_cycle_operation, 1.0),
        gate("fractional cycle", "vortan_cycle_operation", Kind::atomic, vortan_cycle_operation, 0.3),
        gate("clock", "vortan_clock_operation", Kind::loose, vortan_clock_operation, 1.0),
        gate("fractional clock", "vortan_clock_operation", Kind::loose, vortan_clock_operation, 0.3),
        gate("z", "vortan_z_operation", Kind::loose, vortan_z_operation, 0.7, 2),
        gate("y", "vortan_y_operation", Kind::loose, vortan_y_operation, 1.0),
        gate("fractional y", "vortan_y_operation", Kind::loose, vortan_y_operation, 0.4, 2),
        gate("fractional hadamard", "vortan_fractional_hadamard_operation", Kind::atomic,
             vortan_fractional_hadamard_operation, 0.5),
        gate("fractional hadamard of 1", "vortan_fractional_hadamard_operation", Kind::atomic,
             vortan_fractional_hadamard_operation, 1.0, 2),
        {"hadamard", "vortan_hadamard_operation", code200, Kind::atomic,
         [](World& w, vortan_error_info* info) { return vortan_hadamard_operation(w.p[0], &w.on[0], 1, info); }},
        {"inverse hadamard", "vortan_inverse_hadamard_operation", code200, Kind::atomic,
         [](World& w, vortan_error_info* info) { return vortan_inverse_hadamard_operation(w.p[2], &w.on[0], 1, info); }},
        {"swap", "vortan_swap_operation", code200, Kind::loose,
         [](World& w, vortan_error_info* info) { return vortan_swap_operation(w.p[0], w.p[2], &w.on[0], 1, info); }},
        {"i-swap", "vortan_i_swap_operation", code200, Kind::loose,
         [](World& w, vortan_error_info* info) { return vortan_i_swap_operation(w.p[0], w.p[2], 0.5, &w.on[0], 1, info); }},
        {"phase rotation", "vortan_phase_rotate_operation", code200, Kind::loose,
         [](World& w, vortan_error_info* info) {
             vortan_predicate* both[] = {w.on[0], w.on[2]};
             return vortan_phase_rotate_operation(both, 2, 0.7, info);
         }},
        // Merges: the group of three joins a lone property's group.
        {"hadamard merging two groups", "vortan_hadamard_operation", code200, Kind::merge,
         [](World& w, vortan_error_info* info) { return vortan_hadamard_operation(w.p[3], &w.on[0], 1, info); },
         {3, 1}},
        {"cycle merging two groups", "vortan_cycle_operation", code200, Kind::merge,
         [](World& w, vortan_error_info* info) { return vortan_cycle_operation(w.p[4], 1.0, &w.on[1], 1, info); },
         {4, 3}},
        {"swap merging two groups", "vortan_swap_operation", code200, Kind::merge,
         [](World& w, vortan_error_info* info) { return vortan_swap_operation(w.p[3], w.p[0], nullptr, 0, info); },
         {3, 0},
         false},
        {"measurement merging two groups", "vortan_measure_properties", code900, Kind::merge,
         [](World& w, vortan_error_info* info) {
             vortan_quantum_property* list[] = {w.p[4], w.p[1]};
             int32_t out[2];
             return vortan_measure_properties(list, 2, out, 2, info);
         },
         {4, 1},
         false},
        // Read-outs and collapses, where exhausted memory is 900.
        {"measure", "vortan_measure_properties", code900, Kind::loose,
         [](World& w, vortan_error_info* info) {
             int32_t out[3];
             return vortan_measure_properties(w.p.data(), 3, out, 3, info);
         }},
        {"forced measure", "vortan_forced_measure_properties", code900, Kind::loose,
         [](World& w, vortan_error_info* info) {
             const int32_t forced[] = {1, 1};
             return vortan_forced_measure_properties(w.p.data(), 2, forced, 2, nullptr, 0, info);
         }},
        {"probabilities", "vortan_calculate_probabilities", code900, Kind::merge,
         [](World& w, vortan_error_info* info) {
             vortan_quantum_property* list[] = {w.p[0], w.p[1], w.p[3]};
             vortan_probability_entry out[12] = {};
             return vortan_calculate_probabilities(list, 3, out, 12, nullptr, info);
         },
         {0, 3}},
        {"density matrix", "vortan_calculate_reduced_density_matrix", code900, Kind::merge,
         [](World& w, vortan_error_info* info) {
             vortan_quantum_property* list[] = {w.p[1], w.p[3]};
             vortan_density_element out[36] = {};
             return vortan_calculate_reduced_density_matrix(list, 2, out, 36, nullptr, info);
         },
         {1, 3}},
        {"projection", "vortan_stochastic_projection_modern", code900, Kind::loose,
         [](World& w, vortan_error_info* info) {
             vortan_predicate* two[] = {w.on[0], w.on[1]};
             int32_t answer = -1;
             return vortan_stochastic_projection_modern(two, 2, &answer, info);
         }},
        {"factorize and destroy", "vortan_quantum_property_factorize_and_destroy", code900, Kind::loose,
         [](World& w, vortan_error_info* info) {
             // Its predicates go first, as the host must.
             vortan_predicate_destroy(&w.on[2]);
             return vortan_quantum_property_factorize_and_destroy(&w.p[0], info);
         },
         {},
         true,
         VORTAN_SUCCESS,
         [](World& w, vortan_result code, const vortan_error_info&) { EXPECT_EQ(w.p[0] == nullptr, code == 0); }},
        {"creation", "vortan_quantum_property_create", code200, Kind::loose,
         [](World& w, vortan_error_info* info) {
             w.p.push_back(reinterpret_cast<vortan_quantum_property*>(&w));  // must become NULL or a handle
             return vortan_quantum_property_create(3, &w.p.back(), info);
         },
         {},
         true,
         VORTAN_SUCCESS,
         [](World& w, vortan_result code, const vortan_error_info&) { EXPECT_EQ(w.p.back() == nullptr, code != 0); }},
    };
    return list;
}

vortan_batch_op op(uint32_t opcode, vortan_quantum_property* target, vortan_quantum_property* target2 = nullptr,
                   double fraction = NAN, vortan_predicate* const* predicates = nullptr, size_t count = 0) {
    return {opcode, 0, target, target2, fraction, 0.6, predicates, count};
}

// The batch keeps its own result record, which must tell the same story.
vortan_batch_result last_batch;

Family batch(const char* name, bool valid) {
    return {name, "vortan_execute_batch", VORTAN_ERROR_INTERNAL, Kind::loose,
            [valid](World& w, vortan_error_info* info) {
                vortan_predicate* controls[] = {w.on[1], valid ? w.on[0] : nullptr};
                const vortan_batch_op ops[] = {
                    op(VORTAN_OP_HADAMARD, w.p[0], nullptr, NAN, &w.on[0], 1),
                    op(VORTAN_OP_CYCLE, w.p[4], nullptr, 0.25, controls, 2),
                    op(VORTAN_OP_SWAP, w.p[3], w.p[0]),
                    op(VORTAN_OP_Y, w.p[2], nullptr, 0.5),
                    op(VORTAN_OP_I_SWAP, w.p[0], w.p[2], 0.5),
                    op(VORTAN_OP_PHASE_ROTATE, nullptr, nullptr, NAN, controls, 1),
                };
                std::memset(&last_batch, 0x55, sizeof last_batch);
                return vortan_execute_batch(ops, 6, &last_batch, info);
            },
            {},
            true,
            valid ? VORTAN_SUCCESS : VORTAN_ERROR_NULL_POINTER,
            [valid](World&, vortan_result code, const vortan_error_info& info) {
                EXPECT_TRUE(last_batch.error_code == code && last_batch.ops_executed <= (code ? 5u : 6u));
                if (code != 0) {
                    EXPECT_STREQ(last_batch.error_message, info.message);
                }
                if (!valid) {
                    EXPECT_EQ(code, VORTAN_ERROR_NULL_POINTER);
                    EXPECT_STREQ(info.message, "op 1 (VORTAN_OP_CYCLE): predicates[1] cannot be NULL");
                }
            }};
}

class ExhaustedMemory : public ::testing::TestWithParam<Failing> {};

TEST_P(ExhaustedMemory, at_every_allocation_of_every_family_of_operation) {
    std::vector<Family> all = families();
    all.push_back(batch("valid batch", true));
    all.push_back(batch("invalid batch", false));
    for (const Family& family : all) run(family, GetParam());
}

// Predicates have no error record: a bare 200, and no handle.
TEST_P(ExhaustedMemory, predicate_creation_fails_with_a_bare_code) {
    World w;
    for (std::uint64_t k = 1;; ++k) {
        vortan_predicate* made = reinterpret_cast<vortan_predicate*>(&w);
        const vortan_result code = armed(GetParam(), k, [&] { return vortan_predicate_create(w.p[1], 2, true, &made); });
        if (!allocations::injected()) {
            EXPECT_EQ(code, VORTAN_SUCCESS);
            vortan_predicate_destroy(&made);
            break;
        }
        EXPECT_EQ(code, VORTAN_ERROR_OUT_OF_MEMORY);
        EXPECT_EQ(made, reinterpret_cast<vortan_predicate*>(&w)) << "written on failure";
    }
}

// A merge moves a group of three properties; failing anywhere in it leaves
// each property in exactly one list, and the host may then destroy one of the
// moved ones and merge again (this used to walk freed memory).
TEST_P(ExhaustedMemory, a_merge_moves_a_whole_group_or_none_of_it) {
    for (std::uint64_t k = 1;; ++k) {
        World w;
        armed(GetParam(), k, [&] {
            try {
                entangle(*w.at(3), *w.at(1));
            } catch (const std::bad_alloc&) {
            }
        });
        ASSERT_TRUE(consistent(w)) << "allocation " << k;
        const bool together = w.at(3)->shared == w.at(0)->shared;
        EXPECT_TRUE(together == (w.at(3)->shared == w.at(2)->shared) && together != allocations::injected());
        for (vortan_predicate*& made : w.on) vortan_predicate_destroy(&made);
        vortan_quantum_property_destroy(&w.p[1]);
        entangle(*w.at(4), *w.at(2));
        EXPECT_TRUE(consistent(w) && w.at(4)->shared == w.at(0)->shared);
        if (!allocations::injected()) break;
    }
}

INSTANTIATE_TEST_SUITE_P(, ExhaustedMemory, ::testing::Values(Failing::kth_only, Failing::from_kth),
                         [](const auto& info) { return info.param == Failing::kth_only ? "one_failure" : "failing_on"; });

// A short buffer is refused by the count of combinations before any is
// listed: a qutrit listed 16 times (43 million combinations) costs no more
// than a few small vectors, and a count past 64 bits is still just too many.
TEST(ShortBuffers, are_refused_before_the_combinations_are_listed) {
    vortan_quantum_property* qutrit = nullptr;
    ASSERT_EQ(vortan_quantum_property_create(3, &qutrit, nullptr), 0);
    for (const size_t times : {16, 41}) {
        const std::vector<vortan_quantum_property*> list(times, qutrit);
        vortan_probability_entry entry{};
        vortan_density_element element{};
        vortan_error_info info{};
        allocations::arm(Failing::none);
        EXPECT_EQ(vortan_calculate_probabilities(list.data(), times, &entry, 1, nullptr, &info), 3);
        EXPECT_STREQ(info.message, "buffer_size insufficient for all combinations");
        EXPECT_EQ(vortan_calculate_reduced_density_matrix(list.data(), times, &element, 1, nullptr, &info), 3);
        EXPECT_STREQ(info.message, "buffer_size insufficient for density matrix");
        allocations::disarm();
        EXPECT_LT(allocations::peak_bytes(), 1 << 16) << times << " times";
    }
    // A side of 2^32 squares to 0 in 64 bits: still far too few elements.
    vortan_quantum_property* qubit = nullptr;
    ASSERT_EQ(vortan_quantum_property_create(2, &qubit, nullptr), 0);
    const std::vector<vortan_quantum_property*> list(32, qubit);
    vortan_density_element element{};
    vortan_error_info info{};
    EXPECT_EQ(vortan_calculate_reduced_density_matrix(list.data(), 32, &element, 1, nullptr, &info), 3);
    vortan_quantum_property_destroy(&qubit);
    vortan_quantum_property_destroy(&qutrit);
}

// The density matrix holds little beyond its result: here every one of the
// 729 x 729 places is reached, and the call's peak stays within a few times
// the host's buffer (it held two vectors per element before, ~20 times).
TEST(DensityMatrixMemory, stays_within_a_small_factor_of_the_result) {
    std::vector<vortan_quantum_property*> p(7);
    for (std::size_t i = 0; i < p.size(); ++i) ASSERT_EQ(vortan_quantum_property_create(i < 6 ? 3 : 2, &p[i], nullptr), 0);
    for (std::size_t i = 0; i < 6; ++i) ASSERT_EQ(vortan_hadamard_operation(p[i], nullptr, 0, nullptr), 0);
    ASSERT_EQ(vortan_hadamard_operation(p[6], nullptr, 0, nullptr), 0);
    std::vector<vortan_quantum_property*> merged = p;
    size_t n = 0;
    std::vector<vortan_probability_entry> all(1458, vortan_probability_entry{0.0f, 0, nullptr, 0});
    ASSERT_EQ(vortan_calculate_probabilities(merged.data(), 7, all.data(), all.size(), &n, nullptr), 0);

    std::vector<vortan_density_element> out(729 * 729);
    allocations::arm(Failing::none);
    ASSERT_EQ(vortan_calculate_reduced_density_matrix(p.data(), 6, out.data(), out.size(), &n, nullptr), 0);
    allocations::disarm();
    const std::int64_t result = static_cast<std::int64_t>(out.size() * sizeof out[0]);
    EXPECT_LT(allocations::peak_bytes(), 4 * result) << "result " << result;
    // Every place is 1/729, real.
    for (const vortan_density_element& e : out) ASSERT_TRUE(std::abs(e.real - 1.0f / 729) < 1e-6f && std::abs(e.imag) < 1e-6f);
    for (vortan_quantum_property*& handle : p) vortan_quantum_property_destroy(&handle);
}

}  // namespace
}  // namespace vortan::testing
