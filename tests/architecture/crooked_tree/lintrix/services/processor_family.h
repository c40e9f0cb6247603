#pragma once
#if defined(__x86_64__)
#include <cpuid.h>
#endif
