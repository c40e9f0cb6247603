#include <lintrix/engine/params.h>
#include <lintrix/engine/pardiso.h>
