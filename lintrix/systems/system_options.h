#pragma once
/// @file
/// What a caller may decide of the way a linear system is solved; each has a default that serves.

#include <lintrix/engine/out_of_core_configuration.h>
#include <lintrix/foundation/enumerations.h>
#include <lintrix/services/export.h>
#include <lintrix/services/memory_limit.h>
#include <lintrix/services/threads.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

namespace Velmar::Lintrix {

/// "minimum degree", "nested dissection", "parallel nested dissection".
LINTRIX_EXPORT std::string_view NameOf(FillInReducingMethod ordering) noexcept;

/// Of the direct solver for sparse matrices.
struct EngineSettings {
    FactorizationStrategy strategy = FactorizationStrategy::ComputeAlways;
    std::int32_t refine = 0; ///< at most so many steps; below 0 with residuals in extended precision
    bool engineReport = false;
};

/// When a phase of a `LinearSystem` has to end before it is done. Both are looked at each few milliseconds,
/// and between the panels of a factor, dense or sparse. What one call of another library does is done to its
/// end: an order by "parallel nested dissection" (about 1 s for 10^6 neighbours in the graph), QR or LQ of a
/// dense matrix that is not square, and bringing a saved file to the disk.
struct RunLimits {
    std::stop_token stop{};
    std::optional<std::chrono::steady_clock::time_point> deadline{};
};

/// Where a factor is kept.
enum class FactorStore { Memory, Files };

/// How files of a factor can fail.
enum class FileFault {
    SmallCore,      ///< the memory beside them is too small
    NotOpened,      ///< one cannot be made or opened
    NotTransferred, ///< one cannot be written or read
};

/// Where the files of a factor stand, for as long as this lives. The one here changes nothing: files go where
/// the variables of the environment or the configuration file say (see `ReadOutOfCoreConfiguration`), else
/// where `pardiso` puts them.
class LINTRIX_EXPORT FactorPlace {
public:
    FactorPlace() = default;
    FactorPlace(const FactorPlace&) = delete;
    FactorPlace& operator=(const FactorPlace&) = delete;
    virtual ~FactorPlace() = default;

    /// What holds where the user has said nothing.
    virtual OutOfCoreConfiguration Defaults() const { return {}; }
    /// Of memory that is used beside the files.
    virtual int CoreMegabytes() const;
    /// What is wrong, in words; `least` are the megabytes that are needed at least.
    virtual std::string Fault(FileFault fault, int least) const;
};

/// What the user's variables or configuration file say stands. Else the files are in a folder of their own,
/// below the one that TMPDIR names or /var/tmp, which goes with this object, and is left where a signal ends
/// the process; the core has three quarters of the bytes that are left; and files go with their factor. Who
/// wants them kept and does not say where finds them where `pardiso` puts them.
class LINTRIX_EXPORT FactorFolder : public FactorPlace {
public:
    /// @throws OperationFailedException  "No folder for the factor can be made in /var/tmp: ...", also where
    /// its
    ///                                   name is too long
    explicit FactorFolder(double left);
    ~FactorFolder() override;

    OutOfCoreConfiguration Defaults() const override { return defaults_; }
    int CoreMegabytes() const override;
    /// Empty: there is none of our own.
    const std::string& Name() const noexcept { return name_; }

private:
    void make();

    OutOfCoreConfiguration defaults_{};
    std::string name_;
    std::int64_t owner_; ///< the process: a child of a fork leaves the folder alone
};

struct SystemOptions {
    std::optional<MatrixType> type{};               ///< none: as the values suggest
    std::optional<FillInReducingMethod> ordering{}; ///< none: what takes less time in all
    EngineSettings engine{};
    /// Right-hand sides whose error is bounded, those with the largest backward errors first; a few solves of
    /// all. Where the matrix is not square all of them are, with one to three solves for each. 0: none, and
    /// the verdict rests on residual and probe; no condition and no inertia is told either.
    std::int32_t errorBounds = 4;
    /// Where the factor at hand leaves signs of eigenvalues uncertain: factorize shifted matrices for them,
    /// whose factorization takes up to about a second, up to six. Else only where that takes milliseconds.
    bool certainInertia = false;
    /// After an `Update` with other values: the factor at hand preconditions GMRES as long as that leads to
    /// rounding level for at most half the cost of a new factor. Errors are then bounded by the probe alone.
    bool reuseFactor = false;
    /// The same bits for any number of threads (see `SameBitsScope`); of a system whose every phase has it.
    bool sameBits = false;
    bool outOfCore = false; ///< the factor in files; else only where memory has no room for it
    /// Bytes of all that the system holds, its copy of the matrix and right-hand sides among it; none: what
    /// the machine leaves. By the forecast, factorization and solve stay within it, with the factor in files
    /// where it has no room in memory; what takes more is not begun. An analysis takes what it takes.
    std::optional<double> memoryBudget{};
    /// Bytes that may be taken from now on. Where nobody tells, the system does, and is asked only if more
    /// than 4 MB are needed: its answer takes longer than a small solve.
    std::function<double()> memoryLeft{};
    /// Is asked once, when a factor is about to go to files, with the bytes that are left.
    std::function<std::unique_ptr<FactorPlace>(double left)> openPlace = [](double left) {
        return std::make_unique<FactorFolder>(left);
    };
    /// Is told when a factor goes to files unasked: the bytes that it needs, and those that are left.
    std::function<void(double needed, double left)> goesToFiles{};
    /// Of the phases to come; `LinearSystem::Limits` changes them.
    RunLimits limits{};
    /// Is told how many operations of a phase are done, and how many there are in all, up to the last of
    /// them. An analysis counts by its entries, the rest by what the analysis has found; so `all` grows when
    /// the analysis has ended, when another road is taken, and where more right-hand sides than foreseen need
    /// refinement. Called by one thread of a phase at a time, which may be any of a team, and never more than
    /// a thousand times for the same `all`. It must not call the system; what it throws ends the phase.
    std::function<void(double done, double all)> progress{};
    /// Is told the name of each step when it has ended: analyse, factorize, solve, check. By several threads
    /// at once where these solve together. It must not call the system.
    std::function<void(std::string_view step)> stepDone{};
};

} // namespace Velmar::Lintrix
