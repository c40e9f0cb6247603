#include <lintrix/engine/call/handle.h>
