"""Every gate, as a function, as a method and recorded in a circuit, against its
textbook matrix, on qubits and qutrits, whole and fractional, bare and under a control.

A gate's full matrix U shows in its Choi state: each target starts maximally
entangled with a reference qudit, so that afterwards the amplitudes over
(references, targets) are the entries of U transposed."""
import math

import numpy as np
import pytest

import vortan

TAU = 2 * math.pi


def shift_matrix(d, f=1.0):
    # |v> -> sum_m (1/d) sum_k w^(k(f+m-v)) |m>; at f = 1, |v-1 mod d>. Cycle is the power -f.
    m, v = np.indices((d, d))
    return sum(np.exp(1j * TAU * k * (f + m - v) / d) for k in range(d)) / d


def clock_matrix(d, f=1.0):
    return np.diag(np.exp(1j * TAU * np.arange(d) * f / d))


def hadamard_matrix(d, f=1.0):
    # H^f through its four integer powers, eigenvalue phases 0, -pi/2, pi, pi/2.
    k, v = np.indices((d, d))
    h = np.exp(-1j * TAU * v * k / d) / math.sqrt(d)
    angles = (0.0, -math.pi / 2, math.pi, math.pi / 2)
    return sum(0.25 * sum(np.exp(1j * t * (f - n)) for t in angles) * np.linalg.matrix_power(h, n)
               for n in range(4))


def pair_matrix(d, f=1.0, phase=1j):
    # |a,b> -> cos(f pi/2)|a,b> + phase sin(f pi/2)|b,a> for a != b: the i-swap; the swap is phase 1 at f = 1.
    u = np.zeros((d * d, d * d), dtype=complex)
    for a, b in np.ndindex(d, d):
        u[a * d + b, a * d + b] = 1 if a == b else math.cos(f * math.pi / 2)
        if a != b:
            u[b * d + a, a * d + b] = phase * math.sin(f * math.pi / 2)
    return u


MATRICES = {  # gate: matrix(d, fraction), in numpy.kron order; phase_rotate's "fraction" is its angle
    "shift": shift_matrix, "x": shift_matrix, "cycle": lambda d, f: shift_matrix(d, -f),
    "clock": clock_matrix, "z": clock_matrix,
    "y": lambda d, f: clock_matrix(2, 0.5) @ shift_matrix(2, f) @ clock_matrix(2, -0.5),
    "hadamard": hadamard_matrix, "inverse_hadamard": lambda d, f: hadamard_matrix(d, -f),
    "swap": lambda d, f: pair_matrix(d, 1.0, 1), "i_swap": pair_matrix,
    "phase_rotate": lambda d, angle: np.diag([np.exp(1j * angle) if v == 1 else 1 for v in range(d)]),
}
CASES = [("shift", None), ("shift", 0.5), ("x", None), ("x", -1.0), ("cycle", None), ("cycle", 0.3),
         ("clock", None), ("clock", 0.5), ("z", None), ("z", -0.25), ("y", None), ("y", 0.5), ("hadamard", None),
         ("hadamard", 0.5), ("inverse_hadamard", None), ("inverse_hadamard", 0.3), ("swap", None),
         ("i_swap", None), ("i_swap", 0.5), ("phase_rotate", 0.7)]
PARAMS = [pytest.param(name, f, d, via, id=f"{name}^{f}-d{d}-{via}")
          for name, f in CASES for d in (2, 3) for via in ("function", "method", "circuit")
          if not (name == "y" and d == 3) and not (name == "phase_rotate" and via == "method")]

# (dimension of the control qudit, condition on it, control values that hold)
CONTROLS = [None, (2, lambda q: q == 1, {1}), (3, lambda q: q != 0, {1, 2})]


@pytest.mark.parametrize("control", CONTROLS, ids=["bare", "qubit==1", "qutrit!=0"])
@pytest.mark.parametrize("name,f,d,via", PARAMS)
def test_gate_matches_its_matrix(name, f, d, via, control):
    count = 2 if "swap" in name else 1
    # The qudits, or a circuit's wires, listed as (control, references, targets); g applies or records.
    dims = ([] if control is None else [control[0]]) + [d] * (2 * count)
    g = vortan.Circuit(*dims) if via == "circuit" else vortan
    listed = list(g.wires) if via == "circuit" else [vortan.Qudit(n) for n in dims]
    refs, targets = listed[-2 * count:-count], listed[-count:]
    for r, t in zip(refs, targets):
        g.hadamard(r)
        for v in range(1, d):
            for _ in range(v):
                g.cycle(t, r == v)
    conditions = []
    if control is not None:
        g.hadamard(listed[0])
        conditions = [control[1](listed[0])]
    kwargs = {} if f is None else {"fraction": f}
    if name == "phase_rotate":
        g.phase_rotate(f, targets[0] == 1, *conditions)
    elif via == "method":
        getattr(targets[0], name)(*targets[1:], *conditions, **kwargs)
    else:
        getattr(g, name)(*targets, *conditions, **kwargs)
    if via == "circuit":
        listed = g.run()

    # U transposed where the control holds, the identity elsewhere.
    u = MATRICES[name](d, 1.0 if f is None else f)
    blocks = [u.T if control is None or v in control[2] else np.eye(d ** count)
              for v in range(1 if control is None else control[0])]
    psi = np.concatenate([b.reshape(-1) for b in blocks]) / math.sqrt(len(blocks) * d ** count)
    np.testing.assert_allclose(vortan.density_matrix(*listed), np.outer(psi, psi.conj()), atol=1e-5)
