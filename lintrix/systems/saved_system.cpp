#include <lintrix/systems/saved_system.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/services/work.h>
#include <lintrix/sparse/access.h>
#include <lintrix/systems/roads/sparse_rows.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

template <class Cell>
constexpr std::string_view kContent = std::is_same_v<Cell, double> ? "real" : "complex";

/// Section "matrix".
struct MatrixHead {
    std::int32_t size, elements, oneTriangle;
};

/// Section "state".
struct StateHead {
    std::int32_t exhausted, isFactorOld; ///< the verdict, kNone where no search has ended
};
constexpr std::int32_t kNone = -1;

std::string_view inWords(SectionError error)
{
    switch (error) {
    case SectionError::NoSectionFile:
        return "this is no saved system";
    case SectionError::OtherByteOrder:
        return "it comes from a machine with another order of bytes";
    case SectionError::OtherVersion:
        return "it has another version";
    case SectionError::OtherContent:
        return "its numbers are of another kind";
    case SectionError::CutOff:
        return "the file ends here";
    case SectionError::OtherSection:
        return "another section stands here";
    case SectionError::OtherLength:
        return "its length is another one";
    case SectionError::OtherSum:
        return "its check sum is another one";
    case SectionError::GoesOn:
        return "the file goes on behind its end";
    default:
        return "its content contradicts itself";
    }
}

/// Rows from 1 on whose columns ascend within the matrix; of a triangle none stands before the diagonal.
bool areRows(const MatrixHead& head, const std::int32_t* ia, const std::int32_t* ja)
{
    const std::int32_t n = head.size;
    if (ia[0] != 1 || ia[n] != head.elements + 1) return false;
    for (std::int32_t i = 0; i < n; ++i) {
        if (ia[i + 1] < ia[i] || ia[i + 1] > head.elements + 1) return false;
        std::int32_t last = head.oneTriangle != 0 ? i : 0;
        for (std::int32_t k = ia[i] - 1; k < ia[i + 1] - 1; ++k) {
            if (ja[k] <= last || ja[k] > n) return false;
            last = ja[k];
        }
    }
    return true;
}

template <class Cell>
void take(SectionReader& file, std::string_view name, Block<Cell>& block, std::int64_t slots,
          std::int64_t count)
{
    requireWhole(file.Expect(name, count * std::int64_t{sizeof(Cell)}));
    block = Block<Cell>::zeroed(slots);
    requireWhole(file.Take(std::span(block.get(), static_cast<std::size_t>(count))));
}

template <class Cell>
bool fits(const MatrixHead& head, const SectionReader& file)
{
    const std::int64_t bytes =
        (std::int64_t{head.size} + head.elements) * std::int64_t{sizeof(std::int32_t)} +
        std::int64_t{head.elements} * std::int64_t{sizeof(Cell)};
    const bool mayBeTriangle = std::is_same_v<Cell, double> && head.oneTriangle == 1;
    return head.size >= 1 && head.size < INT32_MAX && head.elements >= 0 && head.elements < INT32_MAX &&
           (head.oneTriangle == 0 || mayBeTriangle) && bytes <= file.BytesLeft();
}

/// A text may come to a terminal.
bool isPrintable(const std::string& texts)
{
    return std::ranges::all_of(texts,
                               [](char c) { return c == '\0' || static_cast<unsigned char>(c) >= ' '; });
}

} // namespace

void requireWhole(const SectionFault& fault)
{
    WorkScope::tell();
    if (!fault) return;
    if (fault.error == SectionError::NoMemory) throw NotEnoughMemoryException();
    if (fault.error == SectionError::NotOpened || fault.error == SectionError::NotRead)
        throw OperationFailedException("The file of a saved system could not be read.");
    throw SerializationException(fmt::format("Saved system, section '{}', byte {}: {}.", fault.section,
                                             fault.byte, inWords(fault.error)));
}

