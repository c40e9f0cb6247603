// How a factorization fails: the pivots, the listener and the memory that stop it, what is told, what stays.

#include "tests/engine/factorization/factored_call.h"
#include "tests/services/slot_recorder.h"

#include <lintrix/engine/call/matrix_type.h>
#include <lintrix/engine/call/progress_scope.h>
#include <lintrix/engine/factorization/factor_plan.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <set>
#include <string>
#include <utility>
#include <vector>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::detail::engine;
using Velmar::Lintrix::testing::EngineCall;
using Velmar::Lintrix::testing::hasFactor;
using Velmar::Lintrix::testing::inElementsOf;
using Velmar::Lintrix::testing::Rows;
using Velmar::Lintrix::testing::SlotRecorder;
using Velmar::Lintrix::testing::ThreadSetting;
using Velmar::Lintrix::testing::toSingle;
using Velmar::Lintrix::testing::tridiagonal;

namespace {

constexpr int kTypes[] = {1, 2, -2, 3, 4, -4, 6, 11, 13};

/// The tridiagonal matrix in the element of the type, the value of equation `changed` (from 1; 0: none) on
/// the diagonal replaced by `value`, and for 0 all of its row and column.
Rows matrixFor(int mtype, int n, int changed = 0, double value = 0.)
{
    Rows A = tridiagonal(n, isSymmetricStorage(mtype));
    for (int i = 1; i <= n; ++i) {
        for (int k = A.ia[std::size_t(i) - 1]; k < A.ia[std::size_t(i)]; ++k) {
            const int j = A.ja[std::size_t(k) - 1];
            if (i == changed && j == changed)
                A.a[std::size_t(k) - 1] = value;
            else if (value == 0. && (i == changed || j == changed))
                A.a[std::size_t(k) - 1] = 0.;
        }
    }
    return inElementsOf(mtype, A);
}

/// A factorization of equations in the order in which they stand, with a pivot that cannot be used.
void expectColumn(int mtype, int single, int threads, int column, double value, const char* line)
{
    SCOPED_TRACE(::testing::Message() << mtype << ' ' << single << ' ' << threads << ' ' << column);
    const ThreadSetting setting(threads, 0);
    EngineCall call(matrixFor(mtype, 70, column, value), mtype);
    if (single != 0) toSingle(call.A.a);
    call.set(28, single);
    call.set(5, 1);
    std::iota(call.perm.begin(), call.perm.end(), 1);
    const auto [error, text] = call.runPrinting(12, -1);
    EXPECT_EQ(error, -4);
    EXPECT_EQ(call.iparm(30), column);
    const std::string expected =
        "*** Error in PARDISO  ( numerical_factorization) error_num= " + std::to_string(column) + "\n" +
        line + "\n";
    EXPECT_NE(text.find(expected), std::string::npos) << text;
}

TEST(FactorFailure, OfCholeskyTellsTheColumn)
{
    for (const int mtype : {2, 4}) {
        for (const int single : {0, 1}) {
            for (const int threads : {1, 2, 4}) {
                for (const int column : {1, 2, 35, 70})
                    expectColumn(mtype, single, threads, column, -3.,
                                 "*** Error in PARDISO: zero or negative pivot, A is not SPD-matrix");
            }
        }
    }
}

TEST(FactorFailure, OfRowPivotingTellsTheColumn)
{
    for (const int mtype : {1, 3}) {
        for (const int single : {0, 1}) {
            for (const int threads : {1, 2, 4}) {
                for (const int column : {1, 2, 35, 70})
                    expectColumn(mtype, single, threads, column, 0., "*** Error in PARDISO: zero pivot");
            }
        }
    }
}

TEST(FactorFailure, LeavesTheBlockWithoutAFactorAndTheNextOneFillsIt)
{
    for (const int mtype : {1, 2, 3, 4}) {
        EngineCall call(matrixFor(mtype, 6), mtype);
        EXPECT_EQ(call.run(12), 0);
        const FactorEntry& entry = Handle(call.pt.data()).factors()[0];
        const void* const block = entry.storage;
        const std::vector<double> kept = std::exchange(call.A.a, matrixFor(mtype, 6, 1, 0.).a);
        EXPECT_EQ(call.run(22), -4);
        EXPECT_EQ(entry.storage, block);
        EXPECT_EQ(entry.size, 777777777);
        EXPECT_FALSE(hasFactor(call));
        EXPECT_EQ(call.run(33), -4) << "no factor is stored, so that a solve makes one";
        call.A.a = kept;
        EXPECT_EQ(call.run(22), 0);
        EXPECT_EQ(entry.storage, block);
        EXPECT_TRUE(hasFactor(call));
        const ControlBlock& control = Handle(call.pt.data()).control();
        EXPECT_EQ(entry.size, control[WideWord::LowerElements] +
                                  (isSymmetricStorage(mtype) ? 0 : control[WideWord::UpperElements]));
    }
}

TEST(FactorFailure, OfOneFactorLeavesTheOthers)
{
    EngineCall call(matrixFor(2, 40), 2);
    call.maxfct = 2;
    ASSERT_EQ(call.run(13), 0);
    const std::vector<double> x = call.x;
    call.mnum = 2;
    const std::vector<double> kept = std::exchange(call.A.a, matrixFor(2, 40, 7, -1.).a);
    EXPECT_EQ(call.run(22), -4);
    EXPECT_FALSE(hasFactor(call));
    call.mnum = 1;
    EXPECT_TRUE(hasFactor(call));
    call.A.a = kept;
    ASSERT_EQ(call.run(33), 0);
    EXPECT_EQ(call.x, x);
}

// What is asked for beside the factor is given back before the end.
TEST(FactorMemory, OfARepeatedFactorizationIsThatOfTheFirst)
{
    SlotRecorder recorder;
    EngineCall call(tridiagonal(80), 11);
    ASSERT_EQ(call.run(11), 0);
    const auto requests = [&](int phase) {
        recorder.calls();
        EXPECT_EQ(call.run(phase), 0);
        const auto calls = recorder.calls();
        const auto released = std::count(calls.begin(), calls.end(), "free");
        return std::pair(static_cast<std::ptrdiff_t>(calls.size()) - released, released);
    };
    const auto [asked, released] = requests(22);
    EXPECT_EQ(asked, released + 2); // the factor and its exchanges stay
    EXPECT_EQ(requests(22), std::pair(released, released));
    call.mnum = 1;
    EXPECT_EQ(call.run(0), 0);
    EXPECT_EQ(requests(22), std::pair(asked, released));
}

// Every exact zero is perturbed in these types: there is nothing to fail at.
TEST(FactorFailure, OfAZeroPivotIsNoneWherePivotsArePerturbed)
{
    for (const int mtype : {-2, -4, 6, 11, 13}) {
        for (const int pivoting : {0, 1}) {
            for (const int threads : {1, 2}) {
                const ThreadSetting setting(threads, 0);
                EngineCall call(matrixFor(mtype, 70, 35, 0.), mtype);
                call.set(21, pivoting);
                EXPECT_EQ(call.run(12), 0) << mtype;
                EXPECT_EQ(call.iparm(14), 1);
                EXPECT_EQ(call.iparm(30), 0);
            }
        }
    }
}

// Memory.

int codeIn(const std::string& text)
{
    const std::string mark = "error_num= ";
    const std::size_t place = text.find(mark);
    return place == std::string::npos ? 0 : std::atoi(text.c_str() + place + mark.size());
}

/// What the report of a missing block must say behind its first line, but for the sizes.
void expectMemoryLines(const EngineCall& call, int code, const std::string& text)
{
    const std::string name = code == -1100 ? "FACT_L&U" : code == -1200 ? "WORK_R0 " : "CGS_ARR ";
    const std::string figures = " kbyte\nsymbolic (max): " + std::to_string(call.iparm(15)) +
                                " symbolic (permanent): " + std::to_string(call.iparm(16)) +
                                "\n real(including 1 factor): " + std::to_string(call.iparm(17)) + "\n";
    const std::string head =
        "*** Error in PARDISO  (     insufficient_memory) error_num= " + std::to_string(code) +
        "\n*** Error in PARDISO memory allocation: " + name + ", size to allocate: ";
    EXPECT_NE(text.find(head), std::string::npos) << text; // behind the progress of a factorization
    EXPECT_NE(text.find(" bytes\ntotal memory wanted here: "), std::string::npos) << text;
    EXPECT_EQ(text.find("size to allocate: 0 bytes"), std::string::npos) << text;
    EXPECT_TRUE(text.ends_with(figures)) << text;
}

class FailingFactorization : public ::testing::TestWithParam<int> {
protected:
    struct Seen {
        int error, code;
        std::string refused; ///< the request that failed first, nothing where there were fewer
    };

