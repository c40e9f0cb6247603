#pragma once
/// @file
/// What a torture has found out, and how much of it there is.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <map>
#include <numeric>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::testing {

/// One after another, numbers with three digits.
template <class... Parts>
std::string joined(const Parts&... parts)
{
    std::ostringstream text;
    text.precision(3);
    (text << ... << parts);
    return text.str();
}

/// What was promised and did not hold, by the letter of the promise.
struct Findings {
    int systems = 0, answers = 0, bounds = 0, wideBounds = 0, accurate = 0;
    int references = 0, unknown = 0; ///< solutions to judge by, and those that do not know themselves
    std::map<std::string, std::vector<std::string>> broken{};

    void add(const std::string& promise, std::string text) { broken[promise].push_back(std::move(text)); }
};

inline int tortureSetting(const char* name, int otherwise)
{
    const char* const told = std::getenv(name);
    return told != nullptr ? std::max(0, std::atoi(told)) : otherwise;
}

/// trial(seed), and nothing is printed by what is tried.
template <class Seeds, class Trial>
void tryOutSilently(const Seeds& seeds, Trial trial)
{
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    for (const std::uint64_t seed : seeds) trial(seed);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

/// trial(seed) for as many seeds as LINTRIX_TORTURE_DOSES (3) tells, from dose LINTRIX_TORTURE_FIRST (0) on.
template <class Trial>
void tortureSilently(int systemsOfADose, Trial trial)
{
    const auto each = static_cast<std::uint64_t>(systemsOfADose);
    const std::uint64_t first = each * static_cast<std::uint64_t>(tortureSetting("LINTRIX_TORTURE_FIRST", 0)),
                        count = each * static_cast<std::uint64_t>(tortureSetting("LINTRIX_TORTURE_DOSES", 3));
    std::vector<std::uint64_t> seeds(count);
    std::iota(seeds.begin(), seeds.end(), first);
    tryOutSilently(seeds, trial);
}

inline void expectNothingBroken(const Findings& findings)
{
    for (const auto& [promise, cases] : findings.broken) {
        ADD_FAILURE() << promise << ": " << cases.size() << " of " << findings.answers << " answers to "
                      << findings.systems << " systems";
        for (const std::string& text : cases) std::cerr << promise << " | " << text << '\n';
    }
    EXPECT_GT(findings.accurate, findings.answers / 4);
}

} // namespace Velmar::Lintrix::testing
