#include "tests/engine/engine_call.h"

#include <lintrix/engine/call/handle.h>
#include <lintrix/engine/report/failure_report.h>

#include <gtest/gtest.h>

#include <array>
#include <numeric>
#include <string>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::detail::engine;
using Velmar::Lintrix::testing::EngineCall;
using Velmar::Lintrix::testing::ThreadSetting;
using Velmar::Lintrix::testing::tridiagonal;

namespace {

/// Every number of the call is different, so that none stands in the place of another.
class FailureReport : public ::testing::Test {
protected:
    FailureReport()
    {
        control[Word::Maxfct] = 101;
        control[Word::Mtype] = 102;
        control[Word::Order] = 103;
        control[Word::NonZeros] = 104;
        control[Word::Threads] = 105;
        ia[4] = 13;
        slot(2) = 202, slot(3) = 203, slot(6) = 206, slot(8) = -208;
        slot(15) = 215, slot(16) = 216, slot(17) = 217, slot(20) = 220;
        slot(31) = 231, slot(32) = 232, slot(33) = 233;
    }

    std::string textOf(Error error, int internal, std::int64_t bytes = 0, FileTrouble file = {})
    {
        const Arguments call{nullptr, 31,        32,      mtype,   Phase(33), 4,
                             nullptr, ia.data(), nullptr, nullptr, 35,        Parameters(iparm.data()),
                             1,       nullptr,   nullptr};
        ::testing::internal::CaptureStdout();
        reportFailure({error, internal, bytes, file}, call, &control);
        return ::testing::internal::GetCapturedStdout();
    }
    int& slot(int k) { return iparm[static_cast<std::size_t>(k) - 1]; }

