// The eight failure types of the library with their texts and constructors, and the host's own failures.

#include <lintrix/foundation/failures.h>

#include <lintrix/decompositions/lu.h>
#include <lintrix/foundation/allocators.h>
#include <lintrix/foundation/capabilities.h>

#include "tests/support/expect_failure.h"

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

template <class Failure>
constexpr const char* kDefaultText = nullptr;
template <>
constexpr const char* kDefaultText<MatrixException> =
    "Exception of type 'Velmar.Lintrix.MatrixException' was thrown.";
template <>
constexpr const char* kDefaultText<SingularMatrixException> =
    "This operation requires a non-singular matrix.";
template <>
constexpr const char* kDefaultText<IndexOutOfBoundsException> = "Row or column index exceeds matrix size.";
template <>
constexpr const char* kDefaultText<SizeMismatchException> = "Matrix sizes do not match.";
template <>
constexpr const char* kDefaultText<InvalidSizeException> = "Invalid number of rows or columns.";
template <>
constexpr const char* kDefaultText<NotSquareMatrixException> = "Matrix is not square.";
template <>
constexpr const char* kDefaultText<NotEnoughMemoryException> =
    "There is not enough memory to continue the execution.";
template <>
constexpr const char* kDefaultText<OperationFailedException> = "Operation has failed to complete.";

// Reaches the protected constructor.
template <class Failure>
struct Restored : Failure {
    explicit Restored(const SerializationInfo& info) : Failure(info, StreamingContext()) {}
};

template <class Failure>
SerializationInfo archived(const Failure& failure)
{
    SerializationInfo info;
    failure.GetObjectData(info, StreamingContext());
    return info;
}

std::exception_ptr innerFailure()
{
    return std::make_exception_ptr(InvalidOperationException("the inner one"));
}

// The texts of a failure and of the inner ones, outermost first.
std::vector<std::string> messages(const MatrixException& failure)
{
    std::vector<std::string> texts{failure.Message()};
    if (!failure.InnerException()) return texts;
    try {
        std::rethrow_exception(failure.InnerException());
    } catch (const MatrixException& inner) {
        for (std::string& text : messages(inner)) texts.push_back(std::move(text));
    }
    return texts;
}

template <class Failure>
class FailureTest : public ::testing::Test {
};

using LibraryFailures =
    ::testing::Types<MatrixException, SingularMatrixException, IndexOutOfBoundsException,
                     SizeMismatchException, InvalidSizeException, NotSquareMatrixException,
                     NotEnoughMemoryException, OperationFailedException>;
TYPED_TEST_SUITE(FailureTest, LibraryFailures);

TYPED_TEST(FailureTest, DefaultConstructorSaysTheTextOfItsType)
{
    const TypeParam failure;
    EXPECT_STREQ(failure.what(), kDefaultText<TypeParam>);
    EXPECT_EQ(failure.Message(), kDefaultText<TypeParam>);
    EXPECT_EQ(failure.InnerException(), nullptr);
}

TYPED_TEST(FailureTest, GivenTextReplacesTheDefault)
{
    for (const char* text : {"Row index exceeds matrix size.", "100 %s {}", ""}) {
        const TypeParam failure(text);
        EXPECT_STREQ(failure.what(), text);
        EXPECT_EQ(failure.Message(), text);
        EXPECT_EQ(failure.InnerException(), nullptr);
    }
}

TYPED_TEST(FailureTest, TextAndInnerFailureAreKept)
{
    const TypeParam failure("the outer one", innerFailure());
    EXPECT_STREQ(failure.what(), "the outer one");
    expectFailure<InvalidOperationException>([&] { std::rethrow_exception(failure.InnerException()); },
                                             "the inner one");
}

