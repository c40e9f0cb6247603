#include "tests/engine/engine_call.h"

#include <lintrix/engine/call/input_check.h>
#include <lintrix/services/hardening.h>

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <vector>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::detail::engine;
using Velmar::Lintrix::testing::Rows;
using Velmar::Lintrix::testing::tridiagonal;

namespace {

/// The check by itself, on a control block that stores maxfct 2, mtype 11 and order 4.
class InputCheck : public ::testing::Test {
protected:
    InputCheck()
    {
        control[Word::Maxfct] = 2;
        control[Word::Mtype] = 11;
        control[Word::Order] = 4;
        iparm[1] = 2;
    }

    Failure check()
    {
        return checkInput({nullptr, maxfct, mnum, mtype, Phase(phase), n, A.a.data(), A.ia.data(),
                           A.ja.data(), nullptr, nrhs, Parameters(iparm.data()), 0, nullptr, nullptr},
                          control);
    }
    int& slot(int k) { return iparm[static_cast<std::size_t>(k) - 1]; }

    Rows A = tridiagonal(4);
    int maxfct = 2, mnum = 1, mtype = 11, phase = 33, n = 4, nrhs = 1;
    std::array<int, 64> iparm{};
    ControlBlock control{};
};

TEST_F(InputCheck, PassStoresTheCall)
{
    mnum = 2;
    mtype = 13;
    nrhs = 3;
    EXPECT_FALSE(check());
    EXPECT_EQ(control[Word::Mnum], 2);
    EXPECT_EQ(control[Word::Mtype], 13);
    EXPECT_EQ(control[Word::RightHandSides], 3);
    EXPECT_EQ(control[Word::Phase], 33);
    EXPECT_EQ(control[Word::NonZeros], 10);
}

TEST_F(InputCheck, FailureKeepsMaxfctAndTypeAndClearsPhaseEntriesAndRightHandSides)
{
    EXPECT_FALSE(check());
    mtype = 13;
    maxfct = 1;
    slot(2) = 4;
    EXPECT_EQ(check().internal, 11);
    EXPECT_EQ(control[Word::Maxfct], 2);
    EXPECT_EQ(control[Word::Mtype], 11);
    EXPECT_EQ(control[Word::Order], 4);
    EXPECT_EQ(control[Word::Phase], 0);
    EXPECT_EQ(control[Word::NonZeros], 0);
    EXPECT_EQ(control[Word::RightHandSides], 0);
}

// Each rule is broken together with each that comes after it: the first decides. (What breaks a rule may
// break a later one of the same argument as well; the later change then stands and may mend the earlier
// rule.)
TEST_F(InputCheck, RulesComeInTheirOrder)
{
    struct Break {
        int code;
        std::function<void()> make;
    };
    const std::vector<Break> breaks = {
        {1, [&] { phase = 34; }},   {2, [&] { maxfct = 3; }},
        {3, [&] { mnum = 9; }},     {15, [&] { mtype = 12; }},
        {6, [&] { n = 3; }},        {8, [&] { A.ia[3] = A.ia[4] = 1; }},
        {9, [&] { nrhs = 0; }},     {10, [&] { slot(6) = 2; }},
        {11, [&] { slot(2) = 4; }}, {21, [&] { slot(27) = 1, A.ia[0] = 2; }},
    };
    for (std::size_t first = 0; first < breaks.size(); ++first) {
        for (std::size_t second = first; second < breaks.size(); ++second) {
            SCOPED_TRACE(::testing::Message() << breaks[first].code << " and " << breaks[second].code);
            A = tridiagonal(4);
            maxfct = 2, mnum = 1, mtype = 11, phase = 33, n = 4, nrhs = 1;
            iparm = {};
            slot(2) = 2;
            breaks[second].make();
            breaks[first].make();
            const Failure failure = check();
            EXPECT_EQ(failure.error, Error::Input);
            EXPECT_EQ(failure.internal, breaks[first].code);
        }
    }
}

TEST_F(InputCheck, TakesPhasesInRangeAndPartsOfASolve)
{
    for (const int legal : {11, 12, 13, 22, 23, 33, 331, 332, 333}) {
        phase = legal;
        EXPECT_FALSE(check()) << legal;
    }
    for (const int outside : {34, 100, 330, 334, 335, 3310, 2147483647}) {
        phase = outside;
        EXPECT_EQ(check().internal, 1) << outside;
    }
    for (const int noCode : {1, 2, 3, 10, 14, 20, 21, 24, 30, 31, 32}) {
        phase = noCode;
        EXPECT_EQ(check().internal, 20) << noCode;
    }
}

// 12 and 13 factorize, and from 22 on every phase is taken to need a factor; the others have none to choose.
TEST_F(InputCheck, AMatrixNumberBelowOneIsRefusedWhereAFactorIsMeant)
{
    for (const int none : {0, -3}) {
        mnum = none;
        for (const int meant : {12, 13, 22, 23, 24, 30, 32, 33, 331, 332, 333}) {
            phase = meant;
            EXPECT_EQ(check().internal, 4) << meant;
        }
        for (const int noCode : {1, 2, 3, 10, 14, 15, 19, 20, 21}) {
            phase = noCode;
            EXPECT_EQ(check().internal, 20) << noCode;
        }
        phase = 11;
        EXPECT_FALSE(check());
    }
}

TEST_F(InputCheck, AdmitsTypesByMagnitude)
{
    for (const int admitted : {1, 3, 5, -1, -3, -5, 11, -11, 13}) {
        control[Word::Mtype] = 11;
        mtype = admitted;
        EXPECT_FALSE(check()) << admitted;
    }
    A = tridiagonal(4, true);
    for (const int admitted : {2, -2, 4, -4, 6, -6}) {
        control[Word::Mtype] = 2;
        mtype = admitted;
        EXPECT_FALSE(check()) << admitted;
    }
    for (const int refused : {0, 7, -7, 10, 12, -12, -13, 14, 2147483647, -2147483647 - 1}) {
        mtype = refused;
        EXPECT_EQ(check().internal, 15) << refused;
    }
}

TEST_F(InputCheck, RefusesATypeOfTheOtherParity)
{
    mtype = 2;
    EXPECT_EQ(check().internal, 5);
    mtype = -4;
    EXPECT_EQ(check().internal, 5);
    mtype = 1;
    EXPECT_FALSE(check());
}

TEST_F(InputCheck, WantsAnOrderOfAtLeastOne)
{
    control[Word::Order] = n = 0;
    EXPECT_EQ(check().internal, 7);
    control[Word::Order] = n = -2147483647 - 1;
    EXPECT_EQ(check().internal, 7);
}

TEST_F(InputCheck, LooksAtTheMatrixNumberWhereAFactorIsWorkedAt)
{
    mnum = 0;
    phase = 11;
    EXPECT_FALSE(check());
    for (const int working : {12, 13, 22, 23, 33, 331}) {
        phase = working;
        EXPECT_EQ(check().internal, 4) << working;
    }
}

TEST_F(InputCheck, LooksAtRightHandSidesFromASolveOn)
{
    nrhs = 0;
    for (const int phaseBefore : {11, 12, 13, 22, 23}) {
        phase = phaseBefore;
        EXPECT_FALSE(check()) << phaseBefore;
    }
    for (const int solving : {33, 331, 332, 333}) {
        phase = solving;
        EXPECT_EQ(check().internal, 9) << solving;
    }
}

TEST_F(InputCheck, WantsAsManyEntriesAsRows)
{
    A.ia[4] = 4;
    EXPECT_EQ(check().internal, 8);
    A.ia[4] = -2147483647 - 1;
    EXPECT_EQ(check().internal, 8);
}

/// What the matrix check says of a matrix.
class MatrixCheck : public InputCheck {
protected:
    MatrixCheck() { slot(27) = 1; }

