#include <lintrix/solvers/sparse_solver.h>
#include <lintrix/sparse/kernels/multiply.h>
