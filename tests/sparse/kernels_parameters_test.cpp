// Every parameter fault: its line on standard output, and nothing touched.

#include "tests/sparse/kernels_support.h"

#include <lintrix/sparse/kernels/parameter_check.h>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::testing;

namespace {

std::string faultLine(int position, const char* routine)
{
    return "MKL ERROR: Parameter " + std::to_string(position) + " was incorrect on entry to " + routine +
           "\n";
}

template <class Call>
std::string printedBy(Call call)
{
    ::testing::internal::CaptureStdout();
    call();
    return ::testing::internal::GetCapturedStdout();
}

/// Arguments of a product with a dense operand, all of them right.
struct DenseCall {
    const char* trans = "N";
    int m = 1, n = 1, k = 1;
    const char* descriptor = kGeneral;
};

/// Arguments of a sparse routine, all of them right.
struct SparseCall {
    const char* trans = "N";
    int request = 2, sort = 0, m = 1, n = 1, k = 1, nzmax = 0;
};

template <class Cell>
class ParametersTest : public ::testing::Test {
protected:
    static constexpr bool kReal = std::is_same_v<Cell, double>;

    void csrmv(const DenseCall& c)
    {
        if constexpr (kReal) {
            mkl_dcsrmv(c.trans, c.m, c.k, one, c.descriptor, &one, &index, ia, ia + 1, &one, one, &c_);
        } else {
            mkl_zcsrmv(c.trans, c.m, c.k, one, c.descriptor, &one, &index, ia, ia + 1, &one, one, &c_);
        }
    }
    void csrmm(const DenseCall& c)
    {
        if constexpr (kReal) {
            mkl_dcsrmm(c.trans, c.m, c.n, c.k, one, c.descriptor, &one, &index, ia, ia + 1, &one, 1, one, &c_,
                       1);
        } else {
            mkl_zcsrmm(c.trans, c.m, c.n, c.k, one, c.descriptor, &one, &index, ia, ia + 1, &one, 1, one, &c_,
                       1);
        }
    }
    void csradd(const SparseCall& c)
    {
        const auto call = [&](auto kernel) {
            kernel(c.trans, c.request, c.sort, c.m, c.n, &one, &index, ia, one, &one, &index, ia, &c_, &jc_,
                   ic_, c.nzmax, info_);
        };
        if constexpr (kReal) {
            call(mkl_dcsradd);
        } else {
            call(mkl_zcsradd);
        }
    }
    void csrmultcsr(const SparseCall& c)
    {
        const auto call = [&](auto kernel) {
            kernel(c.trans, c.request, c.sort, c.m, c.n, c.k, &one, &index, ia, &one, &index, ia, &c_, &jc_,
                   ic_, c.nzmax, info_);
        };
        if constexpr (kReal) {
            call(mkl_dcsrmultcsr);
        } else {
            call(mkl_zcsrmultcsr);
        }
    }
    void expectUntouched()
    {
        EXPECT_EQ(c_, Cell{-7.0});
        EXPECT_EQ(jc_, -7);
        EXPECT_EQ(ic_[0], -7);
        EXPECT_EQ(ic_[1], -7);
        EXPECT_EQ(info_, 55);
    }

