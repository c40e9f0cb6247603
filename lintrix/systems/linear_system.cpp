#include <lintrix/systems/linear_system.h>

#include <lintrix/complex/access.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/foundation/memory_shortage.h>
#include <lintrix/systems/saved_system.h>
#include <lintrix/systems/session.h>

#include <utility>

namespace Velmar::Lintrix {

template <class Cell>
LinearSystem<Cell>::LinearSystem(const Sparse& A, SystemOptions options)
    : session_(detail::tellingShortage([&] { return detail::sparseSession<Cell>(A, std::move(options)); }))
{
}

template <class Cell>
LinearSystem<Cell>::LinearSystem(Sparse&& A, SystemOptions options)
    : session_(detail::tellingShortage(
          [&] { return detail::sparseSession<Cell>(std::move(A), std::move(options)); }))
{
}

template <class Cell>
LinearSystem<Cell>::LinearSystem(M A, SystemOptions options)
    : session_(detail::tellingShortage(
          [&] { return detail::denseSession<Cell>(std::move(A), std::move(options)); }))
{
}

template <class Cell>
LinearSystem<Cell>::LinearSystem(std::unique_ptr<detail::SystemSession<Cell>> session)
    : session_(std::move(session))
{
}

template <class Cell>
LinearSystem<Cell> LinearSystem<Cell>::Load(const std::string& path, SystemOptions options)
{
    return detail::tellingShortage([&] {
        const detail::RunWatch watch(options);
        const detail::ControlledRun run(watch);
        SectionReader file;
        detail::openSaved<Cell>(path, file);
        LinearSystem loaded(detail::loadedSession<Cell>(file, std::move(options)));
        detail::requireWhole(file.End());
        return loaded;
    });
}

template <class Cell>
void LinearSystem<Cell>::Save(const std::string& path) const
{
    const auto* const sparse = dynamic_cast<const detail::SparseSession<Cell>*>(session_.get());
    if (!sparse) throw InvalidOperationException("Only square sparse systems can be saved.");
    detail::tellingShortage([&] {
        const detail::ControlledRun run(sparse->watch());
        detail::writeSaved<Cell>(path, [&](SectionWriter& file) { sparse->save(file); });
    });
}

template <class Cell>
LinearSystem<Cell>::LinearSystem(LinearSystem&&) noexcept = default;
template <class Cell>
LinearSystem<Cell>& LinearSystem<Cell>::operator=(LinearSystem&&) noexcept = default;
template <class Cell>
LinearSystem<Cell>::~LinearSystem() = default;

template <class Cell>
std::int32_t LinearSystem<Cell>::Rows() const noexcept
{
    return session_->rows();
}

template <class Cell>
std::int32_t LinearSystem<Cell>::Cols() const noexcept
{
    return session_->cols();
}

template <class Cell>
const MatrixTraits& LinearSystem<Cell>::Traits() const noexcept
{
    return session_->traits();
}

template <class Cell>
void LinearSystem<Cell>::Limits(const RunLimits& limits)
{
    detail::tellingShortage([&] { session_->limits(limits); });
}

template <class Cell>
SystemForecast LinearSystem<Cell>::Forecast()
{
    return detail::tellingShortage([&] { return session_->forecast(); });
}

template <class Cell>
Verdict LinearSystem<Cell>::Factorize()
{
    return detail::tellingShortage(
        [&] { return session_->solve(nullptr, nullptr, TransposeMode::NotTransposed).verdict; });
}

template <class Cell>
SystemAnswer<Cell> LinearSystem<Cell>::Solve(const M& B, TransposeMode op)
{
    return detail::tellingShortage([&] { return session_->solve(&B, nullptr, op); });
}

template <class Cell>
SystemAnswer<Cell> LinearSystem<Cell>::Solve(const V& b, TransposeMode op)
{
    return Solve(detail::AccessTo<Cell>::copyOf(detail::AccessTo<Cell>::cells(b), b.Length(), 1), op);
}

template <class Cell>
SystemAnswer<Cell> LinearSystem<Cell>::SolveKnown(const M& known, TransposeMode op)
{
    return detail::tellingShortage([&] { return session_->solve(nullptr, &known, op); });
}

template <class Cell>
SystemChange LinearSystem<Cell>::Update(const Sparse& A)
{
    auto* const sparse = dynamic_cast<detail::SparseSession<Cell>*>(session_.get());
    if (!sparse) throw InvalidOperationException("Only square sparse systems can be updated.");
    return detail::tellingShortage([&] { return sparse->update(A); });
}

template <class Cell>
std::int32_t LinearSystem<Cell>::Analyses() const
{
    return session_->analyses();
}

template <class Cell>
std::int32_t LinearSystem<Cell>::Factorizations() const
{
    return session_->factorizations();
}

template class LinearSystem<double>;
template class LinearSystem<std::complex<double>>;

} // namespace Velmar::Lintrix
