/*
 * libvortan for C++17 hosts: RAII handles, exceptions and standard containers
 * over the C interface of vortan.h. Header-only; link the same libvortan.
 *
 *     vortan::Qudit a(2), b(2);
 *     a.hadamard();
 *     b.cycle(a.is(1));                          // b moves up where a is 1
 *     std::vector<double> p = vortan::probabilities({a, b});  // p[va + 2 * vb]
 *
 * Every failing call throws vortan::Error with the library's code, message and
 * function. Conventions (directions, basis orders, single precision) are those
 * of vortan.h, which states them.
 *
 * Lifetimes: a Qudit owns its handle and a Control owns its predicate. A
 * Control also holds a share of its qudit's handle, so the property lives
 * until the Qudit and all its Controls are gone, and a predicate is always
 * destroyed before the property it points to.
 */
#ifndef VORTAN_HPP
#define VORTAN_HPP

#include "vortan.h"

#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace vortan {

/// A call the library refused or failed: its status code, its message and the
/// exported function that reported it. what() is "function: message".
class Error : public std::runtime_error {
public:
    Error(vortan_result code, std::string message, std::string function)
        : std::runtime_error(function.empty() ? message : function + ": " + message),
          code_(code), message_(std::move(message)), function_(std::move(function)) {}

    vortan_result code() const noexcept { return code_; }
    const std::string& message() const noexcept { return message_; }
    const std::string& function() const noexcept { return function_; }

private:
    vortan_result code_;
    std::string message_;
    std::string function_;
};

/// A batch that stopped. The operations before ops_executed() ran and stay
/// applied; a failure while running names operation ops_executed() itself.
class BatchError : public Error {
public:
    BatchError(vortan_result code, std::string message, std::uint64_t ops_executed)
        : Error(code, std::move(message), "vortan_execute_batch"), ops_executed_(ops_executed) {}

    std::uint64_t ops_executed() const noexcept { return ops_executed_; }

private:
    std::uint64_t ops_executed_;
};

namespace detail {

// Functions that take no error record only have their code to tell.
inline void check(vortan_result result, const char* function) {
    if (result != VORTAN_SUCCESS) throw Error(result, vortan_get_error_string(result), function);
}

// Calls an export whose last argument is the error record, and throws its contents.
template <class Function, class... Args>
void call(Function function, Args... args) {
    vortan_error_info info{};
    vortan_result result = function(args..., &info);
    if (result != VORTAN_SUCCESS) throw Error(result, info.message, info.function ? info.function : "");
}

// The one owner of a property handle, shared by its Qudit and its Controls.
struct PropertyBox {
    vortan_quantum_property* handle = nullptr;
    PropertyBox() = default;
    PropertyBox(const PropertyBox&) = delete;
    PropertyBox& operator=(const PropertyBox&) = delete;
    ~PropertyBox() { vortan_quantum_property_destroy(&handle); }
};

inline void require_finite(double value, const char* what) {
    if (!std::isfinite(value)) throw std::invalid_argument(std::string(what) + " must be finite");
}

}  // namespace detail

class Qudit;
class Batch;

namespace detail {

// A predicate with a share of its property: the destructor frees the predicate
// before the member releases the property it points to.
struct PredicateBox {
    std::shared_ptr<PropertyBox> property;
    vortan_predicate* handle = nullptr;
    explicit PredicateBox(std::shared_ptr<PropertyBox> p) : property(std::move(p)) {}
    PredicateBox(const PredicateBox&) = delete;
    PredicateBox& operator=(const PredicateBox&) = delete;
    ~PredicateBox() { vortan_predicate_destroy(&handle); }
};

}  // namespace detail

/// A condition on one qudit: its dit equals (Qudit::is) or differs from
/// (Qudit::is_not) a value. Move-only. Keeps its qudit's handle alive.
class Control {
public:
    Control(Control&&) noexcept = default;
    Control& operator=(Control&&) noexcept = default;
    Control(const Control&) = delete;
    Control& operator=(const Control&) = delete;
    ~Control() = default;

    /// The C handle, for calls this header does not wrap; null once moved from.
    vortan_predicate* handle() const noexcept { return box_ ? box_->handle : nullptr; }

private:
    friend class Qudit;
    friend class Batch;

