#include "matrix.h"
