#include <lintrix/dense/matrix.h>
#include <lintrix/dense/detail/sizes.h>
