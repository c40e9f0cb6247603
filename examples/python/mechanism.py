"""Three masses in a chain that nothing holds: what is told of a matrix that is singular."""

import numpy as np
import scipy.sparse as sp

import lintrix

stiffness = sp.csr_matrix([[1.0, -1.0, 0.0], [-1.0, 2.0, -1.0], [0.0, -1.0, 1.0]])

# Forces in balance: many positions are in equilibrium, and the shortest vector of them is returned.
x, verdict = lintrix.solve(stiffness, [-1.0, 0.0, 1.0], check="none")
print(verdict.status, "-", verdict.reason)
print("positions", x.round(6) + 0.0)

# Forces that push the chain away.
try:
    lintrix.solve(stiffness, [1.0, 0.0, 0.0])
except lintrix.SolveError as failure:
    print(failure)

# One spring more, to the ground.
held = stiffness + sp.diags([1.0, 0.0, 0.0])
x, verdict = lintrix.solve(held, [1.0, 0.0, 0.0])
print(verdict.status, "- positions", x.round(6))
