#pragma once
/// @file
/// What stands behind a `LinearSystem`: a matrix, and what has been found out about it.

#include <lintrix/foundation/failures.h>
#include <lintrix/services/section_file.h>
#include <lintrix/systems/linear_system.h>
#include <lintrix/systems/roads/words.h>
#include <lintrix/systems/run_control.h>
#include <lintrix/systems/structure/non_finite.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace Velmar::Lintrix::detail {

template <class Cell>
class SystemSession {
public:
    using M = MatrixOf<Cell>;

    explicit SystemSession(const SystemOptions& options) : watch_(options) {}
    SystemSession(const SystemSession&) = delete;
    SystemSession& operator=(const SystemSession&) = delete;
    virtual ~SystemSession() = default;

    void limits(const RunLimits& limits) { watch_.limits(limits); }
    const RunWatch& watch() const noexcept { return watch_; }

    virtual std::int32_t rows() const = 0;
    virtual std::int32_t cols() const = 0;
    virtual const MatrixTraits& traits() const noexcept = 0;
    virtual SystemForecast forecast() = 0;
    /// `given` or `known` columns, or neither: the probe alone.
    /// @throws SizeMismatchException  before anything else
    virtual SystemAnswer<Cell> solve(const M* given, const M* known, TransposeMode op) = 0;
    virtual std::int32_t analyses() const = 0;
    virtual std::int32_t factorizations() const = 0;

protected:
    static void requireSizes(const M* given, const M* known, TransposeMode op, std::int32_t rows,
                             std::int32_t cols)
    {
        if (op != TransposeMode::NotTransposed) std::swap(rows, cols);
        if ((given && given->Rows() != rows) || (known && known->Rows() != cols))
            throw SizeMismatchException();
        const std::int32_t columns = std::max(given ? given->Cols() : 0, known ? known->Cols() : 0);
        requireRoom(std::max(rows, cols), columns);
    }

    RunWatch watch_;

    /// In place of an answer where A has elements that are no numbers: no road is taken with them.
    static std::optional<SystemAnswer<Cell>> refusalOf(const AnyMatrix<Cell>& A)
    {
        const NonFinite elements = nonFiniteElements(A);
        if (elements.count == 0) return std::nullopt;
        SystemAnswer<Cell> answer{.reason = "the matrix is not finite"};
        answer.complaint = roads::complaintOf(answer.reason);
        answer.faults = MatrixFaults([elements](std::int32_t first) { return explain(elements, first); });
        answer.road = "nothing";
        return answer;
    }

private:
    /// A dense block counts its elements in 32 bits, and a probe stands beside the columns.
    static void requireRoom(std::int32_t rows, std::int32_t columns)
    {
        constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
        if (rows * (std::int64_t{columns} + 1) <= kMost) return;
        throw NotSupportedException(std::to_string(columns) + " columns of " + std::to_string(rows) +
                                    " elements and one more are too many: a matrix holds at most " +
                                    std::to_string(kMost) + " elements.");
    }
};

template <class Cell>
class SparseSession : public SystemSession<Cell> {
public:
    using SystemSession<Cell>::SystemSession;
    virtual SystemChange update(const SparseOf<Cell>& A) = 0;
    virtual void save(SectionWriter& file) const = 0;
};

/// @throws as the constructor of `LinearSystem`
template <class Cell>
std::unique_ptr<SystemSession<Cell>> sparseSession(SparseOf<Cell>&& A, SystemOptions options);
template <class Cell>
std::unique_ptr<SystemSession<Cell>> sparseSession(const SparseOf<Cell>& A, SystemOptions options);
/// What `SparseSession::save` has added to a file. @throws as `LinearSystem::Load`
template <class Cell>
std::unique_ptr<SystemSession<Cell>> loadedSession(SectionReader& file, SystemOptions options);
template <class Cell>
std::unique_ptr<SystemSession<Cell>> rectangularSession(SparseOf<Cell> A, SystemOptions options);
template <class Cell>
std::unique_ptr<SystemSession<Cell>> denseSession(MatrixOf<Cell> A, SystemOptions options);

} // namespace Velmar::Lintrix::detail
