#include <lintrix/sparse/kernels/multiply.h>
#include <lintrix/solvers/sparse_solver.h>
