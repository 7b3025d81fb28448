"""The one place that loads the shared library and declares its C functions.

Nothing outside this module touches ``ctypes`` signatures; the rest of the
package calls through :func:`call`, which turns a failing status into an
exception.
"""
from __future__ import annotations

import ctypes
import os
from typing import Any, Optional

from . import errors

#: The library's file name as the dynamic loader knows it (its SONAME).
SONAME = "libvortan.so.1"


def _installed_library() -> Optional[str]:
    # Written by the CMake install next to the package; absent in a source tree.
    try:
        from ._config import LIBRARY
    except ImportError:
        return None
    return LIBRARY if os.path.exists(LIBRARY) else None


def library_path() -> str:
    """Where the library is loaded from: ``VORTAN_LIBRARY`` if set, else the
    path recorded at install time, else the loader's search for ``libvortan.so.1``."""
    return os.environ.get("VORTAN_LIBRARY") or _installed_library() or SONAME


def _load() -> ctypes.CDLL:
    path = library_path()
    try:
        return ctypes.CDLL(path)
    except OSError as e:
        raise ImportError(
            f"vortan: cannot load the shared library {path!r} ({e}); "
            "install it, or point VORTAN_LIBRARY at libvortan.so.1") from e


class ErrorInfo(ctypes.Structure):
    _fields_ = [("code", ctypes.c_int32),
                ("message", ctypes.c_char * 256),
                ("reserved0", ctypes.c_uint32),
                ("function", ctypes.c_char_p),
                ("line", ctypes.c_uint32),
                ("reserved1", ctypes.c_uint32)]


class ProbabilityEntry(ctypes.Structure):
    _fields_ = [("probability", ctypes.c_float),
                ("reserved0", ctypes.c_uint32),
                ("outcome_values", ctypes.POINTER(ctypes.c_int32)),
                ("outcome_count", ctypes.c_size_t)]


class DensityElement(ctypes.Structure):
    _fields_ = [("real", ctypes.c_float), ("imag", ctypes.c_float)]


class BatchOp(ctypes.Structure):
    _fields_ = [("opcode", ctypes.c_uint32),
                ("reserved0", ctypes.c_uint32),
                ("target", ctypes.c_void_p),
                ("target2", ctypes.c_void_p),
                ("fraction", ctypes.c_double),
                ("angle", ctypes.c_double),
                ("predicates", ctypes.POINTER(ctypes.c_void_p)),
                ("predicate_count", ctypes.c_size_t)]


class BatchResult(ctypes.Structure):
    _fields_ = [("ops_executed", ctypes.c_uint64),
                ("error_code", ctypes.c_int32),
                ("error_message", ctypes.c_char * 256)]


# The layouts are fixed by the C header; a wrong field here would corrupt memory.
assert ctypes.sizeof(ErrorInfo) == 280 and ErrorInfo.function.offset == 264
assert ctypes.sizeof(ProbabilityEntry) == 24
assert ctypes.sizeof(DensityElement) == 8
assert ctypes.sizeof(BatchOp) == 56 and BatchOp.predicate_count.offset == 48
assert BatchResult.error_message.offset == 12

lib = _load()

_handle = ctypes.c_void_p
_handle_p = ctypes.POINTER(ctypes.c_void_p)
_err = ctypes.POINTER(ErrorInfo)
_size = ctypes.c_size_t
_size_p = ctypes.POINTER(ctypes.c_size_t)
_i32 = ctypes.c_int32
_i32_p = ctypes.POINTER(ctypes.c_int32)
_f64 = ctypes.c_double

