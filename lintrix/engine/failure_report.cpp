#include <lintrix/engine/failure_report.h>

#include <lintrix/engine/messages.h>

#include <array>
#include <cstdlib>
#include <string_view>

namespace Velmar::Lintrix::detail::engine {

namespace {

/// Names of blocks, padded to eight places; internal code / -100 selects one.
constexpr std::array<std::string_view, 14> kBlockNames = {
    "",         "BASIC   ", "FACT_ADR", "LOC_INT1", "STRUC_S0", "WORK_I0 ", "STRUC_S1",
    "STRUC_S2", "STRUC_FI", "LOC_INT2", "UP_UPLEN", "FACT_L&U", "WORK_R0 ", "CGS_ARR "};

std::int64_t wide(int value) noexcept
{
    return value;
}

Message headingOf(const Failure& failure) noexcept
{
    switch (failure.error) {
    case Error::Input:
        return failure.internal >= 21 && failure.internal <= 30 ? Message::MatrixError : Message::InputError;
    case Error::Memory:
        return Message::MemoryError;
    case Error::Reordering:
        return Message::ReorderingError;
    case Error::Numeric:
        return Message::NumericError;
    case Error::Matching:
        return Message::MatchingError;
    case Error::Diagonal:
        return Message::DiagonalError;
    case Error::Overflow:
        return Message::OverflowError;
    case Error::OutOfCoreMemory:
        return Message::OutOfCoreMemoryError;
    case Error::OutOfCoreOpen:
        return Message::OutOfCoreOpenError;
    case Error::OutOfCoreTransfer:
        return Message::OutOfCoreTransferError;
    case Error::Unclassified:
    case Error::None:
        break;
    }
    return Message::UnclassifiedError;
}

void printMatrixNumbers(Message message, Parameters iparm)
{
    print(message, {wide(iparm[Parameter::CheckFirst]), wide(iparm[Parameter::CheckSecond]),
                    wide(iparm[Parameter::CheckThird])});
}

void printInputRule(int internal, const Arguments& call, const ControlBlock& stored)
{
    const std::int64_t phase = call.phase.code();
    switch (internal) {
    case 1:
        return print(Message::PhaseOutOfBounds, {phase});
    case 2:
        return print(Message::MaxfctIncompatible, {wide(call.maxfct), wide(stored[Word::Maxfct])});
    case 3:
        return print(Message::MnumAboveMaxfct, {wide(call.maxfct), wide(call.mnum)});
    case 4:
        return print(Message::MnumIncompatible, {wide(call.mnum), phase});
    case 5:
        return print(Message::MtypeIncompatible, {wide(call.mtype), wide(stored[Word::Mtype])});
    case 6:
        return print(Message::OrderIncompatible, {wide(call.n), wide(stored[Word::Order])});
    case 7:
        return print(Message::OrderOutOfBounds, {wide(call.n)});
    case 8:
        return print(Message::EntriesIncompatible, {call.nonZeros(), wide(stored[Word::NonZeros])});
    case 9:
        return print(Message::RightHandSidesIncompatible, {wide(call.nrhs), phase});
    case 10:
        return print(Message::SolutionPlaceOutOfBounds, {wide(call.iparm[Parameter::SolutionPlace])});
    case 11:
        return print(Message::OrderingOutOfBounds, {wide(call.iparm[Parameter::Ordering])});
    case 12:
        return print(Message::CountedThreads, {wide(stored[Word::Threads])});
    case 13:
        return print(Message::ThreadsDiffer,
                     {wide(call.iparm[Parameter::Threads]), wide(stored[Word::Threads])});
    default:
        return;
    }
}

void printOtherInput(int internal, const Arguments& call)
{
    const std::int64_t phase = call.phase.code();
    switch (internal) {
    case 15:
        return print(Message::MtypeOutOfBounds, {wide(call.mtype)});
    case 20:
        return print(Message::WrongControlStep, {phase});
    case 21:
        return printMatrixNumbers(Message::RowStartsIncompatible, call.iparm);
    case 22:
        return printMatrixNumbers(Message::ColumnIncompatible, call.iparm);
    case 23:
        return printMatrixNumbers(Message::TriangleIncompatible, call.iparm);
    case 24:
        return printMatrixNumbers(Message::ColumnsIncompatible, call.iparm);
    case 100:
        return print(Message::WrongMatrixNumber, {wide(call.mnum)});
    case 999:
        return print(Message::OnlySymbolicDiagonal, {phase});
    case 1000:
        print(Message::NoInitialization);
        return print(Message::NoInitializationHint, {phase});
    case 10000:
        return print(Message::PhaseBelowMinusOne);
    case 100000:
        return print(Message::CleanImpossible);
    default:
        return;
    }
}

void printArguments(int internal, const Arguments& call)
{
    print(Message::InputLine1, {wide(internal), wide(call.maxfct)});
    print(Message::InputLine2, {wide(call.mnum), wide(call.mtype)});
    print(Message::InputLine3, {wide(call.phase.code()), wide(call.n)});
    print(Message::InputLine4, {call.nonZeros(), wide(call.nrhs)});
}

void printInput(int internal, const Arguments& call, const ControlBlock* stored)
{
    if (stored != nullptr) printInputRule(internal, call, *stored);
    printOtherInput(internal, call);
    if (internal >= 1 && internal <= 11) printArguments(internal, call);
}

void printMemory(const Failure& failure, Parameters iparm)
{
    const auto name = static_cast<std::size_t>(failure.internal / -100);
    if (failure.internal < 0 && name < kBlockNames.size())
        print(Message::BlockNotAllocated, {kBlockNames[name], failure.bytes});
    print(Message::MemoryWanted, {(failure.bytes + 1023) / 1024});
    print(Message::SymbolicMemory,
          {wide(iparm[Parameter::AnalysisPeak]), wide(iparm[Parameter::AnalysisKept])});
    print(Message::FactorMemory, {wide(iparm[Parameter::FactorMemory])});
}

void printNumeric(int internal, const Arguments& call)
{
    const int iteration = call.iparm[Parameter::IterationResult];
    if (internal == -112 || internal == -111) print(Message::RefinementFailed);
    if (internal == -112)
        print(Message::ContractionRate);
    else if (internal == -111)
        print(Message::MaximalIterations, {std::abs(wide(call.iparm[Parameter::RefinementLimit]))});
    else if (internal == -3 || iteration < 0)
        print(Message::CgsFailed, {wide(iteration)});
    else if (internal == -2)
        print(Message::FactorizationMemory);
    else
        print(classOf(call.mtype) == MatrixClass::Definite ? Message::NotPositiveDefinite
                                                           : Message::ZeroPivot);
}

void printDetails(const Failure& failure, const Arguments& call, const ControlBlock* stored)
{
    switch (failure.error) {
    case Error::Input:
        return printInput(failure.internal, call, stored);
    case Error::Memory:
        return printMemory(failure, call.iparm);
    case Error::Reordering:
    case Error::Overflow:
        return print(Message::ReorderingFailed);
    case Error::Numeric:
        return printNumeric(failure.internal, call);
    case Error::Unclassified:
    case Error::OutOfCoreOpen:
        return print(Message::Unclassified);
    case Error::Matching:
        print(Message::PreorderingFailed, {-wide(failure.internal), wide(call.n)});
        return print(Message::StructureSingular);
    case Error::Diagonal:
        return print(Message::DiagonalRow, {std::abs(wide(failure.internal))});
    case Error::OutOfCoreMemory:
    case Error::OutOfCoreTransfer:
    case Error::None:
        return;
    }
}

} // namespace

Failure reported(Failure failure) noexcept
{
    if (failure.error == Error::Input && failure.internal < 0) failure.error = Error::Diagonal;
    return failure;
}

void reportFailure(const Failure& failure, const Arguments& call, const ControlBlock* stored)
{
    print(headingOf(failure), {wide(failure.internal)});
    printDetails(failure, call, stored);
}

} // namespace Velmar::Lintrix::detail::engine
