#pragma once
// What the roads of `lintrix svd` have in common.

#include <tools/input/columns.h>
#include <tools/support/progress.h>
#include <tools/svd/svd_command.h>
#include <tools/svd/svd_report.h>

#include <lintrix/lintrix.h>

namespace Velmar::Lintrix::tools {

/// A = U*diag(S)*V^H, as far as it was asked for.
template <class Cell>
struct Triplets {
    Columns<Cell> U;
    Vector S;
    Columns<Cell> V;
};

} // namespace Velmar::Lintrix::tools