# name: (restype, argtypes); every function returning vortan_result has c_int32.
_SIGNATURES: dict[str, tuple[Any, list[Any]]] = {
    "vortan_get_version": (ctypes.c_char_p, []),
    "vortan_get_max_dimension": (ctypes.c_uint32, []),
    "vortan_get_max_qudits": (ctypes.c_uint32, []),
    "vortan_get_max_state_size": (ctypes.c_uint32, []),
    "vortan_get_error_string": (ctypes.c_char_p, [_i32]),
    "vortan_quantum_property_create": (_i32, [_i32, _handle_p, _err]),
    "vortan_quantum_property_destroy": (_i32, [_handle_p]),
    "vortan_quantum_property_factorize_and_destroy": (_i32, [_handle_p, _err]),
    "vortan_quantum_property_get_dimension": (_i32, [_handle, ctypes.POINTER(ctypes.c_uint32)]),
    "vortan_quantum_property_get_num_active_qudits": (_i32, [_handle, _size_p]),
    "vortan_quantum_property_get_state_vector_size": (_i32, [_handle, _size_p]),
    "vortan_predicate_create": (_i32, [_handle, _i32, ctypes.c_bool, _handle_p]),
    "vortan_predicate_destroy": (_i32, [_handle_p]),
    "vortan_calculate_combinations_count": (_i32, [_handle_p, _size, _size_p]),
    "vortan_calculate_matrix_size": (_i32, [_handle_p, _size, _size_p, _size_p]),
    "vortan_hadamard_operation": (_i32, [_handle, _handle_p, _size, _err]),
    "vortan_inverse_hadamard_operation": (_i32, [_handle, _handle_p, _size, _err]),
    "vortan_swap_operation": (_i32, [_handle, _handle, _handle_p, _size, _err]),
    "vortan_i_swap_operation": (_i32, [_handle, _handle, _f64, _handle_p, _size, _err]),
    "vortan_phase_rotate_operation": (_i32, [_handle_p, _size, _f64, _err]),
    "vortan_measure_properties": (_i32, [_handle_p, _size, _i32_p, _size, _err]),
    "vortan_forced_measure_properties": (_i32, [_handle_p, _size, _i32_p, _size, _i32_p, _size, _err]),
    "vortan_calculate_probabilities": (_i32, [_handle_p, _size, ctypes.POINTER(ProbabilityEntry),
                                              _size, _size_p, _err]),
    "vortan_calculate_reduced_density_matrix": (_i32, [_handle_p, _size, ctypes.POINTER(DensityElement),
                                                       _size, _size_p, _err]),
    "vortan_stochastic_projection_modern": (_i32, [_handle_p, _size, _i32_p, _err]),
    "vortan_execute_batch": (_i32, [ctypes.POINTER(BatchOp), _size, ctypes.POINTER(BatchResult), _err]),
}
# The one-target gates with a fraction share one signature.
for _name in ("shift", "clock", "cycle", "x", "y", "z", "fractional_hadamard"):
    _SIGNATURES[f"vortan_{_name}_operation"] = (_i32, [_handle, _f64, _handle_p, _size, _err])

for _name, (_restype, _argtypes) in _SIGNATURES.items():
    _fn = getattr(lib, _name)
    _fn.restype = _restype
    _fn.argtypes = _argtypes

# The functions that take an error record as their last argument.
_REPORTING = {name for name, (_, args) in _SIGNATURES.items() if args and args[-1] is _err}


def call(name: str, *args: Any) -> None:
    """Calls the C function ``name`` and raises the exception of its status.

    Functions with an error record get one and the exception carries its
    message, function and line; the others get the status code's text."""
    fn = getattr(lib, name)
    if name in _REPORTING:
        info = ErrorInfo()
        code = fn(*args, ctypes.byref(info))
        if code:
            raise errors.from_record(code, info.message.decode(errors="replace"),
                                     (info.function or name.encode()).decode(), info.line)
    else:
        code = fn(*args)
        if code:
            raise errors.from_record(code, error_string(code), name, 0)


def error_string(code: int) -> str:
    """The library's fixed text for a status code ("Unknown error" for others)."""
    return lib.vortan_get_error_string(code).decode()


def handles(items: Any) -> Any:
    """A C array of ``void*`` from a sequence of raw handles (ints or None)."""
    return (ctypes.c_void_p * len(items))(*items)
