#include <tools/solve/road.h>
#include <tools/support/text.h>
