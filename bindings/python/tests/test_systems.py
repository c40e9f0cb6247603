"""Systems that keep their factor."""

import gc
import os
import subprocess
import sys
import weakref

import numpy as np
import pytest
import scipy.sparse as sp
import scipy.sparse.linalg

import lintrix


def laplacian(n, dtype=float):
    line = sp.diags([-1.0, 2.0, -1.0], [-1, 0, 1], shape=(n, n))
    A = (sp.kron(line, sp.eye(n)) + sp.kron(sp.eye(n), line)).tocsr().astype(dtype)
    return A + 0.5j * sp.eye(n * n) if dtype is complex else A


def test_phases():
    A = laplacian(12)
    system = lintrix.LinearSystem(A)
    assert system.shape == (144, 144) and system.dtype == np.float64
    forecast = system.analyse()
    assert forecast.factor_entries >= 144 and forecast.operations > 0 and forecast.bytes_in_memory > 0
    assert (system.analyses, system.factorizations) == (1, 0)
    assert system.factorize() == "accurate"
    assert system.factorizations == 1
    for b in np.arange(144.0), np.arange(288.0).reshape(144, 2):
        x, verdict = system.solve(b)
        np.testing.assert_allclose(A @ x, b, atol=1e-10)
        assert verdict and x.shape == b.shape
    assert system.factorizations == 1


@pytest.mark.parametrize("dtype", [float, complex])
@pytest.mark.parametrize("form", ["sparse", "dense", "tall", "wide"])
def test_transposed_and_adjoint(dtype, form):
    rng = np.random.default_rng(5)
    shape = {"tall": (9, 4), "wide": (4, 9)}.get(form, (6, 6))
    A = rng.standard_normal(shape) + 3 * np.eye(*shape)
    if dtype is complex:
        A = A + 1j * rng.standard_normal(shape)
    system = lintrix.LinearSystem(A if form == "dense" else sp.csr_matrix(A))
    for op, of in ("none", A), ("transpose", A.T), ("adjoint", A.conj().T):
        b = rng.standard_normal(of.shape[0])
        x, verdict = system.solve(b, op=op)
        assert verdict
        np.testing.assert_allclose(x, np.linalg.lstsq(of, b, rcond=None)[0], atol=1e-12)


def test_updates():
    A = laplacian(8)
    system = lintrix.LinearSystem(A)
    b = np.ones(64)
    system.solve(b)
    assert system.update(A.copy()) == "none"
    assert system.update(3 * A) == "values"
    np.testing.assert_allclose(system.solve(b)[0], scipy.sparse.linalg.spsolve(3 * A.tocsc(), b), rtol=1e-10)
    assert system.analyses == 1
    assert system.update(laplacian(9)) == "pattern"
    assert system.shape == (81, 81)
    np.testing.assert_allclose(laplacian(9) @ system.solve(np.ones(81))[0], np.ones(81), atol=1e-12)


def test_failing_updates_leave_the_system():
    system = lintrix.LinearSystem(sp.eye(3, format="csr"))
    with pytest.raises(lintrix.ArgumentError, match="Matrix is not square."):
        system.update(sp.csr_matrix(np.ones((3, 2))))
    with pytest.raises(TypeError):
        system.update(1j * sp.eye(3))
    with pytest.raises(TypeError):
        system.update(np.eye(3))
    np.testing.assert_allclose(system.solve([1, 2, 3])[0], [1, 2, 3])
    for other in np.eye(3), sp.csr_matrix(np.ones((3, 2))):
        with pytest.raises(lintrix.OperationError, match="Only square sparse systems can be updated."):
            lintrix.LinearSystem(other).update(sp.eye(3))


def test_condition_and_inertia_belong_to_the_matrix_at_hand():
    system = lintrix.LinearSystem(sp.diags([1.0, 4.0], format="csr"))
    assert system.condition == 4.0 and system.inertia.positive == 2
    system.update(sp.diags([1.0, -8.0], format="csr"))
    assert system.condition == 8.0
    assert (system.inertia.positive, system.inertia.negative) == (1, 1)


