#pragma once
// The abstract face of a sparse state. Everything above the engine holds an
// IState; the concrete State<T> behind it is chosen once, by make_state.

#include <complex>
#include <cstdint>
#include <memory>
#include <vector>

#include "qudit/dit_array.h"

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

}  // namespace vortan::qudit
