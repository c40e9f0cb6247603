// All that calls print, letter by letter. Times and rates are masked; every other number is expected from the
// arguments, from iparm, or from the public view of the analysis.

#include "tests/engine/engine_call.h"
#include "tests/engine/progress_listener.h"
#include "tests/engine/report/report_text.h"

#include <lintrix/engine/analysis_summary.h>
#include <lintrix/engine/call/progress_scope.h>
#include <lintrix/engine/report/messages.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <latch>
#include <numeric>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

struct Setting {
    int ordering, permutationUse, path, transpose;
};

/// A call on the grid, with what its factorizations tell a listener.
class ReportedCall : public EngineCall {
public:
    ReportedCall(int type, int count, const Setting& setting)
        : EngineCall(gridMatrix(type, 8, 3), type), threads(count)
    {
        set(2, setting.ordering);
        set(4, setting.path);
        set(5, setting.permutationUse);
        set(12, setting.transpose);
        nrhs = 2;
        std::iota(perm.begin(), perm.end(), 1);
    }

    std::string printed(int phase, int level)
    {
        listener_.heard.clear();
        const ProgressScope scope(listener_.callback());
        const Printed result = runPrinting(phase, level);
        EXPECT_EQ(result.error, 0);
        return masked(result.text);
    }
    /// What the last call told of a factorization; nothing where it made none.
    const std::vector<Heard>& heard() const { return listener_.heard; }

    int threads;

private:
    Listener listener_;
};

bool hasUpperFactor(int mtype)
{
    return mtype == 1 || mtype == 3 || mtype == 11 || mtype == 13;
}

std::string bannerOf(int mtype)
{
    switch (mtype) {
    case 1:
        return "================ PARDISO: solving a real struct. sym. system ================\n";
    case 2:
        return "================ PARDISO: solving a symm. posit. def. system ================\n";
    case -2:
        return "================ PARDISO: solving a  symmetric indef. system ================\n";
    case 3:
        return "================ PARDISO: solving a  compl. str. sym. system ================\n";
    case 4:
        return "================ PARDISO: solving a   Herm. pos. def. system ================\n";
    case -4:
        return "================ PARDISO: solving a  Hermitian indef. system ================\n";
    case 6:
        return "================ PARDISO: solving a  complex symmetr. system ================\n";
    case 11:
        return "================ PARDISO: solving a real nonsymmetric system ================\n";
    default:
        return "================ PARDISO: solving a   complex nonsym. system ================\n";
    }
}

std::string stepsOf(int phase)
{
    switch (phase) {
    case 11:
        return "reorder to reorder";
    case 12:
        return "reorder to factorize";
    case 13:
        return "reorder to solve";
    case 22:
        return "factorize to factorize";
    case 23:
        return "factorize to solve";
    default:
        return "solve to solve";
    }
}

bool analyses(int phase)
{
    return phase / 10 == 1;
}

std::string progressOf(const ReportedCall& call)
{
    std::string text;
    for (const Heard& heard : call.heard()) {
        if (heard.percent > 0) text += " " + std::to_string(heard.percent) + " % \n";
        if (heard.percent == 100) text += "\n";
    }
    return text;
}

std::string timesOf(const ReportedCall& call, int phase)
{
    const bool factorizes = !call.heard().empty(), solves = phase % 10 == 3 || phase > 100;
    const bool iterates = call.iparm(4) != 0 && phase % 10 == 3 && phase < 100 && call.iparm(20) != -5;
    std::string text = "Times:\n======\n";
    if (analyses(phase))
        text += "      Time fulladj: # s\n      Time reorder: # s\n      Time symbfct: # s\n      Time "
                "parlist: # s\n";
    if (factorizes) text += "      Time A to LU: # s\n      Time numfct : # s\n";
    if (solves) text += "      Time solve  : # s\n";
    if (iterates) {
        const int told = call.iparm(20), count = told < 0 ? -told / 10 : told;
        text += "      Time cgs    : # s cgx iterations " + std::to_string(count) + "\n";
    }
    return text + "      Time malloc : # s\n      Time total  : # s total - sum: 0.000000 s\n";
}

