#include <lintrix/services/threads.h>
#include <lintrix/sparse/sparse_matrix.h>
