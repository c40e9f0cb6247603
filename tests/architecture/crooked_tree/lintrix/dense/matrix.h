#pragma once
#include <lintrix/decompositions/lu.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/services/threads.h>
