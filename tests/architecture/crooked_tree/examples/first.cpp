#include "lintrix/lintrix.h"
#include <lintrix/services/lapack.h>
