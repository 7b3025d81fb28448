// The same 1000 mixed gates as one vortan_execute_batch and as 1000 exported
// calls, per operation, with the bare gates on the state as the floor.
// Goal: on a small group the batch, which crosses the boundary once, comes out
// below the single calls by most of what they pay above the floor; on a large
// group the gates dominate and all three should agree.
// Every Hadamard is followed by its inverse under the same controls, and the
// other gates only permute entries or change phases, so the group keeps its
// size however many times the list runs.

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "clone_ratio.h"
#include "property/entangle.h"
#include "property/predicate_record.h"
#include "property/quantum_property.h"
#include "vortan.h"

namespace {

using namespace vortan;

constexpr std::size_t OPS = 1000;
constexpr double WHOLE = std::numeric_limits<double>::quiet_NaN();

void check(vortan_result status, const char* what) {
    if (status == VORTAN_SUCCESS) return;
    std::fprintf(stderr, "%s failed: %s\n", what, vortan_get_error_string(status));
    std::abort();
}

/// A group of qudits in one shared state, the predicates its gates use, and
/// the list of gates. Owns every handle.
class Workload {
public:
    Workload(const Workload&) = delete;
    Workload& operator=(const Workload&) = delete;
    ~Workload() {
        for (vortan_predicate*& p : predicates_) vortan_predicate_destroy(&p);
        for (vortan_quantum_property*& q : qudits_) vortan_quantum_property_destroy(&q);
    }

    /// Four qubits, each put in superposition and then pairwise entangled by
    /// controlled phases: sixteen entries, all of them present, so no gate
    /// below can add any.
    static std::unique_ptr<Workload> small() {
        auto w = std::unique_ptr<Workload>(new Workload(4, 2));
        for (vortan_quantum_property* q : w->qudits_) check(vortan_hadamard_operation(q, nullptr, 0, nullptr), "H");
        for (int a = 0; a + 1 < 4; ++a) {
            vortan_predicate* both[] = {w->equal(a, 1), w->equal(a + 1, 1)};
            check(vortan_phase_rotate_operation(both, 2, 2.0, nullptr), "phase");
        }
        size_t size = 0;
        vortan_quantum_property_get_state_vector_size(w->qudits_[0], &size);
        if (size != 16) std::abort();
        w->build_ops(/*spread_limit=*/4);
        return w;
    }

    /// Twelve qutrits: qutrits 0-7 take all 6561 combinations, qutrits 8-11
    /// one of two patterns, 13122 entries. Hadamards only touch qutrits 0-7,
    /// and gates on 8-11 are controlled only from 8-11, so every entry set
    /// reached stays "all combinations of 0-7 times two patterns".
    static std::unique_ptr<Workload> large() {
        auto w = std::unique_ptr<Workload>(new Workload(12, 3));
        std::vector<QuantumProperty*> list;
        for (vortan_quantum_property* q : w->qudits_) list.push_back(reinterpret_cast<QuantumProperty*>(q));
        tensor_state(list);  // one group, indices 0-11 in order
        std::vector<qudit::DynamicBasisEntry> entries;
        const std::uint64_t patterns[2][4] = {{0, 0, 0, 0}, {1, 2, 1, 0}};
        for (const auto& pattern : patterns)
            for (std::uint64_t code = 0; code < 6561; ++code) {
                std::vector<qudit::Dit> dits;
                for (std::uint64_t q = 0, c = code; q < 8; ++q, c /= 3) dits.push_back({c % 3, 3});
                for (std::uint64_t v : pattern) dits.push_back({v, 3});
                entries.push_back({qudit::DynamicDitArray(std::move(dits)), {1.0 / std::sqrt(13122.0), 0.0}});
            }
        list[0]->shared->state = qudit::make_state(3, 12, entries);
        w->build_ops(/*spread_limit=*/8);
        return w;
    }

    const std::vector<vortan_batch_op>& batch() const { return ops_; }
    vortan_quantum_property* first() const { return qudits_[0]; }