    int mtype = 11;
    std::array<int, 5> ia{};
    std::array<int, 64> iparm{};
    ControlBlock control{};
};

struct CodeAndLine {
    int internal;
    const char* line;
};

TEST_F(FailureReport, OfInputTellsTheRuleAndTheArguments)
{
    const CodeAndLine rules[] = {
        {1, "*** Input check: ido_new 33 (out of bounds)"},
        {2, "*** Input check: max_fac_store_new 31 _old 101 are incompatible"},
        {3, "*** Input check: max_fac_store_in 31 matrix_number_in 32"},
        {4, "*** Input check: matrix_number_new 32 ido 33 are incompatible"},
        {5, "*** Input check: matrix_type_new 11 _old 102 are incompatible"},
        {6, "*** Input check: neqns_new 4 _old 103 are incompatible"},
        {7, "*** Input check: neqns_new 4 "},
        {8, "*** Input check: ia(neqns+1)_new 12 _old 104 are incompatible"},
        {9, "*** Input check: nb_new  35  ido 33 are incompatible"},
        {10, "*** Input check: iparam(6) 206 (out of bounds)"},
        {11, "*** Input check: preprocessing 202 (out of bounds)"},
    };
    for (const auto& [internal, line] : rules) {
        const std::string code = std::to_string(internal);
        EXPECT_EQ(textOf(Error::Input, internal),
                  "*** Error in PARDISO  ( sequence_ido,parameters) error_num= " + code + "\n" + line +
                      "\n*** Input parameters: inconsistent error= " + code +
                      " max_fac_store_in: 31\n"
                      "          matrix_number_in : 32 matrix_type_in   : 11\n"
                      "          ido_in           : 33 neqns_in         : 4\n"
                      "          ia(neqns_in+1)-1 : 12 nb_in            : 35\n");
    }
}

TEST_F(FailureReport, OfOtherInputTellsTheRuleAlone)
{
    const CodeAndLine rules[] = {
        {12, "*** Input check: internal error, counted # threads 105\n"},
        {13, "*** Input check: nproc 203 <> counted # threads 105\n"},
        {15, "*** Input check: matrix_type_new 11 (out of bounds)\n"},
        {20, "*** wrong control step parameter ido 33\n"},
        {100, "*** Error in PARDISO: wrong matrix number, clean 32\n"},
        {999, "*** Error in PARDISO: only symb. fact. diagonal matrix case 33\n"},
        {1000, "*** Error in PARDISO: ido < 1 and initialization\n - contradiction (set ido >0 !) 33\n"},
        {10000, "*** Error in PARDISO: ido < -1\n"},
        {100000, "*** Error in PARDISO: clean impossible (ido?)\n"},
    };
    for (const auto& [internal, line] : rules) {
        EXPECT_EQ(textOf(Error::Input, internal),
                  "*** Error in PARDISO  ( sequence_ido,parameters) error_num= " + std::to_string(internal) +
                      "\n" + line);
    }
}

TEST_F(FailureReport, OfTheMatrixTellsItsThreeNumbers)
{
    const CodeAndLine rules[] = {
        {21, "*** Input check: i=231, ia(i)=232, ia(i+1)=233 are incompatible\n"},
        {22, "*** Input check: i=231, ja(i)=232, neqns=233 are incompatible\n"},
        {23, "*** Input check: i=231, j=ia(i)=232, ja(j)=233 are incompatible\n"},
        {24, "*** Input check: j=231, ja(j)=232, ja(j+1)=233 are incompatible\n"},
    };
    for (const auto& [internal, line] : rules) {
        EXPECT_EQ(textOf(Error::Input, internal),
                  "*** Error in PARDISO  (incorrect input matrix  ) error_num= " + std::to_string(internal) +
                      "\n" + line);
    }
}

TEST_F(FailureReport, OfMemoryTellsTheBlockAndTheFigures)
{
    const CodeAndLine blocks[] = {
        {-100, "BASIC   "},  {-200, "FACT_ADR"},  {-203, "FACT_ADR"},  {-300, "LOC_INT1"},
        {-400, "STRUC_S0"},  {-404, "STRUC_S0"},  {-500, "WORK_I0 "},  {-600, "STRUC_S1"},
        {-700, "STRUC_S2"},  {-800, "STRUC_FI"},  {-806, "STRUC_FI"},  {-900, "LOC_INT2"},
        {-1000, "UP_UPLEN"}, {-1100, "FACT_L&U"}, {-1200, "WORK_R0 "}, {-1300, "CGS_ARR "},
    };
    for (const auto& [internal, name] : blocks) {
        EXPECT_EQ(textOf(Error::Memory, internal, 5000000000),
                  "*** Error in PARDISO  (     insufficient_memory) error_num= " + std::to_string(internal) +
                      "\n*** Error in PARDISO memory allocation: " + name +
                      ", size to allocate: 5000000000 bytes\n"
                      "total memory wanted here: 4882813 kbyte\n"
                      "symbolic (max): 215 symbolic (permanent): 216\n"
                      " real(including 1 factor): 217\n");
    }
}

TEST_F(FailureReport, OfNumericWorkGoesByItsTestsInOrder)
{
    struct Row {
        int internal, iteration, mtype;
        const char* lines;
    };
    const Row rows[] = {
        {-112, -1, 2,
         "*** error PARDISO: iterative refinement\n contraction rate is greater than 0.9, interrupt\n"},
        {-111, -1, 2, "*** error PARDISO: iterative refinement\n exceeds max. iteration number 208\n"},
        {-3, 5, 2, "*** Error in PARDISO: cgs error iparam(20) 5\n"},
        {-2, -34, 2, "*** Error in PARDISO: cgs error iparam(20) -34\n"},
        {-2, 0, 2, "*** Error in PARDISO: internal error, insufficient memory factorization\n"},
        {7, 0, 2, "*** Error in PARDISO: zero or negative pivot, A is not SPD-matrix\n"},
        {7, 0, 4, "*** Error in PARDISO: zero or negative pivot, A is not SPD-matrix\n"},
        {7, 0, -2, "*** Error in PARDISO: zero pivot\n"},
        {-1, 0, 11, "*** Error in PARDISO: zero pivot\n"},
    };
    for (const Row& row : rows) {
        slot(20) = row.iteration;
        mtype = row.mtype;
        EXPECT_EQ(textOf(Error::Numeric, row.internal),
                  "*** Error in PARDISO  ( numerical_factorization) error_num= " +
                      std::to_string(row.internal) + "\n" + row.lines);
    }
}

TEST_F(FailureReport, OfOtherErrors)
{
    const std::string start = "*** Error in PARDISO  (";
    EXPECT_EQ(textOf(Error::Reordering, -20), start + "        reordering_phase) error_num= -20\n"
                                                      "*** error PARDISO: reordering, symb. factorization\n");
    EXPECT_EQ(textOf(Error::Overflow, -182), start + "32-bit overflow problem.) error_num= -182\n"
                                                     "*** error PARDISO: reordering, symb. factorization\n");
    EXPECT_EQ(textOf(Error::Unclassified, 0), start + " internal_error,unclass.) error_num= 0\n"
                                                      "*** Error in PARDISO: unclassified error\n");
    EXPECT_EQ(textOf(Error::OutOfCoreOpen, 1), start + "      open OOC tmp files) error_num= 1\n"
                                                       "*** Error in PARDISO: unclassified error\n");
    EXPECT_EQ(textOf(Error::Matching, -3),
              start + "prereordering_mtype11,13) error_num= -3\n"
                      "*** Error in PARDISO: preordering failed after 3 neqns out of 4\n"
                      "structure singular or input/parameter problem (matrixtype 11,13)\n");
    EXPECT_EQ(textOf(Error::Diagonal, -2), start + " internal_error,unclass.) error_num= -2\n"
                                                   "*** something wrong with diagonal matrix row 2\n");
    EXPECT_EQ(textOf(Error::OutOfCoreMemory, -9), start + " not enough mem. for OOC) error_num= -9\n");
    EXPECT_EQ(textOf(Error::OutOfCoreTransfer, 1), start + "read/write OOC data file) error_num= 1\n");
}

TEST_F(FailureReport, OfFilesTellsTheStepAndTheArray)
{
    const char* const steps[] = {"do_all: ", "fact. step: ", "solve step: "};
    const char* const arrays[] = {"lindx",     "lnz",        "unz",           "jalf",   "jauf",   "luperm",
                                  "luperm(2)", "luperm_row", "luperm_row(2)", "slindx", "slength"};
    struct Action {
        FileAction action;
        std::string message, words;
    };
    const Action actions[] = {
        {FileAction::OpenForStoring, " PARDISO_OOC_OPEN_FILE_ERROR occured: ", "open file for storing "},
        {FileAction::OpenForReading, " PARDISO_OOC_OPEN_FILE_ERROR occured: ", "open file for reading "},
        {FileAction::Write, " PARDISO_OOC_WRITE_FILE_ERROR occured: ", "write file of "},
        {FileAction::Read, " PARDISO_OOC_READ_FILE_ERROR occured: ", "read file of "},
        {FileAction::Check, " PARDISO_OOC_CHECK_SUM_ERROR occured: ", "check sum of "},
        {FileAction::Remove, " PARDISO_OOC_REMOVE_FILE_ERROR occured: ", "remove file of "},
    };
    const std::string open = "*** Error in PARDISO  (      open OOC tmp files) error_num= -10\n",
                      transfer = "*** Error in PARDISO  (read/write OOC data file) error_num= -11\n",
                      unclassified = "*** Error in PARDISO: unclassified error\n";
    for (const auto& [action, message, words] : actions) {
        for (int step = 0; step < 3; ++step) {
            for (int file = 0; file < kFactorFiles; ++file) {
                const FileTrouble trouble{action, FileStep(step), FactorFile(file)};
                const std::string line = message + steps[step] + words + arrays[file] + "\n";
                EXPECT_EQ(textOf(Error::OutOfCoreOpen, -10, 0, trouble), open + line + unclassified);
                EXPECT_EQ(textOf(Error::OutOfCoreTransfer, -11, 0, trouble), transfer + line);
            }
        }
    }
    const FileTrouble first{FileAction::OpenForStoring, FileStep::Analysis, FactorFile::Rows};
    EXPECT_EQ(textOf(Error::OutOfCoreOpen, -10, 0, first),
              open + " PARDISO_OOC_OPEN_FILE_ERROR occured: do_all: open file for storing lindx\n" +
                  unclassified);
    const FileTrouble second{FileAction::OpenForReading, FileStep::Factorization, FactorFile::Rows};
    EXPECT_EQ(textOf(Error::OutOfCoreOpen, -10, 0, second),
              open + " PARDISO_OOC_OPEN_FILE_ERROR occured: fact. step: open file for reading lindx\n" +
                  unclassified);
    EXPECT_EQ(textOf(Error::OutOfCoreMemory, -9, 0, first),
              "*** Error in PARDISO  ( not enough mem. for OOC) error_num= -9\n");
}

TEST(ReportedFailure, OfInputWithANegativeCodeBecomesDiagonal)
{
    EXPECT_EQ(reported({Error::Input, -4}).error, Error::Diagonal);
    EXPECT_EQ(reported({Error::Input, -4}).internal, -4);
    EXPECT_EQ(reported({Error::Input, 4}).error, Error::Input);
    EXPECT_EQ(reported({Error::Memory, -4}).error, Error::Memory);
}

// Through the entry.

TEST(EntryReport, OfAFailureComesAtAnyLevelButZero)
{
    for (const int level : {1, 3, -1, -2}) {
        EngineCall call(tridiagonal(4));
        EXPECT_EQ(call.runPrinting(-5, level).text,
                  "*** Error in PARDISO  ( sequence_ido,parameters) error_num= 10000\n"
                  "*** Error in PARDISO: ido < -1\n");
    }
    EngineCall call(tridiagonal(4));
    EXPECT_EQ(call.runPrinting(-5, 0).text, "");
    EXPECT_EQ(call.runPrinting(11, 0).text, "");
    EXPECT_EQ(call.runPrinting(11, -1).text, "");
}

TEST(EntryReport, BeginsWithTheVersionAtLevelTwo)
{
    EngineCall call(tridiagonal(4));
    const std::string version = " local PARDISO version is 102000114\n";
    EXPECT_EQ(call.runPrinting(33, 2).text,
              version + "*** Error in PARDISO  ( sequence_ido,parameters) error_num= 100000\n"
                        "*** Error in PARDISO: clean impossible (ido?)\n");
    EXPECT_NE(call.runPrinting(11, 2).text.find(version + "\n================ PARDISO"), std::string::npos);
    EXPECT_TRUE(call.runPrinting(0, 2).text.starts_with(version));
    EXPECT_TRUE(call.runPrinting(-1, 2).text.starts_with(version));
}

TEST(EntryReport, OfUnsortedColumns)
{
    EngineCall call(tridiagonal(4));
    call.set(27, 1);
    std::swap(call.A.ja[2], call.A.ja[3]);
    const auto [error, text] = call.runPrinting(11, 1);
    EXPECT_EQ(error, -1);
    EXPECT_EQ(text, "*** Error in PARDISO  (incorrect input matrix  ) error_num= 24\n"
                    "*** Input check: j=3, ja(j)=2, ja(j+1)=1 are incompatible\n");
}

TEST(EntryReport, OfAnOrderingThatIsNone)
{
    EngineCall call(tridiagonal(4));
    call.set(2, 4);
    EXPECT_EQ(call.runPrinting(11, 1).text,
              "*** Error in PARDISO  ( sequence_ido,parameters) error_num= 11\n"
              "*** Input check: preprocessing 4 (out of bounds)\n"
              "*** Input parameters: inconsistent error= 11 max_fac_store_in: 1\n"
              "          matrix_number_in : 1 matrix_type_in   : 11\n"
              "          ido_in           : 11 neqns_in         : 4\n"
              "          ia(neqns_in+1)-1 : 10 nb_in            : 1\n");
}

TEST(EntryReport, OfReleasesTellsWhatWasReleased)
{
    EngineCall call(tridiagonal(4));
    EXPECT_EQ(call.run(11), 0);
    const std::string head =
        "\n================ PARDISO: solving a real nonsymmetric system ================\n"
        "Summary PARDISO: ( clean )\n================\n";
    EXPECT_EQ(call.runPrinting(0, 1).text, head + " L&U for matrix number 1 deleted\n");
    EXPECT_EQ(call.runPrinting(-1, 1).text,
              head + " cleaned memory, deleted number of L&U-factorizations: 0\n");
}

TEST(EntryReport, OfAnAnalysisNamesItsSteps)
{
    EngineCall call(tridiagonal(4));
    const std::string text = call.runPrinting(11, 1).text;
    std::size_t place = 0;
    for (const char* line :
         {"=== PARDISO is running in In-Core mode, because iparam(60)=0 ===\n",
          "\n================ PARDISO: solving a real nonsymmetric system ================\n",
          "Summary PARDISO: ( reorder to reorder )\n================\nTimes:\n======\n",
          "      Time fulladj: ",
          "      Time reorder: ",
          "      Time symbfct: ",
          "      Time parlist: ",
          "      Time malloc : ",
          "      Time total  : ",
          " s total - sum: ",
          "Statistics:\n===========\n",
          " < Parallel Direct Factorization with #processors: >         1\n",
          " < Numerical Factorization with Level-3 BLAS performance >\n",
          " < Linear system Ax = b> <transpose> \n",
          "             #equations:                                     4\n",
          "             #non-zeros in A:                                10\n",
          "             non-zeros in A (%):                            62.500000\n",
          "             #right-hand sides:                              1\n",
          " < Factors L and U > \n",
          "             #columns for each panel:                        128\n",
          "             #independent subgraphs:                         1\n",
          " < Preprocessing with state of the art partitioning metis>\n",
          "             #supernodes:                                    ",
          "             size of largest supernode:                      ",
          "             number of nonzeros in L                         ",
          "             number of nonzeros in U                         ",
          "             number of nonzeros in L+U                       "}) {
        place = text.find(line, place);
        ASSERT_NE(place, std::string::npos) << line << "is not where it belongs in\n" << text;
    }
    EXPECT_EQ(text.find("gflop"), std::string::npos);
    EXPECT_EQ(text.find("Time numfct"), std::string::npos);
}

// (1, n - 1) and (n, n); where the ordering would have been by minimum degree, the last stands twice.
TEST(EntryReport, CountsTheSubgraphsOfAnOrderThatCameReadyMade)
{
    struct Order {
        int mtype, ordering, permutationUse, subgraphs;
    };
    for (const Order& order : {Order{11, 2, 1, 2}, Order{11, 0, 1, 2}, Order{-2, 0, 0, 3}, Order{-2, 1, 0, 3},
                               Order{-2, 2, 0, 2}, Order{-2, 3, 0, 2}}) {
        EngineCall call(tridiagonal(40, order.mtype == -2), order.mtype);
        call.set(2, order.ordering);
        call.set(5, order.permutationUse);
        call.set(13, order.mtype == -2 ? 1 : 0);
        std::iota(call.perm.begin(), call.perm.end(), 1);
        const std::string line =
            "             #independent subgraphs:                         " + std::to_string(order.subgraphs);
        for (const int phase : {11, 23}) {
            const std::string text = call.runPrinting(phase, 1).text;
            EXPECT_NE(text.find(line + "\n"), std::string::npos) << line << " is not in\n" << text;
        }
        EXPECT_EQ(call.run(33), 0);
    }
}

TEST(EntryReport, NamesTheMethodByTheThreadsAlone)
{
    const std::string serial = " < Numerical Factorization with Level-3 BLAS performance >\n";
    const std::string parallel = " < Numerical Factorization with BLAS3 and O(n) synchronization >\n";
    for (const int threads : {1, 2, 4}) {
        const ThreadSetting setting(threads, 0);
        for (const int mtype : {1, 2, -2, 11}) {
            EngineCall call(tridiagonal(250, mtype % 2 == 0), mtype);
            const auto [error, text] = call.runPrinting(12, 1);
            EXPECT_EQ(error, 0);
            EXPECT_EQ(call.iparm(3), threads);
            EXPECT_EQ(text.find(serial) != std::string::npos, threads == 1) << text;
            EXPECT_EQ(text.find(parallel) != std::string::npos, threads > 1) << text;
        }
    }
}

TEST(EntryReport, RepeatsTheMethodForATransposedSystem)
{
    EngineCall call(tridiagonal(4));
    call.set(12, 1);
    const std::string method = " < Numerical Factorization with Level-3 BLAS performance >\n";
    EXPECT_NE(call.runPrinting(11, 1).text.find(method + method), std::string::npos);
}

} // namespace
