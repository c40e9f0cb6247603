"""The largest singular values, beside LAPACK's by NumPy."""

import numpy as np
import pytest
import scipy.io
import scipy.sparse as sp

import lintrix


def check(A, k, **options):
    dense = A.toarray() if sp.issparse(A) else A
    result = u, s, vh = lintrix.svds(A, k, **options)
    expected = np.linalg.svd(dense, compute_uv=False)[:k][::-1]
    scale = max(expected[-1], 1e-300)
    np.testing.assert_allclose(s, expected, rtol=0, atol=1e-12 * scale)
    assert u.shape == (A.shape[0], k) and vh.shape == (k, A.shape[1]) and s.shape == (k,)
    np.testing.assert_allclose(u.conj().T @ u, np.eye(k), atol=1e-10)
    np.testing.assert_allclose(vh @ vh.conj().T, np.eye(k), atol=1e-10)
    assert np.abs(dense @ vh.conj().T - u * s).max() <= 1e-9 * scale
    assert len(result.residuals) == k and result.restarts >= 0 and result.products >= 0
    return result


@pytest.mark.parametrize("name", ["ash219", "illc1033", "west0479", "GD99_c", "n3c4-b4", "mcca", "qc324"])
def test_real_matrices(data, name):
    (path,) = data.glob(f"{name}.mtx*")
    A = sp.csr_matrix(scipy.io.mmread(path))
    check(A, 4, certify=False)


@pytest.mark.parametrize("seed", range(40))
def test_random_matrices(seed):
    rng = np.random.default_rng(seed)
    rows, cols = rng.integers(1, 30, 2)
    A = rng.standard_normal((rows, cols)) * (rng.random((rows, cols)) < 0.4)
    if seed % 2:
        A = A + 1j * rng.standard_normal((rows, cols)) * (A != 0)
    k = int(rng.integers(1, min(rows, cols) + 1))
    check(A if seed % 3 == 0 else sp.coo_matrix(A).asformat(["csr", "csc"][seed % 2]), k)


def test_certificates():
    A = sp.diags([5.0, 4.0, 3.0, 3.0, 3.0, 1.0], format="csr")
    result = check(A, 5, certify=True)
    assert result.certificate.certainty == "certain" and result.certificate.above == 5
    assert check(A, 2).certificate.certainty == "not asked"
    with pytest.warns(lintrix.AccuracyWarning, match="undecided: "):
        lintrix.svds(sp.diags([1.0, 1.0, 0.0, 0.0, 0.0], format="csr"), 4, certify=True)
    assert (lintrix.svds(sp.csr_matrix((5, 4)), 2, certify=True)[1] == 0).all()


def test_which_parts_are_returned():
    A = sp.random(20, 10, 0.5, random_state=0, format="csr")
    s = lintrix.svds(A, 3, return_singular_vectors=False)
    assert isinstance(s, np.ndarray) and s.shape == (3,) and (np.diff(s) >= 0).all()
    u, s, vh = lintrix.svds(A, 3, return_singular_vectors="u")
    assert u.shape == (20, 3) and vh is None
    u, s, vh = lintrix.svds(A, 3, return_singular_vectors="vh")
    assert u is None and vh.shape == (3, 10)


def test_vectors_are_not_copied():
    u, s, vh = lintrix.svds(sp.random(20, 10, 0.5, random_state=0, format="csr"), 3)
    assert not u.flags.owndata and not vh.flags.owndata
    assert u.strides == (8, -160) and vh.strides == (-80, 8)


def test_a_start_vector():
    A = sp.random(30, 12, 0.4, random_state=1, format="csr")
    exact = np.linalg.svd(A.toarray())[2][0]
    np.testing.assert_allclose(lintrix.svds(A, 1, v0=exact)[1], lintrix.svds(A, 1)[1], rtol=1e-12)
    assert lintrix.svds(A, 1, v0=1j * exact)[0].dtype == np.complex128
    with pytest.raises(lintrix.ArgumentError, match="Matrix sizes do not match."):
        lintrix.svds(A, 1, v0=np.ones(30))
    for odd in np.nan, np.inf:
        with pytest.raises(lintrix.ArgumentError, match="The start vector is not finite."):
            lintrix.svds(A, 1, v0=np.full(12, odd))


def test_what_does_not_converge():
    A = sp.random(200, 200, 0.05, random_state=2, format="csr")
    with pytest.raises(lintrix.ConvergenceError, match="of 5 triplets are within the tolerance") as raised:
        lintrix.svds(A, 5, tol=1e-13, basis=8, maxiter=1)
    assert raised.value.result[1].shape == (5,)
    with pytest.warns(lintrix.AccuracyWarning):
        lintrix.svds(A, 5, tol=1e-13, basis=8, maxiter=1, check="warn")
    assert lintrix.svds(A, 5, tol=1e-13, basis=8, maxiter=1, check="none").residuals.max() > 1e-13


@pytest.mark.parametrize(
    "k, options, failure",
    [
        (0, {}, lintrix.ArgumentError),
        (5, {}, lintrix.ArgumentError),
        (1, {"which": "SM"}, ValueError),
        (1, {"tol": -1.0}, lintrix.ArgumentError),
        (1, {"tol": np.nan}, lintrix.ArgumentError),
        (1, {"block": 0}, lintrix.ArgumentError),
        (1, {"return_singular_vectors": "left"}, ValueError),
        (1, {"check": "perhaps"}, ValueError),
        (1, {"deadline": 0.0}, lintrix.DeadlineError),
        (1, {"memory_budget": 1.0}, lintrix.OperationError),
        (1.5, {}, TypeError),
        (2**40, {}, lintrix.ArgumentError),
    ],
)
def test_what_cannot_be_asked_for(k, options, failure):
    with pytest.raises(failure):
        lintrix.svds(np.ones((6, 4)), k, **options)


@pytest.mark.parametrize(
    "options, failure, message",
    [
        ({"k": 2.5}, TypeError, "k has to be a whole number, not 2.5"),
        ({"k": 0}, lintrix.ArgumentError, "k is 0, and has to be from 1 to 7"),
        ({"k": 8}, lintrix.ArgumentError, "k is 8, and has to be from 1 to 7"),
        ({"seed": -1}, lintrix.ArgumentError, "seed is -1, and has to be from 0 to 18446744073709551615"),
        ({"seed": "x"}, TypeError, "seed has to be a whole number, not 'x'"),
        ({"block": 0}, lintrix.ArgumentError, "block is 0, and has to be from 1 to 2147483647"),
        ({"basis": 2**31}, lintrix.ArgumentError, "basis is 2147483648, and has to be from 0 to 2147483647"),
        ({"maxiter": 1e3}, TypeError, "maxiter has to be a whole number, not 1000.0"),
    ],
)
def test_counts_that_are_none_are_named(options, failure, message):
    with pytest.raises(failure) as raised:
        lintrix.svds(np.ones((9, 7)), **options)
    assert str(raised.value) == message


def test_masked_arrays_are_refused():
    masked = np.ma.masked_array(np.eye(3), mask=np.eye(3) > 0)
    for A, options in (masked, {}), (np.eye(3), {"v0": masked[0]}):
        with pytest.raises(ValueError, match="Masked arrays are not supported"):
            lintrix.svds(A, 1, **options)


def test_numbers_that_are_not_finite():
    with pytest.raises(lintrix.ArgumentError, match="NaN or an infinity"):
        lintrix.svds(np.array([[1.0, np.nan], [0.0, 1.0]]), 1)


def test_counts_of_numpy_are_counts():
    assert lintrix.svds(np.eye(4), np.int64(2))[1].shape == (2,)
