#pragma once
/// @file
/// Runs a program again and again, each time with memory for one request more.

#include <string>
#include <vector>

namespace Velmar::Lintrix::testing {

/// Runs `program` with memory for k requests only, k = 0, step, 2*step, ... up to the number that it makes
/// when none is refused. Each run must end with one of the `exits`, and say why on standard error where that
/// is not 0.
void sweep(const std::string& program, const std::vector<std::string>& arguments,
           const std::vector<int>& exits, long step);

/// `lintrix` with each of its commands on small files.
void sweepCommand(long step);
/// Each operation of `class_operations`.
void sweepClasses(long step);

} // namespace Velmar::Lintrix::testing
