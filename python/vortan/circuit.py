"""Circuits recorded once and run through one batch call, and shots over them."""
from __future__ import annotations

import collections
import ctypes
from concurrent.futures import Executor
from typing import Any, Counter, Iterable, List, NamedTuple, Optional, Sequence, Tuple, Union

from . import _native, errors
from .gates import check_conditions, check_finite
from .qudit import Condition, Controllable, Qudit
from .readout import measure

# Operation codes of vortan_batch_op.
CYCLE, SHIFT, CLOCK, X, Z, Y, HADAMARD, INVERSE_HADAMARD, SWAP, I_SWAP, PHASE_ROTATE = range(11)


class Wire(Controllable):
    """A qudit of a :class:`Circuit`, by its place; ``wire == 1`` is a control."""

    def __init__(self, circuit: "Circuit", index: int, dimension: int) -> None:
        self.circuit = circuit
        self.index = index
        self.dimension = dimension

    def __repr__(self) -> str:
        return f"wire {self.index}"


class Gate(NamedTuple):
    """One recorded gate: opcode, wire indices, fraction (None for the whole
    gate), angle, and controls as (wire index, value, equal) triples."""
    opcode: int
    target: Optional[int]
    target2: Optional[int]
    fraction: Optional[float]
    angle: float
    controls: Tuple[Tuple[int, int, bool], ...]


WireLike = Union[Wire, int]


