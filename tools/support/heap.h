#pragma once
// The heap of a process that lives for one matrix.

namespace Velmar::Lintrix::tools {

/// Makes the first touch of memory cheap: a fresh process pays for each page that it has not had before, and
/// a small solve touches more pages than it does arithmetic for. Blocks come from one heap, which is not
/// given back between them, and whose first part lies on huge pages. Large ones that have no room there are
/// mapped one by one as before, so that what is freed of them is the system's again. Where the system
/// refuses, all is as it was.
void prepareHeap() noexcept;

} // namespace Velmar::Lintrix::tools
