#include <tests/support/files.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include <stdlib.h>
#include <zlib.h>

namespace Velmar::Lintrix::testing {

Scratch::Scratch()
{
    std::string name = ::testing::TempDir() + "lintrix_XXXXXX";
    if (mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category(), "mkdtemp");
    folder_ = name;
}

Scratch::~Scratch()
{
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

std::string Scratch::file(const std::string& name, std::string_view content) const
{
    std::filesystem::remove(folder_ / name); // some file systems wait for the disk when a file is truncated
    std::ofstream stream(folder_ / name, std::ios::binary);
    stream.write(content.data(), static_cast<std::streamsize>(content.size()));
    stream.close();
    if (!stream) throw std::runtime_error("cannot write " + name);
    return at(name);
}

std::vector<std::string> Scratch::names() const
{
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
        found.push_back(entry.path().filename().string());
    }
    std::ranges::sort(found);
    return found;
}

std::string contentOf(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    if (!stream) throw std::runtime_error("cannot read " + path);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::string compressed(std::string_view content)
{
    constexpr int gzipWindow = 15 + 16;
    z_stream stream{};
    deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, gzipWindow, 9, Z_DEFAULT_STRATEGY);
    std::string packed(deflateBound(&stream, content.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(content.data()));
    stream.avail_in = static_cast<uInt>(content.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    const int result = deflate(&stream, Z_FINISH);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    if (result != Z_STREAM_END) throw std::runtime_error("deflate failed");
    return packed;
}

std::string dataFile(const std::string& name)
{
    return LINTRIX_TEST_DATA "/" + name;
}

} // namespace Velmar::Lintrix::testing
