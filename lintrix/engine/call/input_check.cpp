#include <lintrix/engine/call/input_check.h>

#include <lintrix/engine/call/matrix_check.h>
#include <lintrix/services/hardening.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace Velmar::Lintrix::detail::engine {

namespace {

struct Rule {
    int code;
    bool (*broken)(const Arguments& call, const ControlBlock& stored);
};

bool outside(int value, int first, int last) noexcept
{
    return value < first || value > last;
}

bool parityChanges(int mtype, int stored) noexcept
{
    return isSymmetricStorage(mtype) != isSymmetricStorage(stored);
}

/// Phases from 22 on, legal or not, and those that factorize right after the analysis.
bool meansFactor(Phase phase) noexcept
{
    return phase.steps() >= 22 || phase.factorizes();
}

constexpr Rule kRules[] = {
    {1, [](const Arguments& call, const ControlBlock&) { return !call.phase.inRange(); }},
    {2, [](const Arguments& call, const ControlBlock& stored) { return call.maxfct > stored[Word::Maxfct]; }},
    {3, [](const Arguments& call, const ControlBlock&) { return call.mnum > call.maxfct; }},
    {4, [](const Arguments& call, const ControlBlock&) { return call.mnum < 1 && meansFactor(call.phase); }},
    {15, [](const Arguments& call, const ControlBlock&) { return !isAdmitted(call.mtype); }},
    {5, [](const Arguments& call,
           const ControlBlock& stored) { return parityChanges(call.mtype, stored[Word::Mtype]); }},
    {6, [](const Arguments& call, const ControlBlock& stored) { return call.n != stored[Word::Order]; }},
    {7, [](const Arguments& call, const ControlBlock&) { return call.n < 1; }},
    {8, [](const Arguments& call, const ControlBlock&) { return call.nonZeros() < call.n; }},
    {9, [](const Arguments& call, const ControlBlock&) { return call.nrhs < 1 && call.phase.steps() == 33; }},
    {10, [](const Arguments& call,
            const ControlBlock&) { return outside(call.iparm[Parameter::SolutionPlace], 0, 1); }},
    {11, [](const Arguments& call,
            const ControlBlock&) { return outside(call.iparm[Parameter::Ordering], 0, 3); }},
};

Failure findFailure(const Arguments& call, const ControlBlock& stored)
{
    for (const Rule& rule : kRules) {
        if (rule.broken(call, stored)) return badInput(rule.code);
    }
    if (kHardened || call.iparm[Parameter::MatrixCheck] != 0) {
        if (const Failure failure = checkMatrix(call)) return failure;
    }
    return call.phase.legal() ? Failure{} : badInput(20);
}

void store(const Arguments& call, ControlBlock& control)
{
    control[Word::Mnum] = call.mnum;
    control[Word::Mtype] = call.mtype;
    control[Word::RightHandSides] = call.nrhs;
    control[Word::Phase] = call.phase.code();
    control[Word::NonZeros] = static_cast<int>(call.nonZeros());
}

} // namespace

Failure checkInput(const Arguments& call, ControlBlock& control)
{
    const Failure failure = findFailure(call, control);
    if (!failure) {
        store(call, control);
        return {};
    }
    control[Word::RightHandSides] = 0;
    control[Word::Phase] = 0;
    control[Word::NonZeros] = 0;
    return failure;
}

} // namespace Velmar::Lintrix::detail::engine
