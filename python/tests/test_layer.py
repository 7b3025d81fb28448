"""The layer's own behaviour: lifetimes, conditions, exceptions, array orders."""
import copy
import gc
import math
import os
import pickle
import subprocess
import sys
import types
import weakref

import numpy as np
import pytest

import vortan


def count_destroys(q):
    """Records the qudit's destroy calls and passes them on to the library."""
    calls, lib = [], q._lib
    q._lib = types.SimpleNamespace(
        vortan_quantum_property_destroy=lambda h: calls.append(h) or lib.vortan_quantum_property_destroy(h))
    return calls


class TestLifetimes:
    def test_with_block_close_and_collection_free_the_handle_once(self):
        with vortan.Qudit(3) as q:
            calls = count_destroys(q)
            q.cycle()
        assert q.closed and len(calls) == 1
        q.close()
        assert len(calls) == 1
        q = vortan.Qudit(2)
        calls = count_destroys(q)
        del q
        gc.collect()
        assert len(calls) == 1

    def test_a_closed_qudit_refuses_every_use(self):
        q, other = vortan.Qudit(2), vortan.Qudit(2)
        q.close()
        for use in (lambda: q.dimension, q.hadamard, lambda: vortan.cycle(other, q == 1),
                    lambda: vortan.measure(q), q.remove):
            with pytest.raises(ValueError, match="closed"):
                use()

    def test_a_condition_keeps_its_qudit_alive(self):
        condition = vortan.Qudit(2).cycle() == 1
        ref = weakref.ref(condition.subject)
        gc.collect()
        assert ref() is not None and not ref().closed
        target = vortan.Qudit(2)
        vortan.cycle(target, condition)
        assert vortan.measure(target) == (1,)

    def test_a_qudit_cannot_be_copied_or_pickled(self):
        q = vortan.Qudit(2)
        for duplicate in (copy.copy, copy.deepcopy, pickle.dumps, lambda q: pickle.dumps(q == 1)):
            with pytest.raises(TypeError, match="cannot be copied"):
                duplicate(q)

    def test_close_keeps_the_qudit_in_its_group_and_remove_takes_it_out(self):
        a, b, c = vortan.Qudit(2), vortan.Qudit(2), vortan.Qudit(2)
        vortan.measure(a, b, c)
        b.close()
        assert a.group_size == 3
        c.remove()
        assert c.closed and a.group_size == 2


class TestConditions:
    def test_comparisons_make_conditions_that_have_no_truth_value(self):
        q = vortan.Qudit(3)
        for condition, equal in ((q == 2, True), (q.equal_to(2), True), (q != 2, False),
                                 (q.not_equal_to(2), False), (~(q == 2), False)):
            assert (condition.subject, condition.value, condition.equal) == (q, 2, equal)
        with pytest.raises(TypeError, match="no truth value"):
            bool(q == 1)

    def test_qudits_compare_and_hash_by_identity(self):
        a, b = vortan.Qudit(2), vortan.Qudit(2)
        assert a != b and not (a == b) and a == a
        assert b in [a, b] and len({a, b, a}) == 2
        assert (a == "1") is False


