#pragma once
#include <lintrix/engine/driver.h>
#include <lintrix/engine/pardiso.h>
#include <lintrix/services/threads.h>
