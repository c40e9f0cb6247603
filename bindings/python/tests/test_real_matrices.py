"""Matrices from practice, read by SciPy, beside SciPy's own solver."""

import warnings

import numpy as np
import pytest
import scipy.io
import scipy.sparse as sp
import scipy.sparse.linalg

import lintrix

WELL_POSED = ["sherman4", "jpwh_991", "pde225", "662_bus", "bcsstk04", "Trefethen_500", "ybus_118", "young1c", "qc324"]
OTHERS = ["fs_183_1", "west0156", "west0479", "mcca", "lnsp_131", "bfw782a", "adder_dcop_32"]
RECTANGULAR = ["illc1033", "ash219", "abb313", "lp_afiro", "lp_share2b", "relat4", "Maragal_1", "plskz362"]


def load(data, name):
    (path,) = data.glob(f"{name}.mtx*")
    return sp.csc_matrix(scipy.io.mmread(path))


@pytest.mark.parametrize("op", ["none", "transpose", "adjoint"])
@pytest.mark.parametrize("name", WELL_POSED)
def test_well_posed_systems(data, name, op):
    A = load(data, name)
    of = {"none": A, "transpose": A.T, "adjoint": A.conj().T}[op].tocsc()
    b = of @ np.arange(1.0, A.shape[0] + 1)
    x, verdict = lintrix.solve(A, b, op=op)
    assert verdict
    expected = scipy.sparse.linalg.spsolve(of, b)
    condition = verdict.condition
    assert np.abs(x - expected).max() <= 1e-14 * condition * np.abs(expected).max()
    # estimated from below, seldom by less than a third
    ones = lambda M: np.abs(M).sum(0).max()
    exact = ones(A.toarray()) * ones(np.linalg.inv(A.toarray()))
    assert exact / 10 < condition < 1.01 * exact


@pytest.mark.parametrize("name", WELL_POSED + OTHERS)
def test_what_is_told_of_the_residual_is_true(data, name):
    A = load(data, name)
    b = A @ np.ones(A.shape[0])
    x, verdict = lintrix.solve(A, b, check="none")
    assert verdict.status in ("accurate", "degraded")
    norm = np.abs(A).sum(1).max()
    residual = np.abs(b - A @ x).max() / (norm * np.abs(x).max() + np.abs(b).max())
    assert abs(residual - verdict.residual) < 1e-15
    if verdict:
        # of the stored system; b itself is rounded
        rounding = 1e-15 * (verdict.condition or 0.0)
        assert np.abs(x - 1).max() <= max(1e-6, rounding)


@pytest.mark.parametrize("name", RECTANGULAR)
def test_shapes_that_are_not_square(data, name):
    A = load(data, name).tocsr()
    b = A @ np.linspace(1, 2, A.shape[1])
    with warnings.catch_warnings():
        warnings.simplefilter("ignore", lintrix.AccuracyWarning)
        x, verdict = lintrix.solve(A, b)
    expected = np.linalg.lstsq(A.toarray(), b, rcond=None)[0]
    assert np.abs(x - expected).max() < 1e-6 * np.abs(expected).max()
    assert bool(verdict) == (np.linalg.matrix_rank(A.toarray()) == min(A.shape))


def test_inertia(data):
    system = lintrix.LinearSystem(load(data, "662_bus"))
    assert system.inertia == lintrix.Inertia(662, 0, 0, system.inertia.bound)
    K = load(data, "kkt_MOSARQP1").tocsc()
    inertia = lintrix.LinearSystem(K, certain_inertia=True).inertia
    values = np.linalg.eigvalsh(K[:500][:, :500].toarray())
    leading = lintrix.LinearSystem(K[:500][:, :500] + 1e-3 * sp.eye(500)).inertia
    assert leading.positive == (values + 1e-3 > 0).sum()
    assert inertia.positive + inertia.negative + inertia.uncertain == K.shape[0]


def test_a_structurally_singular_matrix(data):
    A = load(data, "bcsstm01")
    with pytest.raises(lintrix.SolveError, match="structurally singular: 24 of 48 rows matched") as raised:
        lintrix.solve(A, np.ones(48))
    assert raised.value.verdict.status == "failed"
    assert "counted from 0" in raised.value.verdict.explain()
    assert "counted from 1" in raised.value.verdict.explain(1)
