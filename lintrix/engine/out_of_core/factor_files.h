#pragma once
/// @file
/// The eleven files of a handle in the out-of-core mode.
///
/// Their names are the path prefix, a number and the ending of the array. The number is the first for which
/// none of the files is there, taken by making the first of them exclusively: so handles and processes that
/// share a folder never share a file. A step opens the files by their names and closes them when it ends.
/// What one step has written another may find changed, cut off or gone; each answers that with a failure.
/// A prefix without a leading `/` goes from the current folder, which must stay the same as long as there are
/// files.

#include <lintrix/engine/call/factor_file.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/engine/call/handle.h>
#include <lintrix/engine/call/timers.h>
#include <lintrix/services/check_sum.h>
#include <lintrix/services/export.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

namespace Velmar::Lintrix::detail::engine {

/// Makes the files, empty, for a handle that has its settings and no files. All or none: on failure none is
/// left.
/// @return  {OutOfCoreOpen, -10} with the file
LINTRIX_TESTABLE Failure createFactorFiles(Handle handle);

/// Whether the handle has files.
LINTRIX_TESTABLE bool holdsFactorFiles(const Handle& handle) noexcept;

/// Removes them, or forgets them where they are to be kept. A file that somebody else has removed is no
/// failure.
LINTRIX_TESTABLE void removeFactorFiles(Handle handle) noexcept;

/// Removes them even where they are to be kept: nothing of use is in them.
LINTRIX_TESTABLE void discardFactorFiles(Handle handle) noexcept;

/// The files, open for one step of a call. Offsets and lengths are in bytes. Reading and writing may be
/// called by several threads at a time. A write that a limit of the process forbids is a failure like any
/// other, without the signal that goes with it.
class LINTRIX_TESTABLE OpenFactorFiles {
public:
    OpenFactorFiles() noexcept = default;
    ~OpenFactorFiles();
    OpenFactorFiles(const OpenFactorFiles&) = delete;
    OpenFactorFiles& operator=(const OpenFactorFiles&) = delete;

    /// A solve opens them for reading alone. What stands under a name must be a regular file.
    /// @return  {OutOfCoreOpen, -10} with the file
    Failure open(const Handle& handle, FileStep step);

    /// @return  {OutOfCoreTransfer, -11} with the file
    Failure write(FactorFile file, std::int64_t offset, std::span<const std::byte> from);
    /// A file that ends before has been cut off: a failure, as above.
    Failure read(FactorFile file, std::int64_t offset, std::span<std::byte> into);

    /// Gives the room of what is wanted no more back to the disk: a file that ends there is cut off, any
    /// other one gets a hole, where the file system knows such. @return  whether it could
    bool giveBack(FactorFile file, std::int64_t offset, std::int64_t length) noexcept;

    /// A small array, whole, behind its length and its check sum: arraySize(bytes) in the file.
    Failure writeArray(FactorFile file, std::int64_t offset, std::span<const std::byte> from);
    /// @return  {OutOfCoreTransfer, -11} also where length or check sum differ: the file has been changed
    Failure readArray(FactorFile file, std::int64_t offset, std::span<std::byte> into);
    static constexpr std::int64_t arraySize(std::int64_t bytes) noexcept { return bytes + 16; }

    /// The failure that a block of this file does not have the check sum it was written with.
    Failure changed(FactorFile file) const noexcept;

    FileTraffic traffic() const noexcept
    {
        return {.bytesRead = bytesRead_,
                .bytesWritten = bytesWritten_,
                .secondsReading = 1e-9 * static_cast<double>(nanosecondsReading_),
                .secondsWriting = 1e-9 * static_cast<double>(nanosecondsWriting_)};
    }

private:
    void close() noexcept;
    int descriptor(FactorFile file) const noexcept { return descriptors_[static_cast<int>(file)]; }

    int descriptors_[kFactorFiles] = {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
    FileStep step_ = FileStep::Analysis;
    std::atomic<std::int64_t> bytesRead_{0}, bytesWritten_{0}, nanosecondsReading_{0}, nanosecondsWriting_{0};
};

} // namespace Velmar::Lintrix::detail::engine
