#!/usr/bin/env python3
"""The direct solver beside other solvers, as a table of ratios.

usage: solver_table.py --own PROGRAM --other PROGRAM --out FILE.jsonl [--threads 1 2] [--repeat 3] CASE ...

CASE is FILE.mtx:TYPE:SOLVER,SOLVER,... with TYPE spd, sym or unsym. --own is direct_solver_bench; --other takes
`FILE --solver NAME --type TYPE --threads N --repeat R` and prints one line of JSON with the same keys as
direct_solver_bench. Own and other runs of a case follow each other at once. Every line is appended to the
file of --out; the table has the best own run (orderings 0 and 2) over the best other one.
"""
import argparse
import json
import math
import os
import subprocess
from pathlib import Path

ORDERINGS = ("0", "2")


def run(command, threads):
    environment = dict(os.environ, OMP_NUM_THREADS=str(threads), OMP_THREAD_LIMIT=str(threads))
    try:
        done = subprocess.run(command, capture_output=True, text=True, timeout=300, env=environment)
        return json.loads(done.stdout.strip().splitlines()[-1])
    except (subprocess.TimeoutExpired, IndexError, json.JSONDecodeError) as problem:
        return {"error": f"{command[0]}: {problem}"}


def usable(result):
    return "total_s" in result and result.get("error_code", 0) == 0 and result["residual"] < 1e-8


def best(results, key):
    return min((r for r in results if usable(r)), key=lambda r: r[key], default=None)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--own", required=True)
    parser.add_argument("--other", required=True)
    parser.add_argument("--out", required=True)
    parser.add_argument("--threads", type=int, nargs="+", default=[1, 2])
    parser.add_argument("--repeat", type=int, default=3)
    parser.add_argument("cases", nargs="+")
    options = parser.parse_args()

    logarithms = {}
    print("| matrix | threads | factor s, own | best other | ratio | total s, own | best other | ratio | memory |"
          " % of gemm | residual |")
    print("|---|---|---|---|---|---|---|---|---|---|---|")
    for case in options.cases:
        file, kind, solvers = case.rsplit(":", 2)
        for threads in options.threads:
            tail = ["--type", kind, "--threads", str(threads), "--repeat", str(options.repeat)]
            own = [run([options.own, file, "--ordering", o, *tail], threads) for o in ORDERINGS]
            other = [run([options.other, file, "--solver", s, *tail], threads) for s in solvers.split(",")]
            with open(options.out, "a", encoding="utf-8") as log:
                log.writelines(json.dumps(r) + "\n" for r in own + other)
            factors = [best(side, "factor_s") for side in (own, other)]
            totals = [best(side, "total_s") for side in (own, other)]
            if None in factors:
                print(f"| {Path(file).stem} | {threads} | no result |", flush=True)
                continue
            ratios = (factors[0]["factor_s"] / factors[1]["factor_s"], totals[0]["total_s"] / totals[1]["total_s"])
            memory = totals[0]["peak_rss_mib"] / min(r["peak_rss_mib"] for r in other if usable(r))
            flops = next((r["flops"] for r in other if r.get("flops", 0) > 0), math.nan)
            share = 100e-9 * flops / factors[0]["factor_s"] / factors[0]["dgemm_gflops"]
            print(f"| {Path(file).stem} | {threads} | {factors[0]['factor_s']:.3f} ({factors[0]['solver']}) |"
                  f" {factors[1]['factor_s']:.3f} ({factors[1]['solver']}) | {ratios[0]:.2f} |"
                  f" {totals[0]['total_s']:.3f} ({totals[0]['solver']}) | {totals[1]['total_s']:.3f}"
                  f" ({totals[1]['solver']}) | {ratios[1]:.2f} | {memory:.2f} | {share:.0f} |"
                  f" {totals[0]['residual']:.0e} |", flush=True)
            kindOf = "complex" if factors[0]["scalar"] == "complex" else kind
            logarithms.setdefault((kindOf, threads), []).append([math.log(r) for r in ratios])
    for (kind, threads), rows in sorted(logarithms.items()):
        means = [math.exp(sum(column) / len(rows)) for column in zip(*rows)]
        print(f"\n{kind}, {threads} threads: geometric means of the ratios: factorization {means[0]:.2f}, total {means[1]:.2f}")


if __name__ == "__main__":
    main()
