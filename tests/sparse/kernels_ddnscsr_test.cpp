#include "tests/sparse/kernels_support.h"

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::testing;

namespace {

/// Row-major, two cells of padding behind each row of three.
const std::vector<double> kDense{1.0, 0.0, 2.0, 9.0, 9.0, -0.0, kNaN, 0.0, 9.0, 9.0, 0.0, 0.0, 3.0};

struct Converted {
    std::vector<double> a = std::vector<double>(6, -7.0);
    std::vector<int> ja = std::vector<int>(6, -7), ia = std::vector<int>(4, -7);
    int info = 55;
};

Converted convert(std::vector<int> job)
{
    Converted C;
    mkl_ddnscsr(job.data(), 3, 3, kDense.data(), 5, C.a.data(), C.ja.data(), C.ia.data(), C.info);
    return C;
}

TEST(Ddnscsr, StoresWhatIsNotEqualToZero)
{
    const Converted C = convert({0, 0, 1, 2, 9, 1});
    EXPECT_EQ(C.ia, (std::vector<int>{1, 3, 4, 5}));
    EXPECT_EQ(C.ja, (std::vector<int>{1, 3, 2, 3, -7, -7}));
    EXPECT_EQ(C.a[0], 1.0);
    EXPECT_EQ(C.a[1], 2.0);
    EXPECT_TRUE(std::isnan(C.a[2])) << "a NaN stays, negative zero goes";
    EXPECT_EQ(C.a[3], 3.0);
    EXPECT_EQ(C.a[4], -7.0);
    EXPECT_EQ(C.info, 55);
}

TEST(Ddnscsr, CountsOnlyWhenAskedTo)
{
    const int job[] = {0, 0, 1, 2, 9, 0};
    std::vector<int> ia(4, -7);
    int info = 55;
    mkl_ddnscsr(job, 3, 3, kDense.data(), 5, nullptr, nullptr, ia.data(), info);
    EXPECT_EQ(ia, (std::vector<int>{1, 3, 4, 5}));
    EXPECT_EQ(info, 55);
}

TEST(Ddnscsr, TheBaseIsThatOfTheJob)
{
    const Converted C = convert({0, 1, 0, 2, 9, 7});
    EXPECT_EQ(C.ia, (std::vector<int>{0, 2, 3, 4}));
    EXPECT_EQ(C.ja, (std::vector<int>{0, 2, 1, 2, -7, -7}));
}

TEST(Ddnscsr, AtTheLimitTheFillingEndsWithTheRow)
{
    const Converted C = convert({0, 0, 1, 2, 1, 1});
    EXPECT_EQ(C.info, 1);
    EXPECT_EQ(C.ia, (std::vector<int>{1, 3, -7, -7}));
    EXPECT_EQ(C.ja, (std::vector<int>{1, -7, -7, -7, -7, -7}));
}

TEST(Ddnscsr, AtTheLimitTheCountingGoesOn)
{
    const Converted C = convert({0, 0, 1, 2, 3, 0});
    EXPECT_EQ(C.info, 3) << "the last row that found the limit reached";
    EXPECT_EQ(C.ia, (std::vector<int>{1, 3, 4, 5}));
}

TEST(Ddnscsr, WithoutRowsThereIsOnePointer)
{
    const int job[] = {0, 0, 1, 2, 0, 1};
    int pointer = -7, info = 55;
    mkl_ddnscsr(job, 0, 3, nullptr, 3, nullptr, nullptr, &pointer, info);
    EXPECT_EQ(pointer, 1);
    EXPECT_EQ(info, 55);
}

TEST(Ddnscsr, OtherJobsAreLegalAndNotServed)
{
    for (const std::vector<int>& job :
         {std::vector<int>{1, 0, 1, 2, 9, 1}, {0, 0, 1, 0, 9, 1}, {0, 0, 1, 1, 9, 1}}) {
        const Converted C = convert(job);
        EXPECT_EQ(C.info, KernelNotServed);
        EXPECT_EQ(C.ia, std::vector<int>(4, -7));
        EXPECT_EQ(C.ja, std::vector<int>(6, -7));
    }
}

} // namespace
