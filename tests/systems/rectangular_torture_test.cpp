// Seeded systems that are not square, each answer held against the pseudo-inverse in 113 bits.
// LINTRIX_TORTURE_DOSES sets how many doses, LINTRIX_TORTURE_FIRST which is the first.

#include <lintrix/lintrix.h>
#include <tests/systems/torture/exact_least_squares.h>
#include <tests/systems/torture/findings.h>
#include <tests/systems/torture/random_systems.h>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

constexpr int kSystems = 10; // of a dose

template <class Cell>
class RectangularTrial {
public:
    using M = detail::MatrixOf<Cell>;

    RectangularTrial(std::uint64_t seed, Findings& findings) : seed_(seed), cells_(seed), findings_(findings)
    {
    }

    void run()
    {
        ++findings_.systems;
        const Draft<Cell> A = drawn();
        rows_ = A.rows();
        cols_ = A.cols();
        isDense_ = cells_.whole(0, 3) == 0;
        LinearSystem<Cell> system = isDense_ ? LinearSystem<Cell>(A.dense()) : LinearSystem<Cell>(A.sparse());
        for (const TransposeMode op :
             {TransposeMode::NotTransposed, TransposeMode::Transposed, TransposeMode::ConjugateTransposed}) {
            op_ = op;
            exact_.emplace(quadOf(A.dense(), op));
            const M B = rightHands();
            try {
                judge(system.Solve(B, op), B);
            } catch (const std::exception& failure) {
                tell("g: raised", failure.what());
            }
        }
    }

private:
    /// Whole numbers, of full rank mostly; or with lines that are, or all but are, another twice; in whatever
    /// units.
    Draft<Cell> drawn()
    {
        DraftMaker<Cell> maker(cells_);
        const int shorter = cells_.whole(1, 24), longer = shorter + cells_.whole(1, 20);
        const bool tall = cells_.whole(0, 1) == 0;
        Draft<Cell> A =
            maker.unsymmetric(tall ? longer : shorter, tall ? shorter : longer, cells_.whole(0, 2) > 0);
        const int kind = cells_.whole(0, 7);
        if (kind < 2) repeat(A, tall, 0.0);
        if (kind > 5) repeat(A, tall, std::ldexp(1.0, -cells_.whole(4, 44)));
        if (cells_.whole(0, 3) == 0) maker.scale(A, 3, false, cells_.whole(0, 1) == 0, true);
        return A;
    }

    /// The last line along the shorter side becomes twice the first, or differs from that by what it was in
    /// the unit of `apart`.
    static void repeat(Draft<Cell>& A, bool tall, double apart)
    {
        const int last = (tall ? A.cols() : A.rows()) - 1;
        for (int k = 0; k < (tall ? A.rows() : A.cols()) && last > 0; ++k) {
            const int i = tall ? k : last, j = tall ? last : k;
            const bool isStored = tall ? A.isStored(k, 0) : A.isStored(0, k);
            const Cell first = isStored ? (tall ? A.at(k, 0) : A.at(0, k)) : Cell(),
                       own = apart > 0.0 && A.isStored(i, j) ? A.at(i, j) * apart : Cell();
            if (isStored || own != Cell())
                A.set(i, j, 2.0 * first + own);
            else
                A.remove(i, j);
        }
    }

    M rightHands()
    {
        const std::int32_t m = op_ == TransposeMode::NotTransposed ? rows_ : cols_;
        M B = cells_.matrix<Cell>(m, cells_.whole(1, 3));
        const int kind = cells_.whole(0, 9);
        for (std::int32_t i = 0; i < m; ++i) {
            if (kind == 0) B(i, 0) = Cell();
            if (kind == 1) B(i, 0) *= 1e-200;
            if (kind == 2) B(i, 0) *= 1e200;
        }
        return B;
    }