    Control(std::shared_ptr<detail::PropertyBox> property, std::int32_t value, bool is_equal)
        : box_(std::make_shared<detail::PredicateBox>(std::move(property))) {
        detail::check(vortan_predicate_create(box_->property ? box_->property->handle : nullptr, value, is_equal,
                                              &box_->handle),
                      "vortan_predicate_create");
    }

    std::shared_ptr<detail::PredicateBox> box_;
};

/// The controls of one gate, joined by AND; empty selects every basis state.
/// Built from one Control, a braced list of them (temporaries included) or a
/// vector. It only borrows: the controls must live through the call.
class ControlList {
public:
    /// Implicit, so that a braced list of Controls converts.
    struct Ref {
        Ref(const Control& c) : control(&c) {}
        const Control* control;
    };

    ControlList() = default;
    ControlList(const Control& control) { add(control); }
    ControlList(std::initializer_list<Ref> controls) {
        for (const Ref& ref : controls) add(*ref.control);
    }
    ControlList(const std::vector<Control>& controls) {
        for (const Control& control : controls) add(control);
    }

    vortan_predicate* const* data() const noexcept { return handles_.data(); }
    std::size_t size() const noexcept { return handles_.size(); }

private:
    friend class Batch;

    void add(const Control& control) {
        controls_.push_back(&control);
        handles_.push_back(control.handle());
    }

    std::vector<const Control*> controls_;
    std::vector<vortan_predicate*> handles_;
};

/// One qudit of dimension 2 or 3, made in basis state 0. Move-only; the handle
/// is destroyed (without measuring) with the last of the Qudit and its Controls.
/// A moved-from Qudit has no handle, and calls on it throw code 1.
class Qudit {
public:
    explicit Qudit(int dimension) : box_(std::make_shared<detail::PropertyBox>()) {
        detail::call(vortan_quantum_property_create, std::int32_t{dimension}, &box_->handle);
    }
    Qudit(Qudit&&) noexcept = default;
    Qudit& operator=(Qudit&&) noexcept = default;
    Qudit(const Qudit&) = delete;
    Qudit& operator=(const Qudit&) = delete;
    ~Qudit() = default;

    /// The C handle, for calls this header does not wrap; null once moved from.
    vortan_quantum_property* handle() const noexcept { return box_ ? box_->handle : nullptr; }

    int dimension() const {
        std::uint32_t d = 0;
        detail::check(vortan_quantum_property_get_dimension(handle(), &d), "vortan_quantum_property_get_dimension");
        return static_cast<int>(d);
    }
    /// Qudits of the shared state this one stands in, unnamed ones included.
    std::size_t active_qudits() const {
        std::size_t n = 0;
        detail::check(vortan_quantum_property_get_num_active_qudits(handle(), &n),
                      "vortan_quantum_property_get_num_active_qudits");
        return n;
    }
    /// Basis entries stored now in that shared state.
    std::size_t state_size() const {
        std::size_t n = 0;
        detail::check(vortan_quantum_property_get_state_vector_size(handle(), &n),
                      "vortan_quantum_property_get_state_vector_size");
        return n;
    }

    /// Holds where this qudit's dit equals value.
    Control is(std::int32_t value) const { return Control(box_, value, true); }
    /// Holds where this qudit's dit differs from value.
    Control is_not(std::int32_t value) const { return Control(box_, value, false); }

    // Gates. The whole gate, or a real power of it; see vortan.h for each.
    void shift(const ControlList& controls = {}) { shift(1.0, controls); }
    void shift(double fraction, const ControlList& controls = {}) { gate(vortan_shift_operation, fraction, controls); }
    void x(const ControlList& controls = {}) { x(1.0, controls); }
    void x(double fraction, const ControlList& controls = {}) { gate(vortan_x_operation, fraction, controls); }
    void cycle(const ControlList& controls = {}) { cycle(1.0, controls); }
    void cycle(double fraction, const ControlList& controls = {}) { gate(vortan_cycle_operation, fraction, controls); }
    void clock(const ControlList& controls = {}) { clock(1.0, controls); }
    void clock(double fraction, const ControlList& controls = {}) { gate(vortan_clock_operation, fraction, controls); }
    void z(const ControlList& controls = {}) { z(1.0, controls); }
    void z(double fraction, const ControlList& controls = {}) { gate(vortan_z_operation, fraction, controls); }
    /// Qubits only: code 2 on a qutrit.
    void y(const ControlList& controls = {}) { y(1.0, controls); }
    void y(double fraction, const ControlList& controls = {}) { gate(vortan_y_operation, fraction, controls); }
    void hadamard(const ControlList& controls = {}) {
        detail::call(vortan_hadamard_operation, handle(), controls.data(), controls.size());
    }
    /// The fractional Hadamard, for every fraction (1 included).
    void hadamard(double fraction, const ControlList& controls = {}) {
        gate(vortan_fractional_hadamard_operation, fraction, controls);
    }
    void inverse_hadamard(const ControlList& controls = {}) {
        detail::call(vortan_inverse_hadamard_operation, handle(), controls.data(), controls.size());
    }
    /// Exchanges this qudit's dit with other's (equal dimensions).
    void swap_with(Qudit& other, const ControlList& controls = {}) {
        detail::call(vortan_swap_operation, handle(), other.handle(), controls.data(), controls.size());
    }
    void i_swap_with(Qudit& other, const ControlList& controls = {}) { i_swap_with(other, 1.0, controls); }
    void i_swap_with(Qudit& other, double fraction, const ControlList& controls = {}) {
        detail::call(vortan_i_swap_operation, handle(), other.handle(), fraction, controls.data(), controls.size());
    }

