#!/usr/bin/env python3
"""The Python package beside SciPy's solvers, on Matrix Market files.

usage: PYTHONPATH=build/release/python /usr/bin/python3 bench/python_bench.py [--repeat 3] [--svds K] FILE ...

Both sides run in turn on one thread, with b = A (1, ..., 1); each figure is the least of the repeats. The error is the
largest of x - (1, ..., 1). `solve` of the package judges its solution, which SciPy does not. With --svds the K largest
singular values of both; SciPy by ARPACK, both with the tolerance 1e-10.
"""
import argparse
import time
import warnings
from pathlib import Path

import lintrix  # before NumPy
import numpy as np
import scipy.sparse as sp
import scipy.sparse.linalg as sla


def least(repeat, *tasks):
    """Of each task the least seconds, and its last result."""
    seconds, results = [float("inf")] * len(tasks), [None] * len(tasks)
    for _ in range(repeat):
        for i, task in enumerate(tasks):
            begin = time.perf_counter()
            results[i] = task()
            seconds[i] = min(seconds[i], time.perf_counter() - begin)
    return seconds, results


def row(name, *cells):
    print(f"| {name} | " + " | ".join(f"{c:.3g}" if isinstance(c, float) else str(c) for c in cells) + " |", flush=True)


def solve(name, rows, repeat):
    columns, ones = rows.tocsc(), np.ones(rows.shape[0])
    b = rows @ ones
    (own, other), ((x, verdict), y) = least(
        repeat, lambda: lintrix.solve(rows, b, check="none"), lambda: sla.spsolve(columns, b)
    )
    system, factor = lintrix.LinearSystem(rows), sla.splu(columns)
    system.factorize()
    (own_again, other_again), _ = least(repeat, lambda: system.solve(b, check="none"), lambda: factor.solve(b))
    row(name, rows.shape[0], rows.nnz, own, other, own / other, 1e3 * own_again, 1e3 * other_again, verdict.status,
        float(np.abs(x - 1).max()), float(np.abs(y - 1).max()))


def svds(name, A, k, repeat):
    start = np.random.default_rng(1).standard_normal(min(A.shape))
    (own, other), (ours, theirs) = least(
        repeat, lambda: lintrix.svds(A, k), lambda: sla.svds(A, k, tol=1e-10, v0=start)
    )
    row(name, A.shape[0], A.shape[1], A.nnz, own, other, own / other,
        float(np.abs(ours[1] - theirs[1]).max() / ours[1].max()))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--repeat", type=int, default=3)
    parser.add_argument("--svds", type=int, metavar="K")
    parser.add_argument("files", nargs="+", type=Path)
    options = parser.parse_args()
    warnings.simplefilter("ignore")
    lintrix.set_num_threads(1)
    if options.svds:
        print("| matrix | m | n | nnz | svds s | SciPy | ratio | difference |\n|---|---|---|---|---|---|---|---|")
    else:
        print("| matrix | n | nnz | solve s | spsolve | ratio | again ms | splu | verdict | error | SciPy's |\n" + "|---" * 11
              + "|")
    for file in options.files:
        A = lintrix.read_matrix_market(file)
        name = file.name.split(".")[0]
        if options.svds:
            svds(name, A, options.svds, options.repeat)
        else:
            solve(name, sp.csr_matrix(A), options.repeat)


if __name__ == "__main__":
    main()
