"""Every gate against its textbook matrix, on qubits and qutrits, whole and
fractional, uncontrolled and under controls.

A gate's full matrix (up to a global phase) shows in its Choi state: each
target starts maximally entangled with a reference qudit, the gate acts, and
the density matrix of references and targets is compared with numpy's."""
import math

import numpy as np
import pytest

import vortan

TAU = 2 * math.pi


def shift_matrix(d, f=1.0):
    # |v> -> sum_m (1/d) sum_k w^(k(f+m-v)) |m>; at f = 1, |v-1 mod d>.
    m, v = np.indices((d, d))
    return sum(np.exp(1j * TAU * k * (f + m - v) / d) for k in range(d)) / d


def cycle_matrix(d, f=1.0):
    m, v = np.indices((d, d))
    return sum(np.exp(1j * TAU * k * (m - v - f) / d) for k in range(d)) / d


def clock_matrix(d, f=1.0):
    return np.diag(np.exp(1j * TAU * np.arange(d) * f / d))


def y_matrix(f=1.0):
    return clock_matrix(2, 0.5) @ shift_matrix(2, f) @ clock_matrix(2, -0.5)


def hadamard_matrix(d):
    k, v = np.indices((d, d))
    return np.exp(-1j * TAU * v * k / d) / math.sqrt(d)


def fractional_hadamard_matrix(d, f):
    # H^f through its four integer powers, eigenvalue phases 0, -pi/2, pi, pi/2.
    powers = [np.linalg.matrix_power(hadamard_matrix(d), n) for n in range(4)]
    angles = (0.0, -math.pi / 2, math.pi, math.pi / 2)
    return sum(0.25 * sum(np.exp(1j * t * (f - n)) for t in angles) * powers[n] for n in range(4))


def swap_matrix(d):
    u = np.zeros((d * d, d * d))
    for a in range(d):
        for b in range(d):
            u[b * d + a, a * d + b] = 1
    return u


def i_swap_matrix(d, f=1.0):
    c, s = math.cos(f * math.pi / 2), math.sin(f * math.pi / 2)
    u = np.zeros((d * d, d * d), dtype=complex)
    for a in range(d):
        for b in range(d):
            if a == b:
                u[a * d + b, a * d + b] = 1
            else:
                u[a * d + b, a * d + b] = c
                u[b * d + a, a * d + b] = 1j * s
    return u


def phase_matrix(d, angle, value):
    return np.diag([np.exp(1j * angle) if v == value else 1 for v in range(d)])


# (name, number of targets, qubits only, apply(targets, controls), matrix(d))
CASES = [
    ("shift", 1, False, lambda t, c: vortan.shift(t[0], *c), shift_matrix),
    ("x", 1, False, lambda t, c: vortan.x(t[0], *c), shift_matrix),
    ("shift^0.5", 1, False, lambda t, c: vortan.shift(t[0], *c, fraction=0.5), lambda d: shift_matrix(d, 0.5)),
    ("x^-1 is cycle", 1, False, lambda t, c: t[0].x(*c, fraction=-1.0), cycle_matrix),
    ("cycle", 1, False, lambda t, c: vortan.cycle(t[0], *c), cycle_matrix),
    ("cycle^0.3", 1, False, lambda t, c: t[0].cycle(*c, fraction=0.3), lambda d: cycle_matrix(d, 0.3)),
    ("clock", 1, False, lambda t, c: vortan.clock(t[0], *c), clock_matrix),
    ("z^-0.25", 1, False, lambda t, c: vortan.z(t[0], *c, fraction=-0.25), lambda d: clock_matrix(d, -0.25)),
    ("y", 1, True, lambda t, c: vortan.y(t[0], *c), lambda d: y_matrix()),
    ("y^0.5", 1, True, lambda t, c: t[0].y(*c, fraction=0.5), lambda d: y_matrix(0.5)),
    ("hadamard", 1, False, lambda t, c: vortan.hadamard(t[0], *c), hadamard_matrix),
    ("inverse_hadamard", 1, False, lambda t, c: t[0].inverse_hadamard(*c), lambda d: hadamard_matrix(d).conj().T),
    ("hadamard^1", 1, False, lambda t, c: vortan.hadamard(t[0], *c, fraction=1.0), hadamard_matrix),
    ("hadamard^0.5", 1, False, lambda t, c: t[0].hadamard(*c, fraction=0.5),
     lambda d: fractional_hadamard_matrix(d, 0.5)),
    ("inverse_hadamard^0.3", 1, False, lambda t, c: vortan.inverse_hadamard(t[0], *c, fraction=0.3),
     lambda d: fractional_hadamard_matrix(d, -0.3)),
    ("swap", 2, False, lambda t, c: vortan.swap(t[0], t[1], *c), swap_matrix),
    ("i_swap", 2, False, lambda t, c: t[0].i_swap(t[1], *c), i_swap_matrix),
    ("i_swap^0.5", 2, False, lambda t, c: vortan.i_swap(t[0], t[1], *c, fraction=0.5),
     lambda d: i_swap_matrix(d, 0.5)),
    ("phase_rotate", 1, False, lambda t, c: vortan.phase_rotate(0.7, t[0] == 1, *c),
     lambda d: phase_matrix(d, 0.7, 1)),
]