@pytest.mark.parametrize("dtype", [float, complex])
def test_saved_and_loaded(tmp_path, dtype):
    A = laplacian(10, dtype)
    system = lintrix.LinearSystem(A)
    b = np.arange(100.0)
    x, _ = system.solve(b)
    system.save(tmp_path / "system")
    loaded = lintrix.LinearSystem.load(tmp_path / "system")
    assert loaded.dtype == A.dtype and loaded.shape == A.shape
    with lintrix.num_threads(lintrix.get_num_threads()):
        again, verdict = loaded.solve(b)
    assert (again == x).all() and verdict
    assert loaded.factorizations == 0


def test_files_that_cannot_be_loaded(tmp_path):
    with pytest.raises(FileNotFoundError):
        lintrix.LinearSystem.load(tmp_path / "none")
    (tmp_path / "other").write_bytes(b"no system")
    with pytest.raises(lintrix.SavedSystemError):
        lintrix.LinearSystem.load(tmp_path / "other")
    system = lintrix.LinearSystem(laplacian(4))
    system.factorize()
    system.save(tmp_path / "whole")
    whole = (tmp_path / "whole").read_bytes()
    (tmp_path / "cut").write_bytes(whole[:-8])
    with pytest.raises(lintrix.SavedSystemError, match="Saved system"):
        lintrix.LinearSystem.load(tmp_path / "cut")
    with pytest.raises(lintrix.OperationError, match="could not be saved"):
        system.save(tmp_path / "no folder" / "system")
    with pytest.raises(lintrix.OperationError, match="Only square sparse systems can be saved."):
        lintrix.LinearSystem(np.eye(3)).save(tmp_path / "dense")


@pytest.mark.parametrize("dtype", [float, complex])
def test_the_inverse_as_an_operator(dtype):
    A = laplacian(7, dtype)
    inverse = lintrix.LinearSystem(A).as_linear_operator()
    assert inverse.shape == A.shape and inverse.dtype == A.dtype
    exact = np.linalg.inv(A.toarray())
    rng = np.random.default_rng(0)
    for x in rng.standard_normal(49), rng.standard_normal((49, 3)), 1j * rng.standard_normal(49):
        np.testing.assert_allclose(inverse @ x, exact @ x, atol=1e-11)
        np.testing.assert_allclose(inverse.H @ x, exact.conj().T @ x, atol=1e-11)
        np.testing.assert_allclose(inverse.T @ x, exact.T @ x, atol=1e-11)
    np.testing.assert_allclose(inverse.matvec(np.ones((49, 1))), exact @ np.ones((49, 1)), atol=1e-11)


def test_the_operator_serves_scipy():
    A = laplacian(10)
    inverse = lintrix.LinearSystem(A).as_linear_operator()
    x, failed = scipy.sparse.linalg.gmres(A + 0.01 * sp.eye(100), np.ones(100), M=inverse, atol=1e-12)
    assert failed == 0
    values = scipy.sparse.linalg.eigsh(A, 3, sigma=0.0, OPinv=inverse, return_eigenvectors=False)
    np.testing.assert_allclose(np.sort(values), np.linalg.eigvalsh(A.toarray())[:3], rtol=1e-9)


def test_the_pseudo_inverse_as_an_operator():
    A = np.random.default_rng(2).standard_normal((8, 3))
    inverse = lintrix.LinearSystem(A).as_linear_operator()
    assert inverse.shape == (3, 8)
    np.testing.assert_allclose(inverse @ np.eye(8), np.linalg.pinv(A), atol=1e-13)
    np.testing.assert_allclose(inverse.H @ np.eye(3), np.linalg.pinv(A).T, atol=1e-13)


def test_an_operator_always_has_a_result():
    inverse = lintrix.LinearSystem(sp.csr_matrix((2, 2))).as_linear_operator(check="none")
    with pytest.raises(lintrix.SolveError):
        inverse @ np.ones(2)


