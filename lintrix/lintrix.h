#pragma once
/// @file
/// Everything that Lintrix offers.

#include <lintrix/decompositions/cholesky.h>
#include <lintrix/decompositions/lq.h>
#include <lintrix/decompositions/lu.h>
#include <lintrix/decompositions/qr.h>
#include <lintrix/decompositions/svd.h>
#include <lintrix/decompositions/sym_eigen.h>
#include <lintrix/dense/matrix.h>
#include <lintrix/dense/vector.h>
#include <lintrix/engine/pardiso.h>
#include <lintrix/foundation/archive.h>
#include <lintrix/foundation/archive_stream.h>
#include <lintrix/foundation/configuration.h>
#include <lintrix/foundation/number_format.h>
#include <lintrix/services/blas_identity.h>
#include <lintrix/services/buffer_pool.h>
#include <lintrix/services/system_allocator.h>
#include <lintrix/services/threads.h>
#include <lintrix/services/version.h>
#include <lintrix/solvers/sparse_solver.h>
#include <lintrix/sparse/file_format_exception.h>
#include <lintrix/sparse/matrix_market.h>
#include <lintrix/sparse/sparse_assembler.h>
#include <lintrix/sparse/sparse_matrix.h>
