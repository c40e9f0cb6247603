#include "module.h"

#include <lintrix/services/blas_identity.h>
#include <lintrix/services/threads.h>
#include <lintrix/services/version.h>

namespace {

pybind11::dict describedBlas()
{
    using namespace pybind11::literals;
    const auto blas = Velmar::Lintrix::DescribeBlas();
    return pybind11::dict("library"_a = blas.library, "file"_a = blas.file, "core"_a = blas.core,
                          "threading"_a = blas.threading, "threads"_a = blas.threads);
}

} // namespace

PYBIND11_MODULE(_lintrix, module)
{
    using namespace Velmar::Lintrix;
    module.doc() = "The native part of the package lintrix; its interface is that of the package.";
    python::bindFailures(module);
    python::bindMatrices(module);
    python::bindSystems(module);
    python::bindTruncatedSvd(module);
    python::bindMatrixMarket(module);
    module.def("version", &LibraryVersion);
    module.def("describe_blas", &describedBlas);
    module.def("num_threads", &MKL_Get_Max_Threads);
    module.def("set_num_threads", [](int threads) { MKL_Set_Num_Threads(threads); });
}
