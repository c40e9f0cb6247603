#!/usr/bin/env python3
"""The roads of `lintrix solve` beside other solvers, as a table of ratios.

usage: roads_table.py --runs FILE.jsonl [--own LINTRIX --other PROGRAM] [--threads 1] [--repeat 3] [--all] [CASE ...]

CASE is FILE.mtx:TYPE:SOLVER,SOLVER,... with TYPE spd, sym or unsym; --own is the command `lintrix`, and --other a program
as solver_table.py describes it. Every case is run, own and other at once after each other, and adds a line to --runs: an
object of `matrix`, `threads`, `type` ("complex " before that of a complex matrix), `own`, what `lintrix solve --json` tells
of its fastest run, and `peers`, what the others tell. Without cases the lines of an earlier run are put into the table.

Own time is assembly to check in a fresh process, with one right-hand side, the probe, the condition and the error bound;
that of others analysis to solution, the best of --repeat runs in one process. An answer counts where its backward error is
at most 1e-12. Classes are told as wholes; of the matrices those alone whose ratio passes 1.5 where they take 2 ms or more,
and those that are not accurate. --all tells each.
"""
import argparse
import json
import math
from collections import defaultdict
from pathlib import Path

from solver_table import run

SMALL = 1e-12
STEPS = ("assemble", "analyse", "factorize", "solve", "check")
TOLD_RATIO, TOLD_SECONDS = 1.5, 2e-3


def own_seconds(answer):
    return sum(answer["seconds"].get(step, 0.0) for step in STEPS)


def run_case(case, options):
    file, kind, solvers = case.rsplit(":", 2)
    own = [run([options.own, "solve", file, "--json", "--threads", str(options.threads)], options.threads)
           for _ in range(options.repeat)]
    tail = ["--type", kind, "--threads", str(options.threads), "--repeat", str(options.repeat)]
    peers = [dict(run([options.other, file, "--solver", s, *tail], options.threads), solver=s) for s in solvers.split(",")]
    answers = [answer for answer in own if "seconds" in answer]
    is_complex = any(peer.get("scalar") == "complex" for peer in peers)
    return {"matrix": Path(file).name, "threads": options.threads, "type": ("complex " if is_complex else "") + kind,
            "own": min(answers, key=own_seconds) if answers else own[-1], "peers": peers}


def best_peer(line):
    exact = [peer for peer in line["peers"] if "total_s" in peer and peer["residual"] <= SMALL]
    return min(exact, key=lambda peer: peer["total_s"], default=None)


class Row:
    """A matrix: what came of it, and beside whom."""

    def __init__(self, line):
        own = line["own"]
        self.matrix, self.kind, self.order = line["matrix"].split(".mtx")[0], line["type"], own.get("rows", 0)
        self.told = "seconds" in own
        self.seconds = own_seconds(own) if self.told else math.inf
        self.verdict, self.road = own.get("status", "no answer"), own.get("road", "")
        self.residual, self.reason = own.get("residual"), own.get("reason") or ""
        self.roads_in_vain = own.get("tried") or []
        self.peer = best_peer(line)
        self.ratio = self.seconds / self.peer["total_s"] if self.peer else math.nan

    def is_exact(self):
        return self.residual is not None and self.residual <= SMALL

    def is_missed(self):
        return self.peer is not None and not self.is_exact()

    def is_slow(self, limit):
        return self.ratio > limit and self.seconds >= TOLD_SECONDS

    def text(self):
        residual = "" if self.residual is None else f"{self.residual:.0e}"
        peer = f"{self.peer['solver']} | {1e3 * self.peer['total_s']:.2f} | {self.ratio:.2f}" if self.peer else "none | | "
        why = "; ".join([self.reason, *(f"before: {road}" for road in self.roads_in_vain)]).strip("; ")
        return (f"| {self.matrix} | {self.order} | {self.road} | {self.verdict} | {residual} | {1e3 * self.seconds:.2f} |"
                f" {peer} | {why} |")


def geometric_mean(ratios):
    return math.exp(sum(map(math.log, ratios)) / len(ratios)) if ratios else math.nan


def print_classes(rows):
    print("| class | matrices | accurate | others solve | of these own | ratio, 2 ms or more | above 2 | smaller ones |")
    print("|---|---|---|---|---|---|---|---|")
    kinds = defaultdict(list)
    for row in rows:
        kinds[row.kind].append(row)
    for kind, members in [*sorted(kinds.items()), ("all", rows)]:
        solved = [row for row in members if row.peer]
        both = [row for row in solved if row.is_exact()]
        large = [row.ratio for row in both if row.seconds >= TOLD_SECONDS]
        small = [row.ratio for row in both if row.seconds < TOLD_SECONDS]
        print(f"| {kind} | {len(members)} | {sum(row.verdict == 'accurate' for row in members)} | {len(solved)} | {len(both)} |"
              f" {geometric_mean(large):.2f} | {sum(row.is_slow(2.0) for row in both)} | {geometric_mean(small):.2f} |")


def print_rows(rows):
    print("\n| matrix | n | road | verdict | backward error | own ms | best other | ms | ratio | why |")
    print("|---|---|---|---|---|---|---|---|---|---|")
    for row in rows:
        print(row.text())


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--runs", required=True)
    parser.add_argument("--own")
    parser.add_argument("--other")
    parser.add_argument("--threads", type=int, default=1)
    parser.add_argument("--repeat", type=int, default=3)
    parser.add_argument("--all", action="store_true")
    parser.add_argument("cases", nargs="*")
    options = parser.parse_args()
    if options.cases and not (options.own and options.other):
        parser.error("cases need --own and --other")

    for case in options.cases:
        with open(options.runs, "a", encoding="utf-8") as log:
            log.write(json.dumps(run_case(case, options)) + "\n")
    with open(options.runs, encoding="utf-8") as log:
        rows = [Row(json.loads(line)) for line in log]
    rows = sorted((row for row in rows if row.told or row.peer), key=lambda row: (row.kind, row.matrix.lower()))
    print_classes(rows)
    print_rows([row for row in rows if options.all or row.verdict != "accurate" or row.is_missed() or row.is_slow(TOLD_RATIO)])


if __name__ == "__main__":
    main()
