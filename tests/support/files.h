#pragma once
/// @file
/// Files that tests make and read.

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix::testing {

/// A folder of the test's own, removed with all it holds.
class Scratch {
public:
    Scratch();
    ~Scratch();
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    /// Where a file of this name stands, or would.
    std::string at(const std::string& name) const { return (folder_ / name).string(); }
    /// Writes the file and tells its path.
    std::string file(const std::string& name, std::string_view content) const;
    /// What stands in the folder, sorted by name.
    std::vector<std::string> names() const;

private:
    std::filesystem::path folder_;
};

std::string contentOf(const std::string& path);
/// As gzip would pack it.
std::string compressed(std::string_view content);
/// Path of one of the real matrices.
std::string dataFile(const std::string& name);

} // namespace Velmar::Lintrix::testing
