#include <lintrix/dense/detail/sizes.h>
#include <lintrix/dense/matrix.h>
