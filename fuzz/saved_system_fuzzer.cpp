// Saved systems. What is accepted has to be a system: it solves, takes other values, and is saved again, and
// nothing of that leaves an array, whatever its numbers are worth.

#include "fuzz/fuzzing.h"

#include <lintrix/lintrix.h>

#include <lintrix/services/check_sum.h>

#include <algorithm>
#include <cstring>
#include <span>

#include <sys/mman.h>
#include <unistd.h>

namespace Velmar::Lintrix::fuzzing {
namespace {

/// A file in memory, under a path.
class MemoryFile {
public:
    explicit MemoryFile(const std::string& content) : file_(::memfd_create("system", MFD_CLOEXEC))
    {
        const auto written = ::write(file_, content.data(), content.size());
        require(written == static_cast<ssize_t>(content.size()), "the file takes its content");
    }
    ~MemoryFile() { ::close(file_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(file_); }

private:
    int file_;
};

/// The check sums would stop nearly every mutation: a second run has them right.
std::string withRightSums(std::string input)
{
    std::size_t place = sizeof(SectionFileHead);
    while (place + sizeof(SectionHead) <= input.size()) {
        SectionHead head;
        std::memcpy(&head, input.data() + place, sizeof head);
        place += sizeof head;
        if (head.length < 0 || static_cast<std::uint64_t>(head.length) > input.size() - place) break;
        const auto length = static_cast<std::size_t>(head.length);
        head.sum = detail::checkSum(std::as_bytes(std::span(input).subspan(place, length)));
        std::memcpy(input.data() + place - sizeof head, &head, sizeof head);
        place += length;
    }
    return input;
}

template <class Cell>
void use(LinearSystem<Cell>& system)
{
    const std::int32_t n = system.Rows();
    system.Forecast();
    detail::MatrixOf<Cell> B(n, 1);
    for (std::int32_t i = 0; i < n; ++i) B(i, 0) = Cell(1.0 + i % 3);
    for (const TransposeMode op : {TransposeMode::NotTransposed, TransposeMode::ConjugateTransposed})
        static_cast<void>(system.Solve(B, op).Explain());
}

template <class Cell>
void checkOnce(const MemoryFile& file)
{
    SystemOptions options;
    options.errorBounds = 1;
    options.memoryLeft = [] {
        return 1e18;
    }; // whatever the figures of a forecast say, no factor goes to files
    try {
        LinearSystem<Cell> system = LinearSystem<Cell>::Load(file.path(), options);
        use(system);
    } catch (const SerializationException& e) {
        require(std::string_view(e.what()).starts_with("Saved system, section '"),
                "a refusal names its place");
    } catch (const OperationFailedException&) { // the matrix has too many entries
    }
}

void checkBoth(const std::string& input)
{
    const MemoryFile file(input);
    checkOnce<double>(file);
    checkOnce<std::complex<double>>(file);
}

} // namespace
} // namespace Velmar::Lintrix::fuzzing

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace Velmar::Lintrix;
    MKL_Set_Dynamic(0);
    MKL_Set_Num_Threads(size > 0 && data[size / 2] % 16 == 1 ? 2 : 1); // seldom: a team takes its time
    const std::string input(reinterpret_cast<const char*>(data), size);
    fuzzing::checkBoth(input);
    fuzzing::checkBoth(fuzzing::withRightSums(input));
    return 0;
}
