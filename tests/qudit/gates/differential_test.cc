// Seeded random controlled circuits through the sparse engine, or through the
// exported functions (merging groups as gates name them), and the dense
// reference: every amplitude after every gate; on the engine also the order
// of merged lists, outcome weights, and at the end a forced measurement and
// the removal of the measured qudit. The exported circuit also runs as one
// batch on twin properties, which must end with the same entries bit for bit.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <random>
#include <string>

#include "api/gate_call.h"
#include "reference/dense_state.h"
#include "vortan.h"

namespace vortan {
namespace {

namespace ref = reference;
using qudit::IState, qudit::Predicates;
using Controls = std::vector<ref::Control>;
using Handle = vortan_quantum_property*;

// Each gate on the reference, the engine and the host, with a target t, a
// partner t2 of the same dimension and a fraction f; then its batch opcode,
// and whether the batch asks for the whole gate always (2), where the single
// call gets exactly 1.0 (1), or never (0).
struct Gate {
    void (*dense)(ref::DenseState&, int t, int t2, double f, const Controls&);
    void (*engine)(IState&, int t, int t2, double f, const Controls&);
    vortan_result (*host)(Handle, Handle, double, vortan_predicate* const*, size_t);
    std::uint32_t opcode;
    int whole;
};
#define MAYBE [[maybe_unused]]
#define DENSE(call) [](ref::DenseState& s, int t, MAYBE int t2, MAYBE double f, const Controls& c) { MAYBE int d = s.dims()[t]; s.call; }
#define APPLY(matrix) DENSE(apply(t, matrix, c))
#define ENGINE(...) [](IState& s, MAYBE int t, MAYBE int t2, MAYBE double f, const Controls& c) { \
    Predicates p; for (const ref::Control& x : c) p.push_back({x.qudit, x.value, x.is_equal}); __VA_ARGS__; }
#define HOST(name, ...) \
    [](MAYBE Handle q, MAYBE Handle q2, MAYBE double f, vortan_predicate* const* p, size_t n) { return vortan_##name(__VA_ARGS__, nullptr); }
const Gate gates[] = {
    {APPLY(ref::shift_matrix(d, 1)), ENGINE(s.shift({t}, p)), HOST(shift_operation, q, 1.0, p, n), VORTAN_OP_SHIFT, 2},
    {APPLY(ref::shift_matrix(d, f)), ENGINE(s.fractional_shift({t}, f, p)), HOST(x_operation, q, f, p, n), VORTAN_OP_X, 1},
    {APPLY(ref::cycle_matrix(d, 1)), ENGINE(s.cycle({t}, p)), HOST(cycle_operation, q, 1.0, p, n), VORTAN_OP_CYCLE, 2},
    {APPLY(ref::cycle_matrix(d, f)), ENGINE(s.fractional_cycle({t}, f, p)), HOST(cycle_operation, q, f, p, n), VORTAN_OP_CYCLE, 1},
    {APPLY(ref::clock_matrix(d, 1)), ENGINE(s.clock({t}, p)), HOST(clock_operation, q, 1.0, p, n), VORTAN_OP_CLOCK, 2},
    {APPLY(ref::clock_matrix(d, f)), ENGINE(s.fractional_clock({t}, f, p)), HOST(z_operation, q, f, p, n), VORTAN_OP_Z, 1},
    {APPLY(ref::fourier_matrix(d, -1)), ENGINE(s.hadamard({t}, p)), HOST(hadamard_operation, q, p, n), VORTAN_OP_HADAMARD, 2},
    {APPLY(ref::fourier_matrix(d, +1)), ENGINE(s.inverse_hadamard({t}, p)), HOST(inverse_hadamard_operation, q, p, n), VORTAN_OP_INVERSE_HADAMARD, 2},
    {APPLY(ref::fractional_fourier_matrix(d, f)), ENGINE(s.fractional_hadamard({t}, f, p)), HOST(fractional_hadamard_operation, q, f, p, n),
     VORTAN_OP_HADAMARD, 0},
    // Y^f = Z^(1/2) X^f Z^(-1/2) on qubits; the engine has no Y and takes the three steps.
    {APPLY(ref::multiply(ref::clock_matrix(2, .5), ref::multiply(ref::shift_matrix(2, f), ref::clock_matrix(2, -.5)))),
     ENGINE(s.fractional_clock({t}, -.5, p), s.fractional_shift({t}, f, p), s.fractional_clock({t}, .5, p)), HOST(y_operation, q, f, p, n),
     VORTAN_OP_Y, 1},
    {DENSE(swap(t, t2, c)), ENGINE(s.swap(t, t2, p)), HOST(swap_operation, q, q2, p, n), VORTAN_OP_SWAP, 2},
    {DENSE(i_swap(t, t2, f, c)), ENGINE(s.i_swap(t, t2, f, p)), HOST(i_swap_operation, q, q2, f, p, n), VORTAN_OP_I_SWAP, 0},
    {DENSE(phase(c, 4 * f)), ENGINE(s.phase_rotate(p, 4 * f)), HOST(phase_rotate_operation, p, n, 4 * f), VORTAN_OP_PHASE_ROTATE, 0},
    // Two targets at once, the engine only: the second expansion meets repeated dits.
    {[](ref::DenseState& s, int t, int t2, double, const Controls& c) {
         s.apply(t, ref::fourier_matrix(s.dims()[t], -1), c), s.apply(t2, ref::fourier_matrix(s.dims()[t2], -1), c); },
     ENGINE(s.hadamard({t, t2}, p)), HOST(hadamard_operation, q, p, n), VORTAN_OP_HADAMARD, 2},
};
constexpr int Y = 9, SWAP = 10, I_SWAP = 11, PHASE = 12, PAIR = 13;

/// The outcome weights of each qudit list, summed from the dense amplitudes:
/// every record the engine gives is right, and none is missing.
void expect_probabilities(const IState& state, const ref::DenseState& dense,
                          const std::vector<std::vector<std::int32_t>>& lists, const std::string& where) {
    for (const std::vector<std::int32_t>& qudits : lists) {
        std::map<std::vector<int>, double> want;
        for (std::size_t i = 0; i < dense.size(); ++i) {
            const std::vector<int> digits = dense.digits(i);
            std::vector<int> outcome;
            for (const std::int32_t q : qudits) outcome.push_back(digits[static_cast<std::size_t>(q)]);
            want[outcome] += std::norm(dense.at(digits));
        }
        double covered = 0.0, total = 0.0;
        const qudit::OutcomeDistribution records = state.probabilities(qudits);
        for (std::size_t r = 0; r < records.size(); ++r) {
            const std::vector<int> outcome(records.outcome(r).begin(), records.outcome(r).end());
            EXPECT_NEAR(records.probability(r), want[outcome], 1e-8) << where;
            covered += records.probability(r);
        }
        for (const auto& [outcome, weight] : want) total += weight;
        EXPECT_NEAR(covered, total, 1e-8) << where;
    }
}

std::vector<int> key_of(const qudit::DynamicBasisEntry& e) {
    std::vector<int> key;
    for (const qudit::Dit& dit : e.dits.dits) key.push_back(static_cast<int>(dit.value));
    return key;
}

/// Forces qudit q onto the value of the heaviest dense entry, in both, and
/// returns it; the engine renormalises at float precision.
int expect_forced_measurement(IState& state, ref::DenseState& dense, int q, const std::string& where) {
    std::size_t heaviest = 0;
    for (std::size_t i = 0; i < dense.size(); ++i)
        if (std::norm(dense.at(i)) > std::norm(dense.at(heaviest))) heaviest = i;
    const int value = dense.digits(heaviest)[static_cast<std::size_t>(q)];
    EXPECT_EQ(state.forced_measure({q}, {value}), std::vector<std::int32_t>{value}) << where;
    double kept = 0.0;
    for (std::size_t i = 0; i < dense.size(); ++i)
        if (dense.digits(i)[static_cast<std::size_t>(q)] != value) dense.at(i) = 0.0;
        else kept += std::norm(dense.at(i));
    for (std::size_t i = 0; i < dense.size(); ++i) dense.at(i) /= std::sqrt(kept);
    std::map<std::vector<int>, std::complex<double>> got;
    for (const qudit::DynamicBasisEntry& e : state.basis_entries()) got[key_of(e)] = e.amplitude;
    for (std::size_t i = 0; i < dense.size(); ++i)
        EXPECT_LT(std::abs(got[dense.digits(i)] - dense.at(i)), 1e-6) << where << " index " << i;
    return value;
}

// Mixed qubits and qutrits from |0...0> (or only the dimension `only`),
// controls of both senses with values sometimes out of range. Through the
// host, properties start apart and merge as gates name them, so an amplitude
// is the product over the groups.
void run_circuits(bool host, unsigned seeds, int max_qudits, int steps, int min_qudits = 2, int only = 0) {
    for (unsigned seed = 1; seed <= seeds; ++seed) {
        std::mt19937 rng(host ? 1000 + seed : seed);
        const auto pick = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
        const int n = min_qudits + pick(max_qudits - min_qudits + 1);
        std::vector<int> dims(n);
        std::vector<qudit::Dit> zero(n);
        std::vector<Handle> handles(n), twins(n);
        for (int q = 0; q < n; ++q) {
            zero[q] = {0, static_cast<std::uint64_t>(dims[q] = only ? only : 2 + pick(2))};
            vortan_quantum_property_create(dims[q], &handles[q], nullptr), vortan_quantum_property_create(dims[q], &twins[q], nullptr);
        }
        auto state = qudit::make_state(*std::max_element(dims.begin(), dims.end()), n, {{qudit::DynamicDitArray(zero), 1.0}});
        ref::DenseState dense(dims);
        std::vector<vortan_batch_op> ops;
        std::vector<std::vector<vortan_predicate*>> twin_preds;
        for (int step = 0; step < steps; ++step) {
            const int t = pick(n), g = pick(static_cast<int>(std::size(gates)));
            int other = -1;
            for (int k = 0, off = pick(5); k < n && other < 0; ++k)
                if (const int q = (t + off + k) % n; q != t && dims[q] == dims[t]) other = q;
            static constexpr double special[] = {0.0, 0.5, 1.0, 2.0, -1.0, 3.0, -0.5};
            const double f = pick(2) ? special[pick(7)] : std::uniform_real_distribution<double>(-2.5, 2.5)(rng);
            Controls controls;
            for (int i = pick(3); i > 0; --i)
                if (const int q = pick(n), value = pick(dims[q] + 1), equal = pick(2); q != t && q != other)
                    controls.push_back({q, value, equal == 1});
            if ((g == Y && dims[t] != 2) || ((g == SWAP || g == I_SWAP || g == PAIR) && other < 0) || (host && g == PHASE && controls.empty()) ||
                (host && g == PAIR))
                continue;
            std::vector<vortan_predicate*> hp, &tp = host ? twin_preds.emplace_back() : hp;
            for (const ref::Control& c : host ? controls : Controls{})
                vortan_predicate_create(handles[c.qudit], c.value, c.is_equal, &hp.emplace_back()),
                    vortan_predicate_create(twins[c.qudit], c.value, c.is_equal, &tp.emplace_back());
            const auto before = host ? std::vector<qudit::DynamicBasisEntry>{} : state->basis_entries();
            const vortan_result status = host ? gates[g].host(handles[t], handles[std::max(other, 0)], f, hp.data(), hp.size())
                                              : (gates[g].engine(*state, t, other, f, controls), VORTAN_SUCCESS);
            const bool whole = gates[g].whole == 2 || (gates[g].whole == 1 && f == 1.0);
            if (host)  // a phase rotation's target, or a target2 where none is used, would be merged too
                ops.push_back({gates[g].opcode, 0, g == PHASE ? nullptr : twins[t], g == SWAP || g == I_SWAP ? twins[other] : nullptr,
                               whole ? NAN : f, 4 * f, tp.data(), tp.size()});
            gates[g].dense(dense, t, other, f, controls);
            for (vortan_predicate*& p : hp) vortan_predicate_destroy(&p);
            ASSERT_EQ(status, VORTAN_SUCCESS) << "seed " << seed << " step " << step;

            // Each state to read: the place in dims of each of its qudits, and
            // its amplitudes by dit values (absent keys read 0).
            std::map<const IState*, std::pair<std::vector<int>, std::map<std::vector<int>, std::complex<double>>>> views;
            for (int q = 0; q < n; ++q) {
                const QuantumProperty* p = api::from_handle(handles[q]);
                const IState* s = host ? p->shared->state.get() : state.get();
                views[s].first.resize(s->num_qudits());
                views[s].first[host ? p->qudit_index : q] = q;
            }
            for (auto& [s, view] : views)
                for (const qudit::DynamicBasisEntry& e : s->basis_entries())
                    EXPECT_TRUE(view.second.emplace(key_of(e), e.amplitude).second) << "basis state stored twice";
            for (std::size_t i = 0; i < dense.size(); ++i) {
                const std::vector<int> digits = dense.digits(i);
                std::complex<double> got = 1.0;
                for (auto& [s, view] : views) {
                    std::vector<int> key;
                    for (int q : view.first) key.push_back(digits[q]);
                    got *= view.second[key];
                }
                ASSERT_LT(std::abs(got - dense.at(i)), 1e-8) << "seed " << seed << " step " << step << " gate " << g << " index " << i;
            }
            if (host) continue;
            expect_probabilities(*state, dense, {{pick(n)}, {t, pick(n)}}, "step " + std::to_string(step));
            // A spread, or an i-swap that is not a relabelling, merges its list:
            // from 9 entries on in ascending packed keys (qudit 0 lowest). One
            // spread of at most 8 keeps the order in which its expansion first
            // meets each key.
            const bool merges = g == 1 || g == 3 || (g >= 6 && g <= 9) || g == PAIR || (g == I_SWAP && std::abs(std::cos(f * 1.5707963267948966)) >= 1e-12);
            const auto entries = state->basis_entries();
            for (std::size_t i = 1; merges && entries.size() >= 9 && i < entries.size(); ++i)
                ASSERT_TRUE(std::lexicographical_compare(entries[i - 1].dits.dits.rbegin(), entries[i - 1].dits.dits.rend(),
                                                         entries[i].dits.dits.rbegin(), entries[i].dits.dits.rend(),
                                                         [](auto& a, auto& b) { return a.value < b.value; }))
                    << "seed " << seed << " step " << step << " gate " << g << " entry " << i;
            std::size_t expanded = 0;
            std::vector<std::vector<int>> met, got;
            for (std::size_t i = 0; g >= 6 && g <= 8 && before.size() <= 8 && i < before.size(); ++i) {
                std::vector<int> key = key_of(before[i]);
                const int outputs = dense.holds(key, controls) ? dims[t] : 1;
                expanded += outputs;
                for (int k = 0; k < outputs; ++k) {
                    if (outputs > 1) key[t] = k;
                    if (std::find(met.begin(), met.end(), key) == met.end()) met.push_back(key);
                }
            }
            if (expanded > 0 && expanded <= 8) {
                for (const auto& e : entries) got.push_back(key_of(e));
                std::erase_if(met, [&](const auto& key) { return std::find(got.begin(), got.end(), key) == got.end(); });
                EXPECT_EQ(got, met) << "seed " << seed << " step " << step << " gate " << g;
            }
        }
        if (!host) {
            const int q = pick(n), value = expect_forced_measurement(*state, dense, q, "seed " + std::to_string(seed));
            // The measured qudit taken out, the last one moving to its place.
            const auto smaller = state->without_qudit(q, pick(2) ? value : -1);
            ASSERT_TRUE(smaller) << "seed " << seed;
            std::map<std::vector<int>, std::complex<double>> got;
            for (const qudit::DynamicBasisEntry& e : smaller->basis_entries()) got[key_of(e)] = e.amplitude;
            for (std::size_t i = 0; i < dense.size(); ++i)
                if (std::vector<int> digits = dense.digits(i); digits[q] == value) {
                    digits[q] = digits.back(), digits.pop_back();
                    EXPECT_LT(std::abs(got[digits] - dense.at(i)), 1e-6) << "seed " << seed << " removed " << q;
                }
        }
        vortan_batch_result result;
        ASSERT_EQ(vortan_execute_batch(ops.data(), ops.size(), &result, nullptr), VORTAN_SUCCESS) << result.error_message;
        EXPECT_EQ(result.ops_executed, ops.size());
        for (int q = 0; q < n; ++q) {
            const QuantumProperty *single = api::from_handle(handles[q]), *batch = api::from_handle(twins[q]);
            const auto a = single->shared->state->basis_entries(), b = batch->shared->state->basis_entries();
            EXPECT_TRUE(single->qudit_index == batch->qudit_index && std::equal(a.begin(), a.end(), b.begin(), b.end(), [](auto& x, auto& y) {
                return x.dits == y.dits && !std::memcmp(&x.amplitude, &y.amplitude, sizeof x.amplitude);
            })) << "seed " << seed << " qudit " << q;
        }
        for (auto& list : twin_preds) for (vortan_predicate*& p : list) vortan_predicate_destroy(&p);
        for (int q = 0; q < n; ++q) vortan_quantum_property_destroy(&handles[q]), vortan_quantum_property_destroy(&twins[q]);
    }
}

TEST(GateDifferential, random_controlled_circuits_match_the_dense_reference) { run_circuits(false, 150, 5, 25); }
TEST(GateDifferential, exported_gates_and_their_batch_match_the_dense_reference) { run_circuits(true, 60, 4, 20); }
// Registers large enough that the spreading gates regroup hundreds to
// thousands of entries, sorted or not, on qubits, qutrits and mixed groups.
TEST(GateDifferential, large_registers_match_the_dense_reference) {
    run_circuits(false, 6, 10, 30, 9, 2);
    run_circuits(false, 6, 7, 30, 6, 3);
    run_circuits(false, 6, 8, 30, 7);
}

}  // namespace
}  // namespace vortan
