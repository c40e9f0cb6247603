"""Runs that end before they are done."""

import os
import signal
import subprocess
import sys
import threading
import time

import numpy as np
import pytest
import scipy.sparse as sp

import lintrix

MATRIX = (sp.kron(sp.eye(40), sp.diags([-1.0, 4.0, -1.0], [-1, 0, 1], shape=(40, 40)))
          + sp.kron(sp.diags([-1.0, -1.0], [-1, 1], shape=(40, 40)), sp.eye(40))).tocsr()


class Slow:
    """Takes so long for each part of the work that it would not be done within minutes; sends a signal at the first."""

    def __init__(self, number=None):
        self.number, self.calls, self.is_done = number, 0, False

    def __call__(self, done, all):
        self.calls += 1
        self.is_done = done >= all
        if self.calls == 1 and self.number:
            os.kill(os.getpid(), self.number)
        if self.calls < 1000:
            time.sleep(0.3)


RUNS = {
    "sparse": lambda progress: lintrix.solve(MATRIX, np.ones(1600), progress=progress),
    "dense": lambda progress: lintrix.solve(np.eye(600) + 0.001, np.ones(600), progress=progress),
    "least squares": lambda progress: lintrix.solve(MATRIX[:, :1200], np.ones(1600), progress=progress),
    "svds": lambda progress: lintrix.svds(MATRIX, 5, progress=progress),
    "analyse": lambda progress: lintrix.LinearSystem(MATRIX, progress=progress).analyse(),
}


@pytest.mark.parametrize("run", RUNS)
def test_ctrl_c_ends_a_run(run):
    slow = Slow(signal.SIGINT)
    with pytest.raises(KeyboardInterrupt):
        RUNS[run](slow)
    assert slow.calls >= 1 and not slow.is_done


def test_a_system_is_as_before_ctrl_c():
    slow = Slow(signal.SIGINT)
    system = lintrix.LinearSystem(MATRIX, progress=slow)
    with pytest.raises(KeyboardInterrupt):
        system.solve(np.ones(1600))
    assert system.factorizations == 0
    slow.calls = 1000
    x, verdict = system.solve(MATRIX @ np.ones(1600))
    assert verdict
    np.testing.assert_allclose(x, 1.0, rtol=1e-10)


def test_handlers_that_do_not_raise_let_a_run_go_on():
    heard = []
    before = signal.signal(signal.SIGUSR1, lambda *_: heard.append(time.monotonic()))
    try:
        fast = Slow(signal.SIGUSR1)

        def progress(done, all):
            if fast.calls == 0:
                fast(done, all)

        x, verdict = lintrix.solve(MATRIX, np.ones(1600), progress=progress)
    finally:
        signal.signal(signal.SIGUSR1, before)
    assert verdict and len(heard) == 1


def test_a_handler_may_solve_itself():
    solved = []
    before = signal.signal(signal.SIGUSR1, lambda *_: solved.append(lintrix.solve([[2.0]], [1.0])[0][0]))
    try:
        slow = Slow(signal.SIGUSR1)
        lintrix.solve(np.eye(30), np.ones(30), progress=lambda *_: slow(0, 0) if slow.calls == 0 else None)
    finally:
        signal.signal(signal.SIGUSR1, before)
    assert solved == [0.5]


