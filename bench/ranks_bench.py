#!/usr/bin/env python3
"""One machine with threads beside ranks on the same machine, on grids of growing size, as a table.

usage: ranks_bench.py --bin FOLDER [--repeat 3] [--ranks 1 2] [--threads 1 2] CASE ...

FOLDER has lintrix and lintrix-mpi. CASE is KIND:K: poisson2d, poisson3d (symmetric) or convection3d (unsymmetric) with K
points a side; b = A*(1,...,1). A row has the best of the runs, which take turns: seconds of analysis, factorization,
solve and check together, without reading, in parentheses those of the factorization alone, and the largest error of all
runs. A rank has one thread. 4 ranks on 2 cores say nothing of speed.
"""
import argparse
import json
import os
import subprocess
import tempfile
from pathlib import Path

STEPS = ("analyse", "factorize", "solve", "check")


def grid_lines(dimensions, k, wind):
    """The entries of the lower triangle, or of all where the wind blows."""
    count = k**dimensions
    for i in range(1, count + 1):
        yield f"{i} {i} {2 * dimensions}"
        stride = 1
        for _ in range(dimensions):
            if (i - 1) // stride % k:
                yield f"{i} {i - stride} {-1 - wind}"
                if wind:
                    yield f"{i - stride} {i} {-1 + wind}"
            stride *= k


def write_grid(folder, case):
    kind, k = case.split(":")
    wind = 0.25 if kind.startswith("convection") else 0
    dimensions = 2 if kind.endswith("2d") else 3
    lines = list(grid_lines(dimensions, int(k), wind))
    rows = int(k) ** dimensions
    file = Path(folder, f"{kind}_{k}.mtx")
    symmetry = "general" if wind else "symmetric"
    head = f"%%MatrixMarket matrix coordinate real {symmetry}\n{rows} {rows} {len(lines)}\n"
    file.write_text(head + "\n".join(lines) + "\n")
    return file, rows


def commands(options, file):
    """What is compared: its name, its command and its threads."""
    program = str(Path(options.bin, "lintrix"))
    for threads in options.threads:
        command = [program, "solve", str(file), "--json", "--threads", str(threads)]
        yield f"{threads} threads" if threads > 1 else "1 thread", command, threads
    for ranks in options.ranks:
        start = ["mpirun", "--oversubscribe", "--bind-to", "none", "-q", "-np", str(ranks), program + "-mpi"]
        yield f"{ranks} ranks" if ranks > 1 else "1 rank", start + ["solve", str(file), "--json"], 1


def run(command, threads):
    environment = dict(os.environ, OMP_NUM_THREADS=str(threads))
    done = subprocess.run(command, capture_output=True, text=True, timeout=600, env=environment)
    if done.returncode:
        raise SystemExit(f"{' '.join(command)}: {done.stderr}")
    return json.loads(done.stdout)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bin", required=True)
    parser.add_argument("--repeat", type=int, default=3)
    parser.add_argument("--ranks", type=int, nargs="+", default=[1, 2])
    parser.add_argument("--threads", type=int, nargs="+", default=[1, 2])
    parser.add_argument("cases", nargs="+", metavar="CASE")
    options = parser.parse_args()

    names = [name for name, _, _ in commands(options, "")]
    print("| system | rows | " + " | ".join(names) + " | largest error |")
    print("|---" * (len(names) + 3) + "|")
    with tempfile.TemporaryDirectory() as folder:
        for case in options.cases:
            file, rows = write_grid(folder, case)
            seconds = {name: [] for name in names}
            error = 0.0
            for _ in range(options.repeat):
                for name, command, threads in commands(options, file):
                    report = run(command, threads)
                    steps = [report["seconds"].get(step, 0.0) for step in STEPS]
                    seconds[name].append((sum(steps), report["seconds"]["factorize"]))
                    error = max(error, report["max_error"])
            times = " | ".join("{:.3f} ({:.3f})".format(*min(seconds[name])) for name in names)
            print(f"| {case.replace(':', ' ')} | {rows} | {times} | {error:.1e} |", flush=True)
            file.unlink()


if __name__ == "__main__":
    main()
