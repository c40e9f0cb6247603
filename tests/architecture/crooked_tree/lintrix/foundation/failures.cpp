#include <lintrix/dense/matrix.h>