    /// Measures this qudit alone and collapses the state onto the outcome.
    std::int32_t measure() {
        std::int32_t outcome = 0;
        vortan_quantum_property* const one = handle();
        detail::call(vortan_measure_properties, &one, std::size_t{1}, &outcome, std::size_t{1});
        return outcome;
    }

    /// Takes the qudit out of its shared state (measuring it first if it has
    /// partners) and frees the handle; the Qudit is then empty. Refused with
    /// std::logic_error while Controls or Batches refer to it; on a
    /// library failure the Qudit keeps its handle.
    void factorize_and_destroy() {
        if (!box_) return;
        if (box_.use_count() > 1)
            throw std::logic_error("factorize_and_destroy: " + std::to_string(box_.use_count() - 1) +
                                   " control(s) or batch gate(s) still refer to this qudit");
        detail::call(vortan_quantum_property_factorize_and_destroy, &box_->handle);
        box_.reset();
    }

private:
    friend class Batch;

    template <class Export>
    void gate(Export function, double fraction, const ControlList& controls) {
        detail::call(function, handle(), fraction, controls.data(), controls.size());
    }

    std::shared_ptr<detail::PropertyBox> box_;
};

/// The qudits of a measurement or read-out, in order; borrowed like ControlList.
class QuditList {
public:
    struct Ref {
        Ref(const Qudit& qudit) : handle(qudit.handle()) {}
        vortan_quantum_property* handle;
    };

    QuditList(const Qudit& qudit) : handles_{qudit.handle()} {}
    QuditList(std::initializer_list<Ref> qudits) {
        handles_.reserve(qudits.size());
        for (const Ref& ref : qudits) handles_.push_back(ref.handle);
    }
    QuditList(const std::vector<Qudit>& qudits) {
        handles_.reserve(qudits.size());
        for (const Qudit& qudit : qudits) handles_.push_back(qudit.handle());
    }

    vortan_quantum_property* const* data() const noexcept { return handles_.data(); }
    std::size_t size() const noexcept { return handles_.size(); }

private:
    std::vector<vortan_quantum_property*> handles_;
};

/// Draws an outcome and collapses the state; element i belongs to qudits[i].
inline std::vector<std::int32_t> measure(const QuditList& qudits) {
    std::vector<std::int32_t> outcome(qudits.size());
    detail::call(vortan_measure_properties, qudits.data(), qudits.size(), outcome.data(), outcome.size());
    return outcome;
}

/// Collapses the state onto the given outcome, one value per qudit. Code 2 if
/// the outcome is out of range or absent from the state.
inline void force(const QuditList& qudits, const std::vector<std::int32_t>& values) {
    detail::call(vortan_forced_measure_properties, qudits.data(), qudits.size(), values.data(), values.size(),
                 static_cast<std::int32_t*>(nullptr), std::size_t{0});
}

/// The probability of every outcome combination, widened from the library's
/// single precision. Combination k has qudits[0] as its fastest digit: for
/// qudits (a, b), p[va + da * vb]. Changes no amplitude.
inline std::vector<double> probabilities(const QuditList& qudits) {
    std::size_t count = 0;
    detail::check(vortan_calculate_combinations_count(qudits.data(), qudits.size(), &count),
                  "vortan_calculate_combinations_count");
    std::vector<vortan_probability_entry> entries(count);  // outcome_values null: not copied
    detail::call(vortan_calculate_probabilities, qudits.data(), qudits.size(), entries.data(), entries.size(),
                 static_cast<std::size_t*>(nullptr));
    std::vector<double> p;
    p.reserve(count);
    for (const vortan_probability_entry& entry : entries) p.push_back(entry.probability);
    return p;
}

