// Phases in any order on two handles, one in memory and one with its factors in files, whose transfers,
// openings and requests for memory fail now and then. The first is the model: the second has its bits, or
// says what failed. This program has its own open, pread and pwrite, which the library calls.

#include "tests/engine/out_of_core/out_of_core_system.h"
#include "tests/services/slot_recorder.h"

#include <lintrix/services/export.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <iterator>
#include <map>
#include <set>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Velmar::Lintrix::testing {
namespace {

enum class Fault {
    None,
    Interrupted,
    Short,
    CutOff,
    ReadError,
    DiskFull,
    NoDescriptor,
    NoMemory,
    NoMemoryFromThere
};

/// What the next calls of the system answer: the fault, from call number `from` on.
struct Disk {
    std::atomic<Fault> fault{Fault::None};
    std::atomic<int> from{0};

    /// Whether this call is one that the fault befalls.
    bool befalls(std::initializer_list<Fault> kinds)
    {
        const Fault now = fault;
        return std::ranges::find(kinds, now) != kinds.end() && from-- <= 0;
    }
    /// Every second call alone: whoever repeats it gets on.
    bool interrupts() { return fault == Fault::Interrupted && from++ % 2 == 0; }
    std::size_t moved(std::size_t count) const
    {
        return fault == Fault::Short ? std::min<std::size_t>(count, 1000) : count;
    }
} disk;

int failed(int reason)
{
    errno = reason;
    return -1;
}

} // namespace
} // namespace Velmar::Lintrix::testing

