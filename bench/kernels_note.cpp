// Linked into every benchmark: a figure means little without the kernels that it was measured on.

#include <lintrix/services/blas_identity.h>

#include <cstdio>

namespace {

// On standard error, so that tables and JSON stay as they are.
const int told = [] {
    const auto blas = Velmar::Lintrix::DescribeBlas();
    const char* const gap = blas.coreNote.empty() ? "" : ", ";
    return std::fprintf(stderr, "BLAS kernels: %s%s%s\n", blas.core.c_str(), gap, blas.coreNote.c_str());
}();

} // namespace