/// A reduced density matrix: rows and columns count combinations with the
/// first listed qudit fastest, as probabilities() does. Elements are widened
/// from the library's single precision.
class DensityMatrix {
public:
    DensityMatrix(std::size_t dimension, std::vector<std::complex<double>> elements)
        : dimension_(dimension), elements_(std::move(elements)) {}

    std::size_t dimension() const noexcept { return dimension_; }
    std::complex<double> operator()(std::size_t row, std::size_t column) const {
        return elements_.at(row * dimension_ + column);
    }
    /// Row-major, dimension() squared elements.
    const std::vector<std::complex<double>>& elements() const noexcept { return elements_; }

private:
    std::size_t dimension_;
    std::vector<std::complex<double>> elements_;
};

/// The density matrix of the listed qudits, all others traced out.
inline DensityMatrix density_matrix(const QuditList& qudits) {
    std::size_t side = 0;
    std::size_t size = 0;
    detail::check(vortan_calculate_matrix_size(qudits.data(), qudits.size(), &side, &size),
                  "vortan_calculate_matrix_size");
    std::vector<vortan_density_element> raw(size);
    detail::call(vortan_calculate_reduced_density_matrix, qudits.data(), qudits.size(), raw.data(), raw.size(),
                 static_cast<std::size_t*>(nullptr));
    std::vector<std::complex<double>> elements;
    elements.reserve(size);
    for (const vortan_density_element& e : raw) elements.emplace_back(e.real, e.imag);
    return DensityMatrix(side, std::move(elements));
}

/// Multiplies the basis states where all controls hold by e^(i angle); at
/// least one control is required.
inline void phase_rotate(double angle, const ControlList& controls) {
    detail::call(vortan_phase_rotate_operation, controls.data(), controls.size(), angle);
}

/// Asks by measurement whether all controls hold, and projects the state onto
/// the answer.
inline bool project(const ControlList& controls) {
    std::int32_t answer = 0;
    detail::call(vortan_stochastic_projection_modern, controls.data(), controls.size(), &answer);
    return answer != 0;
}

/// Gates recorded once and run in one call. Each gate is whole unless given a
/// fraction; a non-finite fraction or angle is refused here with
/// std::invalid_argument. The batch holds shares of its qudits and controls,
/// so temporaries may be passed. Nothing runs unless every gate is valid, and
/// nothing is undone when one fails (BatchError::ops_executed()).
class Batch {
public:
    Batch& cycle(const Qudit& q, const ControlList& c = {}) { return add(VORTAN_OP_CYCLE, q, whole(), c); }
    Batch& cycle(const Qudit& q, double f, const ControlList& c = {}) { return add(VORTAN_OP_CYCLE, q, power(f), c); }
    Batch& shift(const Qudit& q, const ControlList& c = {}) { return add(VORTAN_OP_SHIFT, q, whole(), c); }
    Batch& shift(const Qudit& q, double f, const ControlList& c = {}) { return add(VORTAN_OP_SHIFT, q, power(f), c); }
    Batch& clock(const Qudit& q, const ControlList& c = {}) { return add(VORTAN_OP_CLOCK, q, whole(), c); }
    Batch& clock(const Qudit& q, double f, const ControlList& c = {}) { return add(VORTAN_OP_CLOCK, q, power(f), c); }
    Batch& x(const Qudit& q, const ControlList& c = {}) { return add(VORTAN_OP_X, q, whole(), c); }
    Batch& x(const Qudit& q, double f, const ControlList& c = {}) { return add(VORTAN_OP_X, q, power(f), c); }
    Batch& y(const Qudit& q, const ControlList& c = {}) { return add(VORTAN_OP_Y, q, whole(), c); }
    Batch& y(const Qudit& q, double f, const ControlList& c = {}) { return add(VORTAN_OP_Y, q, power(f), c); }
    Batch& z(const Qudit& q, const ControlList& c = {}) { return add(VORTAN_OP_Z, q, whole(), c); }
    Batch& z(const Qudit& q, double f, const ControlList& c = {}) { return add(VORTAN_OP_Z, q, power(f), c); }
    Batch& hadamard(const Qudit& q, const ControlList& c = {}) { return add(VORTAN_OP_HADAMARD, q, whole(), c); }
    /// The fractional Hadamard.
    Batch& hadamard(const Qudit& q, double f, const ControlList& c = {}) {
        return add(VORTAN_OP_HADAMARD, q, power(f), c);
    }
    Batch& inverse_hadamard(const Qudit& q, const ControlList& c = {}) {
        return add(VORTAN_OP_INVERSE_HADAMARD, q, whole(), c);
    }
    Batch& swap(const Qudit& a, const Qudit& b, const ControlList& c = {}) {
        return add(VORTAN_OP_SWAP, a, whole(), c, &b);
    }
    Batch& i_swap(const Qudit& a, const Qudit& b, const ControlList& c = {}) {
        return add(VORTAN_OP_I_SWAP, a, whole(), c, &b);
    }
    Batch& i_swap(const Qudit& a, const Qudit& b, double f, const ControlList& c = {}) {
        return add(VORTAN_OP_I_SWAP, a, power(f), c, &b);
    }
    /// At least one control, as for phase_rotate().
    Batch& phase_rotate(double angle, const ControlList& c) {
        detail::require_finite(angle, "angle");
        if (c.size() == 0) throw std::invalid_argument("phase_rotate needs at least one control");
        ops_.push_back(Op{VORTAN_OP_PHASE_ROTATE, nullptr, nullptr, whole(), angle, shares(c), {}});
        return *this;
    }