template <class Cell>
void openSaved(const std::string& path, SectionReader& file)
{
    const SectionFault fault = file.Open(path.c_str(), kContent<Cell>);
    if (fault.error == SectionError::NotOpened)
        throw OperationFailedException(fmt::format("'{}' could not be opened.", path));
    requireWhole(fault);
}

template <class Cell>
void writeSaved(const std::string& path, const std::function<void(SectionWriter&)>& add)
{
    SectionWriter file(path, kContent<Cell>);
    add(file);
    WorkScope::tell(); // a file that was stopped is no failure of the disk
    if (!file.Commit())
        throw OperationFailedException(fmt::format("The system could not be saved to '{}'.", path));
}

template <class Cell>
void saveMatrix(const SparseOf<Cell>& A, SectionWriter& file)
{
    const std::int32_t triangle = roads::isTriangle(A) ? 1 : 0;
    file.AddOne("matrix", MatrixHead{A.Rows(), A.NumElements(), triangle});
    file.Add("rowptr", std::span<const std::int32_t>(A.RowPointers()));
    file.Add("columns", std::span<const std::int32_t>(A.ColumnIndices()));
    file.Add("values", std::span<const Cell>(A.Values()));
}

template <class Cell>
SparseOf<Cell> loadMatrix(SectionReader& file)
{
    MatrixHead head{};
    requireWhole(file.TakeOne("matrix", head));
    if (!fits<Cell>(head, file)) requireWhole(file.Contradiction());
    const std::int64_t rows = std::int64_t{head.size} + 1, slots = std::int64_t{head.elements} + 1;
    RowArrays<Cell> arrays;
    take(file, "rowptr", arrays.ia, rows, rows);
    take(file, "columns", arrays.ja, slots, head.elements);
    arrays.ja[static_cast<std::int32_t>(head.elements)] = -1; // a spare slot
    if (!areRows(head, arrays.ia.get(), arrays.ja.get())) requireWhole(file.Contradiction());
    take(file, "values", arrays.a, slots, head.elements);
    SparseOf<Cell> A = SparseAccess::adopt<Cell>(head.size, head.size, std::move(arrays));
    SparseAccess::mark<Cell>(A, head.oneTriangle != 0);
    return A;
}

void saveState(const SavedState& state, SectionWriter& file)
{
    const std::int32_t exhausted = state.exhausted ? static_cast<std::int32_t>(*state.exhausted) : kNone;
    file.AddOne("state", StateHead{exhausted, state.isFactorOld ? 1 : 0});
    std::string texts;
    for (const std::string& text : state.left) (texts += text) += '\0';
    file.Add("left", std::span<const char>(texts));
}

SavedState loadState(SectionReader& file)
{
    StateHead head{};
    requireWhole(file.TakeOne("state", head));
    const bool fits = head.exhausted >= kNone && head.exhausted <= static_cast<int>(Verdict::Failed) &&
                      (head.isFactorOld == 0 || head.isFactorOld == 1);
    if (!fits) requireWhole(file.Contradiction());
    SavedState state{.isFactorOld = head.isFactorOld != 0};
    if (head.exhausted != kNone) state.exhausted = static_cast<Verdict>(head.exhausted);
    std::int64_t count = 0;
    requireWhole(file.Announce("left", 1, count));
    std::string texts(static_cast<std::size_t>(count), '\0');
    requireWhole(file.Take(std::span<char>(texts)));
    if (!isPrintable(texts) || (!texts.empty() && texts.back() != '\0')) requireWhole(file.Contradiction());
    for (std::size_t first = 0, end; first < texts.size(); first = end + 1) {
        end = texts.find('\0', first);
        state.left.push_back(texts.substr(first, end - first));
    }
    return state;
}

#define LINTRIX_INSTANTIATE(Cell)                                                                            \
    template void openSaved<Cell>(const std::string&, SectionReader&);                                       \
    template void writeSaved<Cell>(const std::string&, const std::function<void(SectionWriter&)>&);          \
    template void saveMatrix<Cell>(const SparseOf<Cell>&, SectionWriter&);                                   \
    template SparseOf<Cell> loadMatrix<Cell>(SectionReader&);
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(Complex)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail
