#pragma once
// The thread count of the kernels and the engine for a scope, whatever the machine has.

#include <lintrix/services/threads.h>

namespace Velmar::Lintrix::testing {

/// Thread control for the length of a test.
class ThreadSetting {
public:
    explicit ThreadSetting(int threads, int dynamic = 0)
        : threads_(MKL_Get_Max_Threads()), dynamic_(MKL_Get_Dynamic())
    {
        MKL_Set_Dynamic(dynamic);
        MKL_Set_Num_Threads(threads);
    }
    ~ThreadSetting()
    {
        MKL_Set_Dynamic(dynamic_);
        MKL_Set_Num_Threads(threads_);
    }
    ThreadSetting(const ThreadSetting&) = delete;
    ThreadSetting& operator=(const ThreadSetting&) = delete;

private:
    int threads_, dynamic_;
};

} // namespace Velmar::Lintrix::testing
