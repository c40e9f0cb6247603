#pragma once
/// @file
/// The factors of a handle in the sections of a file.

#include <lintrix/engine/call/handle.h>
#include <lintrix/services/section_file.h>

namespace Velmar::Lintrix::detail::engine {

/// Of a handle that is analysed and has nothing in files: a head for each factor that there may be, followed
/// by the panels and exchanges of one that is finished.
void saveFactors(const Handle& handle, SectionWriter& file);

/// Into a handle that is analysed. The panels are read in one piece, into a block such as a factorization
/// takes, and not mapped: a solve reads all of them anyway, so mapping would save no more than the copy, and
/// who cut the file off or wrote to it later would end the process or change the factor behind its check
/// sum. After a fault the handle holds blocks, which the caller releases.
SectionFault loadFactors(Handle handle, SectionReader& file);

} // namespace Velmar::Lintrix::detail::engine