    /// Phase `phase` after an analysis, with request k failing, and what must hold whatever it says.
    static Seen runWithout(int k, bool once, int phase)
    {
        SlotRecorder recorder;
        EngineCall call(matrixFor(GetParam(), 120), GetParam());
        call.set(8, 1);
        call.set(11, 1);
        call.set(13, 1);
        call.set(21, 1);
        EXPECT_EQ(call.run(11), 0);
        const std::vector<int> figures{call.iparm(15), call.iparm(16), call.iparm(17), call.iparm(18)};
        const auto ia = call.A.ia, ja = call.A.ja;
        const auto b = call.b, x = call.x;
        recorder.calls();
        once ? recorder.failOnly(k) : recorder.failFrom(k);
        const auto [error, text] = call.runPrinting(phase, -1);
        recorder.failOnly(-1);
        const std::string refused = requestOf(recorder.calls(), k);
        const int code = codeIn(text);
        if (error == -2) expectMemoryLines(call, code, text);
        if (error != 0) {
            EXPECT_EQ(call.x, x);
        }
        if (phase == 22) {
            EXPECT_EQ(hasFactor(call), error == 0);
        }
        EXPECT_EQ(call.iparm(30),
                  hasFactor(call) ? 0 : code); // a solve that finds no room tells it elsewhere
        EXPECT_EQ(figures,
                  (std::vector<int>{call.iparm(15), call.iparm(16), call.iparm(17), call.iparm(18)}));
        EXPECT_EQ(call.A.ia, ia);
        EXPECT_EQ(call.A.ja, ja);
        EXPECT_EQ(call.b, b);
        EXPECT_EQ(call.run(23), 0) << "usable again";
        call.release();
        EXPECT_EQ(recorder.live(), 0U);
        return {error, code, refused};
    }

