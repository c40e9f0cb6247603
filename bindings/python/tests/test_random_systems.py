"""A thousand random systems of all kinds beside NumPy."""

import numpy as np
import pytest
import scipy.sparse as sp

import lintrix

FORMATS = ["csr", "csc", "coo", "bsr", "lil", "dok", "dia"]
OPS = {"none": lambda A: A, "transpose": lambda A: A.T, "adjoint": lambda A: A.conj().T}


def numbers(rng, shape, is_complex):
    values = rng.standard_normal(shape)
    return values + 1j * rng.standard_normal(shape) if is_complex else values


def matrix(rng, rows, cols, is_complex):
    """Far from singular: a diagonal of at least 2 with entries that add up to little beside it."""
    A = numbers(rng, (rows, cols), is_complex) * (rng.random((rows, cols)) < 0.3)
    A *= 0.5 / max(1.0, np.abs(A).sum(0).max(), np.abs(A).sum(1).max())
    for i in range(min(rows, cols)):
        A[i, i] += rng.choice([-1, 1]) * (2 + rng.random())
    return A * 10.0 ** rng.integers(-100, 100)


@pytest.mark.parametrize("seed", range(100))
def test_ten_random_systems(seed):
    rng = np.random.default_rng(seed)
    for _ in range(10):
        rows = int(rng.integers(1, 40))
        cols = rows if rng.random() < 0.5 else int(rng.integers(1, 40))
        is_complex, op = bool(rng.integers(2)), rng.choice(list(OPS))
        dense = matrix(rng, rows, cols, is_complex)
        if rows == cols and rng.random() < 0.4:
            dense = dense + dense.conj().T
        of = OPS[op](dense)
        b = numbers(rng, (of.shape[0], int(rng.integers(1, 5)))[: rng.integers(1, 3)], bool(rng.integers(2)))
        form = rng.choice(FORMATS + ["dense"])
        A = dense if form == "dense" else sp.coo_matrix(dense).asformat(form)
        x, verdict = lintrix.solve(A, b, op=op)
        expected = np.linalg.lstsq(of, b, rcond=None)[0]
        assert verdict.status == "accurate"
        assert x.shape == expected.shape
        assert x.dtype == np.result_type(A.dtype, b.dtype)
        np.testing.assert_allclose(x, expected, rtol=0, atol=1e-11 * np.abs(expected).max())
        assert len(verdict.columns) in (0, 1 if b.ndim == 1 else b.shape[1])