std::string methodOf(const ReportedCall& call)
{
    if (call.iparm(4) > 0) return " < Hybrid Solver PARDISO with CGS/CG Iteration >\n";
    return call.threads > 1 ? " < Numerical Factorization with BLAS3 and O(n) synchronization >\n"
                            : " < Numerical Factorization with Level-3 BLAS performance >\n";
}

std::string systemOf(const ReportedCall& call)
{
    const std::size_t nonZeros = call.A.ja.size();
    const double percent = 100. * static_cast<double>(nonZeros) / call.n / call.n;
    return " < Parallel Direct Factorization with #processors: >         " + std::to_string(call.threads) +
           "\n" + methodOf(call) +
           (call.iparm(12) == 0 ? " < Linear system Ax = b> <transpose> \n" : methodOf(call)) +
           "             #equations:                                     " + std::to_string(call.n) +
           "\n             #non-zeros in A:                                " + std::to_string(nonZeros) +
           "\n             non-zeros in A (%):                            " + std::to_string(percent) +
           "\n             #right-hand sides:                              " + std::to_string(call.nrhs) +
           "\n";
}

/// An order that came ready-made is two ranges, one by minimum degree three: the last is listed again.
int subgraphsOf(const ReportedCall& call)
{
    if (call.iparm(5) == 1) return 2;
    return call.iparm(2) == 0 ? 3 : AnalysisView(call.pt.data()).Summary()->subgraphs;
}

std::string orderingOf(const ReportedCall& call)
{
    if (call.iparm(5) > 0) return " < Preprocessing with input permutation >\n";
    switch (call.iparm(2)) {
    case 0:
        return "";
    case 1:
        return " < Preprocessing with multiple minimum degree with constraints >\n"
               " < with multiple minimum degree on the separator nodes         >\n";
    default:
        return " < Preprocessing with state of the art partitioning metis>\n";
    }
}

/// Rectangles of the supernodes, as the caller sees their rows.
std::int64_t elementsOfL(const AnalysisView& view)
{
    std::int64_t elements = 0;
    for (int k = 0; k < view.Supernodes(); ++k)
        elements += static_cast<std::int64_t>(view.SupernodeAt(k).rows.size()) * view.SupernodeAt(k).columns;
    return elements;
}

/// No run is as long as a panel may be wide, so none was cut.
int widestOf(const AnalysisView& view)
{
    int widest = 0;
    for (int k = 0; k < view.Supernodes(); ++k) widest = std::max(widest, view.SupernodeAt(k).columns);
    EXPECT_LT(widest, view.Summary()->panelWidth);
    return widest;
}

std::string factorsOf(const ReportedCall& call, std::int64_t inFactors)
{
    const AnalysisView view(call.pt.data());
    const std::int64_t lower = elementsOfL(view);
    EXPECT_TRUE(hasUpperFactor(call.mtype) || inFactors - lower == 1);
    const int width =
        hasUpperFactor(call.mtype) ? (call.threads == 1 ? 128 : 96) : view.Summary()->panelWidth;
    std::string text = " < Factors L and U > \n";
    if (call.iparm(2) == 0)
        text += "< Preprocessing with multiple minimum degree, tree height >\n"
                "< Reduction for efficient parallel factorization >\n";
    return text + "             #columns for each panel:                        " + std::to_string(width) +
           "\n             #independent subgraphs:                         " +
           std::to_string(subgraphsOf(call)) + "\n" + orderingOf(call) +
           "             #supernodes:                                    " +
           std::to_string(view.Supernodes()) +
           "\n             size of largest supernode:                      " +
           std::to_string(widestOf(view)) +
           "\n             number of nonzeros in L                         " + std::to_string(lower) +
           "\n             number of nonzeros in U                         " +
           std::to_string(inFactors - lower) +
           "\n             number of nonzeros in L+U                       " + std::to_string(inFactors) +
           "\n";
}