    static std::string requestOf(std::vector<std::string> calls, int k)
    {
        std::erase(calls, "free");
        return static_cast<std::size_t>(k) < calls.size() ? calls[static_cast<std::size_t>(k)] : "";
    }

    static std::set<int> codesOf(bool once, int phase)
    {
        std::set<int> codes;
        for (int k = 0;; ++k) {
            SCOPED_TRACE(::testing::Message() << "request " << k << ", once " << once << ", phase " << phase);
            const Seen seen = runWithout(k, once, phase);
            if (seen.refused.empty()) {
                EXPECT_EQ(seen.error, 0);
                break;
            }
            if (once && seen.refused.starts_with("realloc")) { // a list stays larger than it need be
                EXPECT_EQ(seen.error, 0);
                continue;
            }
            EXPECT_EQ(seen.error, -2);
            if (k < 2) {
                EXPECT_EQ(seen.code, -1100); // its storage, its exchanges
            }
            codes.insert(seen.code);
        }
        return codes;
    }
};

TEST_P(FailingFactorization, TellsTheBlockLeaksNothingAndServesAgain)
{
    for (const int threads : {1, 3}) {
        const ThreadSetting setting(threads, 0);
        for (const bool once : {true, false}) {
            EXPECT_EQ(codesOf(once, 22), (std::set<int>{-1100, -1200}));
            EXPECT_EQ(codesOf(once, 23), (std::set<int>{-1100, -1200, -1300}));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Types, FailingFactorization, ::testing::ValuesIn(kTypes));

} // namespace