TYPED_TEST(FailureTest, TextMayHoldZeroCharacters)
{
    const std::string text("a\0b", 3);
    EXPECT_EQ(TypeParam(text).Message(), text);
    EXPECT_STREQ(TypeParam(text).what(), "a"); // a C string ends there
    EXPECT_EQ(FromArchive<TypeParam>(archived(TypeParam(text))).Message(), text);
    const auto inner = std::make_exception_ptr(SizeMismatchException(text));
    EXPECT_EQ(messages(FromArchive<TypeParam>(archived(TypeParam("outer", inner)))),
              (std::vector<std::string>{"outer", text}));
}

TYPED_TEST(FailureTest, FromArchiveRestoresEachType)
{
    const TypeParam restored = FromArchive<TypeParam>(archived(TypeParam("the outer one", innerFailure())));
    EXPECT_EQ(typeid(restored), typeid(TypeParam));
    EXPECT_EQ(messages(restored), (std::vector<std::string>{"the outer one", "the inner one"}));
    EXPECT_EQ(messages(FromArchive<TypeParam>(archived(TypeParam()))),
              std::vector<std::string>{kDefaultText<TypeParam>});
}

TYPED_TEST(FailureTest, ArchiveTellsAnInnerFailureWithoutTextFromNone)
{
    const TypeParam failure("outer", std::make_exception_ptr(MatrixException("")));
    EXPECT_EQ(messages(FromArchive<TypeParam>(archived(failure))), (std::vector<std::string>{"outer", ""}));
}

TYPED_TEST(FailureTest, ArchiveKeepsTheInnerFailuresOfInnerOnes)
{
    const auto third = std::make_exception_ptr(std::runtime_error("third"));
    const auto second = std::make_exception_ptr(SizeMismatchException("second", third));
    const SerializationInfo info = archived(TypeParam("first", second));
    const TypeParam restored = FromArchive<TypeParam>(info);
    EXPECT_EQ(messages(restored), (std::vector<std::string>{"first", "second", "third"}));
    EXPECT_EQ(archived(restored).Values(), info.Values());
}

TYPED_TEST(FailureTest, ArchiveRestoresTheDefaultText)
{
    const Restored<TypeParam> restored(archived(TypeParam()));
    EXPECT_STREQ(restored.what(), kDefaultText<TypeParam>);
    EXPECT_EQ(restored.InnerException(), nullptr);
}

TYPED_TEST(FailureTest, ArchiveRestoresTextAndInnerFailure)
{
    const Restored<TypeParam> restored(archived(TypeParam("the outer one", innerFailure())));
    EXPECT_STREQ(restored.what(), "the outer one");
    expectFailure<MatrixException>([&] { std::rethrow_exception(restored.InnerException()); },
                                   "the inner one");
}

TYPED_TEST(FailureTest, ArchiveNamesTheTextAndTheDepthAndThenEachInnerText)
{
    const auto inner = std::make_exception_ptr(MatrixException("second", innerFailure()));
    const SerializationInfo info = archived(TypeParam("first", inner));
    ASSERT_EQ(info.Values().size(), 4u);
    EXPECT_EQ(info.Values()[0].first, "Message");
    EXPECT_EQ(info.Values()[1].first, "InnerFailures");
    EXPECT_EQ(info.Values()[2].first, "InnerMessage1");
    EXPECT_EQ(info.Values()[3].first, "InnerMessage2");
    EXPECT_EQ(info.GetString("Message"), "first");
    EXPECT_EQ(info.GetInt32("InnerFailures"), 2);
    EXPECT_EQ(info.GetString("InnerMessage1"), "second");
    EXPECT_EQ(info.GetString("InnerMessage2"), "the inner one");
    EXPECT_EQ(archived(TypeParam()).Values().size(), 2u);
    EXPECT_EQ(archived(TypeParam()).GetInt32("InnerFailures"), 0);
}