std::string numbersOf(const ReportedCall& call, int phase)
{
    if (phase < 12) return "";
    const double gigaflop = AnalysisView(call.pt.data()).Summary()->operations * 1e-9;
    const std::string rate = "             gflop/s for the numerical factorization:        #\n";
    return "             gflop   for the numerical factorization:        " + std::to_string(gigaflop) + "\n" +
           (call.heard().empty() ? "" : rate);
}

std::string expected(const ReportedCall& call, int phase, int level, std::int64_t inFactors)
{
    std::string text;
    if (analyses(phase)) text = "=== PARDISO is running in In-Core mode, because iparam(60)=0 ===\n";
    text += progressOf(call);
    if (level == 2) text += " local PARDISO version is 102000114\n";
    text += "\n" + bannerOf(call.mtype);
    if (phase == 0)
        return text + "Summary PARDISO: ( clean )\n================\n L&U for matrix number 1 deleted\n";
    if (phase == -1)
        return text + "Summary PARDISO: ( clean )\n================\n"
                      " cleaned memory, deleted number of L&U-factorizations: 0\n";
    return text + "Summary PARDISO: ( " + stepsOf(phase) + " )\n================\n" + timesOf(call, phase) +
           "Statistics:\n===========\n" + systemOf(call) + factorsOf(call, inFactors) +
           numbersOf(call, phase);
}

class Report : public ::testing::TestWithParam<int> {
protected:
    static void goThroughAllPhases(const Setting& setting, int threads, int level)
    {
        ReportedCall call(GetParam(), threads, setting);
        std::int64_t inFactors = 0;
        for (const int phase : {11, 12, 13, 22, 23, 33, 331, 332, 333, 0, -1}) {
            if (analyses(phase)) call.set(18, -1);
            const std::string text = call.printed(phase, level);
            if (analyses(phase)) inFactors = call.iparm(18);
            ASSERT_EQ(text, expected(call, phase, level, inFactors)) << "phase " << phase;
        }
    }
};

TEST_P(Report, IsPrintedLetterByLetter)
{
    for (const int threads : {1, 2}) {
        const ThreadSetting thread(threads, 0);
        for (int k = 0; k < 4 * 3 * 3 * 2 * 2; ++k) {
            const Setting setting{k % 4, k / 4 % 3,
                                  std::vector{0, 61, -61}[static_cast<std::size_t>(k / 12 % 3)], k / 36 % 2};
            SCOPED_TRACE(::testing::Message() << "threads " << threads << " iparm(2) " << setting.ordering
                                              << " iparm(5) " << setting.permutationUse << " iparm(4) "
                                              << setting.path << " iparm(12) " << setting.transpose);
            goThroughAllPhases(setting, threads, 1 + k / 72);
            if (HasFailure()) return;
        }
    }
}

TEST_P(Report, OfAReleaseCountsTheFactors)
{
    EngineCall call(gridMatrix(GetParam(), 4, 3), GetParam());
    call.maxfct = 3;
    EXPECT_EQ(call.run(12), 0);
    call.mnum = 3;
    EXPECT_EQ(call.run(22), 0);
    EXPECT_EQ(call.runPrinting(-1, 1).text, "\n" + bannerOf(GetParam()) +
                                                "Summary PARDISO: ( clean )\n================\n"
                                                " cleaned memory, deleted number of L&U-factorizations: 2\n");
}

INSTANTIATE_TEST_SUITE_P(Types, Report, ::testing::Values(1, 2, -2, 3, 4, -4, 6, 11, 13));

/// The number behind a text, which must stand there once.
double numberBehind(const std::string& text, const std::string& label)
{
    const std::size_t place = text.find(label);
    EXPECT_NE(place, std::string::npos) << label << " is not in\n" << text;
    EXPECT_EQ(text.find(label, place + 1), std::string::npos) << label << " is twice in\n" << text;
    return place == std::string::npos ? NAN : std::stod(text.substr(place + label.size()));
}