class Circuit:
    """Gates recorded once over a fixed list of qudits, run as one batch.

    ``Circuit(2, 2)`` has two qubit wires, ``circuit[0]`` and ``circuit[1]``;
    gates name wires (or their indices) and take conditions on wires as
    controls. :meth:`run` applies the gates to fresh qudits, or to qudits given,
    through one call of the library. A fraction left out is the whole gate.
    What Python can see is refused when the gate is recorded, with ValueError:
    a wire that is target and control, Y on a qutrit, a swap of wires of
    different dimensions, a non-finite fraction or angle. A circuit holds
    only numbers and pickles, so it can be sent to other processes."""

    def __init__(self, *dimensions: int) -> None:
        self._wires: List[Wire] = []
        self._gates: List[Gate] = []
        for d in dimensions:
            self.add_qudit(d)

    def add_qudit(self, dimension: int = 2) -> Wire:
        """Appends a wire of the given dimension (2 or 3) and returns it."""
        if dimension not in (2, 3):
            raise ValueError(f"a qudit has dimension 2 or 3, not {dimension!r}")
        wire = Wire(self, len(self._wires), int(dimension))
        self._wires.append(wire)
        return wire

    @property
    def wires(self) -> Tuple[Wire, ...]:
        """The wires in order."""
        return tuple(self._wires)

    @property
    def dimensions(self) -> Tuple[int, ...]:
        """The dimension of each wire."""
        return tuple(w.dimension for w in self._wires)

    @property
    def gates(self) -> Tuple[Gate, ...]:
        """The gates recorded so far."""
        return tuple(self._gates)

    def __getitem__(self, index: int) -> Wire:
        return self._wires[index]

    def __repr__(self) -> str:
        return f"<vortan.Circuit of {len(self._wires)} qudits, {len(self._gates)} gates>"

    def _wire(self, wire: Any) -> Wire:
        if isinstance(wire, Wire):
            if wire.circuit is not self:
                raise ValueError(f"{wire!r} belongs to another circuit")
            return wire
        if isinstance(wire, int) and not isinstance(wire, bool):
            if not 0 <= wire < len(self._wires):
                raise ValueError(f"no wire {wire} in a circuit of {len(self._wires)}")
            return self._wires[wire]
        raise TypeError(f"a circuit's gate takes a wire or its index, not {type(wire).__name__}")

    def _record(self, opcode: int, targets: Sequence[Any], controls: Sequence[Condition],
                fraction: Optional[float] = None, angle: float = 0.0) -> "Circuit":
        wires = [self._wire(t) for t in targets]
        triples = tuple((self._wire(c.subject).index, c.value, c.equal) for c in check_conditions(controls))
        for w in wires:
            if any(index == w.index for index, _, _ in triples):
                raise ValueError(f"{w!r} is both target and control")
        if fraction is not None:
            fraction = check_finite(fraction, "fraction")
        indices = [w.index for w in wires] + [None] * (2 - len(wires))
        self._gates.append(Gate(opcode, indices[0], indices[1], fraction, angle, triples))
        return self

    def shift(self, target: WireLike, *controls: Condition, fraction: Optional[float] = None) -> "Circuit":
        """Records :func:`vortan.shift`; returns the circuit."""
        return self._record(SHIFT, [target], controls, fraction)

    def x(self, target: WireLike, *controls: Condition, fraction: Optional[float] = None) -> "Circuit":
        """Records :func:`vortan.x`."""
        return self._record(X, [target], controls, fraction)

    def cycle(self, target: WireLike, *controls: Condition, fraction: Optional[float] = None) -> "Circuit":
        """Records :func:`vortan.cycle`."""
        return self._record(CYCLE, [target], controls, fraction)

    def clock(self, target: WireLike, *controls: Condition, fraction: Optional[float] = None) -> "Circuit":
        """Records :func:`vortan.clock`."""
        return self._record(CLOCK, [target], controls, fraction)

    def z(self, target: WireLike, *controls: Condition, fraction: Optional[float] = None) -> "Circuit":
        """Records :func:`vortan.z`."""
        return self._record(Z, [target], controls, fraction)

    def y(self, target: WireLike, *controls: Condition, fraction: Optional[float] = None) -> "Circuit":
        """Records :func:`vortan.y`; the target must be a qubit wire."""
        if self._wire(target).dimension != 2:
            raise ValueError("Y is defined on qubits only")
        return self._record(Y, [target], controls, fraction)

    def hadamard(self, target: WireLike, *controls: Condition, fraction: Optional[float] = None) -> "Circuit":
        """Records :func:`vortan.hadamard` (fractional if ``fraction`` is given)."""
        return self._record(HADAMARD, [target], controls, fraction)

    def inverse_hadamard(self, target: WireLike, *controls: Condition,
                         fraction: Optional[float] = None) -> "Circuit":
        """Records :func:`vortan.inverse_hadamard`; with a fraction f, the Hadamard to the power -f."""
        if fraction is None:
            return self._record(INVERSE_HADAMARD, [target], controls)
        return self._record(HADAMARD, [target], controls, -check_finite(fraction, "fraction"))

    def _check_pair(self, a: WireLike, b: WireLike) -> None:
        if self._wire(a).dimension != self._wire(b).dimension:
            raise ValueError(f"{self._wire(a)!r} and {self._wire(b)!r} differ in dimension")

    def swap(self, a: WireLike, b: WireLike, *controls: Condition) -> "Circuit":
        """Records :func:`vortan.swap` of two wires of one dimension."""
        self._check_pair(a, b)
        return self._record(SWAP, [a, b], controls)

    def i_swap(self, a: WireLike, b: WireLike, *controls: Condition, fraction: Optional[float] = None) -> "Circuit":
        """Records :func:`vortan.i_swap` of two wires of one dimension."""
        self._check_pair(a, b)
        return self._record(I_SWAP, [a, b], controls, fraction)

    def phase_rotate(self, angle: float, *controls: Condition) -> "Circuit":
        """Records :func:`vortan.phase_rotate`; at least one control is needed."""
        turn = check_finite(angle, "angle")
        if not controls:
            raise ValueError("phase_rotate needs at least one control")
        return self._record(PHASE_ROTATE, [], controls, angle=turn)

    def run(self, qudits: Optional[Sequence[Qudit]] = None) -> List[Qudit]:
        """Applies the gates, in one batch call, to ``qudits`` (one per wire,
        of the wire's dimension) or to fresh ones, and returns the qudits.

        A failure raises the exception of its status code with
        ``ops_executed``, the number of gates that completed; nothing is undone.
        """
        if qudits is None:
            qudits = [Qudit(d) for d in self.dimensions]
        else:
            qudits = list(qudits)
            if len(qudits) != len(self._wires):
                raise ValueError(f"{len(qudits)} qudits for a circuit of {len(self._wires)}")
            for q, w in zip(qudits, self._wires):
                if not isinstance(q, Qudit):
                    raise TypeError(f"{w!r} needs a vortan.Qudit, not {type(q).__name__}")
                if q.dimension != w.dimension:
                    raise ValueError(f"{w!r} has dimension {w.dimension}, its qudit {q.dimension}")
        handles = [q.handle for q in qudits]
        _execute(self._gates, handles)
        return qudits