    const Cell one{1.0};
    const int index = 1;
    const int ia[2] = {1, 2};
    Cell c_{-7.0};
    int jc_ = -7, ic_[2] = {-7, -7}, info_ = 55;
};
TYPED_TEST_SUITE(ParametersTest, Cells);

TYPED_TEST(ParametersTest, OfTheProductWithAVectorAreCheckedInOrder)
{
    const char* const name = this->kReal ? "MKL_DCSRMV" : "MKL_ZCSRMV";
    const std::pair<DenseCall, int> faults[] = {
        {{.trans = "n", .m = -1, .k = -1, .descriptor = "?"}, 1},
        {{.m = -1, .k = -1, .descriptor = "?"}, 2},
        {{.k = -1, .descriptor = "?"}, 3},
        {{.descriptor = "?UNF"}, 5},
        {{.trans = "", .k = 1}, 1},
    };
    for (const auto& fault : faults) {
        EXPECT_EQ(printedBy([&] { this->csrmv(fault.first); }), faultLine(fault.second, name));
        this->expectUntouched();
    }
    EXPECT_EQ(printedBy([&] { this->csrmv({}); }), "");
    EXPECT_EQ(this->c_, TypeParam{-6.0});
}

TYPED_TEST(ParametersTest, OfTheProductWithADenseMatrixAreCheckedInOrder)
{
    const char* const name = this->kReal ? "MKL_DCSRMM" : "MKL_ZCSRMM";
    const std::pair<DenseCall, int> faults[] = {
        {{.trans = "X", .m = -1, .n = -1, .k = -1, .descriptor = "?"}, 1},
        {{.m = -1, .n = -1, .k = -1, .descriptor = "?"}, 2},
        {{.n = -1, .k = -1, .descriptor = "?"}, 3},
        {{.k = -1, .descriptor = "?"}, 4},
        {{.descriptor = "S?NF"}, 6},
    };
    for (const auto& fault : faults) {
        EXPECT_EQ(printedBy([&] { this->csrmm(fault.first); }), faultLine(fault.second, name));
        this->expectUntouched();
    }
    EXPECT_EQ(printedBy([&] { this->csrmm({}); }), "");
    EXPECT_EQ(this->c_, TypeParam{-6.0});
}

TYPED_TEST(ParametersTest, OfTheSumAreCheckedInOrder)
{
    const char* const name = this->kReal ? "MKL_DCSRADD" : "MKL_ZCSRADD";
    const std::pair<SparseCall, int> faults[] = {
        {{.trans = "t", .request = 3, .m = -1, .n = -1, .nzmax = -1}, 1},
        {{.request = 3, .m = -1, .n = -1, .nzmax = -1}, 2},
        {{.request = -1}, 2},
        {{.request = 0, .m = -1, .n = -1, .nzmax = -1}, 4},
        {{.request = 0, .n = -1, .nzmax = -1}, 5},
        {{.request = 0, .nzmax = -1}, 16},
    };
    for (const auto& fault : faults) {
        EXPECT_EQ(printedBy([&] { this->csradd(fault.first); }), faultLine(fault.second, name));
        this->expectUntouched();
    }
    EXPECT_EQ(printedBy([&] { this->csradd({.request = 1, .nzmax = -1}); }), "") << "nzmax counts for 0 only";
    EXPECT_EQ(this->info_, 0);
}

TYPED_TEST(ParametersTest, OfTheSparseProductAreCheckedInOrder)
{
    const char* const name = this->kReal ? "MKL_DCSRMULTCSR" : "MKL_ZCSRMULTCSR";
    const std::pair<SparseCall, int> faults[] = {
        {{.trans = " ", .request = 3, .m = -1, .n = -1, .k = -1, .nzmax = -1}, 1},
        {{.request = 3, .m = -1, .n = -1, .k = -1, .nzmax = -1}, 2},
        {{.request = 0, .m = -1, .n = -1, .k = -1, .nzmax = -1}, 4},
        {{.request = 0, .n = -1, .k = -1, .nzmax = -1}, 5},
        {{.request = 0, .k = -1, .nzmax = -1}, 6},
        {{.request = 0, .nzmax = -1}, 16},
    };
    for (const auto& fault : faults) {
        EXPECT_EQ(printedBy([&] { this->csrmultcsr(fault.first); }), faultLine(fault.second, name));
        this->expectUntouched();
    }
    EXPECT_EQ(printedBy([&] { this->csrmultcsr({.request = 1, .nzmax = -1}); }), "");
    EXPECT_EQ(this->info_, 0);
}

TYPED_TEST(ParametersTest, LegalArgumentsThatAreNotServedAreReportedByInfoAlone)
{
    for (const SparseCall& call : {SparseCall{.request = 0}, {.sort = 1}, {.request = 1, .sort = 3}}) {
        this->info_ = 55;
        EXPECT_EQ(printedBy([&] { this->csradd(call); }), "");
        EXPECT_EQ(this->info_, KernelNotServed);
        this->info_ = 55;
        EXPECT_EQ(printedBy([&] { this->csrmultcsr(call); }), "");
        EXPECT_EQ(this->info_, KernelNotServed);
        this->info_ = 55;
        this->expectUntouched();
    }
}

TEST(DdnscsrParameters, AreCheckedInOrder)
{
    struct Fault {
        std::vector<int> job;
        int m, n, lda, position;
    };
    const std::vector<int> right{0, 0, 1, 2, 9, 1};
    std::vector<Fault> faults{{right, -1, -1, -1, 2}, {right, 1, -1, -1, 3}, {right, 1, 1, -1, 5}};
    const int wrong[6][2] = {{-1, 2}, {-1, 2}, {-1, 2}, {-1, 3}, {-1, -2}, {-1, -2}};
    for (std::size_t entry = 0; entry < 6; ++entry) {
        for (const int value : wrong[entry]) {
            faults.push_back({right, -1, -1, -1, 1});
            faults.back().job[entry] = value;
        }
    }
    for (const Fault& fault : faults) {
        const double dense = 1.0;
        double value = -7.0;
        int column = -7, pointers[2] = {-7, -7}, info = 55;
        EXPECT_EQ(printedBy([&] {
                      mkl_ddnscsr(fault.job.data(), fault.m, fault.n, &dense, fault.lda, &value, &column,
                                  pointers, info);
                  }),
                  faultLine(fault.position, "MKL_DDNSCSR"));
        EXPECT_EQ(value, -7.0);
        EXPECT_EQ(column, -7);
        EXPECT_EQ(pointers[0], -7);
        EXPECT_EQ(pointers[1], -7);
        EXPECT_EQ(info, 55);
    }
}

TEST(MatrixDescriptor, NamesATriangleAndADiagonalWhereItsKindNeedsThem)
{
    using detail::isDescriptor;
    for (const char kind : std::string("GSHTDA")) {
        for (const char triangle : std::string("LU?")) {
            for (const char diagonal : std::string("NU?")) {
                const char descriptor[] = {kind, triangle, diagonal, 'F'};
                const bool needsTriangle = kind != 'G' && kind != 'D',
                           needsDiagonal = kind != 'G' && kind != 'A';
                EXPECT_EQ(isDescriptor(descriptor),
                          (!needsTriangle || triangle != '?') && (!needsDiagonal || diagonal != '?'))
                    << kind << triangle << diagonal;
            }
        }
    }
    for (const char* descriptor : {"?UNF", "gUNF", "NUNF", " UNF"}) EXPECT_FALSE(isDescriptor(descriptor));
}

} // namespace