/// All entries, those above the diagonal alone where the type stores a triangle.
Rows dense(int n, bool upper)
{
    Rows A{n, {}, {1}, {}};
    for (int i = 1; i <= n; ++i) {
        for (int j = upper ? i : 1; j <= n; ++j) {
            A.ja.push_back(j);
            A.a.push_back(i == j ? n : 1. / (i + j));
        }
        A.ia.push_back(static_cast<int>(A.ja.size()) + 1);
    }
    return A;
}

TEST(ReportNumbers, AreThoseOfTheCallAndItsParameters)
{
    for (const int mtype : {11, 2}) {
        EngineCall call(dense(1500, mtype == 2), mtype);
        call.set(2, 0);
        call.set(18, -1);
        call.set(19, -1);
        const std::string text = call.runPrinting(12, 1).text;
        const AnalysisSummary found = *AnalysisView(call.pt.data()).Summary();
        EXPECT_EQ(numberBehind(text, "with #processors: >"), call.iparm(3));
        EXPECT_EQ(numberBehind(text, "#equations:"), call.n);
        EXPECT_EQ(numberBehind(text, "#non-zeros in A:"), call.A.ja.size());
        EXPECT_NEAR(numberBehind(text, "non-zeros in A (%):"), mtype == 2 ? 100. * 1501 / 3000 : 100., 1e-6);
        EXPECT_EQ(numberBehind(text, "#right-hand sides:"), call.nrhs);
        EXPECT_EQ(numberBehind(text, "#columns for each panel:"), found.panelWidth);
        EXPECT_EQ(numberBehind(text, "#supernodes:"), found.supernodes);
        EXPECT_EQ(found.supernodes, (1500 + found.panelWidth - 1) / found.panelWidth);
        EXPECT_EQ(numberBehind(text, "size of largest supernode:"), 1500) << "before it was cut";
        EXPECT_EQ(found.largestSupernode, 1500);
        EXPECT_EQ(numberBehind(text, "number of nonzeros in L+U"), call.iparm(18));
        EXPECT_EQ(numberBehind(text, "number of nonzeros in L  ") +
                      numberBehind(text, "number of nonzeros in U  "),
                  call.iparm(18));
        const double gigaflop = numberBehind(text, "gflop   for the numerical factorization:");
        EXPECT_GE(gigaflop, 1.);
        EXPECT_EQ(std::floor(gigaflop), call.iparm(19));
        EXPECT_NEAR(gigaflop, found.operations * 1e-9, 1e-6);
        const double seconds = numberBehind(text, "Time numfct :");
        const double rate = numberBehind(text, "gflop/s for the numerical factorization:");
        EXPECT_NEAR(rate * seconds, gigaflop, 1e-3 * gigaflop);
        EXPECT_NEAR(numberBehind(text, "Time total  :"), found.totalSeconds, 1e-6);
        EXPECT_EQ(text.find("||A||"), std::string::npos) << "no norm is worked out";
    }
}

// A factorization may report what a silent analysis has laid out.
TEST(ReportNumbers, OfTheOperationsDoNotDependOnWhoHasAsked)
{
    EngineCall call(gridMatrix(11, 12, 3), 11);
    call.set(19, 0);
    ASSERT_EQ(call.run(11), 0);
    EXPECT_EQ(call.iparm(19), 0);
    const std::string text = call.runPrinting(22, 1).text;
    EXPECT_NEAR(numberBehind(text, "gflop   for the numerical factorization:"),
                AnalysisView(call.pt.data()).Summary()->operations * 1e-9, 1e-6);
    EXPECT_GT(numberBehind(text, "gflop   for the numerical factorization:"), 0.);
}

// The tolerance 1e-999, which is 0, cannot be met: the direct solution is returned, and iparm(20) says how
// the iteration failed.
TEST(ReportNumbers, CountTheIterationsThatHaveFailed)
{
    EngineCall call(gridMatrix(11, 12, 3), 11);
    call.set(4, 9991);
    const std::string text = call.runPrinting(13, 1).text;
    ASSERT_LT(call.iparm(20), -10);
    EXPECT_EQ(numberBehind(text, "s cgx iterations"), -call.iparm(20) / 10);
}

