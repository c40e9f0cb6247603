#include <lintrix/engine/analysis/ordering/dissection.h>
#include <lintrix/engine/call/handle.h>
