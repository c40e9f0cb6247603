#pragma once
/// @file
/// Work that is ended from outside at a question of the test's choice.

#include <lintrix/services/work.h>

#include <atomic>

namespace Velmar::Lintrix::testing {

/// The work goes on for so many questions, by whatever threads they are asked.
class Allowance final : public detail::WorkListener {
public:
    explicit Allowance(int questions) : questions_(questions) {}

    void expect(double) noexcept override {}
    bool hear(double) noexcept override { return asked_.fetch_add(1) < questions_; }
    void require() const override {}

    int asked() const { return asked_; }

private:
    const int questions_;
    std::atomic<int> asked_{0};
};

} // namespace Velmar::Lintrix::testing