    /// The same list, one exported call per operation; whole gates take 1.0.
    void run_single() const {
        for (const vortan_batch_op& op : ops_) {
            vortan_result r = VORTAN_SUCCESS;
            switch (op.opcode) {
                case VORTAN_OP_CYCLE:
                    r = vortan_cycle_operation(op.target, 1.0, op.predicates, op.predicate_count, nullptr);
                    break;
                case VORTAN_OP_SHIFT:
                    r = vortan_shift_operation(op.target, 1.0, op.predicates, op.predicate_count, nullptr);
                    break;
                case VORTAN_OP_CLOCK:
                    r = vortan_clock_operation(op.target, 1.0, op.predicates, op.predicate_count, nullptr);
                    break;
                case VORTAN_OP_HADAMARD:
                    r = vortan_hadamard_operation(op.target, op.predicates, op.predicate_count, nullptr);
                    break;
                case VORTAN_OP_INVERSE_HADAMARD:
                    r = vortan_inverse_hadamard_operation(op.target, op.predicates, op.predicate_count, nullptr);
                    break;
                case VORTAN_OP_SWAP:
                    r = vortan_swap_operation(op.target, op.target2, op.predicates, op.predicate_count, nullptr);
                    break;
                case VORTAN_OP_PHASE_ROTATE:
                    r = vortan_phase_rotate_operation(op.predicates, op.predicate_count, op.angle, nullptr);
                    break;
                default: std::abort();
            }
            check(r, "single call");
        }
    }

    /// The same list straight on the shared state, indices read once: what
    /// the gates cost with no boundary at all, to subtract from both forms.
    void run_direct() const {
        qudit::IState& state = *reinterpret_cast<QuantumProperty*>(qudits_[0])->shared->state;
        for (const Direct& d : direct_) {
            switch (d.opcode) {
                case VORTAN_OP_CYCLE: state.cycle(d.targets, d.predicates); break;
                case VORTAN_OP_SHIFT: state.shift(d.targets, d.predicates); break;
                case VORTAN_OP_CLOCK: state.clock(d.targets, d.predicates); break;
                case VORTAN_OP_HADAMARD: state.hadamard(d.targets, d.predicates); break;
                case VORTAN_OP_INVERSE_HADAMARD: state.inverse_hadamard(d.targets, d.predicates); break;
                case VORTAN_OP_SWAP: state.swap(d.targets[0], d.targets[1], d.predicates); break;
                case VORTAN_OP_PHASE_ROTATE: state.phase_rotate(d.predicates, d.angle); break;
                default: std::abort();
            }
        }
    }

private:
    struct Direct {
        std::uint32_t opcode;
        qudit::Targets targets;
        qudit::Predicates predicates;
        double angle;
    };

    static std::int32_t index_of(vortan_quantum_property* q) {
        return reinterpret_cast<QuantumProperty*>(q)->qudit_index;
    }

    void build_direct() {
        for (const vortan_batch_op& op : ops_) {
            Direct d{op.opcode, {}, {}, op.angle};
            if (op.target != nullptr) d.targets.push_back(index_of(op.target));
            if (op.target2 != nullptr) d.targets.push_back(index_of(op.target2));
            for (std::size_t k = 0; k < op.predicate_count; ++k) {
                const auto* record = reinterpret_cast<const vortan_predicate_record*>(op.predicates[k]);
                d.predicates.push_back({index_of(reinterpret_cast<vortan_quantum_property*>(record->property)),
                                        record->value, record->is_equal});
            }
            direct_.push_back(std::move(d));
        }
    }

    Workload(int count, int dimension) {
        for (int i = 0; i < count; ++i) {
            qudits_.emplace_back();
            check(vortan_quantum_property_create(dimension, &qudits_.back(), nullptr), "create");
        }
        // One "equal" and one "not equal" predicate per qudit and value.
        for (int i = 0; i < count; ++i)
            for (int v = 0; v < dimension; ++v)
                for (bool eq : {true, false}) {
                    predicates_.emplace_back();
                    check(vortan_predicate_create(qudits_[i], v, eq, &predicates_.back()), "predicate");
                }
        dimension_ = dimension;
    }

    vortan_predicate* equal(int qudit, int value) const {
        return predicates_[static_cast<std::size_t>((qudit * dimension_ + value) * 2)];
    }

