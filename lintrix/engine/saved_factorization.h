#pragma once
/// @file
/// What stands behind a handle of `pardiso`, saved to a file and loaded from it.

#include <lintrix/services/export.h>
#include <lintrix/services/section_file.h>

namespace Velmar::Lintrix {

/// How saving ended.
enum class SaveOutcome {
    Saved,      ///< what is in memory; whether the file took it all, its `Commit` tells
    NoAnalysis, ///< there is nothing to save: none was made, or it has failed
    InFiles,    ///< the factor stands in files of the out-of-core mode
};

/// Adds the analysis and all factors of a handle to a file, for any matrix type, order, matching, scaling and
/// number of threads. The handle is not changed, and `iparm` stays the caller's to keep. A factor in files of
/// the out-of-core mode is not saved: they are the handle's own, and a copy would be as large as they are.
/// One thread at a time, as with any call that uses the handle.
LINTRIX_EXPORT SaveOutcome SaveFactorization(void* const pt[64], SectionWriter& file) noexcept;

/// Makes a handle of what `SaveFactorization` has added to a file. A solve with it gives bit for bit what
/// the saved one gives with as many threads; other values of the pattern are factorized after the same
/// analysis (phase 22), by any number of threads.
///
/// Nothing in the file is trusted: orders have to be permutations, rows have to ascend and to be there for
/// every update, each entry of the matrix needs its place in a panel, and exchanges stay in their blocks. A
/// file that has been changed with its check sums made right again can bring wrong numbers and figures, and
/// no more.
///
/// @param pt        64 slots, all null; after a fault they are null again
/// @param mtype, n  type and order of the matrix: real or complex, and stored as a triangle or whole, as it
///                  was analysed
/// @param ia, ja    its pattern, base 1, as it was analysed; shifted and put back as `pardiso` does
/// @param iparm     64 parameters; `SinglePrecision` has to be as at the analysis, no other is looked at
/// @return  of the file as `SectionReader` tells; of its content `Contradiction`, with the section;
/// `NoMemory`
LINTRIX_EXPORT SectionFault LoadFactorization(void* pt[64], const int& mtype, const int& n, int* ia, int* ja,
                                              const int* iparm, SectionReader& file) noexcept;

} // namespace Velmar::Lintrix
