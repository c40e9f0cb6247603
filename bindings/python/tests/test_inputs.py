"""Whatever holds numbers is taken, as it lies in memory where that fits, and is left as it was."""

import os
import subprocess
import sys
import tracemalloc

import numpy as np
import pytest
import scipy.sparse as sp

import lintrix
from lintrix._inputs import COMPLEX, REAL, native

FORMATS = ["csr", "csc", "coo", "bsr", "lil", "dok", "dia"]
TYPES = [np.int8, np.int64, np.uint32, np.bool_, np.float32, np.float64, np.longdouble, np.complex64, np.complex128]


def square(n=12, dtype=np.float64):
    rng = np.random.default_rng(3)
    A = np.where(rng.random((n, n)) < 0.3, rng.integers(1, 4, (n, n)), 0) + 20 * np.eye(n, dtype=int)
    return A.astype(dtype) * (1 + 2j if np.issubdtype(dtype, np.complexfloating) else 1)


def check(A, b, like=None):
    like = np.asarray(A if like is None else like)
    x, verdict = lintrix.solve(A, b)
    assert verdict
    expected = np.linalg.solve(like.astype(complex), np.asarray(b).astype(complex))
    assert x.shape == np.asarray(b).shape
    np.testing.assert_allclose(x, expected, rtol=1e-12, atol=1e-13)


@pytest.mark.parametrize("dtype", TYPES)
@pytest.mark.parametrize("form", FORMATS)
@pytest.mark.parametrize("array", [True, False])
def test_sparse_formats_and_types(form, dtype, array):
    dense = square(dtype=dtype)
    if dtype == np.bool_:
        dense = np.tril(np.ones_like(dense))
    A = getattr(sp, f"{form}_{'array' if array else 'matrix'}")(sp.coo_matrix(dense))
    check(A, np.arange(1.0, 13.0), dense)


@pytest.mark.parametrize("dtype", TYPES)
def test_dense_types(dtype):
    dense = np.tril(square(dtype=dtype)) if dtype == np.bool_ else square(dtype=dtype)
    if dtype == np.bool_:
        dense = np.tril(np.ones_like(dense))
    check(dense, np.arange(1, 13))
    check(dense.tolist(), list(range(1, 13)))


LAYOUTS = {
    "C": lambda a: np.ascontiguousarray(a),
    "F": lambda a: np.asfortranarray(a),
    "every second": lambda a: np.kron(a, np.ones((2,) * a.ndim, a.dtype))[(slice(None, None, 2),) * a.ndim],
    "backwards": lambda a: np.ascontiguousarray(a[::-1])[::-1],
    "swapped bytes": lambda a: a.astype(a.dtype.newbyteorder()),
    "off its alignment": lambda a: np.frombuffer(b"x" + a.tobytes(), a.dtype, a.size, 1).reshape(a.shape),
    "in records": lambda a: np.rec.fromarrays([np.ones(a.shape, "i1"), a]).f1,
    "repeated": lambda a: np.broadcast_to(a, (1,) + a.shape)[0],
    "read-only": lambda a: read_only(a.copy()),
}


def read_only(array):
    array.flags.writeable = False
    return array


@pytest.mark.parametrize("layout", LAYOUTS)
@pytest.mark.parametrize("dtype", [np.float64, np.complex128])
@pytest.mark.parametrize("size", [12, 75])   # within a tile of the copy, and over several
def test_dense_layouts(layout, dtype, size):
    A = LAYOUTS[layout](square(size, dtype))
    for b in np.arange(1.0, size + 1), np.arange(1.0, 5 * size + 1).reshape(size, 5):
        before = A.copy(), b.copy()
        check(A, LAYOUTS[layout](b))
        assert (A == before[0]).all() and (b == before[1]).all()


def test_a_right_hand_side_that_is_repeated_by_strides_of_zero():
    b = np.broadcast_to(np.arange(12.0)[:, None], (12, 3))
    check(square(), b)


@pytest.mark.parametrize("layout", [name for name in LAYOUTS if name != "in records"])
@pytest.mark.parametrize("index", [np.int32, np.int64])
@pytest.mark.parametrize("dtype", [np.float64, np.complex128])
def test_sparse_layouts(layout, index, dtype):
    dense = square(dtype=dtype)
    A = sp.csr_matrix(dense)
    A.data, A.indices, A.indptr = (
        LAYOUTS[layout](a) for a in (A.data, A.indices.astype(index), A.indptr.astype(index))
    )
    if "swapped" in layout:
        A.indices, A.indptr = A.indices.astype(index), A.indptr.astype(index)   # SciPy's own duty
    check(A, np.arange(12.0), dense)