    /// Fixed-seed mix. Qudits below spread_limit may be Hadamard targets and
    /// take controls from anywhere; the others are controlled only by each other.
    void build_ops(int spread_limit) {
        std::mt19937 rng(12345);
        const int n = static_cast<int>(qudits_.size());
        const auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi - 1)(rng); };
        const auto controls_for = [&](int t1, int t2) -> std::vector<vortan_predicate*>& {
            controls_.emplace_back();
            std::vector<vortan_predicate*>& list = controls_.back();
            const bool inner = t1 < spread_limit && (t2 < 0 || t2 < spread_limit);
            const int count = pick(0, 3);  // 0, 1 or 2 controls
            for (int k = 0; k < count; ++k) {
                int c = inner ? pick(0, n) : pick(spread_limit, n);
                if (c == t1 || c == t2) continue;
                const int value = pick(0, dimension_);
                list.push_back(predicates_[static_cast<std::size_t>((c * dimension_ + value) * 2 + pick(0, 2))]);
            }
            return list;
        };
        const auto op = [](std::uint32_t code, vortan_quantum_property* t, vortan_quantum_property* t2,
                           const std::vector<vortan_predicate*>& c, double angle) {
            return vortan_batch_op{code, 0, t, t2, WHOLE, angle, c.empty() ? nullptr : c.data(), c.size()};
        };
        while (ops_.size() < OPS) {
            const int kind = pick(0, 6);
            const int t = kind == 3 ? pick(0, spread_limit) : pick(0, n);
            switch (kind) {
                case 0: ops_.push_back(op(VORTAN_OP_CYCLE, qudits_[t], nullptr, controls_for(t, -1), 0)); break;
                case 1: ops_.push_back(op(VORTAN_OP_SHIFT, qudits_[t], nullptr, controls_for(t, -1), 0)); break;
                case 2: ops_.push_back(op(VORTAN_OP_CLOCK, qudits_[t], nullptr, controls_for(t, -1), 0)); break;
                case 3: {
                    if (ops_.size() + 2 > OPS) break;
                    const std::vector<vortan_predicate*>& c = controls_for(t, -1);
                    ops_.push_back(op(VORTAN_OP_HADAMARD, qudits_[t], nullptr, c, 0));
                    ops_.push_back(op(VORTAN_OP_INVERSE_HADAMARD, qudits_[t], nullptr, c, 0));
                    break;
                }
                case 4: {
                    std::vector<vortan_predicate*>& c = controls_for(t, -1);
                    if (c.empty()) c.push_back(predicates_[static_cast<std::size_t>(t * dimension_ * 2)]);
                    ops_.push_back(op(VORTAN_OP_PHASE_ROTATE, nullptr, nullptr, c, 0.37));
                    break;
                }
                case 5: {
                    // Both inside or both outside the spreading range.
                    const int lo = t < spread_limit ? 0 : spread_limit;
                    const int hi = t < spread_limit ? spread_limit : n;
                    const int t2 = lo + (t - lo + pick(1, hi - lo)) % (hi - lo);
                    ops_.push_back(op(VORTAN_OP_SWAP, qudits_[t], qudits_[t2], controls_for(t, t2), 0));
                    break;
                }
            }
        }
        build_direct();
    }

    int dimension_ = 2;
    std::vector<vortan_quantum_property*> qudits_;
    std::vector<vortan_predicate*> predicates_;
    std::deque<std::vector<vortan_predicate*>> controls_;  // stable addresses
    std::vector<vortan_batch_op> ops_;
    std::vector<Direct> direct_;
};

std::unique_ptr<Workload> make(bool large) { return large ? Workload::large() : Workload::small(); }

void report(benchmark::State& st, const Workload& w) {
    size_t size = 0;
    vortan_quantum_property_get_state_vector_size(w.first(), &size);
    st.counters["entries"] = static_cast<double>(size);
    st.counters["ns/op"] = benchmark::Counter(static_cast<double>(st.iterations() * OPS),
                                              benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    // Per operation, against a copy of the group the operations work on.
    vortan::bench::report_clone_ratio(st, size, OPS);
}

void BM_batch(benchmark::State& st, bool large) {
    const auto w = make(large);
    vortan_batch_result result{};
    for (auto _ : st) {
        check(vortan_execute_batch(w->batch().data(), w->batch().size(), &result, nullptr), "batch");
        benchmark::DoNotOptimize(result.ops_executed);
    }
    report(st, *w);
}

/// The same operations as separate calls: through the exports, or straight to the engine.
void BM_calls(benchmark::State& st, bool large, void (Workload::*run)() const) {
    const auto w = make(large);
    for (auto _ : st) {
        ((*w).*run)();
        benchmark::ClobberMemory();
    }
    report(st, *w);
}

// The three forms of one group run next to each other.
BENCHMARK_CAPTURE(BM_batch, small, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_calls, single_small, false, &Workload::run_single)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_calls, direct_small, false, &Workload::run_direct)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_batch, large, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_calls, single_large, true, &Workload::run_single)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_calls, direct_large, true, &Workload::run_direct)->Unit(benchmark::kMillisecond);

}  // namespace
