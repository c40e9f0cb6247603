#include <lintrix/engine/analysis/symbolic/structure_files.h>

#include <lintrix/engine/analysis/symbolic/permanent_structure.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace Velmar::Lintrix::detail::engine {

namespace {

// Calls visit(file, bytes) for each array of the structure, until one fails.
template <class Visit>
Failure forEachArray(const Handle& handle, const Visit& visit)
{
    PermanentStructure permanent(handle);
    const FactorStructure structure = permanent.structure();
    const Ordering ordering = permanent.ordering();
    Failure failure;
    const auto array = [&](FactorFile file, auto cells) {
        if (!failure) failure = visit(file, std::as_bytes(cells));
    };
    array(FactorFile::Rows, structure.rows);
    array(FactorFile::RowStarts, structure.rowStarts);
    array(FactorFile::Columns, structure.starts);
    array(FactorFile::Positions, ordering.positionOf);
    array(FactorFile::Vertices, ordering.vertexAt);
    return failure;
}

Failure compare(OpenFactorFiles& files, FactorFile file, std::span<const std::byte> expected)
{
    std::byte piece[1 << 14];
    for (std::size_t at = 0; at < expected.size();) {
        const std::size_t size = std::min(sizeof piece, expected.size() - at);
        const std::span<std::byte> found(piece, size);
        if (const Failure failure = files.read(file, static_cast<std::int64_t>(at), found)) return failure;
        if (std::memcmp(piece, expected.data() + at, size) != 0) return files.changed(file);
        at += size;
    }
    return {};
}

} // namespace

Failure storeStructure(Handle handle)
{
    if (const Failure failure = createFactorFiles(handle)) return failure;
    OpenFactorFiles files;
    Failure failure = files.open(handle, FileStep::Analysis);
    if (!failure) {
        failure = forEachArray(handle, [&](FactorFile file, std::span<const std::byte> bytes) {
            return files.write(file, 0, bytes);
        });
    }
    if (failure) discardFactorFiles(handle);
    return failure;
}

Failure openFactorFiles(const Handle& handle, FileStep step, OpenFactorFiles& files)
{
    if (const Failure failure = files.open(handle, step)) return failure;
    return forEachArray(handle, [&](FactorFile file, std::span<const std::byte> bytes) {
        return compare(files, file, bytes);
    });
}

} // namespace Velmar::Lintrix::detail::engine
