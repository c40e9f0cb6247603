#pragma once
// Analyses of one matrix by the sparse direct solver, one ordering after another.

#include <tools/support/pattern.h>

#include <lintrix/lintrix.h>

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace Velmar::Lintrix::tools {

/// A way to order the equations: its name on the command line, in the report, and the solver's settings.
struct OrderingMethod {
    std::string_view name;
    std::string_view title;
    int ordering;            ///< PardisoParameter::Ordering
    bool asItStands = false; ///< the order of the file
};

std::span<const OrderingMethod> orderingMethods();

/// What one ordering led to.
struct OrderingResult {
    const OrderingMethod* method = nullptr;
    int error = 0;                            ///< the solver's; 0: all else is known
    AnalysisSummary summary{};                ///<
    std::int32_t analysisKilobytes = 0;       ///< at its peak
    std::int32_t keptKilobytes = 0;           ///<
    std::int32_t factorKilobytes = 0;         ///< one factor, and the work on it and with it
    std::int32_t inCoreMegabytes = 0;         ///< in all, with one factor in memory
    std::int32_t leastOutOfCoreMegabytes = 0; ///< at least, with factors in files
};

std::string_view errorInWords(int error);

/// A matrix and the solver's handle for it.
class SystemAnalysis {
public:
    /// The arrays of `matrix` must outlive the analysis.
    explicit SystemAnalysis(const EngineMatrix& matrix);
    ~SystemAnalysis();
    SystemAnalysis(const SystemAnalysis&) = delete;
    SystemAnalysis& operator=(const SystemAnalysis&) = delete;

    /// What came before is gone. A pattern without a perfect matching is analysed without one.
    OrderingResult order(const OrderingMethod& method);

    /// Nothing when the type asks for none, or nothing was ordered yet.
    const std::optional<MatchingSummary>& matching() const noexcept { return matching_; }
    bool isSingular() const noexcept { return matching_ && matching_->matched < matrix_.n; }
    const EngineMatrix& matrix() const noexcept { return matrix_; }
    /// The pattern of the factor that the last ordering led to: L, and for unsymmetric types U with it.
    PatternGrid factorPattern(int side) const;

private:
    int call(int phase, const OrderingMethod& method);

    EngineMatrix matrix_;
    std::optional<MatchingSummary> matching_;
    std::array<void*, 64> pt_{};
    std::array<int, PardisoParameters::kSlots> slots_{};
    PardisoParameters parameters_{slots_.data()};
    std::vector<int> natural_; ///< 1, ..., n
};

} // namespace Velmar::Lintrix::tools
