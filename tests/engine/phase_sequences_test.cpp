// Phases in any order: what is told stays told, solutions are solutions, and nothing leaks.

#include "tests/engine/solution/solve_case.h"

#include <cstdlib>
#include <iterator>

namespace Velmar::Lintrix::testing {
namespace {

int doses()
{
    const char* const told = std::getenv("LINTRIX_TORTURE_DOSES");
    return told != nullptr ? std::max(1, std::atoi(told)) : 30;
}

// One handle, driven at random, and what is known of it. The values of A change between two states, the
// pattern never does.
template <class T>
class Driver {
public:
    Driver(int mtype, unsigned seed)
        : random_(seed), call_(systemOf<T>(gridShape(6, 5, 2), mtype, seed), 1 + static_cast<int>(seed % 3)),
          b_(call_.b)
    {
        call_.maxfct = 2;
    }

    void step()
    {
        static constexpr int phases[] = {11, 12, 13, 22, 23,  33, 33, 331, 332, 333,
                                         0,  -1, -2, -3, 334, 21, 5,  99,  -7};
        const int phase = phases[random_() % std::size(phases)];
        choose();
        const int error = call_.run(phase);
        if (phase == -2 || phase == -3) {
            EXPECT_EQ(error, phase == -2 ? 16 : 300000);
            call_.set(1, 1); // one of the answers stands there
        } else if (isStep(phase)) {
            expectStep(phase, error);
        } else {
            expectRelease(phase, error);
        }
    }

private:
    enum class Stored { Nothing, Current, Unknown };

    static bool isStep(int phase)
    {
        return (phase >= 11 && phase <= 13) || phase == 22 || phase == 23 || phase == 33 ||
               (phase >= 331 && phase <= 333);
    }
    Stored& stored() { return stored_[call_.mnum - 1]; }

    void choose()
    {
        static constexpr int iterative[] = {0, 0, 0, 61, 62, -61};
        call_.mnum = 1 + static_cast<int>(random_() % 2);
        call_.set(4, iterative[random_() % std::size(iterative)]);
        call_.set(6, static_cast<int>(random_() % 2));
        call_.set(8, static_cast<int>(random_() % 5) - 2);
        call_.set(12, static_cast<int>(random_() % 2));
        call_.set(20, 0);
        call_.b = b_;
        if (random_() % 6 == 0) changeValues();
    }
    void changeValues()
    {
        enlarged_ = !enlarged_;
        for (T& value : call_.A.a) value *= static_cast<RealOf<T>>(enlarged_ ? 1.25 : 0.8);
        for (Stored& factor : stored_) {
            if (factor == Stored::Current) factor = Stored::Unknown;
        }
    }

    void expectRelease(int phase, int error)
    {
        if (phase == -1) {
            EXPECT_EQ(error, 0);
            live_ = analysed_ = false;
            stored_[0] = stored_[1] = Stored::Nothing;
            return;
        }
        EXPECT_EQ(error, phase == 0 && live_ ? 0 : -1) << phase;
        if (phase == 0) stored() = Stored::Nothing;
        live_ = live_ || phase > -2;
    }

    void expectStep(int phase, int error)
    {
        live_ = true;
        if (phase <= 13) {
            analysed_ = true;
            stored_[0] = stored_[1] = Stored::Nothing;
        }
        if (!analysed_) {
            EXPECT_EQ(error, -1) << phase;
            return;
        }
        const bool iterates = call_.iparm(4) != 0,
                   factorizes = phase == 12 || phase == 13 || phase == 22 || phase == 23;
        const bool made = stored() == Stored::Nothing && phase != 11;
        if (made || (factorizes && !iterates)) {
            stored() = Stored::Current;
        }
        const bool whole = phase == 13 || phase == 23 || phase == 33;
        if (whole && iterates && mayFail(phase) && error != 0) {
            EXPECT_EQ(error, -4);
            EXPECT_LT(call_.iparm(20), 0);
            return;
        }
        EXPECT_EQ(error, 0) << phase;
        if (!whole || (!iterates && stored() != Stored::Current)) return;
        EXPECT_LT(call_.scaledResidual(b_, call_.iparm(6) == 1 ? call_.b : call_.x), limit(iterates));
    }

    /// An iteration may where it comes first, or where it has an old factor that it may not replace.
    bool mayFail(int phase) { return call_.iparm(4) < 0 || (phase == 33 && stored() != Stored::Current); }
    /// Conjugate gradients stop at 1e-6 of the solution, the squared form at the square of that.
    double limit(bool iterates) const
    {
        const double rounding = 100 * kResidualLimit<T>;
        return iterates && call_.iparm(4) == 62 && !kIsComplex<T> ? std::max(1e-6, rounding) : rounding;
    }

    std::mt19937 random_;
    SolveCall<T> call_;
    std::vector<T> b_;
    bool live_ = false, analysed_ = false, enlarged_ = false;
    Stored stored_[2] = {Stored::Nothing, Stored::Nothing};
};

template <class T>
class PhaseSequences : public ::testing::Test {
};
using Scalars = ::testing::Types<float, double, std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(PhaseSequences, Scalars);

TYPED_TEST(PhaseSequences, InRandomOrderAreToldRightAndLeakNothing)
{
    for (const int mtype : typesFor<TypeParam>()) {
        for (const int threads : {1, 2}) {
            const ThreadSetting setting(threads, 0);
            for (int dose = 0; dose < doses() / 10; ++dose) {
                Driver<TypeParam> driver(mtype, static_cast<unsigned>(dose));
                for (int k = 0; k < 60; ++k) driver.step();
            }
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
