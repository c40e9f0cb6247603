#pragma once
/// @file
/// How long a factorization and a solve are going to take on this machine.

#include <lintrix/services/export.h>

namespace Velmar::Lintrix {

/// What a sparse factor takes, whatever its type.
struct FactorWork {
    double operations = 0.0; ///< of the factorization, real ones
    double bytes = 0.0;      ///< of the entries of L, and of U or of L once more
};

/// As if the machine had nothing else to do.
struct FactorSeconds {
    double factorize = 0.0;
    double solve = 0.0; ///< of one right-hand side
};

/// With the threads in force. The first call in a process that is for more than some
/// millionths of a second measures how fast one core multiplies matrices and how fast it reads memory, which
/// takes some milliseconds. Good to a factor of about 3 for what takes longer
/// than a twentieth of a second.
LINTRIX_EXPORT FactorSeconds SecondsFor(const FactorWork& work);

} // namespace Velmar::Lintrix
