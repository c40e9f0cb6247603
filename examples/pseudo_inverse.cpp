// Rank and pseudo-inverse of a rectangular matrix: a regression that survives a redundant column.
//
// Employment is explained by a constant and six figures. Then a column is added that says nothing new, the
// sum of two others: the rank stays, while the normal equations become singular; and the pseudo-inverse gives
// the same fit with the shortest coefficients.
#include "longley.h"

#include <lintrix/lintrix.h>

#include <cstdio>

using namespace Velmar::Lintrix;

void fit(const char* title, const Matrix& X, const Matrix& y)
{
    const Matrix coefficients = X.PseudoInverse() * y;
    const Matrix fitted = X * coefficients;
    std::printf("%s: %d columns, rank %d\n", title, X.Cols(), X.Rank());
    std::printf("  fitted 1947 %.1f, 1962 %.1f, residual norm %.3f\n", fitted(0, 0), fitted(15, 0),
                (y - fitted).Norm(NormType::FrobeniusNorm));
}

int main()
{
    const Matrix employed = longleyEmployed();
    Matrix figures = longleyFigures();
    figures.InsertColumn(0);
    figures.SetColumn(0, 1.0); // the constant
    fit("six figures and a constant", figures, employed);

    const Vector sum = figures.ColVector(3) + figures.ColVector(4);
    figures.InsertColumn(7);
    figures.SetColumn(7, sum); // unemployed and armed forces together
    fit("with a redundant column", figures, employed);
}
