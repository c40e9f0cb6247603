// Saving and loading with each request for memory refused in turn.

#include <lintrix/lintrix.h>

#include "tests/support/files.h"
#include "tests/support/refused_memory.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

SparseMatrix bandOf(std::int32_t n, bool symmetric)
{
    SparseMatrix A(n, n);
    for (std::int32_t i = 0; i < n; ++i) {
        A(i, i) = symmetric || i % 3 != 0 ? 4.0 : 0.0;
        if (i + 1 < n) {
            A(i, i + 1) = -1.0;
            A(i + 1, i) = symmetric ? -1.0 : 2.0;
        }
    }
    return A;
}

void expectMemoryFailure()
{
    try {
        throw;
    } catch (const NotEnoughMemoryException&) {
    } catch (const std::bad_alloc&) {
    } catch (const std::exception& e) {
        ADD_FAILURE() << e.what();
    }
}

TEST(SavedSystemFailures, ASystemIsLoadedOrThereIsNoMemory)
{
    MKL_Set_Num_Threads(1);
    const Scratch folder;
    for (const bool symmetric : {true, false}) {
        const std::string path = folder.at("system");
        {
            LinearSystem<double> system(bandOf(12, symmetric));
            ASSERT_EQ(system.Factorize(), Verdict::Accurate);
            system.Save(path);
        }
        const int requests = refuseEachRequest(
            [] { return std::unique_ptr<LinearSystem<double>>(); },
            [&](std::unique_ptr<LinearSystem<double>>& system) {
                system = std::make_unique<LinearSystem<double>>(LinearSystem<double>::Load(path));
            },
            [](const auto& system) { return system == nullptr; }, expectMemoryFailure);
        EXPECT_GT(requests, 20);
    }
}

TEST(SavedSystemFailures, ASystemIsSavedOrWhatWasThereStays)
{
    MKL_Set_Num_Threads(1);
    const Scratch folder;
    const std::string path = folder.at("system");
    const auto make = [&] {
        auto system = std::make_unique<LinearSystem<double>>(bandOf(12, false));
        EXPECT_EQ(system->Factorize(), Verdict::Accurate);
        folder.file("system", "before");
        return system;
    };
    const auto look = [&](const std::unique_ptr<LinearSystem<double>>&) {
        return contentOf(path) + std::to_string(folder.names().size());
    };
    refuseEachRequest(
        make, [&](const std::unique_ptr<LinearSystem<double>>& system) { system->Save(path); }, look,
        expectMemoryFailure);
}

} // namespace
} // namespace Velmar::Lintrix::testing
