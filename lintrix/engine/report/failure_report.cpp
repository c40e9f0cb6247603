#include <lintrix/engine/report/failure_report.h>

#include <lintrix/engine/report/messages.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <string_view>

namespace Velmar::Lintrix::detail::engine {

namespace {

/// Names of blocks, padded to eight places; internal code / -100 selects one.
constexpr std::array<std::string_view, 14> kBlockNames = {
    "",         "BASIC   ", "FACT_ADR", "LOC_INT1", "STRUC_S0", "WORK_I0 ", "STRUC_S1",
    "STRUC_S2", "STRUC_FI", "LOC_INT2", "UP_UPLEN", "FACT_L&U", "WORK_R0 ", "CGS_ARR "};

/// The words of a file's message: where, what, and on which array, by the numbers of their enumerations.
constexpr std::array<std::string_view, 3> kFileSteps = {"do_all: ", "fact. step: ", "solve step: "};

struct FileDeed {
    Message message;
    std::string_view words;
};
constexpr std::array<FileDeed, 7> kFileDeeds = {{
    {Message::Last_, ""},
    {Message::FileNotOpened, "open file for storing "},
    {Message::FileNotOpened, "open file for reading "},
    {Message::FileNotWritten, "write file of "},
    {Message::FileNotRead, "read file of "},
    {Message::FileChanged, "check sum of "},
    {Message::FileNotRemoved, "remove file of "},
}};
constexpr std::array<std::string_view, kFactorFiles> kFileArrays = {
    "lindx",     "lnz",        "unz",           "jalf",   "jauf",   "luperm",
    "luperm(2)", "luperm_row", "luperm_row(2)", "slindx", "slength"};

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
    print(message,
          {iparm[Parameter::CheckFirst], iparm[Parameter::CheckSecond], iparm[Parameter::CheckThird]});
}

void printInputRule(int internal, const Arguments& call, const ControlBlock& stored)
{
    const std::int64_t phase = call.phase.code();
    switch (internal) {
    case 1:
        return print(Message::PhaseOutOfBounds, {phase});
    case 2:
        return print(Message::MaxfctIncompatible, {call.maxfct, stored[Word::Maxfct]});
    case 3:
        return print(Message::MnumAboveMaxfct, {call.maxfct, call.mnum});
    case 4:
        return print(Message::MnumIncompatible, {call.mnum, phase});
    case 5:
        return print(Message::MtypeIncompatible, {call.mtype, stored[Word::Mtype]});
    case 6:
        return print(Message::OrderIncompatible, {call.n, stored[Word::Order]});
    case 7:
        return print(Message::OrderOutOfBounds, {call.n});
    case 8:
        return print(Message::EntriesIncompatible, {call.nonZeros(), stored[Word::NonZeros]});
    case 9:
        return print(Message::RightHandSidesIncompatible, {call.nrhs, phase});
    case 10:
        return print(Message::SolutionPlaceOutOfBounds, {call.iparm[Parameter::SolutionPlace]});
    case 11:
        return print(Message::OrderingOutOfBounds, {call.iparm[Parameter::Ordering]});
    case 12:
        return print(Message::CountedThreads, {stored[Word::Threads]});
    case 13:
        return print(Message::ThreadsDiffer, {call.iparm[Parameter::Threads], stored[Word::Threads]});
    default:
        return;
    }
}

void printOtherInput(int internal, const Arguments& call)
{
    const std::int64_t phase = call.phase.code();
    switch (internal) {
    case 15:
        return print(Message::MtypeOutOfBounds, {call.mtype});
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
        return print(Message::WrongMatrixNumber, {call.mnum});
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
    print(Message::InputLine1, {internal, call.maxfct});
    print(Message::InputLine2, {call.mnum, call.mtype});
    print(Message::InputLine3, {call.phase.code(), call.n});
    print(Message::InputLine4, {call.nonZeros(), call.nrhs});
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
    print(Message::SymbolicMemory, {iparm[Parameter::AnalysisPeak], iparm[Parameter::AnalysisKept]});
    print(Message::FactorMemory, {iparm[Parameter::FactorMemory]});
}

void printNumeric(int internal, const Arguments& call)
{
    const int iteration = call.iparm[Parameter::IterationResult];
    if (internal == -112 || internal == -111) print(Message::RefinementFailed);
    if (internal == -112)
        print(Message::ContractionRate);
    else if (internal == -111)
        print(Message::MaximalIterations, {std::abs(std::int64_t{call.iparm[Parameter::RefinementLimit]})});
    else if (internal == -3 || iteration < 0)
        print(Message::CgsFailed, {iteration});
    else if (internal == -2)
        print(Message::FactorizationMemory);
    else
        print(classOf(call.mtype) == MatrixClass::Definite ? Message::NotPositiveDefinite
                                                           : Message::ZeroPivot);
}

template <class Row, std::size_t count, class Number>
const Row& rowOf(const std::array<Row, count>& table, Number number) noexcept
{
    return table[static_cast<std::size_t>(number)];
}

void printFile(const FileTrouble& trouble)
{
    if (trouble.action == FileAction::None) return;
    const FileDeed& deed = rowOf(kFileDeeds, trouble.action);
    char context[80];
    std::size_t length = 0;
    for (const std::string_view words :
         {rowOf(kFileSteps, trouble.step), deed.words, rowOf(kFileArrays, trouble.file)})
        length += words.copy(context + length, sizeof context - length);
    print(deed.message, {std::string_view(context, length)});
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
    case Error::OutOfCoreOpen:
        printFile(failure.file);
        return print(Message::Unclassified);
    case Error::OutOfCoreTransfer:
        return printFile(failure.file);
    case Error::Unclassified:
        return print(Message::Unclassified);
    case Error::Matching:
        print(Message::PreorderingFailed, {-std::int64_t{failure.internal}, call.n});
        return print(Message::StructureSingular);
    case Error::Diagonal:
        return print(Message::DiagonalRow, {std::abs(std::int64_t{failure.internal})});
    case Error::OutOfCoreMemory:
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
    print(headingOf(failure), {failure.internal});
    printDetails(failure, call, stored);
}

} // namespace Velmar::Lintrix::detail::engine