TYPED_TEST(FailureTest, ArchiveWithoutTheTextIsRefused)
{
    SerializationInfo info;
    expectFailure<SerializationException>([&] { Restored<TypeParam> restored(info); },
                                          "Value 'Message' was not found in the archive.");
    info.AddValue("Message", "text");
    expectFailure<SerializationException>([&] { Restored<TypeParam> restored(info); },
                                          "Value 'InnerFailures' was not found in the archive.");
    info.AddValue("InnerFailures", 2);
    expectFailure<SerializationException>([&] { Restored<TypeParam> restored(info); },
                                          "Value 'InnerMessage1' was not found in the archive.");
    info.AddValue("InnerMessage1", "second");
    info.AddValue("InnerMessage2", 7);
    expectFailure<SerializationException>([&] { Restored<TypeParam> restored(info); },
                                          "Value 'InnerMessage2' in the archive is of another type.");
}

TYPED_TEST(FailureTest, ArchiveConstructorIsNotForCallers)
{
    static_assert(!std::is_constructible_v<TypeParam, const SerializationInfo&, const StreamingContext&>);
    static_assert(Serializable<TypeParam>);
}

TYPED_TEST(FailureTest, RaisingAndCopyingCannotFail)
{
    static_assert(std::is_nothrow_default_constructible_v<TypeParam>);
    static_assert(std::is_nothrow_copy_constructible_v<TypeParam>);
    static_assert(std::is_nothrow_copy_assignable_v<TypeParam>);
    std::optional<TypeParam> original(std::in_place, "the outer one", innerFailure());
    TypeParam assigned;
    assigned = *original;
    const TypeParam copy(*original);
    original.reset();
    EXPECT_STREQ(copy.what(), "the outer one");
    EXPECT_STREQ(assigned.what(), "the outer one");
    EXPECT_NE(copy.InnerException(), nullptr);
}

TYPED_TEST(FailureTest, DisposeTakesNothingAway)
{
    static_assert(Disposable<TypeParam>);
    TypeParam failure("the outer one");
    failure.Dispose();
    failure.Dispose();
    EXPECT_STREQ(failure.what(), "the outer one");
}

TYPED_TEST(FailureTest, IsCaughtByEachOfItsBases)
{
    static_assert(std::is_base_of_v<std::exception, TypeParam>);
    EXPECT_THROW(throw TypeParam(), MatrixException);
    EXPECT_THROW(throw TypeParam(), std::exception);
}

template <class Failure, class... Others>
constexpr bool isBaseOfNone =
    !(... || (!std::is_same_v<Failure, Others> && std::is_base_of_v<Failure, Others>));
template <class... Derived>
constexpr bool standsSideBySide = (... && (std::is_base_of_v<MatrixException, Derived> &&
                                           isBaseOfNone<Derived, Derived...>));

TEST(Failures, SevenTypesDeriveDirectlyFromTheRoot)
{
    static_assert(standsSideBySide<SingularMatrixException, IndexOutOfBoundsException, SizeMismatchException,
                                   InvalidSizeException, NotSquareMatrixException, NotEnoughMemoryException,
                                   OperationFailedException>);
}

// What the library raises is caught here by type, by the root and by the host's type: the type information is
// shared across the library's border.
template <class Failure, class Operation>
void expectCaughtByAllBases(Operation operation)
{
    EXPECT_THROW(operation(), Failure);
    EXPECT_THROW(operation(), MatrixException);
    EXPECT_THROW(operation(), std::exception);
}

TEST(Failures, RaisedInTheLibraryAreCaughtByTheirBasesHere)
{
    const Matrix A(2, 2), rectangular(2, 3, 1.0);
    expectCaughtByAllBases<SingularMatrixException>([&] { A.Inverse(); });
    expectCaughtByAllBases<IndexOutOfBoundsException>([&] { A.Item(2, 0); });
    expectCaughtByAllBases<SizeMismatchException>([&] { A.Solve(Matrix(3, 1)); });
    expectCaughtByAllBases<InvalidSizeException>([] { Matrix(0, 1); });
    expectCaughtByAllBases<NotSquareMatrixException>([&] { LU(rectangular).Solve(A); });
    expectCaughtByAllBases<NotEnoughMemoryException>([] { detail::_malloc_double(UINT64_MAX); });
    EXPECT_THROW(Array2D<double>(-1, 1), std::invalid_argument);
    EXPECT_THROW((Array2D<double>(1, 1)(1, 0)), std::out_of_range);
}

