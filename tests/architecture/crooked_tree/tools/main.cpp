#include "tools/reader.h"
#include <lintrix/dense/access.h>
#include <lintrix/dense/matrix.h>
