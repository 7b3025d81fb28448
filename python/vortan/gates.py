"""Gates on qudits, each controlled by any number of conditions.

Conventions, with ``d`` the target's dimension, ``v`` its level and
``w = exp(2πi/d)``:

* :func:`shift` (and its other name :func:`x`) takes ``|v⟩`` to ``|v-1 mod d⟩``:
  the textbook X on a qubit, its inverse on a qutrit. :func:`cycle` takes
  ``|v⟩`` to ``|v+1 mod d⟩``.
* :func:`clock` (and :func:`z`) multiplies ``|v⟩`` by ``w**v``.
* :func:`hadamard` takes ``|v⟩`` to ``Σ_k w**(-v k) |k⟩ / √d``, the inverse of
  the usual Fourier matrix on a qutrit; :func:`inverse_hadamard` has ``w**(+v k)``.
* :func:`y` exists on qubits only, as ``Z**(1/2) X**f Z**(-1/2)``.

``fraction`` is a real power of the gate. Left out (``None``) or exactly
``1.0`` it is the whole gate. Controls are :class:`vortan.Condition` objects,
``q == value`` or ``q != value``, joined by AND; the gate acts on the basis
states where all of them hold. The target and the controls' qudits are
merged into one shared state, where they stay, even if the gate then fails.
"""
from __future__ import annotations

import ctypes
import math
from contextlib import contextmanager
from typing import Any, Iterator, Optional, Sequence, Tuple

from . import _native
from .qudit import Condition, Qudit


def check_finite(value: Any, what: str) -> float:
    """``value`` as a finite float; TypeError or ValueError otherwise."""
    if isinstance(value, (str, bytes)) or not hasattr(value, "__float__"):
        raise TypeError(f"{what} must be a real number, not {type(value).__name__}")
    number = float(value)
    if not math.isfinite(number):
        raise ValueError(f"{what} must be finite, not {number}")
    return number


def check_qudit(value: Any, what: str = "target") -> Qudit:
    """``value`` if it is a :class:`Qudit`; TypeError otherwise."""
    if not isinstance(value, Qudit):
        raise TypeError(f"{what} must be a vortan.Qudit, not {type(value).__name__}")
    return value


def check_conditions(controls: Sequence[Any]) -> Sequence[Condition]:
    """``controls`` if all are :class:`Condition` objects; TypeError otherwise."""
    for c in controls:
        if not isinstance(c, Condition):
            raise TypeError(f"a control must be a condition such as `q == 1`, not {type(c).__name__}")
    return controls


@contextmanager
def predicates(controls: Sequence[Any]) -> Iterator[Tuple[Any, int]]:
    """Makes one C predicate per condition for the length of a call, as a C
    array and its length, and destroys them after, before any qudit can go."""
    made = []
    try:
        for c in check_conditions(controls):
            handle = ctypes.c_void_p()
            _native.call("vortan_predicate_create", check_qudit(c.subject, "a control's subject").handle,
                         c.value, c.equal, ctypes.byref(handle))
            made.append(handle)
        yield (_native.handles([h.value for h in made]) if made else None), len(made)
    finally:
        for handle in made:
            _native.lib.vortan_predicate_destroy(ctypes.byref(handle))


def _fractional(name: str, target: Any, controls: Sequence[Condition], fraction: Optional[float]) -> None:
    power = 1.0 if fraction is None else check_finite(fraction, "fraction")
    handle = check_qudit(target).handle
    with predicates(controls) as (array, count):
        _native.call(name, handle, power, array, count)


def shift(target: Qudit, *controls: Condition, fraction: Optional[float] = None) -> None:
    """Moves the target's level down by one, ``|v⟩ → |v-1 mod d⟩``, or applies
    that gate to the power ``fraction``."""
    _fractional("vortan_shift_operation", target, controls, fraction)


def x(target: Qudit, *controls: Condition, fraction: Optional[float] = None) -> None:
    """Another name for :func:`shift`: X on a qubit, X⁻¹ of the usual convention on a qutrit."""
    _fractional("vortan_x_operation", target, controls, fraction)


