"""Files, beside SciPy's reader and writer."""

import gzip
import os
import pathlib
import signal
import threading

import numpy as np
import pytest
import scipy.io
import scipy.sparse as sp

import lintrix


def test_all_bundled_files(data):
    paths = sorted(data.glob("*.mtx*"))
    assert len(paths) > 30
    for path in paths:
        read, expected = lintrix.read_matrix_market(path), scipy.io.mmread(path)
        if sp.issparse(expected):
            assert isinstance(read, sp.csr_array) and read.shape == expected.shape
            read.check_format()
            difference = np.abs(read - expected.tocsr())
            assert difference.max() <= 1e-15 * np.abs(expected).max()
            assert read.has_canonical_format
        else:
            assert isinstance(read, np.ndarray)
            np.testing.assert_allclose(read, expected, rtol=1e-15)
        assert read.dtype == (np.complex128 if np.iscomplexobj(expected) else np.float64)


def matrices():
    rng = np.random.default_rng(8)
    A = sp.random(9, 9, 0.4, random_state=8, format="csr")
    C = A + 1j * sp.random(9, 9, 0.4, random_state=9, format="csr")
    yield "general", A
    yield "general", sp.random(5, 9, 0.4, random_state=8, format="coo")
    yield "symmetric", A + A.T
    yield "skew-symmetric", A - A.T
    yield "general", C
    yield "hermitian", C + C.conj().T
    yield "symmetric", sp.csr_matrix((3, 3))
    yield "general", sp.csr_matrix((3, 4))


@pytest.mark.parametrize("name", ["a.mtx", "a.mtx.gz"])
@pytest.mark.parametrize("which", range(8))
def test_sparse_matrices_come_back(tmp_path, which, name):
    symmetry, A = list(matrices())[which]
    path = tmp_path / name
    for general in False, True:
        lintrix.write_matrix_market(path, A, general=general)
        text = gzip.open(path).read() if name.endswith("gz") else path.read_bytes()
        expected = "general" if general else symmetry
        assert text.startswith(b"%%MatrixMarket matrix coordinate ") and text.split()[4] == expected.encode()
        back = lintrix.read_matrix_market(path)
        assert back.shape == A.shape and back.dtype == A.dtype
        assert (back.toarray() == A.toarray()).all()
        assert (sp.csr_matrix(scipy.io.mmread(path)).toarray() == A.toarray()).all()


@pytest.mark.parametrize("dtype", [np.float64, np.complex128, np.int32])
def test_arrays_come_back(tmp_path, dtype):
    A = (np.arange(12) * (1 + (1j if dtype == np.complex128 else 0))).astype(dtype).reshape(3, 4)
    lintrix.write_matrix_market(tmp_path / "a.mtx", A[:, ::-1])
    back = lintrix.read_matrix_market(str(tmp_path / "a.mtx"))
    assert (back == A[:, ::-1]).all() and back.flags.f_contiguous and not back.flags.owndata
    lintrix.write_matrix_market(tmp_path / "b.mtx", A[0])
    assert lintrix.read_matrix_market(tmp_path / "b.mtx").shape == (4, 1)


def test_values_are_not_copied(data):
    A = lintrix.read_matrix_market(data / "sherman4.mtx")
    assert not A.data.flags.owndata and A.data.flags.writeable
    A.data *= 2.0
    kept = A.data
    total = A.data.sum()
    del A
    assert kept.sum() == total


def test_failures(tmp_path):
    with pytest.raises(FileNotFoundError):
        lintrix.read_matrix_market(tmp_path / "none.mtx")
    bad = tmp_path / "bad.mtx"
    bad.write_text("%%MatrixMarket matrix coordinate real general\n2 2 1\n3 1 1.0\n")
    with pytest.raises(lintrix.FileFormatError, match=r"bad.mtx:3: row 3 is outside 1 to 2") as raised:
        lintrix.read_matrix_market(bad)
    assert raised.value.line == 3
    with pytest.raises(lintrix.ArgumentError, match="Matrix Market files hold finite numbers only"):
        lintrix.write_matrix_market(tmp_path / "a.mtx", np.array([[np.nan]]))
    with pytest.raises(lintrix.FileFormatError, match="cannot be opened"):
        lintrix.write_matrix_market(tmp_path / "no folder" / "a.mtx", np.eye(2))
    with pytest.raises(lintrix.ArgumentError):
        lintrix.write_matrix_market(tmp_path / "a.mtx", np.ones((0, 2)))


def test_paths_of_all_kinds(tmp_path):
    name = tmp_path / "größe ü.mtx"
    lintrix.write_matrix_market(name, np.eye(2))
    assert (lintrix.read_matrix_market(pathlib.Path(name)) == np.eye(2)).all()


def test_names_that_are_no_text(tmp_path):
    name = os.fsencode(tmp_path) + b"/\xff.mtx"
    for path in name, os.fsdecode(name):
        lintrix.write_matrix_market(path, np.eye(2))
        assert (lintrix.read_matrix_market(path) == np.eye(2)).all()
    with open(name, "w") as file:
        file.write("no matrix")
    with pytest.raises(lintrix.FileFormatError) as raised:
        lintrix.read_matrix_market(name)
    assert os.fsdecode(name) in str(raised.value)


def test_ctrl_c_ends_the_reading_of_a_file(tmp_path):
    """A pipe brings entries until nobody reads them."""
    path = tmp_path / "pipe"
    os.mkfifo(path)

    def write():
        with open(path, "wb", buffering=0) as pipe:
            pipe.write(b"%%MatrixMarket matrix coordinate real general\n9 9 2000000000\n")
            entries = b"1 1 1.0\n" * (1 << 17)
            pipe.write(entries)
            os.kill(os.getpid(), signal.SIGINT)
            while True:
                pipe.write(entries)

    def write_until_it_breaks():
        try:
            write()
        except BrokenPipeError:
            broken.append(1)

    broken = []
    writer = threading.Thread(target=write_until_it_breaks)
    writer.start()
    with pytest.raises(KeyboardInterrupt):
        lintrix.read_matrix_market(path)
    writer.join(60)
    assert broken
