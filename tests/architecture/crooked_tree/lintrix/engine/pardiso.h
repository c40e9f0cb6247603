#pragma once
#include <lintrix/engine/call/handle.h>
