// The numeric values are part of the contract: callers store them.

#include <lintrix/foundation/enumerations.h>

#include <gtest/gtest.h>

#include <type_traits>

namespace Velmar::Lintrix::testing {
namespace {

// Checked where it is written: the members, in order, have these values and this underlying type.
template <class Enumeration>
struct Member {
    Enumeration member;
    std::int32_t value;
};

template <class Enumeration>
void expectValues(std::initializer_list<Member<Enumeration>> members)
{
    static_assert(std::is_same_v<std::underlying_type_t<Enumeration>, std::int32_t>);
    for (const auto& [member, value] : members) EXPECT_EQ(static_cast<std::int32_t>(member), value);
}

TEST(Enumerations, MembersHaveTheirNumbers)
{
    expectValues<StorageOrder>({{StorageOrder::RowMajor, 0}, {StorageOrder::ColumnMajor, 1}});
    expectValues<SortOrder>({{SortOrder::Ascending, 0}, {SortOrder::Descending, 1}});
    expectValues<NormType>({{NormType::FrobeniusNorm, 0},
                            {NormType::InfinityNorm, 1},
                            {NormType::OneNorm, 2},
                            {NormType::MaxAbsValue, 3}});
    expectValues<NormalizeMode>(
        {{NormalizeMode::ZScores, 0}, {NormalizeMode::UnitLength, 1}, {NormalizeMode::MaximumOne, 2}});
    expectValues<BalanceType>(
        {{BalanceType::None, 0}, {BalanceType::Scale, 1}, {BalanceType::Permute, 2}, {BalanceType::Both, 3}});
    expectValues<ConcatenateMode>({{ConcatenateMode::Horizontally, 0}, {ConcatenateMode::Vertically, 1}});
    expectValues<TransposeMode>({{TransposeMode::NotTransposed, 0},
                                 {TransposeMode::Transposed, 1},
                                 {TransposeMode::ConjugateTransposed, 2}});
    expectValues<SolverStatus>({{SolverStatus::Success, 0},
                                {SolverStatus::InputInconsistent, 1},
                                {SolverStatus::OutOfMemory, 2},
                                {SolverStatus::ReorderingProblem, 3},
                                {SolverStatus::ZeroPivot, 4},
                                {SolverStatus::OtherError, 5}});
    expectValues<MatrixType>({{MatrixType::Unsymmetric, 0},
                              {MatrixType::StructurallySymmetric, 1},
                              {MatrixType::PositiveDefinite, 2},
                              {MatrixType::Indefinite, 3}});
    expectValues<FactorizationStrategy>(
        {{FactorizationStrategy::ComputeAlways, 0}, {FactorizationStrategy::ComputeWhenNeeded, 1}});
}

TEST(Enumerations, FillInReducingMethodLeavesOneUnassigned)
{
    expectValues<FillInReducingMethod>({{FillInReducingMethod::MinimumDegree, 0},
                                        {FillInReducingMethod::NestedDissection, 2},
                                        {FillInReducingMethod::ParallelNestedDissection, 3}});
}

TEST(Enumerations, ValueOutsideTheMembersIsKept)
{
    EXPECT_EQ(static_cast<std::int32_t>(static_cast<FillInReducingMethod>(1)), 1);
    EXPECT_EQ(static_cast<std::int32_t>(static_cast<ConcatenateMode>(-7)), -7);
    EXPECT_EQ(static_cast<std::int32_t>(static_cast<NormalizeMode>(INT32_MAX)), INT32_MAX);
}

} // namespace
} // namespace Velmar::Lintrix::testing
