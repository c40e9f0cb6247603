#include <lintrix/dense/matrix.h>
#include <lintrix/engine/params.h>