def _execute(gates: Sequence[Gate], handles: Sequence[int]) -> None:
    # Predicates are made for this run alone, one per distinct control, and
    # destroyed before the qudits can go.
    made: dict = {}
    arrays = []
    ops = (_native.BatchOp * len(gates))()
    try:
        for op, gate in zip(ops, gates):
            for key in gate.controls:
                if key not in made:
                    pred = ctypes.c_void_p()
                    _native.call("vortan_predicate_create", handles[key[0]], key[1], key[2], ctypes.byref(pred))
                    made[key] = pred
            op.opcode = gate.opcode
            op.target = None if gate.target is None else handles[gate.target]
            op.target2 = None if gate.target2 is None else handles[gate.target2]
            op.fraction = float("nan") if gate.fraction is None else gate.fraction
            op.angle = gate.angle
            if gate.controls:
                array = _native.handles([made[key].value for key in gate.controls])
                arrays.append(array)
                op.predicates = ctypes.cast(array, ctypes.POINTER(ctypes.c_void_p))
                op.predicate_count = len(gate.controls)
        result = _native.BatchResult()
        info = _native.ErrorInfo()
        code = _native.lib.vortan_execute_batch(ops, len(gates), ctypes.byref(result), ctypes.byref(info))
        if code:
            raise errors.from_record(code, info.message.decode(errors="replace"),
                                     (info.function or b"vortan_execute_batch").decode(), info.line,
                                     result.ops_executed)
    finally:
        for pred in made.values():
            _native.lib.vortan_predicate_destroy(ctypes.byref(pred))


def _run_shots(circuit: Circuit, count: int, measured: Sequence[int]) -> Counter[Tuple[int, ...]]:
    """Runs ``count`` shots in this process; module level, so pools can pickle it."""
    counts: Counter[Tuple[int, ...]] = collections.Counter()
    for _ in range(count):
        qudits = circuit.run()
        try:
            counts[measure(*(qudits[i] for i in measured))] += 1
        finally:
            for q in qudits:
                q.close()
    return counts


def shots(circuit: Circuit, count: int, *, measured: Optional[Iterable[WireLike]] = None,
          executor: Optional[Executor] = None, chunks: Optional[int] = None) -> Counter[Tuple[int, ...]]:
    """Runs ``circuit`` ``count`` times on fresh qudits, measures the wires
    ``measured`` (all, in order, if left out) after each run, and counts the
    outcomes, as tuples of ints in the order of ``measured``.

    With an ``executor`` (any :class:`concurrent.futures.Executor`: a thread
    or process pool, or a cluster's executor) the shots are split into
    ``chunks`` parts (default: up to 16) submitted to it; each worker process
    loads the library and makes its own qudits. Without one they run here.
    A parameter sweep submits one circuit per value through the same executor::

        counts = {f: shots(rotated(f), 1000, executor=pool) for f in (0.25, 0.5)}
    """
    if not isinstance(circuit, Circuit):
        raise TypeError(f"shots runs a vortan.Circuit, not {type(circuit).__name__}")
    if isinstance(count, bool) or not isinstance(count, int) or count < 0:
        raise ValueError(f"the number of shots must be a non-negative int, not {count!r}")
    wires = circuit.wires if measured is None else [circuit._wire(w) for w in measured]
    if not wires:
        raise ValueError("nothing to measure")
    indices = [w.index for w in wires]
    if count == 0:
        return collections.Counter()
    if executor is None:
        return _run_shots(circuit, count, indices)
    parts = min(count, 16) if chunks is None else chunks
    if isinstance(parts, bool) or not isinstance(parts, int) or parts < 1:
        raise ValueError(f"chunks must be a positive int, not {chunks!r}")
    sizes = [count // parts + (1 if i < count % parts else 0) for i in range(parts)]
    futures = [executor.submit(_run_shots, circuit, n, indices) for n in sizes if n]
    total: Counter[Tuple[int, ...]] = collections.Counter()
    for future in futures:
        total.update(future.result())
    return total
