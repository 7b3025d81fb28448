"""Circuits run through the batch call, and shots over them; test_gates runs each gate in a circuit."""
import math
import multiprocessing
import pickle
from concurrent.futures import ProcessPoolExecutor, ThreadPoolExecutor

import numpy as np
import pytest

import vortan


def test_a_circuit_runs_on_given_qudits_and_leaves_them_open():
    a, b = vortan.Qudit(2), vortan.Qudit(2)
    c = vortan.Circuit(2, 2)
    c.cycle(1, c[0] == 0)
    assert c.run([a, b]) == [a, b]
    assert not a.closed and vortan.measure(a, b) == (0, 1)
    with pytest.raises(ValueError, match="2 qudits for a circuit of 2|dimension"):
        c.run([a, vortan.Qudit(3)])
    with pytest.raises(ValueError):
        c.run([a])


@pytest.mark.parametrize("record,exc", [
    (lambda c: c.cycle(0, c[0] == 1), ValueError),
    (lambda c: c.y(2), ValueError),
    (lambda c: c.swap(0, 2), ValueError),
    (lambda c: c.i_swap(0, 2), ValueError),
    (lambda c: c.shift(1, fraction=math.nan), ValueError),
    (lambda c: c.phase_rotate(math.inf, c[0] == 1), ValueError),
    (lambda c: c.phase_rotate(1.0), ValueError),
    (lambda c: c.cycle(3), ValueError),
    (lambda c: c.cycle(vortan.Circuit(2)[0]), ValueError),
    (lambda c: c.cycle(0, vortan.Qudit(2) == 1), TypeError),
    (lambda c: c.cycle("0"), TypeError),
    (lambda c: c.cycle(0, 1), TypeError),
])
def test_recording_refuses_what_python_can_see(record, exc):
    c = vortan.Circuit(2, 2, 3)
    with pytest.raises(exc):
        record(c)
    assert c.gates == ()


def test_a_failing_run_tells_how_many_gates_completed():
    c = vortan.Circuit(*[3] * 11)
    for w in c.wires[:10]:
        c.hadamard(w)
    c.hadamard(10, *(w != 5 for w in c.wires[:10])).cycle(0)
    qudits = [vortan.Qudit(3) for _ in range(11)]
    with pytest.raises(vortan.InternalError, match="exceeding limit of 100000") as info:
        c.run(qudits)
    assert info.value.ops_executed == 10 and info.value.function == "vortan_execute_batch"
    # The gates before the failure stay applied.
    np.testing.assert_allclose(qudits[0].probabilities(), [1 / 3] * 3, atol=1e-6)


def bell():
    c = vortan.Circuit(2, 2)
    return c.hadamard(0).cycle(1, c[0] == 1)


def test_shots_here_on_threads_and_on_processes_that_load_the_library_themselves():
    # spawn: every worker starts a fresh interpreter, imports vortan and loads the library.
    spawn = multiprocessing.get_context("spawn")
    with ThreadPoolExecutor(2) as threads, ProcessPoolExecutor(2, mp_context=spawn) as processes:
        for counts in (vortan.shots(bell(), 200), vortan.shots(bell(), 200, executor=threads, chunks=7),
                       vortan.shots(bell(), 200, executor=processes)):
            # Both outcomes occur: the chance that one never does in 200 shots is 2^-199.
            assert sum(counts.values()) == 200 and set(counts) == {(0, 0), (1, 1)} and min(counts.values()) > 0
    c = vortan.Circuit(2, 3)
    c.cycle(1).cycle(1).x(0)
    assert vortan.shots(c, 5, measured=[1, c[0]]) == {(2, 1): 5}
    assert vortan.shots(c, 0) == {}


def test_shots_refuse_bad_arguments():
    with ThreadPoolExecutor(1) as pool:
        for kwargs in ({"measured": []}, {"executor": pool, "chunks": 0}):
            with pytest.raises(ValueError):
                vortan.shots(bell(), 3, **kwargs)
    with pytest.raises(ValueError):
        vortan.shots(bell(), -1)
    with pytest.raises(TypeError):
        vortan.shots(vortan.Qudit(2), 3)


def test_a_circuit_pickles():
    again = pickle.loads(pickle.dumps(bell()))
    assert again.gates == bell().gates and again.dimensions == (2, 2)
    assert again[0].circuit is again