def test_a_process_dies_of_ctrl_c_as_any_other():
    program = """if True:
        import numpy as np, lintrix, sys, time
        def progress(done, all):
            print("working", flush=True)
            time.sleep(0.3)
        lintrix.solve(np.eye(600) + 0.001, np.ones(600), progress=progress)
    """
    run = subprocess.Popen([sys.executable, "-c", program], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    assert run.stdout.readline() == "working\n"
    run.send_signal(signal.SIGINT)
    _, said = run.communicate(timeout=60)
    assert run.returncode == -signal.SIGINT and said.endswith("KeyboardInterrupt\n")


@pytest.mark.parametrize("seconds", [0.0, 0.1])
def test_deadlines(seconds):
    slow = Slow()
    system = lintrix.LinearSystem(MATRIX, progress=slow)
    for phase in (
        lambda: system.analyse(deadline=seconds),
        lambda: system.factorize(deadline=seconds),
        lambda: system.solve(np.ones(1600), deadline=seconds),
    ):
        with pytest.raises(lintrix.DeadlineError, match="The deadline has passed."):
            phase()
        assert not slow.is_done
    slow.calls = 1000
    assert system.solve(np.ones(1600), deadline=1e300)[1]
    assert issubclass(lintrix.DeadlineError, TimeoutError)


def test_deadlines_of_one_call():
    with pytest.raises(lintrix.DeadlineError):
        lintrix.solve(np.eye(600) + 0.001, np.ones(600), deadline=0.1, progress=Slow())
    with pytest.raises(lintrix.DeadlineError):
        lintrix.svds(MATRIX, 5, deadline=0.1, progress=Slow())
    for none in -1.0, np.nan:
        with pytest.raises(lintrix.ArgumentError, match="The deadline is no number of seconds."):
            lintrix.solve(np.eye(2), np.ones(2), deadline=none)


def test_a_deadline_ends_its_own_call_alone():
    """Two threads solve with one system, which has one stop for both."""
    system = lintrix.LinearSystem(MATRIX)
    assert system.solve(np.ones(1600))[1]
    ended, solved = [], []

    def hurried():
        for _ in range(100):
            try:
                system.solve(np.ones((1600, 40)), deadline=0.001)
            except lintrix.DeadlineError:
                ended.append(1)

    def patient():
        for _ in range(30):
            solved.append(system.solve(np.ones((1600, 10)))[1].status)

    threads = [threading.Thread(target=hurried), threading.Thread(target=patient)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join(120)
    assert solved == ["accurate"] * 30 and ended


@pytest.mark.parametrize("run", RUNS)
def test_what_a_listener_raises_comes_back(run):
    class Enough(Exception):
        pass

    def progress(done, all):
        raise Enough(all)

    with pytest.raises(Enough):
        RUNS[run](progress)


def test_a_listener_hears_how_far_the_work_is():
    heard = []
    lintrix.solve(MATRIX, np.ones(1600), progress=lambda done, all: heard.append((done, all)))
    assert len(heard) > 1 and heard[-1][0] == heard[-1][1]
    assert all(0 <= done <= all for done, all in heard)


def test_a_listener_is_something_to_call():
    with pytest.raises(TypeError):
        lintrix.solve(np.eye(3), np.ones(3), progress="often")


def test_what_a_listener_raises_ends_in_the_thread_that_called():
    """There the interpreter's lock is held; the thread of the work could be left with it when the process ends."""
    program = """if True:
        import os, sys, threading
        os.sched_setaffinity(0, {min(os.sched_getaffinity(0))})  # the one that is waited for goes on first
        sys.setswitchinterval(100.0)
        import numpy as np, lintrix
        idents = []
        class Enough(Exception):
            def __del__(self):
                idents.append(threading.get_ident())
        def progress(done, all):
            raise Enough
        for _ in range(200):
            try:
                lintrix.solve(np.eye(30), np.ones(30), progress=progress)
            except Enough:
                pass
        print(len(idents), idents.count(threading.get_ident()))
    """
    assert subprocess.check_output([sys.executable, "-c", program], text=True, timeout=120) == "200 200\n"


def test_the_process_may_end_while_a_daemon_solves():
    program = """if True:
        import sys, threading, time
        import numpy as np, lintrix
        begun = threading.Event()
        def progress(done, all):
            begun.set()
            time.sleep(0.001)
        def work():
            while True:
                lintrix.solve(np.eye(400) + 0.001, np.ones(400), progress=progress)
        threading.Thread(target=work, daemon=True).start()
        begun.wait()
        sys.kept_until_the_end = [[] for _ in range(1000000)]
    """
    for _ in range(8):
        run = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, timeout=60)
        assert (run.returncode, run.stderr) == (0, "")