TEST(ReportTimes, AddUpToTheTotal)
{
    EngineCall call(gridMatrix(11, 8, 3), 11);
    for (int run = 0; run < 100; ++run) {
        const std::string text = call.runPrinting(13, 1).text;
        const std::size_t rest = text.find(" s total - sum: ");
        ASSERT_NE(rest, std::string::npos);
        ASSERT_EQ(text.substr(rest, text.find('\n', rest) - rest), " s total - sum: 0.000000 s");
        double sum = 0.;
        for (const char* line :
             {"fulladj:", "reorder:", "symbfct:", "parlist:", "A to LU:", "numfct :", "solve  :", "malloc :"})
            sum += numberBehind(text, std::string("      Time ") + line);
        ASSERT_NEAR(sum, numberBehind(text, "      Time total  :"), 1e-5) << text;
    }
}

// Two handles are two callers' own, standard output is not.
TEST(ReportLines, OfTwoThreadsStayWhole)
{
    constexpr int lines = 200000;
    std::latch start(2);
    const auto speak = [&start](std::string_view word) {
        start.arrive_and_wait();
        for (int k = 0; k < lines; ++k) print(Message::SummaryOfSteps, {word, word});
    };
    ::testing::internal::CaptureStdout();
    std::thread first(speak, "reorder"), second(speak, "solve");
    first.join();
    second.join();
    std::istringstream text(::testing::internal::GetCapturedStdout());
    int reorders = 0, solves = 0;
    for (std::string line; std::getline(text, line);) {
        reorders += line == "Summary PARDISO: ( reorder to reorder )" ? 1 : 0;
        solves += line == "Summary PARDISO: ( solve to solve )" ? 1 : 0;
    }
    EXPECT_EQ(reorders, lines);
    EXPECT_EQ(solves, lines);
}

TEST(ReportLevels, ZeroPrintsNothingAndOnlyAPositiveOneStatistics)
{
    EngineCall call(gridMatrix(11, 4, 3), 11);
    for (const int phase : {33, 12, 23, 33, 21, 0, -1, 0, -5})
        EXPECT_EQ(call.runPrinting(phase, 0).text, "") << phase;
    call.release();
    EXPECT_EQ(call.run(12), 0);
    for (const int phase : {33, 331, 0, 11, -1}) EXPECT_EQ(call.runPrinting(phase, -2).text, "") << phase;
}

// The enquiries, the diagonal path and -1 without a handle end before the version is told.
TEST(ReportLevels, TwoTellsTheVersionWhereThereIsAHandle)
{
    EngineCall call(gridMatrix(11, 4, 3), 11);
    EXPECT_EQ(call.runPrinting(-1, 2).text, "");
    EXPECT_EQ(call.runPrinting(-2, 2).text, "");
    EXPECT_EQ(call.runPrinting(-3, 2).text, "");
    EngineCall onDiagonal(diagonal({2., 4.}));
    EXPECT_EQ(onDiagonal.runPrinting(13, 2).text,
              "Sorry, no statistics for solve in case of a diagonal matrix\n");
    for (const int level : {1, 3, -2})
        EXPECT_EQ(call.runPrinting(11, level).text.find("version"), std::string::npos) << level;
}

TEST(ReportOfADiagonalMatrix, NamesTheLastStepThatWasDone)
{
    struct PhaseAndStep {
        int phase;
        const char* step;
    };
    for (const auto& [phase, step] : {PhaseAndStep{11, "reorder"},
                                      {12, "factorize"},
                                      {13, "solve"},
                                      {22, "factorize"},
                                      {23, "solve"},
                                      {33, "solve"},
                                      {331, "solve"},
                                      {332, "solve"},
                                      {333, "solve"},
                                      {3, "solve"},
                                      {43, "solve"},
                                      {2, "factorize"},
                                      {24, "factorize"}}) {
        for (const int level : {1, 2}) {
            EngineCall call(diagonal({2., 4.}));
            EXPECT_EQ(call.runPrinting(phase, level).text,
                      std::string("Sorry, no statistics for ") + step + " in case of a diagonal matrix\n")
                << phase;
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
