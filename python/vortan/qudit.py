"""Qudits and the conditions that control gates."""
from __future__ import annotations

import ctypes
import operator
from typing import TYPE_CHECKING, Any, Optional

from . import _native

if TYPE_CHECKING:
    import numpy as np

INT32_MIN, INT32_MAX = -2**31, 2**31 - 1


def as_int32(value: Any, what: str) -> int:
    """``value`` as a Python int within int32; TypeError or ValueError otherwise."""
    try:
        number = operator.index(value)
    except TypeError:
        raise TypeError(f"{what} must be an integer, not {type(value).__name__}") from None
    if not INT32_MIN <= number <= INT32_MAX:
        raise ValueError(f"{what} {number} does not fit in 32 bits")
    return number


class Condition:
    """A control of a gate: the dit of ``subject`` equals (``equal`` true) or
    differs from ``value``. Written ``q == 1`` or ``q != 0``; ``~c`` is the
    opposite condition. Several conditions on one gate are joined by AND.

    A condition holds its qudit, so the qudit lives as long as the condition.
    It has no truth value: ``if q == 1:`` raises TypeError, since the dit of a
    qudit is only known by measuring it."""

    __slots__ = ("subject", "value", "equal")

    def __init__(self, subject: Any, value: int, equal: bool = True) -> None:
        self.subject = subject
        self.value = as_int32(value, "condition value")
        self.equal = bool(equal)

    def __invert__(self) -> "Condition":
        return Condition(self.subject, self.value, not self.equal)

    def __bool__(self) -> bool:
        raise TypeError("a condition on a qudit has no truth value; measure the qudit to learn its dit")

    def __repr__(self) -> str:
        return f"({self.subject!r} {'==' if self.equal else '!='} {self.value})"


class Controllable:
    """What conditions can be written on: a :class:`Qudit`, or a wire of a
    :class:`vortan.Circuit`. ``==`` and ``!=`` with an integer make a
    :class:`Condition`; with anything else they compare identity."""

    def equal_to(self, value: int) -> Condition:
        """The condition that this dit equals ``value``, as ``self == value``."""
        return Condition(self, value, True)

    def not_equal_to(self, value: int) -> Condition:
        """The condition that this dit differs from ``value``, as ``self != value``."""
        return Condition(self, value, False)

    def __eq__(self, value: object) -> Any:
        if isinstance(value, Controllable) or not hasattr(value, "__index__"):
            return NotImplemented
        return Condition(self, value, True)  # type: ignore[arg-type]

    def __ne__(self, value: object) -> Any:
        if isinstance(value, Controllable) or not hasattr(value, "__index__"):
            return NotImplemented
        return Condition(self, value, False)  # type: ignore[arg-type]

    # Identity hashing, since == is taken for conditions.
    __hash__ = object.__hash__


