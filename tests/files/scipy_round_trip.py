"""Files that NumPy and SciPy write are read by the command, and what it writes they read, to the same bits.

Usage: scipy_round_trip.py LINTRIX FOLDER
"""

import pathlib
import subprocess
import sys

import numpy as np
import scipy.io
import scipy.sparse as sp

lintrix, folder = sys.argv[1], pathlib.Path(sys.argv[2])
folder.mkdir(parents=True, exist_ok=True)
generator = np.random.default_rng(1)


def convert(source, target):
    subprocess.run([lintrix, "convert", str(source), str(target)], check=True, timeout=60)


def same(x, y, what):
    x, y = np.asarray(x), np.asarray(y)
    assert x.shape == y.shape and x.dtype == y.dtype, f"{what}: {x.shape} {x.dtype}, {y.shape} {y.dtype}"
    assert x.tobytes("C") == y.tobytes("C"), f"{what}: the bits differ"


def random_sparse(rows, cols, cell):
    matrix = sp.random(rows, cols, 0.2, "csr", random_state=generator)
    if cell is complex:
        matrix = (matrix + 1j * matrix.power(2)).tocsr()
    matrix.data *= 10.0 ** generator.integers(-200, 200, matrix.nnz)
    return matrix


def check_dense(dtype, order, shape):
    source, target = folder / "dense.npy", folder / "again.npy"
    values = generator.standard_normal(shape) * 100
    if np.dtype(dtype).kind in "ub":
        values = np.abs(values)
    array = np.asarray(values if np.dtype(dtype).kind != "c" else values + 1j, dtype=dtype, order=order)
    np.save(source, array)
    convert(source, target)
    wide = complex if array.dtype.kind == "c" else float
    expected = np.atleast_1d(array).astype(wide)
    expected = expected.reshape(-1, 1) if expected.ndim == 1 else expected
    same(np.load(target), expected, f"{dtype} {order} {shape}")


def check_sparse(matrix, form):
    source, target, text = folder / "sparse.npz", folder / "again.npz", folder / "again.mtx"
    sp.save_npz(source, matrix.asformat(form), compressed=form != "csc")
    convert(source, target)
    again = sp.load_npz(target)
    same(again.toarray(), matrix.toarray(), form)
    assert again.nnz == matrix.nnz, form
    convert(source, text)
    same(scipy.io.mmread(text).toarray(), matrix.toarray(), form + " to Matrix Market")


def check_cards(matrix):
    source, target = folder / "cards.rua", folder / "again.rua"
    scipy.io.hb_write(source, matrix.tocsc())
    convert(source, target)
    same(scipy.io.hb_read(target).toarray(), matrix.toarray(), "Harwell-Boeing")
    convert(source, folder / "again.npz")
    same(sp.load_npz(folder / "again.npz").toarray(), matrix.toarray(), "Harwell-Boeing to NumPy")


for kind in ["<f8", ">f8", "<f4", ">f4", "<c16", ">c16", "<c8", "i1", "u1", "<i2", ">i4", "<u4", "<i8", ">u8", "?"]:
    for order in "CF":
        for shape in [(3, 5), (1, 1), (4, 1), (7,), ()]:
            check_dense(kind, order, shape)
for cell in (float, complex):
    for form in ("csr", "csc", "coo"):
        for sizes in ((1, 1), (6, 9), (40, 7)):
            check_sparse(random_sparse(*sizes, cell), form)
    check_sparse(sp.csr_matrix((4, 3), dtype=cell), "csr")
for size in (1, 5, 60):
    matrix = random_sparse(size, size, float) + sp.identity(size)
    check_cards(matrix.tocsr())
print("all bits agree")
