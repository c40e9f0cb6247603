#include <lintrix/engine/out_of_core/factor_files.h>

#include <lintrix/engine/out_of_core/file_name.h>
#include <lintrix/engine/out_of_core/out_of_core_settings.h>
#include <lintrix/services/regular_file.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Velmar::Lintrix::detail::engine {

namespace {

static_assert(OutOfCoreTable::kFiles == kFactorFiles);

/// The entries of the file table: the number of the files plus 1, or null.
std::span<void*> entriesOf(const Handle& handle) noexcept
{
    return {handle.block<OutOfCoreTable>(Slot::OutOfCoreControl)->files, kFactorFiles};
}

int numberOf(const Handle& handle) noexcept
{
    return static_cast<int>(reinterpret_cast<std::uintptr_t>(entriesOf(handle).front()) - 1);
}

void remember(Handle handle, int number) noexcept
{
    std::ranges::fill(entriesOf(handle), reinterpret_cast<void*>(static_cast<std::uintptr_t>(number) + 1));
}

void forget(Handle handle) noexcept
{
    std::ranges::fill(entriesOf(handle), nullptr);
}

bool makeFile(const FactorFileName& name) noexcept
{
    const int file = openRegular(name.text(), O_WRONLY | O_CREAT | O_EXCL);
    if (file >= 0) ::close(file);
    return file >= 0;
}

/// How many of the files of a number could be made, in their order; errno tells why not the next one.
int makeFiles(std::string_view prefix, int number) noexcept
{
    int made = 0;
    while (made < kFactorFiles && makeFile({prefix, number, FactorFile(made)})) ++made;
    return made;
}

void removeFiles(std::string_view prefix, int number, int count) noexcept
{
    for (int k = 0; k < count; ++k) ::unlink(FactorFileName(prefix, number, FactorFile(k)).text());
}

/// Whether the step makes what the file holds.
bool stores(FileStep step, FactorFile file) noexcept
{
    constexpr std::array kOfNumbers = {FactorFile::Lower,        FactorFile::Upper,
                                       FactorFile::LowerBlocks,  FactorFile::UpperBlocks,
                                       FactorFile::RowExchanges, FactorFile::ColumnExchanges};
    if (step == FileStep::Factorization) return std::ranges::find(kOfNumbers, file) != kOfNumbers.end();
    return step == FileStep::Analysis;
}

Failure cannotOpen(FileStep step, FactorFile file) noexcept
{
    const FileAction action = stores(step, file) ? FileAction::OpenForStoring : FileAction::OpenForReading;
    return {Error::OutOfCoreOpen, -10, 0, {action, step, file}};
}

Failure cannot(FileAction action, FileStep step, FactorFile file) noexcept
{
    return {Error::OutOfCoreTransfer, -11, 0, {action, step, file}};
}

/// Adds the time that its scope takes.
class Stopwatch {
    using Clock = std::chrono::steady_clock;

public:
    explicit Stopwatch(std::atomic<std::int64_t>& nanoseconds) noexcept : nanoseconds_(nanoseconds) {}
    ~Stopwatch() { nanoseconds_ += std::chrono::nanoseconds(Clock::now() - begin_).count(); }
    Stopwatch(const Stopwatch&) = delete;
    Stopwatch& operator=(const Stopwatch&) = delete;

private:
    std::atomic<std::int64_t>& nanoseconds_;
    Clock::time_point begin_ = Clock::now();
};

/// What stands before an array in its file.
struct ArrayHead {
    std::int64_t length;
    std::uint64_t sum;

    bool operator==(const ArrayHead&) const = default;
};
static_assert(OpenFactorFiles::arraySize(0) == sizeof(ArrayHead));

ArrayHead headOf(std::span<const std::byte> bytes) noexcept
{
    return {static_cast<std::int64_t>(bytes.size()), checkSum(bytes)};
}

} // namespace

