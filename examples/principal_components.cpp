// Principal components: which combinations of six economic figures move together?
//
// The correlation matrix C of the figures is symmetric; its eigenvectors are the components, and an
// eigenvalue over the number of figures is the share of the variation that its component explains.
#include "longley.h"

#include <lintrix/lintrix.h>

#include <cstdio>

using namespace Velmar::Lintrix;

int main()
{
    const char* names[] = {"price deflator", "national product", "unemployed",
                           "armed forces",   "population",       "year"};
    const SymEigen components(longleyFigures().CorrelationMatrix());
    if (!components.Succeeded()) return 1;

    std::printf("share of the variation by component:");
    for (int k = 0; k < components.Size(); ++k)
        std::printf(" %.1f %%", 100.0 * components.Eigenvalue(k) / components.Size());

    Vector first = components.Eigenvector(0).value();
    if (first.Sum() < 0.0) first = -1.0 * first; // the sign of an eigenvector is free
    std::printf("\nthe first component:\n");
    for (int i = 0; i < first.Length(); ++i) std::printf("  %-16s %6.3f\n", names[i], first[i]);
}
