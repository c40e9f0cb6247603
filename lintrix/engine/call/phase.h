#pragma once
/// @file
/// Phase codes: two digits, first step and last step.

namespace Velmar::Lintrix::detail::engine {

enum class Step : int { Reorder = 1, Factorize = 2, Solve = 3 };

/// A phase code, read once. Codes 331 to 333 ask for one part of a solve; the step logic sees 33.
class Phase {
public:
    static constexpr int kRelease = -1;
    static constexpr int kReleaseFactor = 0;

    explicit constexpr Phase(int code) noexcept
        : code_(code), steps_(code >= 331 && code <= 334 ? code / 10 : code)
    {
    }

    constexpr int code() const noexcept { return code_; }
    /// The code without the part of the solve.
    constexpr int steps() const noexcept { return steps_; }
    /// Of a solve: 0 all of it, 1 forward substitution, 2 diagonal step, 3 backward substitution.
    constexpr int part() const noexcept { return steps_ == code_ ? 0 : code_ % 10; }

    constexpr bool analyses() const noexcept { return code_ >= 11 && code_ <= 13; }
    constexpr bool factorizes() const noexcept
    {
        return steps_ == 12 || steps_ == 13 || steps_ == 22 || steps_ == 23;
    }
    constexpr bool solves() const noexcept { return steps_ == 13 || steps_ == 23 || steps_ == 33; }

    /// -1..33 and 331..333. 334 is divided by ten with these and refused here, as a phase out of range.
    constexpr bool inRange() const noexcept { return steps_ >= -1 && steps_ <= 33 && code_ != 334; }
    constexpr bool legal() const noexcept { return analyses() || factorizes() || solves(); }

    constexpr Step first() const noexcept { return static_cast<Step>(steps_ / 10); }
    constexpr Step last() const noexcept { return static_cast<Step>(steps_ % 10); }

private:
    int code_;
    int steps_;
};

} // namespace Velmar::Lintrix::detail::engine
