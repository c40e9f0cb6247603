#pragma once
/// @file
/// A linear system in the sections of a file: the matrix, what is known of it, and failures in words. What
/// the roads have made stands in roads/saved_roads.cpp. docs/saved_system_format.md tells the sections.

#include <lintrix/services/export.h>
#include <lintrix/services/section_file.h>
#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/sparse_matrix.h>
#include <lintrix/systems/verdict.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Velmar::Lintrix::detail {

/// Goes on where there is no fault. @throws SerializationException  of a content, with section and byte
/// @throws OperationFailedException  of a file that cannot be read
/// @throws NotEnoughMemoryException
void requireWhole(const SectionFault& fault);

/// Opens a system with such cells. @throws OperationFailedException  "'PATH' could not be opened."
/// @throws as `requireWhole`
template <class Cell>
void openSaved(const std::string& path, SectionReader& file);

/// Writes a system with such cells, whose sections `add` adds.
/// @throws OperationFailedException  "The system could not be saved to 'PATH'."
template <class Cell>
void writeSaved(const std::string& path, const std::function<void(SectionWriter&)>& add);

/// A square matrix, in whatever storage.
template <class Cell>
void saveMatrix(const SparseOf<Cell>& A, SectionWriter& file);
/// One that every user of its arrays can rely on. @throws as `requireWhole`
template <class Cell>
SparseOf<Cell> loadMatrix(SectionReader& file);

/// What a session knows beside its factor.
struct SavedState {
    std::vector<std::string> left{};    ///< what was said of the roads that were left
    std::optional<Verdict> exhausted{}; ///< that a search came to
    bool isFactorOld = false;           ///< the factor is one of earlier values
};
void saveState(const SavedState& state, SectionWriter& file);
SavedState loadState(SectionReader& file);

} // namespace Velmar::Lintrix::detail
