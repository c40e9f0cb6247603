#pragma once
/// @file
/// A symmetric or Hermitian matrix that owns its upper triangle, and its factor by the sparse engine.

#include <lintrix/foundation/enumerations.h>
#include <lintrix/solvers/detail/engine_session.h>

#include <complex>
#include <cstdint>
#include <optional>
#include <vector>

namespace Velmar::Lintrix::detail {

/// What a factorization takes, as its analysis tells it.
struct FactorForecast {
    std::int64_t entries = 0; ///< of L, diagonal included
    double operations = 0.0;  ///< of one factorization
    double bytes = 0.0;       ///< of analysis, factor and solve
};

/// How the engine goes about the matrix.
enum class FactorKind {
    Definite,   ///< Cholesky
    Indefinite, ///< L*D*L^H with pivots of one and two columns, as the order stands
};

/// The one-based upper triangle, each row from its diagonal on; the values may change between factorizations.
template <class Cell>
class SymmetricFactor {
public:
    std::vector<Cell> a;
    std::vector<std::int32_t> ia, ja;

    /// In the order of minimum degree, and where that makes much work, of nested dissection if it makes less.
    /// @return whether the engine could; false without memory for it, too
    bool analyse(FactorKind kind);
    /// Of the values as they stand, as either kind, whichever the analysis was of.
    bool factorize(FactorKind kind);
    /// x = K^-1 b, without refinement. @return whether the engine could
    bool solve(const Cell* b, Cell* x);

    std::int32_t order() const noexcept { return static_cast<std::int32_t>(ia.size()) - 1; }
    const FactorForecast& forecast() const noexcept { return forecast_; }
    std::int32_t negativePivots() const;

private:
    /// A handle with its analysis.
    struct Analysed {
        EngineSession session;
        FactorForecast forecast;
    };
    std::optional<Analysed> analysedInOrder(FactorKind kind, FillInReducingMethod ordering);
    static bool call(EngineSession& session, std::int32_t phase, double operations, const Cell* b = nullptr,
                     Cell* x = nullptr);

    std::optional<EngineSession> session_;
    FactorForecast forecast_;
};

extern template class SymmetricFactor<double>;
extern template class SymmetricFactor<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
