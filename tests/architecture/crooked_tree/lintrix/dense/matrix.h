#include <lintrix/decompositions/lu.h>
#include <lintrix/services/threads.h>
#include <lintrix/foundation/failures.h>
