#include <lintrix/engine/pardiso.h>

#include <lintrix/engine/call/arguments.h>
#include <lintrix/engine/call/handle.h>
#include <lintrix/engine/call/settings.h>
#include <lintrix/engine/driver.h>
#include <lintrix/engine/report/failure_report.h>
#include <lintrix/engine/report/messages.h>
#include <lintrix/engine/report/report.h>
#include <lintrix/engine/solution/diagonal_path.h>
#include <lintrix/services/threads.h>

namespace Velmar::Lintrix {

namespace {

using namespace detail::engine;

constexpr int kAskNumber = -2, kAskLimit = -3;

/// Phases that ask without a handle.
bool answersEnquiry(const Arguments& call, int& error)
{
    if (call.phase.code() == kAskNumber) {
        error = 16;
        call.iparm[Parameter::CallersValues] = 23;
        return true;
    }
    if (call.phase.code() == kAskLimit) {
        error = 300000;
        return true;
    }
    return false;
}

/// An analysis chooses; whatever follows it keeps to the choice.
bool choosesSinglePrecision(const Arguments& call)
{
    if (!call.phase.analyses() && call.pt != nullptr) {
        if (const ControlBlock* const control = Handle(call.pt).controlIfAny())
            return (*control)[Word::SinglePrecision] != 0;
    }
    return call.iparm[Parameter::SinglePrecision] == 1;
}

int takeDiagonalPath(const Arguments& call, bool singlePrecision)
{
    call.iparm[Parameter::Transpose] = -1;
    Failure failure;
    if (call.phase.code() != 11) failure = solveDiagonal(call, singlePrecision);
    if (failure && call.msglvl != 0) reportFailure(failure, call, nullptr);
    if (!failure && call.msglvl > 0) reportDiagonal(call.phase);
    return static_cast<int>(failure.error);
}

int refuseMissingHandle(const Arguments& call)
{
    if (call.msglvl != 0) {
        print(Message::InitializationFailed);
        print(Message::HandleIsZero, {std::int64_t{call.phase.code()}});
    }
    return static_cast<int>(Error::Input);
}

int run(const Arguments& call)
{
    const int threads = callThreads(MKL_Get_Max_Threads(), MKL_Get_Dynamic() != 0, call.n);
    const bool singlePrecision = choosesSinglePrecision(call);
    if (call.looksDiagonal()) return takeDiagonalPath(call, singlePrecision);
    if (call.iparm[Parameter::Transpose] == -1) return 0;
    if (call.pt == nullptr) return refuseMissingHandle(call);
    call.iparm[Parameter::Threads] = threads;
    return drive(call, singlePrecision);
}

} // namespace

void pardiso(void* pt[64], const int& maxfct, const int& mnum, const int& mtype, const int& phase,
             const int& n, const void* a, int* ia, int* ja, int* perm, const int& nrhs, int* iparm,
             const int& msglvl, void* b, void* x, int& error)
{
    const Arguments call{
        pt, maxfct, mnum, mtype, Phase(phase), n, a, ia, ja, perm, nrhs, Parameters(iparm), msglvl, b, x};
    if (answersEnquiry(call, error)) return;
    error = run(call);
}

} // namespace Velmar::Lintrix
