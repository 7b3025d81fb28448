"""Measurements and read-outs as tuples and numpy arrays.

Every function here merges the listed qudits into one shared state first,
where they stay. Probabilities and density elements come from the library in
single precision and are widened, not recomputed.
"""
from __future__ import annotations

import ctypes
from typing import Sequence, Tuple

import numpy as np

from . import _native
from .gates import check_qudit, predicates
from .qudit import Condition, Qudit, as_int32


def _handles(qudits: Sequence[Qudit]) -> ctypes.Array:
    if not qudits:
        raise ValueError("name at least one qudit")
    return _native.handles([check_qudit(q, "each qudit").handle for q in qudits])


def measure(*qudits: Qudit) -> Tuple[int, ...]:
    """Draws an outcome of the qudits and collapses the state onto it.

    Returns one value per qudit, in the order given."""
    array = _handles(qudits)
    out = (ctypes.c_int32 * len(qudits))()
    _native.call("vortan_measure_properties", array, len(qudits), out, len(qudits))
    return tuple(out)


def forced_measure(qudits: Sequence[Qudit], values: Sequence[int]) -> Tuple[int, ...]:
    """Collapses the state onto the outcome ``values`` of ``qudits`` and
    returns it; :class:`vortan.InvalidArgumentError` if the state does not show it."""
    qudits, values = list(qudits), [as_int32(v, "forced value") for v in values]
    if len(values) != len(qudits):
        raise ValueError(f"{len(values)} values for {len(qudits)} qudits")
    array = _handles(qudits)
    forced = (ctypes.c_int32 * len(values))(*values)
    out = (ctypes.c_int32 * len(qudits))()
    _native.call("vortan_forced_measure_properties", array, len(qudits), forced, len(values),
                 out, len(qudits))
    return tuple(out)


def probabilities(*qudits: Qudit) -> np.ndarray:
    """Probability of every outcome of the qudits, changing no amplitude.

    A float64 array with one axis per qudit, in the order given, each as long
    as that qudit's dimension: ``p[a_value, b_value]`` for ``probabilities(a, b)``.
    Outcomes the state does not show have 0. The values are single precision,
    and their sum is the state's squared norm, not renormalised."""
    array = _handles(qudits)
    shape = tuple(q.dimension for q in qudits)
    count = int(np.prod(shape))
    entries = (_native.ProbabilityEntry * count)()  # outcome_values all NULL
    _native.call("vortan_calculate_probabilities", array, len(qudits), entries, count, None)
    flat = np.array([e.probability for e in entries], dtype=np.float64)
    # The library counts with the first qudit as the fastest digit.
    return flat.reshape(shape, order="F")


def density_matrix(*qudits: Qudit) -> np.ndarray:
    """Reduced density matrix of the qudits, all others traced out.

    A complex128 square array of side ``d_0 * d_1 * ...`` in the order of
    ``numpy.kron``: the first qudit is the slowest digit, so element
    ``[i, j]`` with ``i = (a * d_b + b)`` for ``density_matrix(a, b)``, and
    ``rho.reshape(d_a, d_b, d_a, d_b)[a, b, a2, b2]`` is ``⟨a b|ρ|a2 b2⟩``.
    Its diagonal, reshaped to ``(d_a, d_b)``, is :func:`probabilities`. The
    elements are single precision; the matrix is not renormalised."""
    array = _handles(qudits)
    shape = tuple(q.dimension for q in qudits)
    side = int(np.prod(shape))
    elements = (_native.DensityElement * (side * side))()
    _native.call("vortan_calculate_reduced_density_matrix", array, len(qudits), elements,
                 side * side, None)
    raw = np.frombuffer(elements, dtype=np.float32).astype(np.float64)
    rho = (raw[0::2] + 1j * raw[1::2]).reshape(side, side)
    # Rows and columns come with the first qudit fastest: reverse both halves.
    n = len(shape)
    reversed_shape = shape[::-1] * 2
    axes = tuple(range(n - 1, -1, -1)) + tuple(range(2 * n - 1, n - 1, -1))
    return np.ascontiguousarray(rho.reshape(reversed_shape).transpose(axes).reshape(side, side))


def project(*controls: Condition) -> bool:
    """Asks by measurement whether all the conditions hold, and projects the
    state onto the answer: True keeps only the basis states where they hold."""
    if not controls:
        raise ValueError("project needs at least one condition")
    out = ctypes.c_int32()
    with predicates(controls) as (array, count):
        _native.call("vortan_stochastic_projection_modern", array, count, ctypes.byref(out))
    return bool(out.value)
