"""Python's threads, and those of the library."""

import os
import subprocess
import sys
import threading
import warnings

import numpy as np
import pytest
import scipy.sparse as sp

import lintrix
from lintrix._threads import warn_of_other_blas


def in_threads(*tasks):
    failures = []

    def run(task):
        try:
            task()
        except BaseException as failure:
            failures.append(failure)

    threads = [threading.Thread(target=run, args=(task,)) for task in tasks]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join(60)
        assert not thread.is_alive()
    assert not failures, failures


def test_other_threads_run_while_one_solves():
    heard, answered = threading.Event(), threading.Event()

    def progress(done, all):
        heard.set()
        assert answered.wait(60)

    def answer():
        assert heard.wait(60)
        answered.set()

    in_threads(lambda: lintrix.solve(np.eye(50), np.ones(50), progress=progress), answer)


def test_two_threads_solve_at_once():
    barrier = threading.Barrier(2, timeout=60)

    def meet_once():
        met = []

        def progress(done, all):
            if not met:
                met.append(barrier.wait())

        x, verdict = lintrix.solve(np.eye(50) * 2, np.ones(50), progress=progress)
        assert verdict and met and (x == 0.5).all()

    in_threads(meet_once, meet_once)


def test_many_threads_share_one_system():
    A = sp.diags([-1.0, 3.0, -1.0], [-1, 0, 1], shape=(400, 400), format="csr")
    system = lintrix.LinearSystem(A)

    def solve(k):
        for _ in range(20):
            x, verdict = system.solve(A @ np.full(400, float(k)))
            assert verdict
            np.testing.assert_allclose(x, k, rtol=1e-12)

    in_threads(*(lambda k=k: solve(k + 1) for k in range(4)))
    assert system.factorizations == 1


def test_thread_counts():
    before = lintrix.get_num_threads()
    with lintrix.num_threads(1):
        assert lintrix.get_num_threads() == 1
        with lintrix.num_threads(None):
            assert lintrix.get_num_threads() == 1
    assert lintrix.get_num_threads() == before
    seen = []
    lintrix.solve(np.eye(20), np.ones(20), threads=1, progress=lambda *_: seen.append(lintrix.get_num_threads()))
    assert set(seen) == {1} and lintrix.get_num_threads() == before
    for none in 0, -1:
        with pytest.raises(ValueError):
            lintrix.set_num_threads(none)
        with pytest.raises(ValueError):
            lintrix.solve(np.eye(2), np.ones(2), threads=none)


def test_the_child_of_a_fork_solves_too():
    lintrix.solve(np.eye(300) + 0.001, np.ones(300))
    child = os.fork()
    if child == 0:
        x, verdict = lintrix.solve(np.eye(300) + 0.001, np.ones(300))
        os._exit(0 if verdict and abs(x.sum() - 300 / 1.3) < 1e-9 else 1)
    assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 0


def test_a_process_ends_while_threads_wait():
    program = "import lintrix; lintrix.solve([[2.0]], [1.0]); print('done')"
    run = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, timeout=60)
    assert (run.returncode, run.stdout, run.stderr) == (0, "done\n", "")


def test_the_blas_is_the_librarys_own():
    assert lintrix.describe_blas()["threading"] == "OpenMP"
    program = "import numpy, scipy.linalg, lintrix; print(lintrix.describe_blas()['threading'])"
    run = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, timeout=60)
    assert run.returncode == 0
    assert run.stdout == "OpenMP\n" or "Import lintrix before NumPy" in run.stderr


def test_another_blas_is_warned_of():
    with pytest.warns(RuntimeWarning, match="lintrix runs on /lib/x.so .* Import lintrix before NumPy."):
        warn_of_other_blas({"file": "/lib/x.so", "threading": "pthread"})
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        warn_of_other_blas({"file": "/lib/x.so", "threading": "OpenMP"})


def test_the_same_bits_on_any_number_of_threads():
    """Sums of the factor are cut where they are always cut; without the option that hangs on the threads."""
    size = 60
    line = sp.diags([-1.0, 2.1, -1.0], [-1, 0, 1], shape=(size, size))
    A = (sp.kron(line, sp.eye(size)) + sp.kron(sp.eye(size), line)).tocsr()
    b = np.random.default_rng(5).standard_normal(A.shape[0])
    bits = set()
    for threads in 1, 2, 3:
        bits.add(lintrix.solve(A, b, threads=threads, same_bits=True)[0].tobytes())
        with lintrix.num_threads(threads):
            bits.add(lintrix.LinearSystem(A, same_bits=True).solve(b)[0].tobytes())
    assert len(bits) == 1