Failure createFactorFiles(Handle handle)
{
    const std::string_view prefix = filePrefix(handle);
    int made = 0;
    for (int number = 0; number < kFactorFileNumbers; ++number) {
        made = makeFiles(prefix, number);
        if (made == kFactorFiles) {
            remember(handle, number);
            return {};
        }
        const bool isTaken = errno == EEXIST;
        removeFiles(prefix, number, made);
        if (!isTaken) break;
    }
    return cannotOpen(FileStep::Analysis, FactorFile(made));
}

bool holdsFactorFiles(const Handle& handle) noexcept
{
    return handle.holds(Slot::OutOfCoreControl) && entriesOf(handle).front() != nullptr;
}

void removeFactorFiles(Handle handle) noexcept
{
    if (holdsFactorFiles(handle) && keepsFactorFiles(handle)) forget(handle);
    discardFactorFiles(handle);
}

void discardFactorFiles(Handle handle) noexcept
{
    if (!holdsFactorFiles(handle)) return;
    removeFiles(filePrefix(handle), numberOf(handle), kFactorFiles);
    forget(handle);
}

OpenFactorFiles::~OpenFactorFiles()
{
    close();
}

Failure OpenFactorFiles::open(const Handle& handle, FileStep step)
{
    close();
    step_ = step;
    if (!holdsFactorFiles(handle)) return cannotOpen(step, FactorFile::Rows);
    const int flags = (step == FileStep::Solve ? O_RDONLY : O_RDWR) | O_NOFOLLOW;
    for (int k = 0; k < kFactorFiles; ++k) {
        const FactorFileName name(filePrefix(handle), numberOf(handle), FactorFile(k));
        descriptors_[k] = openRegular(name.text(), flags);
        if (descriptors_[k] >= 0) continue;
        close();
        return cannotOpen(step, FactorFile(k));
    }
    return {};
}

void OpenFactorFiles::close() noexcept
{
    for (int& file : descriptors_) {
        if (file >= 0) ::close(file);
        file = -1;
    }
}

Failure OpenFactorFiles::write(FactorFile file, std::int64_t offset, std::span<const std::byte> from)
{
    const Stopwatch watch(nanosecondsWriting_);
    if (!writeAll(descriptor(file), offset, from)) return cannot(FileAction::Write, step_, file);
    bytesWritten_ += static_cast<std::int64_t>(from.size());
    return {};
}

Failure OpenFactorFiles::read(FactorFile file, std::int64_t offset, std::span<std::byte> into)
{
    const Stopwatch watch(nanosecondsReading_);
    if (!readAll(descriptor(file), offset, into)) return cannot(FileAction::Read, step_, file);
    bytesRead_ += static_cast<std::int64_t>(into.size());
    return {};
}

bool OpenFactorFiles::giveBack(FactorFile file, std::int64_t offset, std::int64_t length) noexcept
{
    struct stat facts;
    if (::fstat(descriptor(file), &facts) != 0) return false;
    if (facts.st_size <= offset) return true;
    if (facts.st_size <= offset + length) return ::ftruncate(descriptor(file), offset) == 0;
    return ::fallocate(descriptor(file), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, offset, length) == 0;
}

Failure OpenFactorFiles::writeArray(FactorFile file, std::int64_t offset, std::span<const std::byte> from)
{
    const ArrayHead head = headOf(from);
    if (const Failure failure = write(file, offset, std::as_bytes(std::span(&head, 1)))) return failure;
    return write(file, offset + arraySize(0), from);
}

Failure OpenFactorFiles::readArray(FactorFile file, std::int64_t offset, std::span<std::byte> into)
{
    ArrayHead head{};
    if (const Failure failure = read(file, offset, std::as_writable_bytes(std::span(&head, 1))))
        return failure;
    if (const Failure failure = read(file, offset + arraySize(0), into)) return failure;
    return head == headOf(into) ? Failure{} : changed(file);
}

Failure OpenFactorFiles::changed(FactorFile file) const noexcept
{
    return cannot(FileAction::Check, step_, file);
}

} // namespace Velmar::Lintrix::detail::engine
