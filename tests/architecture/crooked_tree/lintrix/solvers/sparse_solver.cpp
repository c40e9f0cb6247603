#include <lintrix/engine/pardiso.h>
#include <lintrix/engine/params.h>