def cycle(target: Qudit, *controls: Condition, fraction: Optional[float] = None) -> None:
    """Moves the target's level up by one, ``|v⟩ → |v+1 mod d⟩``, or a power of it."""
    _fractional("vortan_cycle_operation", target, controls, fraction)


def clock(target: Qudit, *controls: Condition, fraction: Optional[float] = None) -> None:
    """Generalised Z: ``|v⟩ → exp(2πi v f / d) |v⟩`` with ``f`` the fraction (1 if left out)."""
    _fractional("vortan_clock_operation", target, controls, fraction)


def z(target: Qudit, *controls: Condition, fraction: Optional[float] = None) -> None:
    """Another name for :func:`clock`."""
    _fractional("vortan_z_operation", target, controls, fraction)


def y(target: Qudit, *controls: Condition, fraction: Optional[float] = None) -> None:
    """Y on a qubit, ``Z**(1/2) X**f Z**(-1/2)``; on a qutrit the library
    raises :class:`vortan.InvalidArgumentError`."""
    _fractional("vortan_y_operation", target, controls, fraction)


def hadamard(target: Qudit, *controls: Condition, fraction: Optional[float] = None) -> None:
    """Discrete Fourier transform of the target, ``|v⟩ → Σ_k w**(-v k) |k⟩ / √d``.

    With a ``fraction`` f, the Hadamard to the power f, ``Σ_n c_n(f) H**n`` over
    n = 0..3 with ``c_n(f) = ¼ Σ_θ exp(iθ(f - n))``, θ in {0, -π/2, π, π/2}:
    1 gives H (by another road, so only up to rounding), 0.5 twice gives H,
    and -1 the inverse."""
    if fraction is None:
        handle = check_qudit(target).handle
        with predicates(controls) as (array, count):
            _native.call("vortan_hadamard_operation", handle, array, count)
    else:
        _fractional("vortan_fractional_hadamard_operation", target, controls, fraction)


def inverse_hadamard(target: Qudit, *controls: Condition, fraction: Optional[float] = None) -> None:
    """Inverse of :func:`hadamard`, ``|v⟩ → Σ_k w**(v k) |k⟩ / √d``; with a
    ``fraction`` f, the Hadamard to the power -f."""
    if fraction is None:
        handle = check_qudit(target).handle
        with predicates(controls) as (array, count):
            _native.call("vortan_inverse_hadamard_operation", handle, array, count)
    else:
        hadamard(target, *controls, fraction=-check_finite(fraction, "fraction"))


def swap(a: Qudit, b: Qudit, *controls: Condition) -> None:
    """Exchanges the dits of two qudits of one dimension, ``|a,b⟩ → |b,a⟩``."""
    first, second = check_qudit(a).handle, check_qudit(b).handle
    with predicates(controls) as (array, count):
        _native.call("vortan_swap_operation", first, second, array, count)


def i_swap(a: Qudit, b: Qudit, *controls: Condition, fraction: Optional[float] = None) -> None:
    """Mixes ``|a,b⟩`` and ``|b,a⟩`` for ``a ≠ b``: ``cos(fπ/2)|a,b⟩ + i sin(fπ/2)|b,a⟩``
    with ``f`` the fraction (1 if left out, giving ``i|b,a⟩``); ``|a,a⟩`` is unchanged."""
    power = 1.0 if fraction is None else check_finite(fraction, "fraction")
    first, second = check_qudit(a).handle, check_qudit(b).handle
    with predicates(controls) as (array, count):
        _native.call("vortan_i_swap_operation", first, second, power, array, count)


def phase_rotate(angle: float, *controls: Condition) -> None:
    """Multiplies the basis states where all controls hold by ``exp(i angle)``;
    at least one control is needed (ValueError otherwise)."""
    turn = check_finite(angle, "angle")
    if not controls:
        raise ValueError("phase_rotate needs at least one control")
    with predicates(controls) as (array, count):
        _native.call("vortan_phase_rotate_operation", array, count, turn)
