#pragma once
/// @file
/// Starts the probe program in an environment of the test's choice.

#include <map>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {

using Variables = std::map<std::string, std::string>;

/// The facts that a fresh process states.
class ProbeAnswers {
public:
    explicit ProbeAnswers(const std::string& output);

    /// The last value given for `key`; a test failure and the smallest long when there is none.
    long operator[](const std::string& key) const;

private:
    std::map<std::string, long> facts_;
};

/// Runs the probe with `arguments`. Its environment is that of this process without the variables that the
/// kernel services, the OpenMP runtime and BLAS read, and with `variables`. Any exit code but 0 is a test
/// failure.
ProbeAnswers askProbe(const std::vector<std::string>& arguments, const Variables& variables = {});

/// Environments in which the OpenMP runtime of the library binds its threads. Clang's has a variable to
/// itself: by the common one the runtime that OpenBLAS brings would bind the main thread first, and that of
/// the library find a process of one processor.
std::vector<Variables> environmentsThatBind();

} // namespace Velmar::Lintrix::testing