@pytest.mark.parametrize("index", [np.int32, np.int64])
@pytest.mark.parametrize("dtype", [np.float64, np.complex128])
def test_entries_in_any_order_and_several_at_one_place(index, dtype):
    dense = square(dtype=dtype)
    whole = sp.csr_matrix(dense)
    data, indices, indptr = [], [], [0]
    for row in range(12):
        start, end = whole.indptr[row : row + 2]
        for twice in (0.25, 0.75):
            data += list(twice * whole.data[start:end][::-1])
            indices += list(whole.indices[start:end][::-1])
        indptr.append(len(data))
    A = sp.csr_matrix((np.array(data), np.array(indices, index), np.array(indptr, index)), shape=(12, 12))
    A.indices, A.indptr = A.indices.astype(index), A.indptr.astype(index)
    kept = A.data.copy(), A.indices.copy(), A.indptr.copy()
    check(A, np.arange(12.0), dense)
    assert all((now == then).all() for now, then in zip((A.data, A.indices, A.indptr), kept))


def test_flags_of_a_sparse_matrix_are_not_believed():
    A = sp.csr_matrix(square())
    assert A.has_canonical_format
    A.indices[:2] = A.indices[1::-1].copy()   # in place: the flags stay
    dense = np.zeros((12, 12))
    for row in range(12):
        for k in range(A.indptr[row], A.indptr[row + 1]):
            dense[row, A.indices[k]] += A.data[k]
    check(A, np.arange(12.0), dense)


def test_arrays_longer_than_their_matrix():
    A = sp.csr_matrix(square())
    A.data, A.indices = np.append(A.data, [np.nan] * 5), np.append(A.indices, [99] * 5).astype(np.int32)
    check(A, np.arange(12.0), square())


@pytest.mark.parametrize("spoil", ["column", "negative", "fall", "first", "last"])
@pytest.mark.parametrize("index", [np.int32, np.int64])
def test_broken_arrays_are_refused(spoil, index):
    A = sp.csr_matrix(square())
    A.indices, A.indptr = A.indices.astype(index), A.indptr.astype(index)
    if spoil == "column":
        A.indices[3] = 12
    elif spoil == "negative":
        A.indices[3] = -1
    elif spoil == "fall":
        A.indptr[4] = A.indptr[-1] + 1000
    elif spoil == "first":
        A.indptr[0] = 1
    else:
        A.indptr[-1] += 1000
    with pytest.raises(lintrix.ArgumentError):
        lintrix.solve(A, np.ones(12))


def test_columns_without_entries_count():
    A = sp.csr_matrix(([1.0, 2.0], ([0, 1], [0, 1])), shape=(2, 4))
    x, verdict = lintrix.solve(A, [3.0, 4.0])
    np.testing.assert_allclose(x, [3, 2, 0, 0])
    x, verdict = lintrix.solve(A, np.ones(4), op="transpose")
    np.testing.assert_allclose(x, [1, 0.5])


def test_right_hand_sides_that_are_sparse():
    A, B = sp.csc_matrix(square()), sp.eye(12, 3, format="csc")
    x, _ = lintrix.solve(A, B)
    np.testing.assert_allclose(A @ x, B.toarray(), atol=1e-14)


def test_complex_right_hand_sides_make_the_system_complex():
    b = np.arange(12.0) * 1j + 1
    check(square(), b)
    check(sp.csr_matrix(square()), b, square())


@pytest.mark.parametrize(
    "A, b, failure",
    [
        (np.ones((2, 2, 2)), np.ones(2), ValueError),
        (np.ones(3), np.ones(3), ValueError),
        (np.eye(3), np.ones((3, 1, 1)), ValueError),
        (np.eye(3), 1.0, ValueError),
        (np.array([["a", "b"], ["c", "d"]]), np.ones(2), TypeError),
        (np.array([[1, None], [2, 3]], object), np.ones(2), TypeError),
        (np.eye(2), ["a", "b"], TypeError),
        (np.eye(2).astype("m8[s]"), np.ones(2), TypeError),
        (np.eye(3), np.ones(4), lintrix.ArgumentError),
        (sp.eye(3), np.ones((2, 3)), lintrix.ArgumentError),
        (np.ones((0, 0)), np.ones(0), lintrix.ArgumentError),
        (sp.csr_matrix((0, 4)), np.ones(0), lintrix.ArgumentError),
        (sp.csr_matrix((4, 0)), np.ones(4), lintrix.ArgumentError),
        (np.eye(3), np.ones((3, 0)), lintrix.ArgumentError),
        (np.eye(3), np.ones(0), lintrix.ArgumentError),
    ],
)
def test_what_is_no_system_is_refused(A, b, failure):
    with pytest.raises(failure):
        lintrix.solve(A, b)


def test_masked_arrays_are_refused():
    """As by SciPy: what is masked is missing, and a system with a hole has no solution."""
    masked = np.ma.masked_array(np.eye(3), mask=False)
    column = np.ma.masked_array(np.ones(3), mask=[0, 1, 0])
    system = lintrix.LinearSystem(np.eye(3))
    for call in (
        lambda: lintrix.solve(masked, np.ones(3)),
        lambda: lintrix.solve(np.eye(3), column),
        lambda: system.solve(column),
        lambda: lintrix.write_matrix_market("never.mtx", masked),
    ):
        with pytest.raises(ValueError, match="Masked arrays are not supported"):
            call()
    np.testing.assert_array_equal(lintrix.solve(masked.filled(0.0), column.filled(2.0))[0], [1, 2, 1])


