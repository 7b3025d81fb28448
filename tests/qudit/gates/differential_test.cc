// Seeded random controlled circuits run through the sparse engine and through
// the dense reference; every amplitude is compared after every gate.

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>

#include "api/gate_call.h"
#include "reference/dense_state.h"
#include "qudit/state_impl.h"
#include "vortan.h"

namespace vortan {
namespace {

using qudit::DynamicBasisEntry;
using reference::Control;
using reference::DenseState;

constexpr double TOLERANCE = 1e-8;

// Another qudit of the same dimension as `target`, or -1.
int partner_of(const std::vector<int>& dims, int target, int offset) {
    const int n = static_cast<int>(dims.size());
    for (int k = 1; k < n; ++k) {
        const int q = (target + offset + k) % n;
        if (q != target && dims[q] == dims[target]) return q;
    }
    return -1;
}

// Amplitudes of a sparse state keyed by dit values; a repeated key is a fault.
std::map<std::vector<int>, std::complex<double>> amplitudes_of(const qudit::IState& state) {
    std::map<std::vector<int>, std::complex<double>> out;
    for (const DynamicBasisEntry& e : state.basis_entries()) {
        std::vector<int> key;
        for (const qudit::Dit& dit : e.dits.dits) key.push_back(static_cast<int>(dit.value));
        EXPECT_TRUE(out.emplace(key, e.amplitude).second) << "basis state stored twice";
    }
    return out;
}

class Circuit {
public:
    explicit Circuit(unsigned seed) : rng_(seed) {}

