"""A bar whose conductivity depends on its temperature: one analysis, a factor for each step of the iteration."""

import numpy as np
import scipy.sparse as sp

import lintrix

N = 200


def conductances(u):
    """Between neighbours, with u = 0 on the left and u = 1 on the right of the bar."""
    whole = np.concatenate([[0.0], u, [1.0]])
    return 1.0 + 2.0 * (whole[:-1] + whole[1:]) / 2.0


def matrix(k):
    return sp.diags([-k[1:-1], k[:-1] + k[1:], -k[1:-1]], [-1, 0, 1], format="csr")


u = np.linspace(0.0, 1.0, N + 2)[1:-1]
system = None
for step in range(1, 50):
    k = conductances(u)
    if system is None:
        system = lintrix.LinearSystem(matrix(k))
    else:
        system.update(matrix(k))
    load = np.zeros(N)
    load[-1] = k[-1]
    new, verdict = system.solve(load)
    change, u = np.abs(new - u).max(), new
    if change < 1e-12:
        break

# u + u^2 rises evenly from 0 to 2
exact = -0.5 + np.sqrt(0.25 + 2.0 * np.linspace(0.0, 1.0, N + 2)[1:-1])
print(f"converged: {change < 1e-12}, {verdict.status} by {verdict.road}")
print(f"analyses: {system.analyses}, one factorization a step: {system.factorizations == step}")
print(f"error below 1e-10: {np.abs(u - exact).max() < 1e-10}")
