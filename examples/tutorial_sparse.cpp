// The tutorial on sparse systems: the temperature in a rod of 1000 points. The matrix is assembled from its
// entries, solved with a verdict, solved again for other right-hand sides and for other values, and written
// to a file.

#include <lintrix/lintrix.h>

#include <cstdio>
#include <filesystem>
#include <string>

using namespace Velmar::Lintrix;

namespace {

constexpr int n = 1000;

// [assemble]
// A rod whose ends are held at 0, with heat conduction `k`; heat is lost to the air all along.
SparseMatrix rod(double k, double loss)
{
    SparseAssembler entries(n, n);
    for (int i = 0; i < n; ++i) {
        entries.Add(i, i, loss); // what comes twice is added up
        entries.Add(i, i, 2.0 * k);
        if (i > 0) entries.Add(i, i - 1, -k);
        if (i + 1 < n) entries.Add(i, i + 1, -k);
    }
    return entries.Assemble();
}
// [/assemble]

} // namespace

int main()
{
    // [solve]
    const SparseMatrix A = rod(1.0, 1e-4);
    LinearSystem system(A); // takes a copy
    Vector heat(n);
    for (int i = 0; i < n; ++i) heat[i] = 1e-4;
    const auto answer = system.Solve(heat);
    if (answer.verdict != Verdict::Accurate) {
        std::fputs(answer.Explain().c_str(), stderr);
        return 1;
    }
    std::printf("%s, by %s: %.4f degrees in the middle\n", std::string(NameOf(answer.verdict)).c_str(),
                std::string(answer.road).c_str(), (*answer.x)(n / 2, 0));
    // [/solve]

    // [quality]
    const ColumnQuality& quality = answer.columns[0];
    std::printf("backward error at rounding: %s, error bound below 1e-10: %s\n",
                quality.backwardError < 1e-15 ? "yes" : "no",
                quality.errorBound.value_or(1.0) < 1e-10 ? "yes" : "no");
    // [/quality]

    // [many]
    Matrix loads(n, 3); // a column a right-hand side
    for (int j = 0; j < 3; ++j) loads(250 * (j + 1), j) = 1.0;
    const auto answers = system.Solve(loads); // the factor is kept
    std::printf("%d columns, the worst of them %s, factorizations so far: %d\n", answers.x->Cols(),
                std::string(NameOf(answers.verdict)).c_str(), system.Factorizations());
    // [/many]

    // [update]
    for (const double k : {2.0, 4.0}) {
        system.Update(rod(k, 1e-4)); // the same pattern: the analysis stands
        const auto warmer = system.Solve(heat);
        std::printf("conduction %g: %.4f degrees\n", k, (*warmer.x)(n / 2, 0));
    }
    std::printf("analyses %d, factorizations %d\n", system.Analyses(), system.Factorizations());
    // [/update]

    // [file]
    const std::string file = "rod.mtx.gz";
    WriteMatrixMarket(file, A);
    const SparseMatrix again = ReadMatrixMarket(file);
    std::printf("read again: %s\n", again.IsEqual(A, 0.0) ? "the same matrix" : "another");
    // [/file]
    std::filesystem::remove(file);
}
