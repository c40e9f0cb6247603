"""Solves a system, and tells on which libraries."""

import lintrix

print("x =", *lintrix.solve([[2.0, 0.0], [0.0, 4.0]], [2.0, 8.0])[0])
print("BLAS =", lintrix.describe_blas()["file"])
with open("/proc/self/maps") as maps:
    print("library =", next(line.split(maxsplit=5)[-1].strip() for line in maps if "liblintrix" in line))
