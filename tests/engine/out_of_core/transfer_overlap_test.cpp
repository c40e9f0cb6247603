// Reading and writing go on while the arithmetic stands still. No clock measures it: arithmetic that has come
// to some point waits there until the transfer has begun that must not wait for it. This program has its own
// open, pread and pwrite, which the library calls, and in which transfers of panels are noted before they
// begin.

#include "tests/engine/factorization/factorization_case.h"
#include "tests/engine/out_of_core/out_of_core_system.h"

#include <lintrix/engine/factorization/elimination.h>
#include <lintrix/engine/factorization/grouped_factorization.h>
#include <lintrix/services/work.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <string_view>
#include <tuple>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Velmar::Lintrix::testing {
namespace {

/// Transfers of the panels of L that have begun since the notes were cleared.
struct TransferNotes {
    static constexpr int kFiles = 1024;
    std::mutex mutex;
    std::condition_variable changed;
    std::array<bool, kFiles> isOfLower{};      ///< by descriptor
    std::map<std::int64_t, int> reads, writes; ///< how many from each offset on
    std::int64_t bytesRead = 0;
    std::size_t largestRead = 0;

    void clear()
    {
        const std::lock_guard lock(mutex);
        reads.clear();
        writes.clear();
        bytesRead = 0;
        largestRead = 0;
    }
    void opened(int file, std::string_view path)
    {
        const std::lock_guard lock(mutex);
        if (file >= 0 && file < kFiles) isOfLower[static_cast<std::size_t>(file)] = path.ends_with(".lnz");
    }
    void note(int file, std::int64_t offset, std::size_t count, bool isRead)
    {
        const std::lock_guard lock(mutex);
        if (file < 0 || file >= kFiles || !isOfLower[static_cast<std::size_t>(file)]) return;
        ++(isRead ? reads : writes)[offset];
        if (isRead) bytesRead += static_cast<std::int64_t>(count);
        if (isRead) largestRead = std::max(largestRead, count);
        changed.notify_all();
    }
} notes;

} // namespace
} // namespace Velmar::Lintrix::testing

