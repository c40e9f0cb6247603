#pragma once
/// @file
/// Runs a program again and again, each time with memory for more requests.

#include <iosfwd>
#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {

/// A program, and how it may end. With one thread: teams are started by the OpenMP runtime, which ends the
/// process when it cannot; only the command answers for that.
struct Swept {
    std::string program;
    std::vector<std::string> arguments;
    int threads;
    std::vector<int> exits;
};

/// Runs it with memory for k requests only, k = 0, step, 2*step, ... up to the number that it makes when none
/// is refused. Each run must end with one of its exit codes, and say why on standard error where that is not
/// 0.
void sweep(const Swept& swept, long step);

/// `lintrix` with each of its commands on small files.
std::vector<Swept> commands();
/// Each operation of `class_operations`.
std::vector<Swept> operations();

std::string nameOf(const Swept& swept);
/// For GoogleTest.
void PrintTo(const Swept& swept, std::ostream* out);

} // namespace Velmar::Lintrix::testing
