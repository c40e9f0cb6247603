#pragma once
// Truncated SVD by ARPACK (symmetric Lanczos on A'*A, implicit restarts) and by Spectra's PartialSVDSolver.

#include <lintrix/lintrix.h>

#include <Eigen/SparseCore>
#include <Spectra/contrib/PartialSVDSolver.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

extern "C" {
void dsaupd_(int* ido, const char* bmat, const int* n, const char* which, const int* nev, const double* tol,
             double* resid, const int* ncv, double* v, const int* ldv, int* iparam, int* ipntr, double* workd,
             double* workl, const int* lworkl, int* info, std::size_t, std::size_t);
void dseupd_(const int* rvec, const char* howmny, int* select, double* d, double* z, const int* ldz,
             const double* sigma, const char* bmat, const int* n, const char* which, const int* nev,
             const double* tol, double* resid, const int* ncv, double* v, const int* ldv, int* iparam,
             int* ipntr, double* workd, double* workl, const int* lworkl, int* info, std::size_t, std::size_t,
             std::size_t);
}

namespace Velmar::Lintrix::bench {

using Rows = ::Eigen::SparseMatrix<double, ::Eigen::RowMajor>;

struct Decomposition {
    ::Eigen::MatrixXd U, V;
    ::Eigen::VectorXd s;
    int steps = 0; ///< of Lanczos without restarts
};

struct Task {
    SparseMatrix A;
    Rows rows, transposed; ///< the same for the peers
    int k;
    double tolerance;

    bool tall() const { return A.Rows() >= A.Cols(); }
    int smallerSide() const { return std::min(A.Rows(), A.Cols()); }
    /// The size of the restarted space: its usual choice.
    int space() const { return std::min(smallerSide(), std::max(2 * k + 1, 20)); }
};

inline Rows rowsOf(const SparseMatrix& A)
{
    std::vector<::Eigen::Triplet<double>> elements;
    const auto pointers = A.RowPointers();
    for (int r = 0; r < A.Rows(); ++r) {
        for (int p = pointers[static_cast<std::size_t>(r)] - 1;
             p < pointers[static_cast<std::size_t>(r) + 1] - 1; ++p) {
            elements.emplace_back(r, A.ColumnIndices()[static_cast<std::size_t>(p)] - 1,
                                  A.Values()[static_cast<std::size_t>(p)]);
        }
    }
    Rows rows(A.Rows(), A.Cols());
    rows.setFromTriplets(elements.begin(), elements.end());
    return rows;
}

inline std::optional<Decomposition> bySpectra(const Task& task)
{
    if (task.k >= task.space()) return std::nullopt;
    Spectra::PartialSVDSolver<Rows> svd(task.rows, task.k, task.space());
    if (svd.compute(1000, task.tolerance) < task.k) return std::nullopt;
    return Decomposition{svd.matrix_U(task.k), svd.matrix_V(task.k), svd.singular_values(), 0};
}

// The symmetric eigenproblem of B'*B, where B is A or its transpose, whichever is tall.
inline std::optional<Decomposition> byArpack(const Task& task)
{
    if (task.k >= task.space()) return std::nullopt;
    const Rows &B = task.tall() ? task.rows : task.transposed,
               &Bt = task.tall() ? task.transposed : task.rows;
    const int n = task.smallerSide(), space = task.space(), k = task.k, lengthOfWork = space * (space + 8);
    ::Eigen::VectorXd residual(n), work(3 * n), small(lengthOfWork), image(B.rows()), values(k);
    ::Eigen::MatrixXd basis(n, space);
    int ido = 0, info = 0, parameters[11] = {1, 0, 10000, 1, 0, 0, 1}, pointers[14] = {};
    for (;;) {
        dsaupd_(&ido, "I", &n, "LM", &k, &task.tolerance, residual.data(), &space, basis.data(), &n,
                parameters, pointers, work.data(), small.data(), &lengthOfWork, &info, 1, 2);
        if (ido != 1 && ido != -1) break;
        image.noalias() = B * work.segment(pointers[0] - 1, n);
        work.segment(pointers[1] - 1, n).noalias() = Bt * image;
    }
    if (info != 0) return std::nullopt;
    std::vector<int> select(static_cast<std::size_t>(space));
    const int wanted = 1;
    const double shift = 0.0;
    dseupd_(&wanted, "A", select.data(), values.data(), basis.data(), &n, &shift, "I", &n, "LM", &k,
            &task.tolerance, residual.data(), &space, basis.data(), &n, parameters, pointers, work.data(),
            small.data(), &lengthOfWork, &info, 1, 1, 2);
    if (info != 0) return std::nullopt;
    Decomposition found;
    found.s = values.reverse().cwiseMax(0.0).cwiseSqrt();
    ::Eigen::MatrixXd narrow = basis.leftCols(k).rowwise().reverse();
    ::Eigen::MatrixXd wide = B * narrow * found.s.cwiseInverse().asDiagonal();
    found.U = task.tall() ? wide : narrow;
    found.V = task.tall() ? narrow : wide;
    return found;
}

inline double residualOf(const Task& task, const Decomposition& d)
{
    const ::Eigen::MatrixXd left = task.rows * d.V - d.U * d.s.asDiagonal(),
                            right = task.transposed * d.U - d.V * d.s.asDiagonal();
    return std::max(left.colwise().norm().maxCoeff(), right.colwise().norm().maxCoeff()) / d.s[0];
}

inline double leastOf(const std::vector<double>& seconds)
{
    return *std::min_element(seconds.begin(), seconds.end());
}

inline std::string nameOf(const std::string& file)
{
    const std::size_t begin = file.rfind('/') + 1;
    return file.substr(begin, file.find(".mtx", begin) - begin);
}

} // namespace Velmar::Lintrix::bench
