// Sparse least squares and least norm beside Eigen's SparseQR and LeastSquaresConjugateGradient, in turn in
// one process:
//
//     least_squares_bench [--runs 3] [--without-qr] FILE.mtx.gz ...
//
// A Markdown row for each file: own seconds, those of the analysis among them, the method, ||r|| and the
// normal residual ||A'*r|| / (||A|| ||r||), the rank told; then seconds and residuals of the peers. b is
// uniform in [-1, 1]. SparseQR of a wide A is that of A', its R solved with the leading rank columns, which
// of a deficient A and this b is no least squares solution. The iteration stops at 1e-14, or after 20000
// steps.

#include <lintrix/lintrix.h>
#include <lintrix/sparse/access.h>
#include <lintrix/systems/least_squares/least_squares.h>

#include <Eigen/IterativeLinearSolvers>
#include <Eigen/SparseCore>
#include <Eigen/SparseQR>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::detail;
using Columns = ::Eigen::SparseMatrix<double>;

template <class Work>
double secondsOf(Work work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

Columns columnsOf(const RowsView<double>& A)
{
    std::vector<::Eigen::Triplet<double>> entries;
    for (int i = 0; i < A.rows; ++i) {
        for (int k = A.ia[i] - 1; k < A.ia[i + 1] - 1; ++k) entries.emplace_back(i, A.ja[k] - 1, A.a[k]);
    }
    Columns result(A.rows, A.cols);
    result.setFromTriplets(entries.begin(), entries.end());
    return result;
}

struct Side {
    double seconds = HUGE_VAL, residual = 0.0, normalResidual = 0.0;

    void judge(const Columns& A, const ::Eigen::VectorXd& b, const ::Eigen::VectorXd& x)
    {
        const ::Eigen::VectorXd r = b - A * x;
        residual = r.norm();
        normalResidual = residual > 0.0 ? (A.transpose() * r).norm() / (A.norm() * residual) : 0.0;
    }
};

::Eigen::VectorXd byOrthogonalFactors(const Columns& A, const ::Eigen::VectorXd& b)
{
    const bool wide = A.rows() < A.cols();
    const Columns M = wide ? Columns(A.transpose()) : A;
    ::Eigen::SparseQR<Columns, ::Eigen::COLAMDOrdering<int>> qr(M);
    if (!wide) return qr.solve(b);
    const ::Eigen::Index rank = qr.rank();
    const Columns R = qr.matrixR().topLeftCorner(rank, rank);
    ::Eigen::VectorXd y = ::Eigen::VectorXd::Zero(A.cols());
    const ::Eigen::VectorXd ordered = qr.colsPermutation().transpose() * b;
    y.head(rank) =
        R.triangularView<::Eigen::Upper>().transpose().solve(::Eigen::VectorXd(ordered.head(rank)));
    return qr.matrixQ() * y;
}

::Eigen::VectorXd byIteration(const Columns& A, const ::Eigen::VectorXd& b)
{
    ::Eigen::LeastSquaresConjugateGradient<Columns> solver;
    solver.setTolerance(1e-14);
    solver.setMaxIterations(20000);
    solver.compute(A);
    return solver.solve(b);
}

void compare(const std::string& file, int runs, bool withFactors)
{
    const SparseMatrix matrix = ReadMatrixMarket(file);
    const RowsView<double> view{matrix.Rows(), matrix.Cols(), SparseAccess::values(matrix),
                                SparseAccess::rowPointers(matrix), SparseAccess::columns(matrix)};
    const Columns A = columnsOf(view);
    std::mt19937_64 generator(7);
    ::Eigen::VectorXd b(A.rows()), x;
    for (double& cell : b) cell = static_cast<double>(generator() >> 11) * 0x1p-52 - 1.0;
    Side own, factors, iteration;
    double analysis = 0.0;
    LeastSquaresAnswer<double> answer;
    LeastSquaresRank rank;
    for (int run = 0; run < runs; ++run) {
        own.seconds = std::min(own.seconds, secondsOf([&] {
                                   LeastSquares<double> system(view);
                                   answer = system.solve(b.data());
                                   rank = system.rank();
                               }));
        analysis = secondsOf([&] { LeastSquares<double> system(view); });
        iteration.seconds = std::min(iteration.seconds, secondsOf([&] { x = byIteration(A, b); }));
        iteration.judge(A, b, x);
        if (!withFactors) continue;
        factors.seconds = std::min(factors.seconds, secondsOf([&] { x = byOrthogonalFactors(A, b); }));
        factors.judge(A, b, x);
    }
    own.judge(A, b, ::Eigen::Map<const ::Eigen::VectorXd>(answer.x.data(), A.cols()));
    const std::string told = rank.deficient ? "deficient by " + std::to_string(rank.small) : "full";
    std::printf("| %s | %d x %d | %s | %.4f | %.4f | %.2e | %.1e | %s | ",
                file.substr(file.rfind('/') + 1).c_str(), view.rows, view.cols,
                std::string(nameOf(answer.method)).c_str(), own.seconds, analysis, own.residual,
                own.normalResidual, told.c_str());
    for (const Side& side : {factors, iteration}) {
        if (std::isinf(side.seconds))
            std::printf("- | - | - | ");
        else
            std::printf("%.4f | %.2e | %.1e | ", side.seconds, side.residual, side.normalResidual);
    }
    std::printf("\n");
    std::fflush(stdout);
}

} // namespace

int main(int count, char** words)
{
    int runs = 3;
    bool withFactors = true;
    std::printf(
        "| matrix | size | method | own s | analysis s | r | normal residual | rank | SparseQR s | r | "
        "normal residual | LSCG s | r | normal residual |\n|---|---|---|---|---|---|---|---|---|---|---|"
        "---|---|---|\n");
    for (int i = 1; i < count; ++i) {
        const std::string_view word = words[i];
        if (word == "--runs" && i + 1 < count)
            runs = std::atoi(words[++i]);
        else if (word == "--without-qr")
            withFactors = false;
        else
            compare(words[i], runs, withFactors);
    }
}
