#pragma once
/// @file
/// The files that hold factors in the out-of-core mode, and what can go wrong with one.

namespace Velmar::Lintrix::detail::engine {

/// Each array of the factors has a file of its own.
enum class FactorFile : int {
    Rows,            ///< lindx, ".ind": the row lists of the supernodes
    Lower,           ///< lnz, ".lnz": the panels of L
    Upper,           ///< unz, ".unz": the panels of U, and the diagonal blocks once more
    LowerBlocks,     ///< jalf, ".jal": check sums of the panels of L
    UpperBlocks,     ///< jauf, ".jau": of U, and of those blocks
    RowExchanges,    ///< luperm, ".lup": exchanges of rows within the diagonal blocks
    ColumnExchanges, ///< luperm(2), ".uup": of columns
    Positions,       ///< luperm_row, ".lpr": where each equation stands in the elimination order
    Vertices,        ///< luperm_row(2), ".upr": which equation stands at each position
    RowStarts,       ///< slindx, ".sin": where the row list of each supernode begins
    Columns,         ///< slength, ".sle": where the columns of each supernode begin
};

inline constexpr int kFactorFiles = 11;

/// The step of a call that a file is used by.
enum class FileStep : int { Analysis, Factorization, Solve };

enum class FileAction : int { None, OpenForStoring, OpenForReading, Write, Read, Check, Remove };

/// What could not be done, for the report of the failure.
struct FileTrouble {
    FileAction action = FileAction::None;
    FileStep step = FileStep::Analysis;
    FactorFile file = FactorFile::Rows;
};

} // namespace Velmar::Lintrix::detail::engine