def test_options():
    A = laplacian(6)
    b = A @ np.ones(36)
    for options in (
        {"type": "positive definite"},
        {"type": "unsymmetric", "ordering": "nested dissection"},
        {"type": "indefinite", "ordering": "minimum degree", "refine": -2},
        {"type": "structurally symmetric", "ordering": "parallel nested dissection"},
        {"certain_inertia": True, "error_bounds": 1},
        {"memory_budget": 1e9},
    ):
        x, verdict = lintrix.solve(A, b, **options)
        np.testing.assert_allclose(x, np.ones(36), rtol=1e-12)
    system = lintrix.LinearSystem(A, type="positive definite", reuse_factor=True)
    system.solve(b)
    system.update(1.01 * A)
    assert system.solve(b)[1]
    with pytest.raises(ValueError, match="type is 'cyclic'"):
        lintrix.solve(A, b, type="cyclic")
    with pytest.raises(ValueError, match="ordering is 'best'"):
        lintrix.LinearSystem(A, ordering="best")
    with pytest.raises(lintrix.ArgumentError, match="The values of the matrix contradict its type."):
        lintrix.solve(sp.csr_matrix([[1.0, 2.0], [3.0, 4.0]]), [1, 1], type="positive definite")
    with pytest.raises(lintrix.OperationError):
        lintrix.solve(A, b, memory_budget=100.0)


FACTOR_IN_FILES = """if True:
    import glob, os, sys
    import numpy as np
    import scipy.sparse as sp
    import lintrix

    before = set(os.environ)  # which child processes inherit
    line = sp.diags([-1.0, 2.0, -1.0], [-1, 0, 1], shape=(30, 30))
    A = (sp.kron(line, sp.eye(30)) + sp.kron(sp.eye(30), line)).tocsr()
    for system in lintrix.LinearSystem(A, out_of_core=True), lintrix.LinearSystem(2 * A, out_of_core=True):
        for scale in 1.0, 2.0:
            x, verdict = system.solve(scale * (A @ np.ones(900)))
        assert verdict.in_files and verdict
        assert abs(x / x[0] - 1).max() < 1e-9
        assert glob.glob(sys.argv[1])
    assert set(os.environ) == before
    del system
"""


@pytest.mark.parametrize("told", [True, False])
def test_factors_in_files(tmp_path, told):
    """In a folder that goes with its system, or where the environment says, and nowhere else."""
    where = tmp_path / "temporary"
    where.mkdir()
    environment = {**os.environ, "TMPDIR": str(where)}
    pattern = str(where / "lintrix*" / "factor*")
    if told:
        environment["MKL_PARDISO_OOC_PATH"] = str(where / "told")
        pattern = str(where / "told*")
    command = [sys.executable, "-c", FACTOR_IN_FILES, pattern]
    run = subprocess.run(command, cwd=tmp_path, env=environment, capture_output=True, text=True, timeout=60)
    assert (run.returncode, run.stderr) == (0, "")
    assert os.listdir(tmp_path) == ["temporary"] and os.listdir(where) == []


def test_a_real_system_takes_no_complex_right_hand_side():
    with pytest.raises(TypeError, match="dtype=complex"):
        lintrix.LinearSystem(np.eye(2)).solve([1j, 1])
    x, _ = lintrix.LinearSystem(np.eye(2), dtype=complex).solve([1j, 1])
    assert (x == [1j, 1]).all()


@pytest.mark.parametrize("n", [1, 2])
def test_the_smallest_systems(n):
    for A in np.eye(n) * 2, sp.eye(n, format="csr") * 2, sp.eye(n, format="csc") * 2j:
        x, verdict = lintrix.solve(A, np.ones(n))
        assert verdict and (A @ x == 1).all()


def test_a_listener_may_hold_its_system():
    class Watched:
        def __init__(self):
            self.calls = 0
            self.system = lintrix.LinearSystem(laplacian(5), progress=self.hear)

        def hear(self, done, all):
            self.calls += 1

    watched = Watched()
    watched.system.solve(np.ones(25))
    assert watched.calls > 0
    gone = weakref.ref(watched.system)
    del watched
    gc.collect()
    assert gone() is None


def test_solutions_with_more_cells_than_a_matrix_can_hold_are_refused():
    """x would have 70000 x 70000 cells, though A and b are small."""
    A = sp.csr_matrix(([1.0, 1.0], ([0, 1], [0, 69999])), shape=(2, 70000))
    b = np.broadcast_to(1.0, (2, 70000))
    with pytest.raises(lintrix.ArgumentError, match="Invalid number of rows or columns."):
        lintrix.solve(A, b)
