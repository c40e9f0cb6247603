#include <lintrix/foundation/failures.h>
