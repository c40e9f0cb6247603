#pragma once
/// @file
/// An analysis in the sections of a file: what the rest can be worked out from.

#include <lintrix/engine/analysis/symbolic/entry_maps.h>
#include <lintrix/engine/call/handle.h>
#include <lintrix/services/section_file.h>

namespace Velmar::Lintrix::detail::engine {

/// Of a handle that is analysed and has nothing in files.
void saveAnalysis(const Handle& handle, SectionWriter& file);

/// The matrix that its caller is going to pass, its columns and row starts in range.
struct MatrixToLoad {
    int mtype;
    bool singlePrecision;
    RowPattern pattern;
};

/// Makes an empty handle one that is analysed, for a matrix of the pattern and the kind of elements that was.
/// Supernodes, their rows, the order and the matching come from the file; offsets, maps and lists are worked
/// out as an analysis does. After a fault the handle holds blocks, which the caller releases.
SectionFault loadAnalysis(Handle handle, const MatrixToLoad& matrix, SectionReader& file);

} // namespace Velmar::Lintrix::detail::engine