// NOLINTBEGIN: the signatures are the system's
extern "C" LINTRIX_EXPORT int open(const char* path, int flags, ...)
{
    using namespace Velmar::Lintrix::testing;
    va_list arguments;
    va_start(arguments, flags);
    const int mode = (flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0;
    va_end(arguments);
    if (disk.interrupts()) return failed(EINTR);
    if (disk.befalls({Fault::NoDescriptor})) return failed(EMFILE);
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

extern "C" LINTRIX_EXPORT ssize_t pread(int descriptor, void* into, size_t count, off_t offset)
{
    using namespace Velmar::Lintrix::testing;
    if (disk.interrupts()) return failed(EINTR);
    if (disk.befalls({Fault::ReadError})) return failed(EIO);
    if (disk.befalls({Fault::CutOff})) return 0;
    return syscall(SYS_pread64, descriptor, into, disk.moved(count), offset);
}

extern "C" LINTRIX_EXPORT ssize_t pwrite(int descriptor, const void* from, size_t count, off_t offset)
{
    using namespace Velmar::Lintrix::testing;
    if (disk.interrupts()) return failed(EINTR);
    if (disk.befalls({Fault::DiskFull})) return failed(ENOSPC);
    return syscall(SYS_pwrite64, descriptor, from, disk.moved(count), offset);
}
// NOLINTEND

namespace Velmar::Lintrix::testing {
namespace {

constexpr int kMostSides = 3;
constexpr int kSequences = 150; // of each type

int sequences()
{
    const char* const told = std::getenv("LINTRIX_TORTURE_DOSES");
    return told != nullptr ? std::max(1, std::atoi(told)) * kSequences : kSequences;
}

bool analyses(int phase)
{
    return phase >= 11 && phase <= 13;
}
bool factors(int phase)
{
    return phase == 12 || phase == 13 || phase == 22 || phase == 23;
}
bool solves(int phase)
{
    return phase == 33 || (phase >= 331 && phase <= 333);
}

/// Both handles, driven by the same random calls.
class Twins {
public:
    Twins(int mtype, int leastCore, unsigned seed)
        : random_(seed), side_(7 + static_cast<int>(seed % 3)), least_(leastCore),
          memory_(gridOf(side_, mtype), mtype), files_(gridOf(side_, mtype), mtype)
    {
        environment_.set("PATH", folder_.at("factor"));
        environment_.set("KEEP_FILE", "0");
        for (EngineCall* call : {&memory_, &files_}) {
            call->maxfct = 2;
            call->set(10, 8);
            call->set(21, 1);
        }
    }

    void run(int calls)
    {
        for (int k = 0; k < calls && !::testing::Test::HasFailure(); ++k) step();
        release();
        EXPECT_EQ(requests_.live(), 0U);
    }

private:
    int below(int count) { return static_cast<int>(random_() % static_cast<unsigned>(count)); }

    void step()
    {
        static constexpr int phases[] = {12, 13, 22, 22, 23, 33, 33, 33, 331, 332, 333, 0, -1};
        const int phase = phases[below(static_cast<int>(std::size(phases)))];
        choose();
        const bool hadFactor = hasFactor_.contains(memory_.mnum);
        const int expected = memory_.run(phase), error = runFaulty(phase);
        if (error == expected) {
            expectSame(phase, error);
            note(phase, error);
            if (phase == -1) expectNoFiles();
            return;
        }
        EXPECT_TRUE(isToldFor(error)) << "phase " << phase << ": " << error << " for " << expected;
        if (!(solves(phase) && hadFactor)) mend();
    }

    /// The same for both: factor, right-hand sides, refinement, whether values change; and what is no affair
    /// of the solution's, where the factor is kept.
    void choose()
    {
        const int mnum = 1 + below(2), sides = 1 + below(kMostSides), refinement = below(3) - 1;
        const bool changes = below(3) == 0;
        std::uniform_real_distribution<double> uniform(0.9, 1.1), cells(-1., 1.);
        if (changes) {
            for (double& a : memory_.A.a) a *= uniform(random_);
        }
        const auto size =
            static_cast<std::size_t>(memory_.n * sides * (detail::engine::isComplex(memory_.mtype) ? 2 : 1));
        memory_.b.resize(size);
        for (double& b : memory_.b) b = cells(random_);
        memory_.x.assign(size, 0.);
        files_.A.a = memory_.A.a;
        files_.b = memory_.b;
        files_.x = memory_.x;
        for (EngineCall* call : {&memory_, &files_}) {
            call->mnum = mnum;
            call->nrhs = sides;
            call->set(8, 2 * refinement);
        }
        files_.set(60, below(4) == 0 ? 0 : 1 + below(2));
        environment_.set("MAX_CORE_SIZE", std::to_string(below(4) == 0 ? 2000 : least_ + below(2)));
    }

    /// Every second call meets a fault, perhaps one that it does not come to.
    int runFaulty(int phase)
    {
        const bool isFaulty = below(2) == 0;
        const auto fault = isFaulty ? Fault(1 + below(8)) : Fault::None;
        const int from = below(below(2) == 0 ? 12 : 60);
        if (fault == Fault::NoMemory) requests_.failOnly(from);
        if (fault == Fault::NoMemoryFromThere) requests_.failFrom(from);
        disk.from = from;
        disk.fault = fault;
        const int error = files_.run(phase);
        disk.fault = Fault::None;
        requests_.failOnly(-1);
        return error;
    }

    static bool isToldFor(int error) { return error == -2 || error == -10 || error == -11; }

    void expectSame(int phase, int error) const
    {
        EXPECT_EQ(files_.b, memory_.b) << phase;
        if (error != 0) return;
        EXPECT_EQ(files_.x, memory_.x) << phase;
        if (solves(phase) || phase == 13 || phase == 23) {
            EXPECT_EQ(files_.iparm(7), memory_.iparm(7)) << phase;
        }
        for (const int k : {14, 22, 23}) {
            if (factors(phase)) {
                EXPECT_EQ(files_.iparm(k), memory_.iparm(k)) << phase << ", " << k;
            }
        }
    }

    void note(int phase, int error)
    {
        if (analyses(phase) || phase == -1) hasFactor_.clear();
        if (phase == 0) hasFactor_.erase(memory_.mnum);
        if (error == 0 && (factors(phase) || solves(phase))) hasFactor_.insert(memory_.mnum);
    }

    /// After a failure that may have cost a factor: everything anew, or nothing is left.
    void mend()
    {
        hasFactor_.clear();
        if (below(2) == 0) return release();
        choose();
        EXPECT_EQ(memory_.run(13), 0);
        EXPECT_EQ(files_.run(13), 0);
        expectSame(13, 0);
        note(13, 0);
    }

    void release()
    {
        memory_.release();
        files_.release();
        expectNoFiles();
    }
    void expectNoFiles() const { EXPECT_TRUE(folder_.names().empty()); }

    SlotRecorder requests_;
    std::mt19937 random_;
    int side_, least_;
    Folder folder_;
    OutOfCoreEnvironment environment_;
    EngineCall memory_, files_;
    std::set<int> hasFactor_; ///< by number: both have it, of the same values
};

class OutOfCoreSequences : public ::testing::TestWithParam<int> {};

// On one thread solutions in memory and out of it have the same bits; files are read and written by another
// one.
TEST_P(OutOfCoreSequences, HaveTheBitsOfMemoryOrSayWhatFailed)
{
    const ThreadSetting one(1);
    std::map<int, int> least;
    for (unsigned seed = 0; seed < static_cast<unsigned>(sequences()) && !HasFailure(); ++seed) {
        const int side = 7 + static_cast<int>(seed % 3);
        if (!least.contains(side)) least[side] = leastCore(side, GetParam(), kMostSides);
        SCOPED_TRACE("seed " + std::to_string(seed));
        Twins(GetParam(), least[side], seed).run(6);
    }
}

INSTANTIATE_TEST_SUITE_P(Types, OutOfCoreSequences, ::testing::Values(1, 2, -2, 3, 4, -4, 6, 11, 13));

} // namespace
} // namespace Velmar::Lintrix::testing
