"""Sparse simulation of small systems of qudits (dimension 2 or 3).

A layer over the shared library ``libvortan.so.1``, loaded through ctypes from
``VORTAN_LIBRARY`` if set, else from where the install put it, else by the
dynamic loader's search::

    import vortan

    with vortan.Qudit(2) as a, vortan.Qudit(2) as b:
        a.hadamard()
        b.cycle(a == 1)                      # controlled on a's dit being 1
        p = vortan.probabilities(a, b)       # p[a_value, b_value]

Gates take conditions as controls and a ``fraction`` for their powers;
read-outs are numpy arrays and tuples; failures raise :class:`VortanError`
subclasses. :class:`Circuit` records gates once and runs them in one call,
and :func:`shots` gathers statistics, on any ``concurrent.futures.Executor``.
"""
from __future__ import annotations

from typing import Tuple

from . import _native
from .qudit import Condition, Qudit  # first: the modules below build on it
from .circuit import Circuit, Gate, Wire, shots
from .errors import (BufferTooSmallError, IncompatibleDimensionsError, InternalError,
                     InvalidArgumentError, InvalidDimensionError, InvalidQuditNumberError,
                     NullPointerError, OutOfMemoryError, StateSizeExceededError,
                     TargetControlOverlapError, VortanError)
from .gates import (clock, cycle, hadamard, i_swap, inverse_hadamard, phase_rotate, shift,
                    swap, x, y, z)
from .readout import density_matrix, forced_measure, measure, probabilities, project

__all__ = [
    "Circuit", "Condition", "Gate", "Qudit", "Wire", "shots",
    "clock", "cycle", "hadamard", "i_swap", "inverse_hadamard", "phase_rotate", "shift", "swap",
    "x", "y", "z",
    "density_matrix", "forced_measure", "measure", "probabilities", "project",
    "VortanError", "NullPointerError", "InvalidArgumentError", "BufferTooSmallError",
    "InvalidDimensionError", "InvalidQuditNumberError", "TargetControlOverlapError",
    "IncompatibleDimensionsError", "StateSizeExceededError", "OutOfMemoryError", "InternalError",
    "library_version", "library_path", "error_string", "MAX_DIMENSION", "MAX_QUDITS", "MAX_STATE_SIZE",
]

#: Version of this package, which follows the library's.
__version__ = "1.4.0"

#: Largest dimension of a qudit.
MAX_DIMENSION: int = _native.lib.vortan_get_max_dimension()
#: Largest number of qudits in one shared state.
MAX_QUDITS: int = _native.lib.vortan_get_max_qudits()
#: Largest number of basis entries one shared state may hold.
MAX_STATE_SIZE: int = _native.lib.vortan_get_max_state_size()

library_path = _native.library_path
error_string = _native.error_string


def library_version() -> Tuple[int, int, int]:
    """The loaded library's version, as ``(major, minor, patch)``."""
    text = _native.lib.vortan_get_version().decode()
    major, minor, patch = (int(part) for part in text.split("."))
    return major, minor, patch
