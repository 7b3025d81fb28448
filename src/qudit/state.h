#pragma once
// The abstract face of a sparse state. Everything above the engine holds an
// IState; the concrete State<T> behind it is chosen once, by make_state.

#include <complex>
#include <cstdint>
#include <memory>
#include <vector>

#include "qudit/dit_array.h"
#include "qudit/measurement/results.h"
#include "qudit/predicate.h"

namespace vortan::qudit {

/// One term of a state: a basis state and its amplitude. With a packed dit
/// array this is a trivially copyable record of four words.
template <class T>
struct BasisEntry {
    T dits;
    std::complex<double> amplitude;
};

/// The exchange form in which entries cross between state types.
using DynamicBasisEntry = BasisEntry<DynamicDitArray>;

/// A packed entry in a form-neutral record: the two words of a DitArray of
/// some shape, and the amplitude. How the words read depends on that shape.
struct PackedEntry {
    std::uint64_t values;
    std::uint64_t dimensions;
    std::complex<double> amplitude;
};

/// |a|^2 as two products and one sum, real part first. Weights and norms are
/// all summed from this, never from a modulus, which rounds differently.
inline double squared_magnitude(std::complex<double> a) { return a.real() * a.real() + a.imag() * a.imag(); }

/// A group of qudits as a sparse list of basis entries. The virtual operations
/// stand in a fixed order; qudits are numbered from 0.
class IState {
public:
    virtual ~IState();

    /// D of the form: the largest dimension a dit may have, not per qudit.
    virtual std::uint64_t dimension() const = 0;
    /// Dimension of one qudit, read from the first entry; D if there is none.
    virtual std::uint64_t qudit_dimension(std::int32_t qudit) const = 0;
    virtual std::uint64_t num_qudits() const = 0;
    /// Number of stored entries, not the size of the space.
    virtual std::uint64_t state_size() const = 0;
    /// An independent copy of the entries, in storage order.
    virtual std::vector<DynamicBasisEntry> basis_entries() const = 0;
    /// Same form, same entries in the same order, zero amplitudes included.
    virtual std::unique_ptr<IState> clone() const = 0;
    /// Scales to norm 1, leaving alone a norm already within 1e-12 of 1 and a
    /// negligible one (squared norm <= 1e-20).
    virtual void normalize() = 0;
    /// Outcome distribution of `qudits` (empty: all qudits, in order), one
    /// record per outcome in order of first occurrence in storage, summed in
    /// storage order, not normalised, no threshold. Throws BadQuditIndex
    /// "probabilities: qudit index i out of range [0, n)".
    virtual OutcomeDistribution probabilities(std::vector<std::int32_t> qudits) const = 0;
    /// The reached elements of the density matrix of `qudits`, all other
    /// qudits traced out, in order of the first pair that reaches them. An
    /// empty list gives the trace as one element of the one, empty, label.
    /// Besides the result it holds one 32-bit word per place of the labels'
    /// square, or a hash of the places reached where that square is sparse.
    virtual DensityMatrix reduced_density_matrix(std::vector<std::int32_t> qudits) const = 0;
    /// Draws an outcome of `qudits` with this thread's generator for the state
    /// type, keeps only the entries that show it and renormalises at float
    /// precision. Empty result: the state had no entries.
    virtual std::vector<std::int32_t> measure(std::vector<std::int32_t> qudits) = 0;
    /// Collapses onto `outcomes`, which must occur among the entries; returns
    /// them. Refusals before the collapse leave the state untouched.
    virtual std::vector<std::int32_t> forced_measure(std::vector<std::int32_t> qudits,
                                                     std::vector<std::int32_t> outcomes) = 0;

    // Gates. Each takes its controls as predicates joined by AND and acts only
    // on the entries that pass them; none renormalises.