# (dimension of the control qudit, condition on it, control values that hold)
CONTROLS = [None, (2, lambda q: q == 1, {1}), (3, lambda q: q != 0, {1, 2})]


def test_matrices_of_this_file_follow_the_conventions():
    for d in (2, 3):
        for v in range(d):
            basis = np.eye(d)[:, v]
            assert np.allclose(shift_matrix(d) @ basis, np.eye(d)[:, (v - 1) % d])
            assert np.allclose(cycle_matrix(d) @ basis, np.eye(d)[:, (v + 1) % d])
        half = fractional_hadamard_matrix(d, 0.5)
        assert np.allclose(half @ half, hadamard_matrix(d))
        assert np.allclose(fractional_hadamard_matrix(d, 1.0), hadamard_matrix(d))
        assert np.allclose(shift_matrix(d, 0.5) @ shift_matrix(d, 0.5), shift_matrix(d))
    assert np.allclose(y_matrix(), [[0, -1j], [1j, 0]])
    assert np.allclose(hadamard_matrix(2), np.array([[1, 1], [1, -1]]) / math.sqrt(2))


def choi_state(d, targets, control):
    """Expected state vector over (control, references..., targets...)."""
    n = targets
    dc = 1 if control is None else control[0]
    refs = np.zeros((d,) * n + (d,) * n)
    for values in np.ndindex(*(d,) * n):
        refs[values + values] = 1
    psi = np.broadcast_to(refs.reshape(1, d ** n, d ** n), (dc, d ** n, d ** n)).astype(complex)
    return psi / math.sqrt(dc * d ** n)


@pytest.mark.parametrize("control", CONTROLS, ids=["bare", "qubit==1", "qutrit!=0"])
@pytest.mark.parametrize("d", [2, 3])
@pytest.mark.parametrize("name,count,qubits_only,apply,matrix", CASES, ids=[c[0] for c in CASES])
def test_gate_matches_its_matrix(name, count, qubits_only, apply, matrix, d, control):
    if qubits_only and d != 2:
        pytest.skip("qubits only")
    refs = [vortan.Qudit(d) for _ in range(count)]
    targets = [vortan.Qudit(d) for _ in range(count)]
    for r, t in zip(refs, targets):
        r.hadamard()
        for v in range(1, d):
            for _ in range(v):
                t.cycle(r == v)
    listed = refs + targets
    conditions = []
    if control is not None:
        c = vortan.Qudit(control[0])
        c.hadamard()
        conditions = [control[1](c)]
        listed = [c] + listed

    apply(targets, conditions)

    psi = choi_state(d, count, control)
    u = matrix(d)
    for value in range(psi.shape[0]):
        if control is None or value in control[2]:
            psi[value] = psi[value] @ u.T
    psi = psi.reshape(-1)
    np.testing.assert_allclose(vortan.density_matrix(*listed), np.outer(psi, psi.conj()), atol=1e-5)


def test_y_on_a_qutrit_is_refused_and_leaves_the_state():
    q = vortan.Qudit(3).cycle()
    with pytest.raises(vortan.InvalidArgumentError, match=r"Y gate requires dimension 2"):
        vortan.y(q)
    assert vortan.measure(q) == (1,)
