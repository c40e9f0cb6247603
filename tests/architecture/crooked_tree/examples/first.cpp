#include <lintrix/services/lapack.h>
#include "lintrix/lintrix.h"
