#include <lintrix/dense/access.h>
#include <lintrix/dense/matrix.h>
#include "tools/reader.h"
