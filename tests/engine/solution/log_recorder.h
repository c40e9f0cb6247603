#pragma once
/// @file
/// Writes down what refinement and the iterations log.

#include <lintrix/engine/report/iteration_log.h>

#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {

struct LogLine {
    std::string format;
    std::vector<double> numbers;
    bool operator==(const LogLine&) const = default;
};
inline std::ostream& operator<<(std::ostream& out, const LogLine& line)
{
    out << line.format;
    for (const double number : line.numbers) out << ' ' << number;
    return out;
}

/// Listens while it lives. One at a time.
class LogRecorder {
public:
    LogRecorder() : before_(std::exchange(detail::engine::iterationLog(), write)) { lines().clear(); }
    ~LogRecorder() { detail::engine::iterationLog() = before_; }
    LogRecorder(const LogRecorder&) = delete;
    LogRecorder& operator=(const LogRecorder&) = delete;

    static std::vector<LogLine>& lines()
    {
        static std::vector<LogLine> all;
        return all;
    }

private:
    static void write(std::string_view format, std::span<const double> numbers)
    {
        lines().push_back({std::string(format), {numbers.begin(), numbers.end()}});
    }
    detail::engine::IterationLog before_;
};

} // namespace Velmar::Lintrix::testing
