#pragma once
/// @file
/// Everything that Lintrix offers.

#include <lintrix/decompositions/lq.h>
#include <lintrix/decompositions/lu.h>
#include <lintrix/decompositions/qr.h>
#include <lintrix/dense/matrix.h>
#include <lintrix/dense/vector.h>
#include <lintrix/foundation/configuration.h>
#include <lintrix/services/blas_identity.h>
#include <lintrix/services/buffer_pool.h>
#include <lintrix/services/system_allocator.h>
#include <lintrix/services/threads.h>
#include <lintrix/services/version.h>