def test_counts_that_are_none_are_named():
    for name in "refine", "error_bounds":
        with pytest.raises(TypeError, match=f"{name} has to be a whole number, not 1.5"):
            lintrix.LinearSystem(np.eye(3), **{name: 1.5})
        with pytest.raises(lintrix.ArgumentError, match=f"{name} is 4294967296, and has to be from"):
            lintrix.LinearSystem(np.eye(3), **{name: 2**32})


def test_numbers_that_are_none_are_named():
    system = lintrix.LinearSystem(np.eye(3))
    for name, call in (
        ("memory_budget", lambda: lintrix.LinearSystem(np.eye(3), memory_budget="1G")),
        ("memory_budget", lambda: lintrix.svds(np.eye(3), 1, memory_budget="1G")),
        ("tol", lambda: lintrix.svds(np.eye(3), 1, tol="1G")),
        ("deadline", lambda: lintrix.svds(np.eye(3), 1, deadline="1G")),
        ("deadline", lambda: system.analyse(deadline="1G")),
        ("deadline", lambda: system.factorize(deadline="1G")),
        ("deadline", lambda: system.solve(np.ones(3), deadline="1G")),
    ):
        with pytest.raises(TypeError, match=f"^{name} has to be a number, not '1G'$"):
            call()
    with pytest.raises(TypeError, match="^threads has to be a whole number, not 1.5$"):
        lintrix.solve(np.eye(3), np.ones(3), threads=1.5)
    assert lintrix.solve(np.eye(3), np.ones(3), memory_budget=np.int64(10**9), deadline=np.float32(60))[1]


def test_sizes_beyond_32_bits_are_refused_before_memory_is_taken():
    huge = np.broadcast_to(np.float64(1.0), (70000, 70000))
    with pytest.raises(lintrix.ArgumentError, match="Invalid number of rows or columns."):
        lintrix.solve(huge, np.ones(70000))
    wide = sp.coo_matrix(([1.0], ([0], [2**40 - 1])), shape=(1, 2**40))
    with pytest.raises(lintrix.ArgumentError, match="Invalid number of rows or columns."):
        lintrix.solve(wide.tocsr(), np.ones(1))


def test_sparse_arrays_that_fit_are_passed_on_as_they_are():
    for dtype, cells in (np.float64, REAL), (np.complex128, COMPLEX):
        for index in np.int32, np.int64:
            A = sp.csr_array(square(dtype=dtype))
            A.indices, A.indptr = A.indices.astype(index), A.indptr.astype(index)
            for ours, theirs in zip(native(A, cells).arrays, (A.data, A.indices, A.indptr)):
                assert ours.ctypes.data == theirs.ctypes.data and ours.dtype == theirs.dtype


@pytest.mark.parametrize("layout", ["C", "F", "every second", "backwards", "read-only"])
def test_dense_arrays_are_passed_on_as_they_are(layout):
    A = LAYOUTS[layout](square())
    assert native(A, REAL).ctypes.data == A.ctypes.data and native(A, REAL).strides == A.strides


def test_python_holds_no_copy_of_a_matrix_or_of_a_solution():
    n = 500
    A = np.asfortranarray(np.eye(n) + 0.001)
    b = np.ones((n, n))
    lintrix.solve(np.eye(3), np.ones(3))
    tracemalloc.start()
    try:
        x, _ = lintrix.solve(A, b)
        peak = tracemalloc.get_traced_memory()[1]
    finally:
        tracemalloc.stop()
    assert peak < A.nbytes / 4
    assert not x.flags.owndata and x.flags.f_contiguous and x.flags.writeable


def test_a_solution_outlives_its_system():
    system = lintrix.LinearSystem(square())
    x, _ = system.solve(np.arange(12.0))
    expected = x.copy()
    del system
    lintrix.solve(square(), np.ones(12))
    assert (x == expected).all()


def test_solutions_let_go_of_their_memory():
    x, _ = lintrix.solve(square(), np.arange(24.0).reshape(12, 2))
    base = x
    while isinstance(base, np.ndarray):
        base = base.base
    assert type(base).__name__ == "PyCapsule" and sys.getrefcount(base) == 3   # x, `base`, the argument


TOO_LARGE = """if True:
    import resource
    import numpy as np
    import lintrix

    system = lintrix.LinearSystem(np.eye(1))
    system.solve([1.0])
    with open("/proc/self/statm") as pages:
        limit = int(pages.read().split()[0]) * resource.getpagesize() + (4 << 30)
    resource.setrlimit(resource.RLIMIT_AS, (limit, limit))
    try:
        system.solve(np.broadcast_to(1.0, (1, 2**30)))
    except MemoryError as failure:
        print(type(failure).__name__, failure)
    print(system.solve([2.0])[0])
"""


def test_memory_that_is_not_there():
    one_thread = {**os.environ, "OMP_NUM_THREADS": "1"}   # each takes address space for BLAS
    run = subprocess.run([sys.executable, "-c", TOO_LARGE], env=one_thread, capture_output=True, text=True, timeout=120)
    assert run.stdout.splitlines() == [
        "OutOfMemoryError There is not enough memory to continue the execution.",
        "[2.]",
    ], run.stderr
