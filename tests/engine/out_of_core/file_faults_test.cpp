// What the system answers the files with: this program has its own open, pread and pwrite, which the library
// calls, and which do as a test says.

#include "tests/engine/out_of_core/out_of_core_handle.h"

#include <lintrix/engine/out_of_core/factor_files.h>
#include <lintrix/services/export.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <vector>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::detail::engine;
using Velmar::Lintrix::testing::Folder;
using Velmar::Lintrix::testing::OutOfCoreEnvironment;
using Velmar::Lintrix::testing::OutOfCoreHandle;

namespace {

/// What the calls do; by default what they always do.
struct Faults {
    int openFails = 0;           ///< with this errno
    int opensBefore = 0;         ///< that go well
    int opens = 0;               ///< that did not
    bool interrupts = false;     ///< every second call, with EINTR
    std::size_t most = SIZE_MAX; ///< bytes that one transfer moves
    int transferFails = 0;       ///< with this errno
    int transfersBefore = 0;     ///< that go well
    int calls = 0;

    bool interrupted()
    {
        const bool now = interrupts && calls++ % 2 == 0;
        if (now) errno = EINTR;
        return now;
    }
    bool transferRefused()
    {
        if (interrupted()) return true;
        if (transferFails == 0 || transfersBefore-- > 0) return false;
        errno = transferFails;
        return true;
    }
} faults;

} // namespace

// NOLINTBEGIN: the signatures are the system's
extern "C" LINTRIX_EXPORT int open(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const int mode = (flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0;
    va_end(arguments);
    if (faults.interrupted()) return -1;
    if (faults.openFails != 0 && faults.opensBefore-- <= 0) {
        errno = faults.openFails;
        ++faults.opens;
        return -1;
    }
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

extern "C" LINTRIX_EXPORT ssize_t pread(int descriptor, void* into, size_t count, off_t offset)
{
    if (faults.transferRefused()) return -1;
    return syscall(SYS_pread64, descriptor, into, std::min(count, faults.most), offset);
}

extern "C" LINTRIX_EXPORT ssize_t pwrite(int descriptor, const void* from, size_t count, off_t offset)
{
    if (faults.transferRefused()) return -1;
    return syscall(SYS_pwrite64, descriptor, from, std::min(count, faults.most), offset);
}
// NOLINTEND

namespace {

class FileFaults : public ::testing::Test {
protected:
    FileFaults()
    {
        environment.set("CFG_PATH", folder.at(""));
        environment.set("PATH", folder.at("f"));
        environment.set("KEEP_FILE", "0");
        made.configure();
    }
    ~FileFaults() override
    {
        faults = {};
        removeFactorFiles(handle);
    }

    void expectTransferFailure(const Failure& failure, FileAction action) const
    {
        EXPECT_EQ(failure.error, Error::OutOfCoreTransfer);
        EXPECT_EQ(failure.internal, -11);
        EXPECT_EQ(failure.file.action, action);
    }

    Folder folder;
    OutOfCoreEnvironment environment;
    OutOfCoreHandle made;
    Handle& handle = made.handle;
    std::vector<std::byte> bytes = std::vector<std::byte>(1000, std::byte{7}),
                           found = std::vector<std::byte>(1000);
};

TEST_F(FileFaults, LeaveAllFilesOrNone)
{
    for (const int reason : {ENOSPC, EDQUOT, EMFILE, EACCES, EROFS, EIO}) {
        for (int k = 0; k < kFactorFiles; ++k) {
            faults = {.openFails = reason, .opensBefore = k};
            const Failure failure = createFactorFiles(handle);
            faults = {};
            EXPECT_EQ(failure.error, Error::OutOfCoreOpen);
            EXPECT_EQ(failure.internal, -10);
            EXPECT_EQ(failure.file.action, FileAction::OpenForStoring);
            EXPECT_EQ(failure.file.file, FactorFile(k));
            EXPECT_FALSE(holdsFactorFiles(handle));
            EXPECT_TRUE(folder.names().empty()) << "error " << reason << " at file " << k;
        }
    }
}

TEST_F(FileFaults, OfEveryNumberEndTheSearch)
{
    faults = {.openFails = EEXIST};
    const Failure failure = createFactorFiles(handle);
    EXPECT_EQ(failure.error, Error::OutOfCoreOpen);
    EXPECT_EQ(failure.file.file, FactorFile::Rows);
    EXPECT_EQ(faults.opens, 100000);
    EXPECT_FALSE(holdsFactorFiles(handle));
}

TEST_F(FileFaults, AtTheOpeningOfAnyFileCloseTheOthers)
{
    ASSERT_FALSE(createFactorFiles(handle));
    for (int k = 0; k < kFactorFiles; ++k) {
        OpenFactorFiles files;
        faults = {.openFails = EMFILE, .opensBefore = k};
        const Failure failure = files.open(handle, FileStep::Factorization);
        faults = {};
        EXPECT_EQ(failure.error, Error::OutOfCoreOpen);
        EXPECT_EQ(failure.file.file, FactorFile(k));
        for (int j = 0; j < kFactorFiles; ++j) EXPECT_TRUE(files.write(FactorFile(j), 0, bytes));
    }
}

TEST_F(FileFaults, ThatInterruptOrCutShortAreNone)
{
    faults = {.interrupts = true, .most = 7};
    ASSERT_FALSE(createFactorFiles(handle));
    OpenFactorFiles files;
    ASSERT_FALSE(files.open(handle, FileStep::Factorization));
    EXPECT_FALSE(files.write(FactorFile::Lower, 5, bytes));
    EXPECT_FALSE(files.read(FactorFile::Lower, 5, found));
    EXPECT_EQ(found, bytes);
    EXPECT_FALSE(files.writeArray(FactorFile::Rows, 0, bytes));
    EXPECT_FALSE(files.readArray(FactorFile::Rows, 0, found));
    EXPECT_EQ(files.traffic().bytesWritten, 2016);
    EXPECT_EQ(files.traffic().bytesRead, 2016);
}

// A disk that is full after some bytes, and one that reads no more.
TEST_F(FileFaults, OfTheDiskAreFailures)
{
    ASSERT_FALSE(createFactorFiles(handle));
    OpenFactorFiles files;
    ASSERT_FALSE(files.open(handle, FileStep::Factorization));
    ASSERT_FALSE(files.writeArray(FactorFile::Lower, 0, bytes));
    for (const int reason : {ENOSPC, EDQUOT, EFBIG, EIO}) {
        for (const int before : {0, 1, 2}) {
            const Faults fault = {.most = 7, .transferFails = reason, .transfersBefore = before};
            faults = fault;
            expectTransferFailure(files.write(FactorFile::Upper, 0, bytes), FileAction::Write);
            faults = fault;
            expectTransferFailure(files.writeArray(FactorFile::Upper, 0, bytes), FileAction::Write);
            faults = fault;
            expectTransferFailure(files.read(FactorFile::Lower, 0, found), FileAction::Read);
            faults = fault;
            expectTransferFailure(files.readArray(FactorFile::Lower, 0, found), FileAction::Read);
        }
    }
    faults = {};
    EXPECT_FALSE(files.readArray(FactorFile::Lower, 0, found));
    EXPECT_EQ(found, bytes);
}

} // namespace