    /// Multiplies the selected entries by e^(i angle); no target.
    virtual void phase_rotate(const Predicates& predicates, double angle) = 0;
    /// Moves each target's level down by one, v -> v-1 mod d, in place.
    virtual void shift(const Targets& targets, const Predicates& predicates) = 0;
    /// shift to the power `fraction`; all or nothing.
    virtual void fractional_shift(const Targets& targets, double fraction, const Predicates& predicates) = 0;
    /// cycle to the power `fraction`; all or nothing.
    virtual void fractional_cycle(const Targets& targets, double fraction, const Predicates& predicates) = 0;
    /// Moves each target's level up by one, v -> v+1 mod d, in place.
    virtual void cycle(const Targets& targets, const Predicates& predicates) = 0;
    /// Multiplies by e^(2 pi i v / d) per target.
    virtual void clock(const Targets& targets, const Predicates& predicates) = 0;
    /// Multiplies by e^(2 pi i v fraction / d) per target.
    virtual void fractional_clock(const Targets& targets, double fraction, const Predicates& predicates) = 0;
    /// Fourier transform of each target's dit; refused in advance past the
    /// size limit, and all or nothing.
    virtual void hadamard(const Targets& targets, const Predicates& predicates) = 0;
    /// hadamard to any real power, through its four integer powers.
    virtual void fractional_hadamard(const Targets& targets, double fraction, const Predicates& predicates) = 0;
    /// Inverse of hadamard, with the same frame.
    virtual void inverse_hadamard(const Targets& targets, const Predicates& predicates) = 0;
    /// Exchanges the whole dits of two qudits of equal dimension, in place.
    virtual void swap(std::int32_t qudit1, std::int32_t qudit2, const Predicates& predicates) = 0;
    /// Mixes |a,b> and |b,a> (a != b) by the angle fraction * pi/2, the moved
    /// part multiplied by i.
    virtual void i_swap(std::int32_t qudit1, std::int32_t qudit2, double fraction, const Predicates& predicates) = 0;

    /// True when the qudit is in a product with the rest: every branch of
    /// significant weight is, up to one complex factor, the same state of the
    /// other qudits as the lowest such branch, and stray terms are negligible.
    /// True for an empty state, a single qudit, or all weights zero. Throws
    /// BadQuditIndex from the dit array's check.
    virtual bool is_factorizable(std::int32_t qudit) const = 0;
    /// The qudit's own state, one-dit entries of its dimension, normalised and
    /// with the phase fixed by the first entry of its heaviest branch. Right
    /// only where is_factorizable holds; unchecked otherwise. Empty for an
    /// empty state or one of zero weights.
    virtual std::vector<DynamicBasisEntry> extract_factor(std::int32_t qudit) const = 0;
    /// Rotates the amplitude pair of two named basis states by
    /// exp(-i angle X). The lists name dit values from qudit 0 up; dits past
    /// the shorter list keep the first entry's values. An absent state counts
    /// as amplitude 0 and is appended if it gains more than 1e-15; a state
    /// left with no more than that is removed. No merge, no size check.
    virtual void basis_rotation(std::vector<std::int32_t> dits_a, std::vector<std::int32_t> dits_b,
                                double angle) = 0;

    /// The packed roads that change the number of qudits (removal, tensor
    /// product) without the exchange form. Each returns false or null on the
    /// dynamic form, which has none; callers then take the exchange road.
    ///
    /// Copies the entries' two words and amplitude, in storage order.
    virtual bool packed_entries(std::vector<PackedEntry>& out) const = 0;
    /// Adds |amplitude|^2 of every entry, in storage order, to the weight of
    /// the value of `qudit`; the table grows as far as the values demand.
    /// Where every entry has one value, its weight may be summed in another
    /// order: alone, it is only ever told from zero. `qudit` must be in range.
    virtual bool value_weights(std::int32_t qudit, std::vector<double>& weights) const = 0;
    /// A state of one qudit fewer and the same D: only the entries whose dit
    /// `qudit` has the value `keep` (all when `keep` is negative), with the
    /// last dit moved into the freed place. Built as the factory would build it
    /// from those entries: equal dits merged, exact zeros dropped.
    virtual std::unique_ptr<IState> without_qudit(std::int32_t qudit, std::int64_t keep) const = 0;

protected:
    IState() = default;
    IState(const IState&) = default;
    IState& operator=(const IState&) = default;
};

/// The one place that turns a run-time (dimension, qudit count) into a state
/// type. Throws StateSizeExceeded, BadDimension, std::invalid_argument,
/// BadQuditNumber, or what building the entries throws.
std::unique_ptr<IState> make_state(std::uint64_t dimension, std::uint64_t num_qudits,
                                   const std::vector<DynamicBasisEntry>& entries);

/// The tensor product of two states on the packed road: `a`'s entries the
/// slow index, `b`'s the fast one, dits of `a` first, amplitudes a times b,
/// in the shape the factory would choose for the larger D and the summed
/// qudit count; exact zeros dropped. Null when either state is of the
/// dynamic form or the sum is past MAX_NUM_QUDITS, where the factory's
/// refusal belongs to the exchange road.
std::unique_ptr<IState> packed_product(const IState& a, const IState& b);

}  // namespace vortan::qudit
