#include <lintrix/services/threads.h>