    void expectFailure(int code, std::array<int, 3> numbers)
    {
        const Failure failure = check();
        EXPECT_EQ(failure.error, Error::Input);
        EXPECT_EQ(failure.internal, code);
        EXPECT_EQ((std::array{slot(31), slot(32), slot(33)}), numbers);
        EXPECT_EQ(slot(27), 1);
    }
};

TEST_F(MatrixCheck, PassClearsItsParameter)
{
    EXPECT_FALSE(check());
    EXPECT_EQ(slot(27), 0);
}

TEST_F(MatrixCheck, IsNotDoneWithoutBeingAskedFor)
{
    slot(27) = 0;
    A.ja[1] = 99;
    EXPECT_EQ(check().internal, detail::kHardened ? 22 : 0);
}

TEST_F(MatrixCheck, WantsRowStartsFromOne)
{
    A.ia[0] = 0;
    expectFailure(21, {1, 0, 3});
}

TEST_F(MatrixCheck, WantsRowStartsThatAscendAndTellsTheLastThatDoesNot)
{
    A.ia = {1, 3, 3, 3, 11};
    expectFailure(21, {3, 3, 3});
}

TEST_F(MatrixCheck, WantsColumnsInRangeAndTellsTheLastThatIsNot)
{
    A.ja[2] = 0;
    A.ja[7] = 5;
    expectFailure(22, {8, 5, 4});
    A.ja[7] = -2147483647 - 1;
    expectFailure(22, {8, -2147483647 - 1, 4});
}

TEST_F(MatrixCheck, OfSymmetricStorageWantsTheUpperTriangle)
{
    control[Word::Mtype] = mtype = -2;
    A = tridiagonal(4, true); // rows (1 2) (2 3) (3 4) (4)
    A.ja[2] = 1;
    A.ja[4] = 1;
    expectFailure(23, {3, 5, 1});
    control[Word::Mtype] = mtype = 11;
    EXPECT_FALSE(check());
}

TEST_F(MatrixCheck, WantsColumnsThatAscendStrictlyWithinARow)
{
    A.ja = {1, 2, 1, 3, 2, 2, 3, 4, 3, 4}; // row 2 out of order, and equal columns in rows 2 and 3
    A.ia = {1, 3, 6, 9, 11};
    expectFailure(24, {4, 3, 2});
    A.ja = {1, 2, 1, 2, 3, 2, 3, 3, 3, 4};
    expectFailure(24, {7, 3, 3});
}

TEST_F(MatrixCheck, ComesBeforeTheLegalCodes)
{
    phase = 20;
    A.ja[1] = 99;
    EXPECT_EQ(check().internal, 22);
    A.ja[1] = 2;
    EXPECT_EQ(check().internal, 20);
    EXPECT_EQ(slot(27), 0);
}

} // namespace