class Qudit(Controllable):
    """One qudit of dimension 2 or 3, made in basis state 0, alone.

    Gates and measurements that name several qudits merge them into one shared
    state, where they stay. The handle is freed by :meth:`close`, at the end of
    a ``with`` block, or when the object is collected; afterwards any use
    raises ValueError. Freeing a qudit measures nothing: an entangled qudit
    stays in its shared state, unnamed. :meth:`remove` takes it out instead.

    Qudits are not thread-safe: qudits of one shared state must not be used
    from two threads at once."""

    def __init__(self, dimension: int = 2) -> None:
        self._handle: Optional[int] = None
        handle = ctypes.c_void_p()
        _native.call("vortan_quantum_property_create", as_int32(dimension, "dimension"), ctypes.byref(handle))
        self._handle = handle.value
        # Held so that a qudit collected at interpreter exit can still free itself.
        self._lib = _native.lib

    @property
    def handle(self) -> int:
        """The raw ``vortan_quantum_property*``; ValueError once closed."""
        if self._handle is None:
            raise ValueError("the qudit is closed")
        return self._handle

    @property
    def closed(self) -> bool:
        """Whether the handle has been freed."""
        return self._handle is None

    def close(self) -> None:
        """Frees the handle, measuring nothing; the qudit stays in its shared
        state, unnamed. Closing twice is harmless."""
        if self._handle is not None:
            handle = ctypes.c_void_p(self._handle)
            self._handle = None
            self._lib.vortan_quantum_property_destroy(ctypes.byref(handle))

    def remove(self) -> None:
        """Takes the qudit out of its shared state and frees the handle. A
        qudit with partners is measured first, which collapses them (the
        library prints a warning on stderr if it was entangled)."""
        handle = ctypes.c_void_p(self.handle)
        _native.call("vortan_quantum_property_factorize_and_destroy", ctypes.byref(handle))
        self._handle = None

    def __reduce__(self) -> Any:
        # A copy would free the same handle twice, and a handle means nothing
        # in another process.
        raise TypeError("a qudit cannot be copied or pickled; send a vortan.Circuit to other processes")

    def __enter__(self) -> "Qudit":
        return self

    def __exit__(self, *exc: object) -> None:
        self.close()

    def __del__(self) -> None:
        if getattr(self, "_handle", None) is not None:
            try:
                self.close()
            except Exception:  # at interpreter exit ctypes may be gone already
                pass

    def __repr__(self) -> str:
        if self._handle is None:
            return "<vortan.Qudit closed>"
        return f"<vortan.Qudit dimension {self.dimension} at {self._handle:#x}>"

    def _size(self, name: str) -> int:
        out = ctypes.c_size_t()
        _native.call(name, self.handle, ctypes.byref(out))
        return out.value

    @property
    def dimension(self) -> int:
        """2 or 3."""
        out = ctypes.c_uint32()
        _native.call("vortan_quantum_property_get_dimension", self.handle, ctypes.byref(out))
        return out.value

    @property
    def group_size(self) -> int:
        """Number of qudits in this qudit's shared state, unnamed ones included."""
        return self._size("vortan_quantum_property_get_num_active_qudits")

    @property
    def state_size(self) -> int:
        """Number of basis entries stored now in this qudit's shared state."""
        return self._size("vortan_quantum_property_get_state_vector_size")

    # Gates and read-outs on this qudit; see the functions of the same names.

    def shift(self, *controls: Condition, fraction: Optional[float] = None) -> "Qudit":
        """:func:`vortan.shift` on this qudit (v to v-1); returns the qudit."""
        gates.shift(self, *controls, fraction=fraction)
        return self

    def x(self, *controls: Condition, fraction: Optional[float] = None) -> "Qudit":
        """:func:`vortan.x` on this qudit (the same gate as shift)."""
        gates.x(self, *controls, fraction=fraction)
        return self

    def cycle(self, *controls: Condition, fraction: Optional[float] = None) -> "Qudit":
        """:func:`vortan.cycle` on this qudit (v to v+1)."""
        gates.cycle(self, *controls, fraction=fraction)
        return self

    def clock(self, *controls: Condition, fraction: Optional[float] = None) -> "Qudit":
        """:func:`vortan.clock` on this qudit."""
        gates.clock(self, *controls, fraction=fraction)
        return self

    def z(self, *controls: Condition, fraction: Optional[float] = None) -> "Qudit":
        """:func:`vortan.z` on this qudit (the same gate as clock)."""
        gates.z(self, *controls, fraction=fraction)
        return self

    def y(self, *controls: Condition, fraction: Optional[float] = None) -> "Qudit":
        """:func:`vortan.y` on this qubit."""
        gates.y(self, *controls, fraction=fraction)
        return self

    def hadamard(self, *controls: Condition, fraction: Optional[float] = None) -> "Qudit":
        """:func:`vortan.hadamard` on this qudit."""
        gates.hadamard(self, *controls, fraction=fraction)
        return self

    def inverse_hadamard(self, *controls: Condition, fraction: Optional[float] = None) -> "Qudit":
        """:func:`vortan.inverse_hadamard` on this qudit."""
        gates.inverse_hadamard(self, *controls, fraction=fraction)
        return self

    def swap(self, other: "Qudit", *controls: Condition) -> "Qudit":
        """:func:`vortan.swap` of this qudit and ``other``."""
        gates.swap(self, other, *controls)
        return self

    def i_swap(self, other: "Qudit", *controls: Condition, fraction: Optional[float] = None) -> "Qudit":
        """:func:`vortan.i_swap` of this qudit and ``other``."""
        gates.i_swap(self, other, *controls, fraction=fraction)
        return self

    def measure(self) -> int:
        """Measures this qudit alone and returns its value."""
        return readout.measure(self)[0]

    def force(self, value: int) -> int:
        """Collapses this qudit onto ``value``, which the state must show."""
        return readout.forced_measure([self], [value])[0]

    def probabilities(self) -> "np.ndarray":
        """:func:`vortan.probabilities` of this qudit: shape ``(dimension,)``."""
        return readout.probabilities(self)

    def density_matrix(self) -> "np.ndarray":
        """:func:`vortan.density_matrix` of this qudit, others traced out."""
        return readout.density_matrix(self)


from . import gates, readout  # noqa: E402  (they build on the classes above)
