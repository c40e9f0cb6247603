#include <lintrix/engine/report/messages.h>

#include <lintrix/engine/report/loaded_catalogue.h>
#include <lintrix/engine/report/message_places.h>

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace Velmar::Lintrix::detail::engine {

namespace {

struct Row {
    Message message;
    const char* text;
};

constexpr std::array<Row, kMessages> kCatalogue{{
    {Message::InputError, "*** Error in PARDISO  ( sequence_ido,parameters) error_num= %d"},
    {Message::MatrixError, "*** Error in PARDISO  (incorrect input matrix  ) error_num= %d"},
    {Message::MemoryError, "*** Error in PARDISO  (     insufficient_memory) error_num= %d"},
    {Message::ReorderingError, "*** Error in PARDISO  (        reordering_phase) error_num= %d"},
    {Message::NumericError, "*** Error in PARDISO  ( numerical_factorization) error_num= %d"},
    {Message::UnclassifiedError, "*** Error in PARDISO  ( internal_error,unclass.) error_num= %d"},
    {Message::MatchingError, "*** Error in PARDISO  (prereordering_mtype11,13) error_num= %d"},
    {Message::DiagonalError, "*** Error in PARDISO  ( internal_error,unclass.) error_num= %d"},
    {Message::OverflowError, "*** Error in PARDISO  (32-bit overflow problem.) error_num= %d"},
    {Message::OutOfCoreMemoryError, "*** Error in PARDISO  ( not enough mem. for OOC) error_num= %d"},
    {Message::OutOfCoreOpenError, "*** Error in PARDISO  (      open OOC tmp files) error_num= %d"},
    {Message::OutOfCoreTransferError, "*** Error in PARDISO  (read/write OOC data file) error_num= %d"},

    {Message::PhaseOutOfBounds, "*** Input check: ido_new %d (out of bounds)"},
    {Message::MaxfctIncompatible, "*** Input check: max_fac_store_new %d _old %d are incompatible"},
    {Message::MnumAboveMaxfct, "*** Input check: max_fac_store_in %d matrix_number_in %d"},
    {Message::MnumIncompatible, "*** Input check: matrix_number_new %d ido %d are incompatible"},
    {Message::MtypeIncompatible, "*** Input check: matrix_type_new %d _old %d are incompatible"},
    {Message::OrderIncompatible, "*** Input check: neqns_new %d _old %d are incompatible"},
    {Message::OrderOutOfBounds, "*** Input check: neqns_new %d "},
    {Message::EntriesIncompatible, "*** Input check: ia(neqns+1)_new %d _old %d are incompatible"},
    {Message::RightHandSidesIncompatible, "*** Input check: nb_new  %d  ido %d are incompatible"},
    {Message::SolutionPlaceOutOfBounds, "*** Input check: iparam(6) %d (out of bounds)"},
    {Message::OrderingOutOfBounds, "*** Input check: preprocessing %d (out of bounds)"},
    {Message::CountedThreads, "*** Input check: internal error, counted # threads %d"},
    {Message::ThreadsDiffer, "*** Input check: nproc %d <> counted # threads %d"},
    {Message::MtypeOutOfBounds, "*** Input check: matrix_type_new %d (out of bounds)"},
    {Message::WrongControlStep, "*** wrong control step parameter ido %d"},
    {Message::RowStartsIncompatible, "*** Input check: i=%d, ia(i)=%d, ia(i+1)=%d are incompatible"},
    {Message::ColumnIncompatible, "*** Input check: i=%d, ja(i)=%d, neqns=%d are incompatible"},
    {Message::TriangleIncompatible, "*** Input check: i=%d, j=ia(i)=%d, ja(j)=%d are incompatible"},
    {Message::ColumnsIncompatible, "*** Input check: j=%d, ja(j)=%d, ja(j+1)=%d are incompatible"},
    {Message::WrongMatrixNumber, "*** Error in PARDISO: wrong matrix number, clean %d"},
    {Message::OnlySymbolicDiagonal, "*** Error in PARDISO: only symb. fact. diagonal matrix case %d"},
    {Message::NoInitialization, "*** Error in PARDISO: ido < 1 and initialization"},
    {Message::NoInitializationHint, " - contradiction (set ido >0 !) %d"},
    {Message::PhaseBelowMinusOne, "*** Error in PARDISO: ido < -1"},
    {Message::CleanImpossible, "*** Error in PARDISO: clean impossible (ido?)"},
    {Message::DiagonalRow, "*** something wrong with diagonal matrix row %d"},

    {Message::InputLine1, "*** Input parameters: inconsistent error= %d max_fac_store_in: %d"},
    {Message::InputLine2, "          matrix_number_in : %d matrix_type_in   : %d"},
    {Message::InputLine3, "          ido_in           : %d neqns_in         : %d"},
    {Message::InputLine4, "          ia(neqns_in+1)-1 : %d nb_in            : %d"},
    {Message::InitializationFailed, "*** Error in PARDISO  (contradictory input, initialization failed)"},
    {Message::HandleIsZero, "handle=0 ?? ido= %d"},

    {Message::BlockNotAllocated, "*** Error in PARDISO memory allocation: %s, size to allocate: %d bytes"},
    {Message::MemoryWanted, "total memory wanted here: %d kbyte"},
    {Message::SymbolicMemory, "symbolic (max): %d symbolic (permanent): %d"},
    {Message::FactorMemory, " real(including 1 factor): %d"},

    {Message::ReorderingFailed, "*** error PARDISO: reordering, symb. factorization"},
    {Message::Unclassified, "*** Error in PARDISO: unclassified error"},
    {Message::PreorderingFailed, "*** Error in PARDISO: preordering failed after %d neqns out of %d"},
    {Message::StructureSingular, "structure singular or input/parameter problem (matrixtype 11,13)"},
    {Message::RefinementFailed, "*** error PARDISO: iterative refinement"},
    {Message::ContractionRate, " contraction rate is greater than 0.9, interrupt"},
    {Message::MaximalIterations, " exceeds max. iteration number %d"},
    {Message::CgsFailed, "*** Error in PARDISO: cgs error iparam(20) %d"},
    {Message::FactorizationMemory, "*** Error in PARDISO: internal error, insufficient memory factorization"},
    {Message::NotPositiveDefinite, "*** Error in PARDISO: zero or negative pivot, A is not SPD-matrix"},
    {Message::ZeroPivot, "*** Error in PARDISO: zero pivot"},
    {Message::UnknownMessage, "PARDISO Internationalization error! Message %d is unknown"},
    {Message::LineTooLong, "MKL INTERNAL ERROR: message buffer overflow."},
    {Message::LineTooLongHint, "       Message N %d   Lenght: %d   Buffer size: %d"},
    {Message::SystemError, "System error in PARDISO"},

    {Message::BannerStructurallySymmetric,
     "================ PARDISO: solving a real struct. sym. system ================"},
    {Message::BannerPositiveDefinite,
     "================ PARDISO: solving a symm. posit. def. system ================"},
    {Message::BannerIndefinite,
     "================ PARDISO: solving a  symmetric indef. system ================"},
    {Message::BannerComplexStructurallySymmetric,
     "================ PARDISO: solving a  compl. str. sym. system ================"},
    {Message::BannerHermitianPositiveDefinite,
     "================ PARDISO: solving a   Herm. pos. def. system ================"},
    {Message::BannerHermitianIndefinite,
     "================ PARDISO: solving a  Hermitian indef. system ================"},
    {Message::BannerComplexSymmetric,
     "================ PARDISO: solving a  complex symmetr. system ================"},
    {Message::BannerUnsymmetric,
     "================ PARDISO: solving a real nonsymmetric system ================"},
    {Message::BannerComplexUnsymmetric,
     "================ PARDISO: solving a   complex nonsym. system ================"},

    {Message::Empty, ""},
    {Message::SummaryOfSteps, "Summary PARDISO: ( %s to %s )"},
    {Message::SummaryOfClean, "Summary PARDISO: ( clean )"},
    {Message::SummaryRule, "================"},
    {Message::FactorDeleted, " L&U for matrix number %d deleted"},
    {Message::MemoryCleaned, " cleaned memory, deleted number of L&U-factorizations: %d"},
    {Message::Times, "Times:"},
    {Message::TimesRule, "======"},
    {Message::TimeFullAdjacency, "      Time fulladj: %f s"},
    {Message::TimeReorder, "      Time reorder: %f s"},
    {Message::TimeSymbolic, "      Time symbfct: %f s"},
    {Message::TimeLists, "      Time parlist: %f s"},
    {Message::TimeGather, "      Time A to LU: %f s"},
    {Message::TimeNumeric, "      Time numfct : %f s"},
    {Message::TimeSolve, "      Time solve  : %f s"},
    {Message::TimeIteration, "      Time cgs    : %f s cgx iterations %d"},
    {Message::TimeAllocation, "      Time malloc : %f s"},
    {Message::TimeTotal, "      Time total  : %f s total - sum: %f s"},
    {Message::Statistics, "Statistics:"},
    {Message::StatisticsRule, "==========="},
    {Message::Processors, " < Parallel Direct Factorization with #processors: >         %d"},
    {Message::HybridSolver, " < Hybrid Solver PARDISO with CGS/CG Iteration >"},
    {Message::FactorizationThreaded, " < Numerical Factorization with BLAS3 and O(n) synchronization >"},
    {Message::FactorizationSerial, " < Numerical Factorization with Level-3 BLAS performance >"},
    {Message::LinearSystemTransposed, " < Linear system Ax = b> <transpose> "},
    {Message::LinearSystem, " < Linear system Ax = b> "},
    {Message::Equations, "             #equations:                                     %d"},
    {Message::NonZeros, "             #non-zeros in A:                                %d"},
    {Message::NonZerosPercent, "             non-zeros in A (%%):                            %f"},
    {Message::RightHandSides, "             #right-hand sides:                              %d"},
    {Message::FactorsHeading, " < Factors L and U > "},
    {Message::MinimumDegree, "< Preprocessing with multiple minimum degree, tree height >"},
    {Message::ReductionForParallel, "< Reduction for efficient parallel factorization >"},
    {Message::PanelColumns, "             #columns for each panel:                        %d"},
    {Message::IndependentSubgraphs, "             #independent subgraphs:                         %d"},
    {Message::InputPermutation, " < Preprocessing with input permutation >"},
    {Message::ConstrainedMinimumDegree, " < Preprocessing with multiple minimum degree with constraints >"},
    {Message::SeparatorsByMinimumDegree, " < with multiple minimum degree on the separator nodes         >"},
    {Message::SeparatorsAsTheyStand, " <   no multiple minimum degree on the separator nodes         >"},
    {Message::Dissection, " < Preprocessing with state of the art partitioning metis>"},
    {Message::Supernodes, "             #supernodes:                                    %d"},
    {Message::LargestSupernode, "             size of largest supernode:                      %d"},
    {Message::NonZerosInL, "             number of nonzeros in L                         %d"},
    {Message::NonZerosInU, "             number of nonzeros in U                         %d"},
    {Message::NonZerosInFactors, "             number of nonzeros in L+U                       %d"},
    {Message::Gigaflop, "             gflop   for the numerical factorization:        %f"},
    {Message::GigaflopPerSecond, "             gflop/s for the numerical factorization:        %f"},
    {Message::Norm, "             ||A||                                           %f"},
    {Message::NoStatisticsForDiagonal, "Sorry, no statistics for %s in case of a diagonal matrix"},
    {Message::Progress, " %d %% "},
    {Message::Version, " local PARDISO version is %d"},

    {Message::InCoreForced, "=== PARDISO is running in In-Core mode, because iparam(60)=0 ==="},
    {Message::InCoreChosen, "=== PARDISO is running in In-Core mode, because iparam(60)=1 and there is "
                            "enough RAM for In-Core ==="},
    {Message::OutOfCoreForced, "=== PARDISO is running in Out-Of-Core mode, because iparam(60)=2 ==="},
    {Message::OutOfCoreChosen, "=== PARDISO is running in Out-Of-Core mode, because iparam(60)=1 and there "
                               "is not enough RAM for In-Core ==="},
    {Message::PathFromEnvironment, "ooc_path\t\tgot by Env =  %s"},
    {Message::CoreSizeFromEnvironment, "ooc_max_core_size\t\tgot by Env =  %d"},
    {Message::KeepFileFromEnvironment, "ooc_keep_file\t\tgot by Env =  %d"},
    {Message::FileNotOpened, " PARDISO_OOC_OPEN_FILE_ERROR occured: %s"},
    {Message::FileNotRead, " PARDISO_OOC_READ_FILE_ERROR occured: %s"},
    {Message::FileNotWritten, " PARDISO_OOC_WRITE_FILE_ERROR occured: %s"},
    {Message::FileChanged, " PARDISO_OOC_CHECK_SUM_ERROR occured: %s"},
    {Message::FileNotRemoved, " PARDISO_OOC_REMOVE_FILE_ERROR occured: %s"},
    {Message::OutOfCoreTime, " ----------- Out of core time (in percent (%%)) --------------"},
    {Message::ReadingTime, "             reading from files:                             %f"},
    {Message::WritingTime, "             writing to files:                               %f"},
    {Message::ComputingTime, "             arithmetic:                                     %f"},
    {Message::OutOfCoreMegabytes, " ----------- Out of core Mb --------------"},
    {Message::MegabytesRead, "             read from files:                                %f"},
    {Message::MegabytesWritten, "             written to files:                               %f"},
    {Message::MegabytesOfLower, "             factor L in its file:                           %f"},
    {Message::MegabytesOfUpper, "             factor U in its file:                           %f"},
}};

constexpr bool eachRowStandsAtItsNumber()
{
    for (std::size_t i = 0; i < kMessages; ++i) {
        if (kCatalogue[i].message != static_cast<Message>(i) || kCatalogue[i].text == nullptr) return false;
    }
    return true;
}
static_assert(eachRowStandsAtItsNumber());

/// A line under construction: at most 512 characters are kept, all are counted.
class Line {
public:
    void append(std::string_view text) noexcept
    {
        if (length_ + text.size() <= kLongestLine) std::memcpy(cells_ + length_, text.data(), text.size());
        length_ += text.size();
    }
    /// Of a line that has not grown too long.
    void end() noexcept { cells_[length_++] = '\n'; }
    std::size_t length() const noexcept { return length_; }
    std::string_view text() const noexcept { return {cells_, length_}; }

private:
    char cells_[kLongestLine + 1];
    std::size_t length_ = 0;
};

/// Numbers as printf writes %d and %f, in every locale.
struct Appender {
    Line& line;

    void operator()(std::string_view text) const { line.append(text); }
    void operator()(std::int64_t value) const
    {
        char digits[24];
        const auto end = std::to_chars(digits, digits + sizeof digits, value);
        line.append({digits, end.ptr});
    }
    void operator()(double value) const
    {
        char digits[400]; // the largest number has 309 digits before its point
        const auto end = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, 6);
        line.append({digits, end.ptr});
    }
};

/// `%%` is a per cent sign, any other place takes the next argument.
void fill(Line& line, std::string_view text, std::initializer_list<MessageArgument> arguments)
{
    const MessageArgument* next = arguments.begin();
    while (!text.empty()) {
        const MessagePiece piece = takePiece(text);
        line.append(piece.text);
        if (piece.place == '%')
            line.append("%");
        else if (piece.place != MessagePiece::kEnd && next != arguments.end())
            std::visit(Appender{line}, *next++);
    }
}

/// In one piece: two handles in two threads share standard output, and their lines stay whole.
void write(Line& line)
{
    line.end();
    std::fwrite(line.text().data(), 1, line.text().size(), stdout);
}

[[noreturn]] void endForLongLine(Message message, std::size_t length)
{
    print(Message::LineTooLong);
    print(Message::LineTooLongHint, {static_cast<std::int64_t>(message), static_cast<std::int64_t>(length),
                                     static_cast<std::int64_t>(kLongestLine)});
    std::exit(8);
}

} // namespace

const char* textOf(Message message) noexcept
{
    const auto number = static_cast<std::size_t>(static_cast<int>(message));
    return number < kMessages ? kCatalogue[number].text : nullptr;
}

void print(Message message, std::initializer_list<MessageArgument> arguments)
{
    const char* const builtIn = textOf(message);
    if (builtIn == nullptr) {
        print(Message::UnknownMessage, {static_cast<std::int64_t>(message)});
        return;
    }
    Line line;
    fill(line, textsInForce()[static_cast<std::size_t>(message)].value_or(builtIn), arguments);
    if (line.length() > kLongestLine) endForLongLine(message, line.length());
    write(line);
}

} // namespace Velmar::Lintrix::detail::engine
