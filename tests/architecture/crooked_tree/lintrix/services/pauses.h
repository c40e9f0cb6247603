#pragma once
#include <emmintrin.h>
inline void rest()
{
    _mm_pause();
}
