#pragma once
// Whether the process has the address space that its libraries are going to take.

namespace Velmar::Lintrix::tools {

/// Refuses to go on where BLAS would wait without end for address space. @throws InputError
void requireAddressSpace(int threads);

} // namespace Velmar::Lintrix::tools