    void judge(const SystemAnswer<Cell>& answer, const M& B)
    {
        ++findings_.answers;
        told_ = joined(NameOf(answer.verdict), " [", answer.road, "] ", answer.reason);
        if (answer.verdict == Verdict::Accurate && exact_->isDeficient()) tell("f: deficient", "accurate");
        if (answer.verdict == Verdict::Accurate) ++findings_.accurate;
        const bool harmless = !exact_->isDeficient() && exact_->condition() < 1e3L;
        if (harmless && answer.verdict != Verdict::Accurate) tell("e: false failure", "");
        if (!answer.x) return;
        for (std::int32_t j = 0; j < B.Cols(); ++j) judgeColumn(answer, B, j);
    }

    void judgeColumn(const SystemAnswer<Cell>& answer, const M& B, std::int32_t j)
    {
        QuadVector b, x;
        for (std::int32_t i = 0; i < B.Rows(); ++i) b.emplace_back(B(i, j));
        for (std::int32_t i = 0; i < answer.x->Rows(); ++i) x.emplace_back((*answer.x)(i, j));
        const QuadVector solution = exact_->solve(b);
        const long double off = ExactLeastSquares::frobenius(difference(solution, x)),
                          size = ExactLeastSquares::frobenius(solution),
                          error = off == 0.0L ? 0.0L : off / size;
        const std::string numbers = joined("column ", j, " error ", error);
        if (answer.verdict == Verdict::Accurate && !(error <= kFewDigits)) tell("a: false success", numbers);
        if (!answer.columns.empty() && !exact_->isDeficient())
            judgeBound(answer.columns[static_cast<std::size_t>(j)],
                       off == 0.0L ? 0.0L : largest(difference(solution, x)) / largest(x), numbers);
        const bool isTold =
            answer.verdict == Verdict::Degraded && answer.reason.starts_with("rank-deficient");
        if (isTold && exact_->isDeficient() && exact_->condition() < 1e5L && !(error <= kFewDigits))
            tell("h: not the shortest", numbers);
        judgeNormalResidual(answer, b, x);
    }

    /// Of the largest element, as the solution is known.
    void judgeBound(const ColumnQuality& column, long double error, const std::string& numbers)
    {
        if (!column.errorBound || std::isnan(*column.errorBound)) return;
        ++findings_.bounds;
        if (*column.errorBound > 1e3 * static_cast<double>(error) + 1e-13) ++findings_.wideBounds;
        if (!(*column.errorBound * (1.0 + 1e-10) >= error))
            tell("b: bound", joined(numbers, " bound ", *column.errorBound));
    }

    /// Small where the answer is called accurate: what is told is the largest of the columns.
    void judgeNormalResidual(const SystemAnswer<Cell>& answer, const QuadVector& b, const QuadVector& x)
    {
        if (!answer.normalResidual || answer.verdict != Verdict::Accurate) return;
        const QuadVector r = exact_->residual(b, x);
        const long double left = ExactLeastSquares::frobenius(exact_->adjointTimes(r)),
                          scale = exact_->norm() * (exact_->norm() * ExactLeastSquares::frobenius(x) +
                                                    ExactLeastSquares::frobenius(b));
        if (left > 1e-12L * scale) tell("h: normal residual", joined(left / scale));
    }

    void tell(const std::string& promise, const std::string& text)
    {
        findings_.add(promise, joined(seed_, sizeof(Cell) == sizeof(double) ? " real " : " complex ",
                                      isDense_ ? "dense " : "", rows_, 'x', cols_, " rank ", exact_->rank(),
                                      " op=", static_cast<int>(op_), " cond=", exact_->condition(), ' ',
                                      told_, ": ", text));
    }

    std::uint64_t seed_;
    Cells cells_;
    Findings& findings_;
    std::int32_t rows_ = 0, cols_ = 0;
    bool isDense_ = false;
    TransposeMode op_{};
    std::optional<ExactLeastSquares> exact_{};
    std::string told_{};
};

TEST(RectangularTorture, NothingToldIsFalse)
{
    Findings findings;
    tortureSilently(kSystems, [&findings](std::uint64_t seed) {
        if (seed % 2 == 0)
            RectangularTrial<double>(seed, findings).run();
        else
            RectangularTrial<ComplexCell>(seed, findings).run();
    });
    expectNothingBroken(findings);
}

} // namespace
} // namespace Velmar::Lintrix::testing