// NOLINTBEGIN: the signatures are the system's
extern "C" LINTRIX_EXPORT int open(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const int mode = (flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0;
    va_end(arguments);
    const int file = static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
    Velmar::Lintrix::testing::notes.opened(file, path);
    return file;
}

extern "C" LINTRIX_EXPORT ssize_t pread(int descriptor, void* into, size_t count, off_t offset)
{
    Velmar::Lintrix::testing::notes.note(descriptor, offset, count, true);
    return syscall(SYS_pread64, descriptor, into, count, offset);
}

extern "C" LINTRIX_EXPORT ssize_t pwrite(int descriptor, const void* from, size_t count, off_t offset)
{
    Velmar::Lintrix::testing::notes.note(descriptor, offset, count, false);
    return syscall(SYS_pwrite64, descriptor, from, count, offset);
}
// NOLINTEND

namespace Velmar::Lintrix::testing {
namespace {

/// Arithmetic waits wherever it tells how far it has come, until what has been begun satisfies the test.
/// Nobody will begin it where it has not been for so long; then the work ends.
class WaitingArithmetic final : public detail::WorkListener {
public:
    /// `mayGoOn` is asked with what has been done, under the lock of the notes.
    explicit WaitingArithmetic(std::function<bool(double)> mayGoOn) : mayGoOn_(std::move(mayGoOn)) {}

    void expect(double) noexcept override {}
    bool hear(double operations) noexcept override
    {
        constexpr std::chrono::seconds limit(20);
        std::unique_lock lock(notes.mutex);
        done_ += operations;
        if (operations > 0. && !isStuck_)
            isStuck_ = !notes.changed.wait_for(lock, limit, [this] { return mayGoOn_(done_); });
        return !isStuck_;
    }
    void require() const override {}

    bool isStuck() const { return isStuck_; }

private:
    std::function<bool(double)> mayGoOn_;
    double done_ = 0.;
    bool isStuck_ = false;
};

// By type, threads and right-hand sides.
class SolveOverlap : public ::testing::TestWithParam<std::tuple<int, int, int>> {};

// In symmetric storage the panels of L are all, and pass once in each part of a solve. When arithmetic has
// told of a share of them, the reading of what follows has begun, though none of it is asked for yet.
TEST_P(SolveOverlap, PanelsAreReadWhileThoseBeforeThemAreWorkedWith)
{
    const auto [mtype, threads, sides] = GetParam();
    const ThreadSetting setting(threads);
    const int megabytes = leastCore(20, mtype, sides) + 2;
    OutOfCoreSystem system(20, mtype, megabytes, 2);
    system.setRightSides(sides);
    system.call.set(26, 1);
    ASSERT_EQ(system.call.run(12), 0);
    ASSERT_EQ(system.call.iparm(57), 1);
    const auto bytes = static_cast<std::int64_t>(std::filesystem::file_size(system.folder.at("factor0.lnz")));
    for (const int phase : {331, 333}) {
        notes.clear();
        WaitingArithmetic arithmetic([&](double done) {
            return notes.bytesRead >= bytes ||
                   static_cast<double>(notes.bytesRead) > done * static_cast<double>(bytes);
        });
        {
            const detail::WorkScope scope(arithmetic);
            const detail::WorkStep step(2.); // the two passes
            EXPECT_EQ(system.call.run(phase), 0);
        }
        EXPECT_FALSE(arithmetic.isStuck()) << phase;
        system.call.b = system.call.x;
    }
}

INSTANTIATE_TEST_SUITE_P(Solves, SolveOverlap,
                         ::testing::Combine(::testing::Values(2, -2, 4, -4, 6), ::testing::Values(1, 2),
                                            ::testing::Values(1, 9)));

// Of a panel larger than a core's cache several threads read a share each.
TEST(LargePanels, AreReadInShares)
{
    for (const int mtype : {2, 6, 11}) {
        OutOfCoreSystem system(24, mtype, leastCore(24, mtype) + 1, 2);
        ASSERT_EQ(system.call.run(12), 0);
        notes.clear();
        ASSERT_EQ(system.call.run(33), 0);
        EXPECT_GT(notes.bytesRead, 8 << 20);
        EXPECT_LE(notes.largestRead, std::size_t{1} << 19);
    }
}

OwnedGraph fullGraph(int n)
{
    OwnedGraph graph{{0}, {}};
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            if (j != i) graph.neighbours.push_back(j);
        }
        graph.starts.push_back(static_cast<int>(graph.neighbours.size()));
    }
    return graph;
}

/// A transfer that has begun when so many multiplications are done.
struct Moment {
    double done;
    bool isRead;
    std::int64_t offset;
    int times; ///< that it has been read or written from there
};

/// A factorization of a full matrix by groups, and what it must not wait with.
template <class T>
class OverlappedFactorization {
public:
    OverlappedFactorization(Method method, Kind kind, int threads)
        : graph_(fullGraph(kOrder)), A_(graph_.view(), kind, 2 * kOrder, 7),
          c_(graph_.view(), A_, {method, kind == Kind::Hermitian && kIsComplex<T>, 0.}, kWidth, threads),
          plan_(c_.plan()), schedule_(PanelSchedule::ofFactorization(plan_, plan_.sizes.lower * 2 / 3))
    {
        for (PositionRange group = schedule_.groupFrom(0);; group = schedule_.groupFrom(group.last + 1)) {
            listReads(group);
            listWrite(group);
            if (group.last == plan_.structure.supernodes() - 1) break;
        }
    }

    /// When a chunk is worked with the next one is being read; when most of a group is eliminated its first
    /// panels are being written.
    bool mayGoOn(double done) const
    {
        return std::ranges::all_of(moments_, [&](const Moment& moment) {
            const auto& begun = moment.isRead ? notes.reads : notes.writes;
            const auto found = begun.find(moment.offset);
            return done <= moment.done + 1. || (found != begun.end() && found->second >= moment.times);
        });
    }
    int reads() const
    {
        return static_cast<int>(std::ranges::count_if(moments_, [](const Moment& m) { return m.isRead; }));
    }

    Failure run(const Handle& handle)
    {
        OpenFactorFiles files;
        if (const Failure failure = files.open(handle, FileStep::Factorization)) return failure;
        FactorStore<T> store(plan_, files, 1);
        if (const Failure failure = store.allocate()) return failure;
        const auto room = detail::engine::Scratch<T>::uninitialised(roomOf<T>(schedule_));
        const detail::WorkStep step(done_);
        notes.clear();
        return factorizeInGroups<T>(plan_, c_.rules, A_.values.data(), c_.factor(), store, schedule_,
                                    room.get(), {})
            .failure;
    }

private:
    std::int64_t offsetOf(int J) const
    {
        return plan_.lowerStarts[static_cast<std::size_t>(J)] * std::int64_t{sizeof(T)};
    }

    // What K gives to the panels first .. last behind it: in a full matrix all their columns are rows of K.
    double given(int K, int first, int last) const
    {
        const FactorStructure& s = plan_.structure;
        return updateMultiplications(s.width(K), kOrder - s.starts[first],
                                     s.starts[last + 1] - s.starts[first]);
    }

    void listReads(PositionRange group)
    {
        bool isFirst = true;
        for (PositionRange chunk = schedule_.chunkFrom(0, group); chunk.first <= chunk.last;
             chunk = schedule_.chunkFrom(chunk.last + 1, group)) {
            const std::int64_t offset = offsetOf(chunk.first);
            if (!isFirst) moments_.push_back({beginOfChunk_, true, offset, ++timesRead_[offset]});
            if (isFirst) ++timesRead_[offset];
            isFirst = false;
            beginOfChunk_ = done_;
            for (int K = chunk.first; K <= chunk.last; ++K) done_ += given(K, group.first, group.last);
        }
    }

    void listWrite(PositionRange group)
    {
        double own = 0.;
        for (int J = group.first; J <= group.last; ++J) {
            own += ownMultiplications(plan_.structure, J);
            if (J < group.last) own += given(J, J + 1, group.last);
        }
        moments_.push_back({done_ + 0.9 * own, false, offsetOf(group.first), 1});
        done_ += own;
    }

    static constexpr int kOrder = 900, kWidth = 30;

    OwnedGraph graph_;
    TestMatrix<T> A_;
    FactorizationCase<T> c_;
    FactorPlan plan_;
    PanelSchedule schedule_;
    std::map<std::int64_t, int> timesRead_;
    double done_ = 0., beginOfChunk_ = 0.;
    std::vector<Moment> moments_;
};

template <class T>
class FactorizationOverlap : public ::testing::Test {
protected:
    static void expectOverlap(Method method, Kind kind)
    {
        for (const int threads : {1, 2}) {
            const Folder folder;
            OutOfCoreEnvironment environment;
            environment.set("PATH", folder.at("factor"));
            environment.set("KEEP_FILE", "0");
            OutOfCoreHandle owner;
            owner.configure();
            ASSERT_FALSE(createFactorFiles(owner.handle));
            OverlappedFactorization<T> factorization(method, kind, threads);
            EXPECT_GT(factorization.reads(), 2);
            WaitingArithmetic arithmetic([&](double done) { return factorization.mayGoOn(done); });
            {
                const detail::WorkScope scope(arithmetic);
                EXPECT_FALSE(factorization.run(owner.handle)) << threads << " threads";
            }
            EXPECT_FALSE(arithmetic.isStuck()) << threads << " threads";
            removeFactorFiles(owner.handle);
        }
    }
};

using Scalars = ::testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(FactorizationOverlap, Scalars);

TYPED_TEST(FactorizationOverlap, PanelsAreReadAndWrittenWhileOthersAreWorkedWith)
{
    this->expectOverlap(Method::Cholesky, Kind::Hermitian);
}

} // namespace
} // namespace Velmar::Lintrix::testing
