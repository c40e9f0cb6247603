#pragma once
/// @file
/// A handle with the out-of-core mode's control, and the environment that configures it.

#include <lintrix/engine/call/handle.h>
#include <lintrix/engine/out_of_core/out_of_core_settings.h>

#include "tests/support/files.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <string>

namespace Velmar::Lintrix::testing {

/// In the engine a scratch is a block of memory.
using Folder = Scratch;

/// None of the variables that configure the mode is set, at the beginning and at the end of a test.
class OutOfCoreEnvironment {
public:
    OutOfCoreEnvironment() { clear(); }
    ~OutOfCoreEnvironment() { clear(); }
    OutOfCoreEnvironment(const OutOfCoreEnvironment&) = delete;
    OutOfCoreEnvironment& operator=(const OutOfCoreEnvironment&) = delete;

    /// MKL_PARDISO_OOC_ and `name`.
    void set(const std::string& name, const std::string& value)
    {
        ASSERT_EQ(setenv(("MKL_PARDISO_OOC_" + name).c_str(), value.c_str(), 1), 0);
    }

private:
    static void clear()
    {
        for (const char* name : {"CFG_PATH", "CFG_FILE_NAME", "PATH", "MAX_CORE_SIZE", "KEEP_FILE"})
            unsetenv((std::string("MKL_PARDISO_OOC_") + name).c_str());
    }
};

/// Made with its control; released at the end.
class OutOfCoreHandle {
public:
    OutOfCoreHandle()
    {
        EXPECT_FALSE(handle.create(1));
        EXPECT_FALSE(handle.createOutOfCoreControl());
    }
    ~OutOfCoreHandle() { handle.releaseAll(); }
    OutOfCoreHandle(const OutOfCoreHandle&) = delete;
    OutOfCoreHandle& operator=(const OutOfCoreHandle&) = delete;

    /// What was printed.
    std::string configure(bool reports = false)
    {
        ::testing::internal::CaptureStdout();
        readOutOfCoreSettings(handle, reports);
        return ::testing::internal::GetCapturedStdout();
    }

    std::array<void*, 64> slots{};
    detail::engine::Handle handle{slots.data()};
};

} // namespace Velmar::Lintrix::testing
