#pragma once
/// @file
/// Every text of the engine, one row a message, and the printing of a row.

#include <lintrix/services/export.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <variant>

namespace Velmar::Lintrix::detail::engine {

/// The numbers are identifiers of catalogue files, which docs/message_catalogue.md lists: a new row is added
/// at the end.
enum class Message : int {
    // Failures: the first line, by error.
    InputError,
    MatrixError,
    MemoryError,
    ReorderingError,
    NumericError,
    UnclassifiedError,
    MatchingError,
    DiagonalError,
    OverflowError,
    OutOfCoreMemoryError,
    OutOfCoreOpenError,
    OutOfCoreTransferError,
    // The line that follows under -1, by internal code.
    PhaseOutOfBounds,
    MaxfctIncompatible,
    MnumAboveMaxfct,
    MnumIncompatible,
    MtypeIncompatible,
    OrderIncompatible,
    OrderOutOfBounds,
    EntriesIncompatible,
    RightHandSidesIncompatible,
    SolutionPlaceOutOfBounds,
    OrderingOutOfBounds,
    CountedThreads,
    ThreadsDiffer,
    MtypeOutOfBounds,
    WrongControlStep,
    RowStartsIncompatible,
    ColumnIncompatible,
    TriangleIncompatible,
    ColumnsIncompatible,
    WrongMatrixNumber,
    OnlySymbolicDiagonal,
    NoInitialization,
    NoInitializationHint,
    PhaseBelowMinusOne,
    CleanImpossible,
    DiagonalRow,
    // What the input was, for internal codes 1 to 11.
    InputLine1,
    InputLine2,
    InputLine3,
    InputLine4,
    InitializationFailed,
    HandleIsZero,
    // Memory.
    BlockNotAllocated,
    MemoryWanted,
    SymbolicMemory,
    FactorMemory,
    // Other failures.
    ReorderingFailed,
    Unclassified,
    PreorderingFailed,
    StructureSingular,
    RefinementFailed,
    ContractionRate,
    MaximalIterations,
    CgsFailed,
    FactorizationMemory,
    NotPositiveDefinite,
    ZeroPivot,
    UnknownMessage,
    LineTooLong,
    LineTooLongHint,
    SystemError,
    // Banners by matrix type.
    BannerStructurallySymmetric,
    BannerPositiveDefinite,
    BannerIndefinite,
    BannerComplexStructurallySymmetric,
    BannerHermitianPositiveDefinite,
    BannerHermitianIndefinite,
    BannerComplexSymmetric,
    BannerUnsymmetric,
    BannerComplexUnsymmetric,
    // Summary.
    Empty,
    SummaryOfSteps,
    SummaryOfClean,
    SummaryRule,
    FactorDeleted,
    MemoryCleaned,
    Times,
    TimesRule,
    TimeFullAdjacency,
    TimeReorder,
    TimeSymbolic,
    TimeLists,
    TimeGather,
    TimeNumeric,
    TimeSolve,
    TimeIteration,
    TimeAllocation,
    TimeTotal,
    Statistics,
    StatisticsRule,
    Processors,
    HybridSolver,
    FactorizationThreaded,
    FactorizationSerial,
    LinearSystemTransposed,
    LinearSystem,
    Equations,
    NonZeros,
    NonZerosPercent,
    RightHandSides,
    FactorsHeading,
    MinimumDegree,
    ReductionForParallel,
    PanelColumns,
    IndependentSubgraphs,
    InputPermutation,
    ConstrainedMinimumDegree,
    SeparatorsByMinimumDegree,
    SeparatorsAsTheyStand,
    Dissection,
    Supernodes,
    LargestSupernode,
    NonZerosInL,
    NonZerosInU,
    NonZerosInFactors,
    Gigaflop,
    GigaflopPerSecond,
    Norm,
    NoStatisticsForDiagonal,
    Progress,
    Version,
    // Out-of-core mode.
    InCoreForced,
    InCoreChosen,
    OutOfCoreForced,
    OutOfCoreChosen,
    PathFromEnvironment,
    CoreSizeFromEnvironment,
    KeepFileFromEnvironment,
    FileNotOpened,
    FileNotRead,
    FileNotWritten,
    FileChanged,
    FileNotRemoved,
    OutOfCoreTime,
    ReadingTime,
    WritingTime,
    ComputingTime,
    OutOfCoreMegabytes,
    MegabytesRead,
    MegabytesWritten,
    MegabytesOfLower,
    MegabytesOfUpper,
    Last_
};

inline constexpr std::size_t kMessages = static_cast<std::size_t>(Message::Last_);

/// Characters of a line, after its places are filled.
inline constexpr std::size_t kLongestLine = 512;

/// The built-in row, with its places %d, %f, %s; nothing for a number that no row has.
LINTRIX_TESTABLE const char* textOf(Message message) noexcept;

/// What goes to the places; an int goes as the 64-bit number.
using MessageArgument = std::variant<std::int64_t, double, std::string_view>;

/// Writes the row in force, built in or of a loaded catalogue, and a newline to standard output, its places
/// filled in order. A number that no row has prints a line that says so. A line longer than 512 characters
/// ends the process with status 8: such a row is a mistake of the catalogue, which no call can mend.
LINTRIX_TESTABLE void print(Message message, std::initializer_list<MessageArgument> arguments = {});

} // namespace Velmar::Lintrix::detail::engine