TEST(HostFailures, KeepTheirRolesAndTexts)
{
    expectFailure<ArgumentException>([] { throw ArgumentException("Division by zero error"); },
                                     "Division by zero error");
    expectFailure<ArgumentOutOfRangeException>([] { throw ArgumentOutOfRangeException("out", "value"); },
                                               "out");
    expectFailure<InvalidOperationException>([] { throw InvalidOperationException("state"); }, "state");
    expectFailure<NotSupportedException>([] { throw NotSupportedException("case"); }, "case");
    expectFailure<NullReferenceException>([] { throw NullReferenceException(); },
                                          "Object reference not set to an instance of an object.");
    expectFailure<IndexOutOfRangeException>([] { throw IndexOutOfRangeException(); },
                                            "Index was outside the bounds of the array.");
    expectFailure<FormatException>([] { throw FormatException(); }, "Format specifier was invalid.");
    expectFailure<SerializationException>([] { throw SerializationException("archive"); }, "archive");
}

TEST(HostFailures, TextsMayHoldZeroCharacters)
{
    const std::string text("a\0b", 3);
    EXPECT_EQ(ArgumentException(text).Message(), text);
    EXPECT_EQ(ArgumentOutOfRangeException(text, text).Message(), text);
    EXPECT_EQ(ArgumentOutOfRangeException(text, text).ParamName(), text);
    EXPECT_EQ(InvalidOperationException(text).Message(), text);
    EXPECT_EQ(NotSupportedException(text).Message(), text);
    EXPECT_EQ(SerializationException(text).Message(), text);
    EXPECT_STREQ(SerializationException(text).what(), "a");
}

TEST(HostFailures, ArgumentFailuresNameTheirParameter)
{
    const ArgumentException bad("Array JA should have equal size with array A", "JA");
    EXPECT_EQ(bad.Message(), "Array JA should have equal size with array A");
    EXPECT_EQ(bad.ParamName(), "JA");
    EXPECT_EQ(ArgumentException("Division by zero error").ParamName(), "");
    const ArgumentOutOfRangeException outOfRange("Setting is not valid for complex matrices.", "value");
    EXPECT_EQ(outOfRange.Message(), "Setting is not valid for complex matrices.");
    EXPECT_EQ(outOfRange.ParamName(), "value");
}

TEST(HostFailures, AreNoFailuresOfTheLibrary)
{
    static_assert(!std::is_base_of_v<MatrixException, ArgumentException>);
    static_assert(!std::is_base_of_v<MatrixException, InvalidOperationException>);
    static_assert(std::is_base_of_v<ArgumentException, ArgumentOutOfRangeException>);
    static_assert(std::is_base_of_v<std::invalid_argument, ArgumentException>);
    static_assert(std::is_base_of_v<std::logic_error, InvalidOperationException>);
    static_assert(std::is_base_of_v<std::logic_error, NotSupportedException>);
    static_assert(std::is_base_of_v<std::out_of_range, IndexOutOfRangeException>);
    static_assert(std::is_base_of_v<std::invalid_argument, FormatException>);
}

TEST(HostFailures, CopyingCannotFail)
{
    static_assert(std::is_nothrow_copy_constructible_v<ArgumentException>);
    static_assert(std::is_nothrow_copy_constructible_v<ArgumentOutOfRangeException>);
    static_assert(std::is_nothrow_copy_constructible_v<InvalidOperationException>);
    static_assert(std::is_nothrow_copy_constructible_v<NotSupportedException>);
    static_assert(std::is_nothrow_copy_constructible_v<NullReferenceException>);
    static_assert(std::is_nothrow_copy_constructible_v<IndexOutOfRangeException>);
    static_assert(std::is_nothrow_copy_constructible_v<SerializationException>);
    const ArgumentException original("text", "JA");
    EXPECT_EQ(ArgumentException(original).ParamName(), "JA");
}

} // namespace
} // namespace Velmar::Lintrix::testing
