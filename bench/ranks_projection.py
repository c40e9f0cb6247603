#!/usr/bin/env python3
"""Seconds of a factorization on many ranks, projected: the table of docs/distributed.md, which tells the model.

usage: ranks_projection.py --rate OPERATIONS --bytes BANDWIDTH --latency SECONDS [--ranks 1 2 4 16 64] [K ...]

Of the grid K x K x K with seven points a row, in rates of one rank and between two of them.
"""
import argparse
import math

BLOCK = 128   # pivots between two exchanges of a front


def seconds(k, ranks, rate, bandwidth, latency):
    """Along the tree: fronts are shared out, and where there are more ranks than fronts, several work on one."""
    total = 0.0
    level = 0
    while (pivots := k**2 * 2 ** (-2 * level / 3)) >= 1:
        fronts = 2**level
        operations = ((3 * pivots) ** 3 - (2 * pivots) ** 3) / 3
        on_one = max(1.0, ranks / fronts)
        in_turn = max(1.0, fronts / ranks)
        total += in_turn * operations / on_one / rate
        if on_one > 1:
            steps = math.log2(on_one)
            words = 6 * pivots**2 * steps / math.sqrt(on_one)
            total += 8 * words / bandwidth + 2 * steps * math.ceil(pivots / BLOCK) * latency
        level += 1
    return total


def in_words(value):
    digits = max(0, 1 - math.floor(math.log10(value)))
    return f"{round(value, digits - (value >= 100)):.{digits}f} s"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--rate", type=float, required=True)
    parser.add_argument("--bytes", type=float, required=True)
    parser.add_argument("--latency", type=float, required=True)
    parser.add_argument("--ranks", type=int, nargs="+", default=[1, 2, 4, 16, 64])
    parser.add_argument("sides", type=int, nargs="*", default=[40, 60, 100, 150, 200], metavar="K")
    options = parser.parse_args()

    print("| k | rows | " + " | ".join(str(ranks) for ranks in options.ranks) + " |")
    print("|---" * (len(options.ranks) + 2) + "|")
    for k in options.sides:
        times = [seconds(k, ranks, options.rate, options.bytes, options.latency) for ranks in options.ranks]
        print(f"| {k} | {k**3} | " + " | ".join(map(in_words, times)) + " |")


if __name__ == "__main__":
    main()
