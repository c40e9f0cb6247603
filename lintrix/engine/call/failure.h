#pragma once
/// @file
/// How the engine's steps report: a result for the caller and the internal code beside it.

#include <lintrix/engine/call/factor_file.h>

#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

/// What `error` tells the caller.
enum class Error : int {
    None = 0,
    Input = -1,              ///< inconsistent input or phase order
    Memory = -2,             ///< an allocation failed
    Reordering = -3,         ///< ordering or symbolic factorization failed
    Numeric = -4,            ///< zero pivot, refinement or iterative path failed
    Unclassified = -5,       ///<
    Matching = -6,           ///< no perfect matching
    Diagonal = -7,           ///< something wrong in a diagonal matrix
    Overflow = -8,           ///< 32 bits do not hold a size
    OutOfCoreMemory = -9,    ///< not enough memory for the out-of-core mode
    OutOfCoreOpen = -10,     ///< its files could not be opened
    OutOfCoreTransfer = -11, ///< its files could not be read or written
};

/// No failure when default-constructed; true when there is one.
struct Failure {
    Error error = Error::None;
    int internal = 0;       ///< the internal code, which chooses the report's line
    std::int64_t bytes = 0; ///< of the block that could not be allocated, where the step knows it
    FileTrouble file = {};  ///< of the errors of files

    explicit operator bool() const noexcept { return error != Error::None; }
};

/// Internal codes of blocks that could not be allocated; divided by -100 they select the block's name in the
/// report.
enum class BlockCode : int {
    Control = -100,           ///< BASIC
    FactorTable = -200,       ///< FACT_ADR; to -203
    OutOfCoreControl = -201,  ///< the table in pt[16]
    OutOfCorePath = -202,     ///< its path buffer
    OutOfCoreFiles = -203,    ///< its control blocks and its file table
    AnalysisWork = -400,      ///< STRUC_S0: pt[4]
    MatchingWork = -401,      ///< matching arrays
    MatchingScratch = -402,   ///< what the matching itself needs
    MatchingResult = -403,    ///< pt[12]
    Scaling = -404,           ///< pt[13]
    IntegerWork = -500,       ///< WORK_I0: pt[8]
    SymbolicWork = -600,      ///< STRUC_S1: pt[5]
    SymbolicStructure = -700, ///< STRUC_S2: pt[6]
    FactorStructure = -800,   ///< STRUC_FI: pt[7]
    Transient = -900,         ///< LOC_INT2
    UpdateLengths = -1000,    ///< UP_UPLEN: pt[11]
    Factors = -1100,          ///< FACT_L&U
    RealWork = -1200,         ///< WORK_R0: pt[9]
    IterationWork = -1300,    ///< CGS_ARR: pt[10]
};

inline Failure outOfMemory(BlockCode block, std::int64_t bytes = 0) noexcept
{
    return {Error::Memory, static_cast<int>(block), bytes};
}

/// The call contradicts itself, the stored state or the matrix; `code` tells in what.
inline Failure badInput(int code) noexcept
{
    return {Error::Input, code};
}

/// Whoever listens wants the call to end.
inline Failure stopped() noexcept
{
    return {Error::Numeric, -1};
}

/// A size or an index passes what 32 bits hold.
inline Failure overflow() noexcept
{
    return {Error::Overflow, -182};
}

} // namespace Velmar::Lintrix::detail::engine
