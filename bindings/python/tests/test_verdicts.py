"""What is told of a solution, and how it is told."""

import copy
import pickle

import numpy as np
import pytest
import scipy.sparse as sp

import lintrix


def hilbert(n):
    return 1.0 / (np.arange(n)[:, None] + np.arange(n) + 1.0)


def test_accurate():
    x, verdict = lintrix.solve(sp.eye(4, format="csr") * 2, np.ones(4))
    assert verdict and verdict.status == "accurate" and verdict.reason == ""
    assert verdict.condition == 1.0
    assert verdict.inertia.positive == 4
    assert verdict.explain().startswith("The solution is accurate.\n")
    assert repr(verdict).startswith("<Verdict: accurate\n  road ")
    assert len(repr(verdict).splitlines()) <= 8
    (column,) = verdict.columns
    assert column.status == "accurate" and column.backward_error < 1e-15
    assert verdict.error_bound == column.error_bound


def degraded():
    A = hilbert(10)
    return A, A @ np.ones(10)


def test_a_degraded_solution_warns():
    A, b = degraded()
    with pytest.warns(lintrix.AccuracyWarning, match="The solution is degraded: ill-conditioned.") as warned:
        x, verdict = lintrix.solve(A, b)
    assert verdict.status == "degraded" and not verdict
    assert warned[0].message.verdict is verdict
    assert warned[0].filename == __file__
    assert np.abs(x - 1).max() < 0.1
    with pytest.warns(lintrix.AccuracyWarning) as warned:
        lintrix.LinearSystem(A).solve(b)
    assert warned[0].filename == __file__


def test_a_failed_solution_raises():
    with pytest.raises(lintrix.SolveError, match="There is no good solution: ") as raised:
        lintrix.solve(np.ones((3, 3)), [1.0, 2.0, 3.0])
    assert raised.value.verdict.status == "failed"
    assert raised.value.x is None or raised.value.x.shape == (3,)
    assert isinstance(raised.value, lintrix.Error)


def test_checks():
    singular, b = sp.csr_matrix(([1.0], ([0], [0])), shape=(2, 2)), np.ones(2)
    with pytest.warns(lintrix.AccuracyWarning, match="There is no good solution"):
        x, verdict = lintrix.solve(singular, b, check="warn")
    assert x is None and verdict.status == "failed"
    assert lintrix.solve(singular, b, check="none")[1].status == "failed"
    assert lintrix.solve(*degraded(), check="none")[1].status == "degraded"
    with pytest.raises(ValueError, match="check is 'never', and has to be one of 'raise', 'warn', 'none'"):
        lintrix.solve(singular, b, check="never")


@pytest.mark.parametrize("value", [np.nan, np.inf, -np.inf])
@pytest.mark.parametrize("sparse", [True, False])
def test_numbers_that_are_not_finite(value, sparse):
    A = np.eye(3)
    A[1, 2] = value
    with pytest.raises(lintrix.SolveError):
        lintrix.solve(sp.csr_matrix(A) if sparse else A, np.ones(3))
    B = np.ones((3, 2))
    B[1, 1] = value
    A = np.diag([1.0, 2.0, 4.0])
    x, verdict = lintrix.solve(sp.csr_matrix(A) if sparse else A, B, check="none")
    assert verdict.status == "failed"
    assert [column.status for column in verdict.columns] == ["accurate", "failed"]
    np.testing.assert_allclose(x[:, 0], [1, 0.5, 0.25])


def test_one_of_many_solutions():
    A = sp.diags([[1.0] * 9, [-1.0] * 9], [0, 1], shape=(9, 10)).tocsr()
    L = (A.T @ A).tocsr()   # a chain that is not held
    with pytest.warns(lintrix.AccuracyWarning, match="singular: the shortest of many solutions"):
        x, verdict = lintrix.solve(L, L @ np.arange(10.0))
    assert verdict.solutions == "many"
    np.testing.assert_allclose(x, np.arange(10.0) - 4.5, atol=1e-9)
    with pytest.raises(lintrix.SolveError) as raised:
        lintrix.solve(L, np.ones(10))
    assert raised.value.verdict.solutions == "none"


def test_bounds_may_be_left():
    x, verdict = lintrix.solve(sp.eye(4, format="csr"), np.ones(4), error_bounds=0)
    assert verdict.condition is None and verdict.inertia is None and verdict.error_bound is None
    assert verdict


def test_verdicts_and_failures_travel_between_processes():
    A, b = degraded()
    _, verdict = lintrix.solve(A, b, check="none")
    assert pickle.loads(pickle.dumps(verdict)) == verdict == copy.deepcopy(verdict)
    with pytest.raises(lintrix.SolveError) as raised:
        lintrix.solve(np.ones((2, 2)), [1.0, 2.0])
    again = pickle.loads(pickle.dumps(raised.value))
    assert str(again) == str(raised.value) and again.verdict == raised.value.verdict


def test_explanations_count_from_0_or_1():
    _, verdict = lintrix.solve(np.eye(2), np.ones(2))
    with pytest.raises(ValueError):
        verdict.explain(2)