    int pick(int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng_); }
    double fraction() {
        static constexpr double special[] = {0.0, 0.5, 1.0, 2.0, -1.0, 3.0, -0.5};
        if (pick(2) == 0) return special[pick(7)];
        return std::uniform_real_distribution<double>(-2.5, 2.5)(rng_);
    }
    // Controls on qudits other than the target, both senses, values sometimes
    // outside the qudit's range.
    std::vector<Control> controls(const std::vector<int>& dims, int target, int target2 = -1) {
        std::vector<Control> out;
        const int count = pick(3);
        for (int i = 0; i < count; ++i) {
            const int q = pick(static_cast<int>(dims.size()));
            if (q == target || q == target2) continue;
            out.push_back({q, pick(dims[q] + 1), pick(2) == 0});
        }
        return out;
    }

private:
    std::mt19937 rng_;
};

qudit::Predicates to_predicates(const std::vector<Control>& controls) {
    qudit::Predicates out;
    for (const Control& c : controls) out.push_back({c.qudit, c.value, c.is_equal});
    return out;
}

void expect_same(const qudit::IState& state, const DenseState& dense, const std::string& where) {
    const auto sparse = amplitudes_of(state);
    for (std::size_t i = 0; i < dense.size(); ++i) {
        const std::vector<int> digits = dense.digits(i);
        const auto found = sparse.find(digits);
        const std::complex<double> got = found == sparse.end() ? 0.0 : found->second;
        const std::complex<double> want = const_cast<DenseState&>(dense).at(i);
        ASSERT_LT(std::abs(got - want), TOLERANCE) << where << " at basis index " << i;
    }
}

// The engine's operations against the reference, on states of up to five
// mixed qubits and qutrits.
TEST(GateDifferential, random_controlled_circuits_match_the_dense_reference) {
    for (unsigned seed = 1; seed <= 150; ++seed) {
        Circuit rnd(seed);
        std::vector<int> dims(2 + rnd.pick(4));
        std::vector<qudit::Dit> zero;
        for (int& d : dims) {
            d = 2 + rnd.pick(2);
            zero.push_back({0, static_cast<std::uint64_t>(d)});
        }
        const std::uint64_t max_d = *std::max_element(dims.begin(), dims.end());
        auto state = qudit::make_state(max_d, dims.size(), {{qudit::DynamicDitArray(zero), {1.0, 0.0}}});
        DenseState dense(dims);
        for (int step = 0; step < 25; ++step) {
            const int target = rnd.pick(static_cast<int>(dims.size()));
            const int d = dims[target];
            const int other = partner_of(dims, target, rnd.pick(5));
            const std::vector<Control> controls = rnd.controls(dims, target, other);
            const qudit::Predicates predicates = to_predicates(controls);
            const qudit::Targets targets{target};
            const double f = rnd.fraction();
            std::string name;
            switch (rnd.pick(13)) {
                case 10: name = "fractional_hadamard"; state->fractional_hadamard(targets, f, predicates); dense.apply(target, reference::fractional_fourier_matrix(d, f), controls); break;
                case 11:
                    if (other < 0) continue;
                    name = "swap"; state->swap(target, other, predicates); dense.swap(target, other, controls);
                    break;
                case 12:
                    if (other < 0) continue;
                    name = "i_swap"; state->i_swap(target, other, f, predicates); dense.i_swap(target, other, f, controls);
                    break;
                case 0: name = "shift"; state->shift(targets, predicates); dense.apply(target, reference::shift_matrix(d, 1), controls); break;
                case 1: name = "fractional_shift"; state->fractional_shift(targets, f, predicates); dense.apply(target, reference::shift_matrix(d, f), controls); break;
                case 2: name = "cycle"; state->cycle(targets, predicates); dense.apply(target, reference::cycle_matrix(d, 1), controls); break;
                case 3: name = "fractional_cycle"; state->fractional_cycle(targets, f, predicates); dense.apply(target, reference::cycle_matrix(d, f), controls); break;
                case 4: name = "clock"; state->clock(targets, predicates); dense.apply(target, reference::clock_matrix(d, 1), controls); break;
                case 5: name = "fractional_clock"; state->fractional_clock(targets, f, predicates); dense.apply(target, reference::clock_matrix(d, f), controls); break;
                case 6: case 7: name = "hadamard"; state->hadamard(targets, predicates); dense.apply(target, reference::fourier_matrix(d, -1), controls); break;
                case 8: name = "inverse_hadamard"; state->inverse_hadamard(targets, predicates); dense.apply(target, reference::fourier_matrix(d, +1), controls); break;
                default: name = "phase_rotate"; state->phase_rotate(predicates, 4 * f); dense.phase(controls, 4 * f); break;
            }
            expect_same(*state, dense, "seed " + std::to_string(seed) + " step " + std::to_string(step) + " " + name +
                                           " f=" + std::to_string(f));
            if (HasFatalFailure()) return;
        }
    }
}

// The same through the exported functions: properties start apart and merge
// as gates name them, so the comparison multiplies the groups' amplitudes.
std::complex<double> host_amplitude(const std::vector<QuantumProperty*>& props, const std::vector<int>& digits) {
    std::complex<double> product = 1.0;
    std::vector<const SharedState*> seen;
    for (QuantumProperty* p : props) {
        const SharedState* group = p->shared.get();
        if (std::find(seen.begin(), seen.end(), group) != seen.end()) continue;
        seen.push_back(group);
        std::vector<int> key(group->state->num_qudits());
        for (QuantumProperty* member : group->properties)
            key[member->qudit_index] = digits[std::find(props.begin(), props.end(), member) - props.begin()];
        const auto amplitudes = amplitudes_of(*group->state);
        const auto found = amplitudes.find(key);
        product *= found == amplitudes.end() ? 0.0 : found->second;
    }
    return product;
}

TEST(GateDifferential, exported_gates_match_the_dense_reference) {
    for (unsigned seed = 1; seed <= 60; ++seed) {
        Circuit rnd(1000 + seed);
        std::vector<int> dims(2 + rnd.pick(3));
        std::vector<vortan_quantum_property*> handles;
        std::vector<QuantumProperty*> props;
        for (int& d : dims) {
            d = 2 + rnd.pick(2);
            handles.push_back(nullptr);
            ASSERT_EQ(vortan_quantum_property_create(d, &handles.back(), nullptr), VORTAN_SUCCESS);
            props.push_back(api::from_handle(handles.back()));
        }
        DenseState dense(dims);
        for (int step = 0; step < 20; ++step) {
            const int target = rnd.pick(static_cast<int>(dims.size()));
            const int d = dims[target];
            const int other = partner_of(dims, target, rnd.pick(5));
            const std::vector<Control> controls = rnd.controls(dims, target, other);
            std::vector<vortan_predicate*> preds;
            for (const Control& c : controls) {
                preds.push_back(nullptr);
                vortan_predicate_create(handles[c.qudit], c.value, c.is_equal, &preds.back());
            }
            const double f = rnd.fraction();
            vortan_quantum_property* t = handles[target];
            vortan_result status = VORTAN_SUCCESS;
            switch (rnd.pick(11)) {
                case 8: status = vortan_fractional_hadamard_operation(t, f, preds.data(), preds.size(), nullptr); dense.apply(target, reference::fractional_fourier_matrix(d, f), controls); break;
                case 9:
                    if (other < 0) break;  // no partner: skip the gate
                    status = vortan_swap_operation(t, handles[other], preds.data(), preds.size(), nullptr);
                    dense.swap(target, other, controls);
                    break;
                case 10:
                    if (other < 0) break;  // no partner: skip the gate
                    status = vortan_i_swap_operation(t, handles[other], f, preds.data(), preds.size(), nullptr);
                    dense.i_swap(target, other, f, controls);
                    break;
                case 0: status = vortan_x_operation(t, f, preds.data(), preds.size(), nullptr); dense.apply(target, reference::shift_matrix(d, f), controls); break;
                case 1: status = vortan_cycle_operation(t, f, preds.data(), preds.size(), nullptr); dense.apply(target, reference::cycle_matrix(d, f), controls); break;
                case 2: status = vortan_z_operation(t, f, preds.data(), preds.size(), nullptr); dense.apply(target, reference::clock_matrix(d, f), controls); break;
                case 3: status = vortan_hadamard_operation(t, preds.data(), preds.size(), nullptr); dense.apply(target, reference::fourier_matrix(d, -1), controls); break;
                case 4: status = vortan_inverse_hadamard_operation(t, preds.data(), preds.size(), nullptr); dense.apply(target, reference::fourier_matrix(d, +1), controls); break;
                case 5:
                    if (controls.empty()) break;
                    status = vortan_phase_rotate_operation(preds.data(), preds.size(), f, nullptr);
                    dense.phase(controls, f);
                    break;
                case 6: {
                    if (d != 2) break;
                    // Y^f = Z^(1/2) X^f Z^(-1/2)
                    status = vortan_y_operation(t, f, preds.data(), preds.size(), nullptr);
                    dense.apply(target, reference::multiply(reference::clock_matrix(2, 0.5),
                                                            reference::multiply(reference::shift_matrix(2, f),
                                                                                reference::clock_matrix(2, -0.5))),
                                controls);
                    break;
                }
                default: status = vortan_shift_operation(t, 1.0, preds.data(), preds.size(), nullptr); dense.apply(target, reference::shift_matrix(d, 1), controls); break;
            }
            for (vortan_predicate*& p : preds) vortan_predicate_destroy(&p);
            ASSERT_EQ(status, VORTAN_SUCCESS) << "seed " << seed << " step " << step;
            for (std::size_t i = 0; i < dense.size(); ++i)
                ASSERT_LT(std::abs(host_amplitude(props, dense.digits(i)) - dense.at(i)), TOLERANCE)
                    << "seed " << seed << " step " << step << " basis index " << i;
        }
        for (vortan_quantum_property*& h : handles) vortan_quantum_property_destroy(&h);
    }
}

}  // namespace
}  // namespace vortan
