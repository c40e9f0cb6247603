// Out of core without memory: request after request of each phase fails, alone or with all behind it. What is
// told, what stays, and that neither blocks nor files are left behind.

#include "tests/engine/out_of_core/out_of_core_system.h"
#include "tests/services/slot_recorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using namespace Velmar::Lintrix::detail::engine;

namespace Velmar::Lintrix::testing {
namespace {

constexpr int kSide = 12, kSides = 3;
constexpr std::size_t kFiles = 11;

/// A phase, and the phases that are called before it.
struct Step {
    std::vector<int> before;
    int phase;
    bool analyses = false;
};

const Step kSteps[] = {{{}, 13, true}, {{12}, 11, true}, {{11}, 22}, {{13}, 23},
                       {{11}, 33},     {{12}, 33},       {{13}, 33}, {{12}, 331}};

class OutOfCoreWithoutMemory : public ::testing::TestWithParam<int> {
protected:
    OutOfCoreWithoutMemory()
    {
        const ThreadSetting most(2, 0); // the second thread takes work space of its own
        System system(2000);
        EXPECT_EQ(system.call.run(11), 0);
        core_ = system.call.iparm(63);
    }

    /// Of several groups, with chunks that pass by, and two steps of refinement.
    class System : public OutOfCoreSystem {
    public:
        explicit System(int core) : OutOfCoreSystem(kSide, GetParam(), core, 2)
        {
            setRightSides(kSides);
            call.set(8, 2);
            call.set(11, isSymmetricStorage(GetParam()) ? 0 : 1);
            call.set(13, isSymmetricStorage(GetParam()) ? 0 : 1);
        }
    };

    struct Seen {
        int error;
        std::vector<std::string> refused;
    };

    static std::vector<std::string> requestsIn(std::vector<std::string> calls)
    {
        std::erase(calls, "free");
        return calls;
    }

    /// The phase with request k failing, and what must hold whatever it says.
    Seen runWithout(const Step& step, int k, bool once) const
    {
        SlotRecorder recorder;
        Seen seen{};
        {
            System system(core_);
            EngineCall& call = system.call;
            for (const int phase : step.before) EXPECT_EQ(call.run(phase), 0);
            const std::vector<double> b = call.b, x = call.x;
            const Rows A = call.A;
            recorder.calls();
            once ? recorder.failOnly(k) : recorder.failFrom(k);
            seen.error = call.run(step.phase);
            recorder.failOnly(-1);
            seen.refused = requestsIn(recorder.calls());
            seen.refused.erase(seen.refused.begin(), seen.refused.begin() + k);
            if (once) seen.refused.resize(1);
            EXPECT_EQ(call.b, b);
            EXPECT_EQ(call.A.ia, A.ia);
            EXPECT_EQ(call.A.ja, A.ja);
            if (seen.error != 0) {
                EXPECT_EQ(call.x, x);
            }
            expectFiles(system, step, seen.error);
            if (k % 2 == 0) expectUsable(system);
            call.release(); // of a handle that has just failed, for every second request
            EXPECT_EQ(system.folder.names().size(), 0U);
        }
        EXPECT_EQ(recorder.live(), 0U);
        return seen;
    }

    /// A failed analysis leaves none, any other failure those of the analysis.
    static void expectFiles(const System& system, const Step& step, int error)
    {
        const std::size_t files = system.folder.names().size();
        EXPECT_TRUE(files == kFiles || (files == 0 && step.analyses && error != 0)) << files;
    }

    /// With an analysis the next solve finds or makes all it needs; without one it says so.
    static void expectUsable(System& system)
    {
        const std::vector<double> b = system.call.b;
        const bool isAnalysed = !system.folder.names().empty();
        EXPECT_EQ(system.call.run(33), isAnalysed ? 0 : -1);
        if (!isAnalysed) {
            EXPECT_EQ(system.call.run(13), 0);
        }
        EXPECT_LT(residualOf(system.call, b), kSolved);
    }

    /// Some of the requests alone, others with all behind them.
    void expectHonesty(const Step& step, bool once) const
    {
        const int requests = requestsOf(step), stride = 3 + requests / 12;
        for (int k = once ? 0 : 1; k < requests; k += stride) {
            SCOPED_TRACE(::testing::Message()
                         << "type " << GetParam() << ", phase " << step.phase << ", request " << k << " of "
                         << requests << ", once " << once);
            const Seen seen = runWithout(step, k, once);
            const bool onlyShrinks = std::ranges::all_of(seen.refused, [](const std::string& request) {
                return request.starts_with("realloc"); // a block stays larger than it need be
            });
            EXPECT_EQ(seen.error, onlyShrinks ? 0 : -2) << seen.refused.front();
        }
    }
    int requestsOf(const Step& step) const
    {
        SlotRecorder recorder;
        System system(core_);
        for (const int phase : step.before) EXPECT_EQ(system.call.run(phase), 0);
        recorder.calls();
        EXPECT_EQ(system.call.run(step.phase), 0);
        return static_cast<int>(requestsIn(recorder.calls()).size());
    }

    int core_;
};

TEST_P(OutOfCoreWithoutMemory, EachPhaseTellsItLeaksNothingAndServesAgain)
{
    for (const int threads : {1, 2}) {
        const ThreadSetting setting(threads, 0);
        for (const Step& step : kSteps) {
            if (step.analyses && threads > 1) continue; // where one thread finds no room, another may
            for (const bool once : {true, false}) expectHonesty(step, once);
        }
    }
}

TEST_P(OutOfCoreWithoutMemory, AReleaseNeedsNone)
{
    SlotRecorder recorder;
    for (const int phase : {11, 12, 13}) {
        System system(core_);
        ASSERT_EQ(system.call.run(phase), 0);
        EXPECT_EQ(system.folder.names().size(), kFiles);
        recorder.failFrom(0);
        EXPECT_EQ(system.call.run(0), 0);
        EXPECT_EQ(system.call.run(-1), 0);
        EXPECT_EQ(recorder.live(), 0U);
        EXPECT_EQ(system.folder.names().size(), 0U);
        recorder.failOnly(-1);
    }
}

INSTANTIATE_TEST_SUITE_P(Types, OutOfCoreWithoutMemory, ::testing::Values(-2, 6, 11, 13));

} // namespace
} // namespace Velmar::Lintrix::testing
