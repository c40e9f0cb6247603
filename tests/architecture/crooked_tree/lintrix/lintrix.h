#pragma once
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/dense/matrix.h>
#include <lintrix/engine/pardiso.h>
