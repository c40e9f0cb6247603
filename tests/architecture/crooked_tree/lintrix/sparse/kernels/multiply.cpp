#include <lintrix/sparse/sparse_matrix.h>
#include <lintrix/services/threads.h>