    std::size_t size() const noexcept { return ops_.size(); }
    void clear() noexcept { ops_.clear(); }

    /// Runs every recorded gate in order; the batch can be run again.
    void run() {
        std::vector<vortan_batch_op> ops(ops_.size());
        for (std::size_t i = 0; i < ops_.size(); ++i) {
            Op& op = ops_[i];
            op.handles.clear();
            for (const auto& predicate : op.predicates) op.handles.push_back(predicate ? predicate->handle : nullptr);
            ops[i].opcode = op.opcode;
            ops[i].target = op.target ? op.target->handle : nullptr;
            ops[i].target2 = op.target2 ? op.target2->handle : nullptr;
            ops[i].fraction = op.fraction;
            ops[i].angle = op.angle;
            ops[i].predicates = op.handles.data();
            ops[i].predicate_count = op.handles.size();
        }
        vortan_batch_result result{};
        vortan_error_info info{};
        if (vortan_execute_batch(ops.data(), ops.size(), &result, &info) != VORTAN_SUCCESS)
            throw BatchError(result.error_code, result.error_message, result.ops_executed);
    }

private:
    struct Op {
        std::uint32_t opcode;
        std::shared_ptr<detail::PropertyBox> target;
        std::shared_ptr<detail::PropertyBox> target2;
        double fraction;
        double angle;
        std::vector<std::shared_ptr<detail::PredicateBox>> predicates;
        std::vector<vortan_predicate*> handles;  // filled by run()
    };

    // The batch's own convention: NaN is the whole gate, anything else a power.
    static double whole() noexcept { return std::numeric_limits<double>::quiet_NaN(); }
    static double power(double fraction) {
        detail::require_finite(fraction, "fraction");
        return fraction;
    }
    static std::vector<std::shared_ptr<detail::PredicateBox>> shares(const ControlList& c) {
        std::vector<std::shared_ptr<detail::PredicateBox>> boxes;
        boxes.reserve(c.controls_.size());
        for (const Control* control : c.controls_) boxes.push_back(control->box_);
        return boxes;
    }

    Batch& add(std::uint32_t opcode, const Qudit& target, double fraction, const ControlList& c,
               const Qudit* target2 = nullptr) {
        ops_.push_back(Op{opcode, target.box_, target2 ? target2->box_ : nullptr, fraction, 0.0, shares(c), {}});
        return *this;
    }

    std::vector<Op> ops_;
};

inline std::string version() { return vortan_get_version(); }
inline unsigned max_dimension() noexcept { return vortan_get_max_dimension(); }
inline unsigned max_qudits() noexcept { return vortan_get_max_qudits(); }
inline unsigned max_state_size() noexcept { return vortan_get_max_state_size(); }

}  // namespace vortan

#endif  // VORTAN_HPP