class TestErrors:
    @pytest.mark.parametrize("call,cls,function,text", [
        (lambda: vortan.Qudit(4), vortan.InvalidDimensionError, "vortan_quantum_property_create",
         "dimension must be positive and not exceed MAX_DIMENSION"),
        (lambda: vortan.Qudit(1), vortan.InvalidDimensionError, "vortan_quantum_property_create", "dim must be >= 2"),
        (lambda: vortan.forced_measure([vortan.Qudit(2)], [1]), vortan.InvalidArgumentError,
         "vortan_forced_measure_properties",
         "Forced measurement outcome is inconsistent with the current state amplitudes"),
        (lambda: vortan.y(vortan.Qudit(3)), vortan.InvalidArgumentError, "vortan_y_operation",
         "Y gate requires dimension 2 (qubit)"),
        (lambda: vortan.measure(*[vortan.Qudit(2) for _ in range(13)]), vortan.InvalidQuditNumberError,
         "vortan_measure_properties",
         "num_qudits 13 exceeds compile-time MAX_NUM_QUDITS (12) and dynamic fallback is disabled"),
        (lambda: (lambda q: q.shift(q == 1))(vortan.Qudit(2)), vortan.TargetControlOverlapError,
         "vortan_shift_operation", "Shift operation has overlapping targets and controls"),
        (lambda: vortan.swap(vortan.Qudit(2), vortan.Qudit(3)), vortan.IncompatibleDimensionsError,
         "vortan_swap_operation", "Targets of swap operation have different dimensions"),
    ])
    def test_each_status_raises_its_class_with_the_record(self, call, cls, function, text):
        with pytest.raises(cls) as info:
            call()
        e = info.value
        assert isinstance(e, vortan.VortanError) and e.code == cls.CODE
        assert (e.function, e.message) == (function, text)
        assert e.line > 0 and function in str(e)

    def test_a_state_too_large_is_refused_and_kept(self):
        qutrits = [vortan.Qudit(3).hadamard() for _ in range(10)]
        with pytest.raises(vortan.StateSizeExceededError, match="exceeding limit of 100000"):
            vortan.Qudit(3).hadamard(*(q != 5 for q in qutrits))
        assert qutrits[0].state_size == 3 ** 10

    def test_unknown_codes_and_pickling(self):
        e = vortan.errors.from_record(7, "odd", "vortan_x", 3)
        assert type(e) is vortan.VortanError and vortan.error_string(7) == "Unknown error"
        again = pickle.loads(pickle.dumps(vortan.errors.from_record(900, "m", "f", 9, 4)))
        assert type(again) is vortan.InternalError
        assert (again.code, again.message, again.function, again.line, again.ops_executed) == (900, "m", "f", 9, 4)

    @pytest.mark.parametrize("call,exc", [
        (lambda q: q.shift(fraction=math.nan), ValueError),
        (lambda q: vortan.i_swap(q, vortan.Qudit(2), fraction=math.inf), ValueError),
        (lambda q: vortan.phase_rotate(math.inf, q == 1), ValueError),
        (lambda q: vortan.phase_rotate(0.5), ValueError),
        (lambda q: q.shift(fraction="half"), TypeError),
        (lambda q: vortan.shift("q"), TypeError),
        (lambda q: vortan.shift(q, True), TypeError),
        (lambda q: vortan.Qudit(2.0), TypeError),
        (lambda q: q == 2**31, ValueError),
        (lambda q: vortan.measure(), ValueError),
        (lambda q: vortan.forced_measure([q], [0, 1]), ValueError),
        (lambda q: vortan.project(), ValueError),
    ])
    def test_python_refuses_before_calling(self, call, exc):
        q = vortan.Qudit(2)
        with pytest.raises(exc):
            call(q)
        assert q.group_size == 1 and q.state_size == 1


class TestReadouts:
    def test_probabilities_have_one_axis_per_qudit_in_the_order_given(self):
        a, b = vortan.Qudit(2).cycle(), vortan.Qudit(3).cycle(fraction=-2.0)  # two steps down: value 1
        p = vortan.probabilities(a, b)
        assert p.shape == (2, 3) and p.dtype == np.float64
        assert p[1, 1] == pytest.approx(1, abs=1e-6) and p.sum() == pytest.approx(1, abs=1e-5)
        q = vortan.probabilities(b, a)
        assert q.shape == (3, 2) and q[1, 1] == pytest.approx(1, abs=1e-6)
        np.testing.assert_allclose(a.probabilities(), [0, 1], atol=1e-6)

    def test_density_matrix_is_in_kron_order(self):
        a, b = vortan.Qudit(2).hadamard(), vortan.Qudit(3)
        b.cycle(a == 1).cycle(a == 1)  # (|0,0> + |1,2>) / sqrt 2
        rho = vortan.density_matrix(a, b)
        assert rho.shape == (6, 6) and rho.dtype == np.complex128
        psi = np.zeros(6)
        psi[0 * 3 + 0] = psi[1 * 3 + 2] = 1 / math.sqrt(2)
        np.testing.assert_allclose(rho, np.outer(psi, psi), atol=1e-6)
        np.testing.assert_allclose(np.diag(rho).real.reshape(2, 3), vortan.probabilities(a, b), atol=1e-6)
        np.testing.assert_allclose(b.density_matrix(), np.diag([0.5, 0, 0.5]), atol=1e-6)

    def test_measurements_are_tuples_of_ints_in_the_order_given_and_collapse(self):
        a, b = vortan.Qudit(3).hadamard(), vortan.Qudit(3)
        b.cycle(a == 2)
        assert vortan.forced_measure([a, b], [2, 1]) == (2, 1)
        outcome = vortan.measure(b, a)
        assert outcome == (1, 2) and all(type(v) is int for v in outcome)
        assert b.force(1) == 1 and a.measure() == 2
        with pytest.raises(vortan.InvalidArgumentError):
            b.force(0)

    def test_project_answers_and_projects(self):
        a = vortan.Qudit(3).hadamard()
        held = vortan.project(a != 0)
        assert isinstance(held, bool)
        np.testing.assert_allclose(a.probabilities(), [0, 0.5, 0.5] if held else [1, 0, 0], atol=1e-6)


def test_vortan_library_names_the_file_to_load(tmp_path):
    env = dict(os.environ, VORTAN_LIBRARY=str(tmp_path / "libmissing.so"))
    run = subprocess.run([sys.executable, "-c", "import vortan"], env=env, capture_output=True, text=True,
                         cwd=os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    assert run.returncode != 0
    assert "ImportError" in run.stderr and "libmissing.so" in run.stderr
