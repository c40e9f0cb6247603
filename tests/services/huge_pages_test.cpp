#include <lintrix/services/aligned_allocator.h>
#include <lintrix/services/huge_pages.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <sys/mman.h>

using namespace Velmar::Lintrix::detail;

namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;

bool systemKnowsHugePages()
{
    return std::filesystem::exists("/sys/kernel/mm/transparent_hugepage/enabled");
}

// Whether the mapping that holds `address` was advised to take huge pages, as the kernel tells it.
bool isAdvised(const void* address)
{
    const auto wanted = reinterpret_cast<std::uintptr_t>(address);
    std::ifstream maps("/proc/self/smaps");
    bool inside = false;
    for (std::string line; std::getline(maps, line);) {
        std::uintptr_t first = 0, last = 0;
        if (std::sscanf(line.c_str(), "%lx-%lx ", &first, &last) == 2) {
            inside = first <= wanted && wanted < last;
        } else if (inside && line.rfind("VmFlags:", 0) == 0) {
            return line.find(" hg") != std::string::npos;
        }
    }
    return false;
}

// A mapping of whole pages, not aligned to huge ones.
class Mapping {
public:
    explicit Mapping(std::size_t bytes)
        : bytes_(bytes + 3 * kHugePage), all_(static_cast<char*>(mmap(nullptr, bytes_, PROT_READ | PROT_WRITE,
                                                                      MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)))
    {
        const auto start = reinterpret_cast<std::uintptr_t>(all_);
        first_ = all_ + ((start + kHugePage - 1) & ~(kHugePage - 1)) - start;
    }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;
    ~Mapping() { munmap(all_, bytes_); }

    char* atHugePage() const { return first_; }

private:
    std::size_t bytes_;
    char *all_, *first_;
};

TEST(HugePages, AskedForFromTheLeastSizeOn)
{
    const Mapping mapping(kLeastForHugePages);
    preferHugePages(mapping.atHugePage(), kLeastForHugePages - 1);
    EXPECT_FALSE(isAdvised(mapping.atHugePage()));
    preferHugePages(mapping.atHugePage(), kLeastForHugePages);
    EXPECT_EQ(isAdvised(mapping.atHugePage()), systemKnowsHugePages());
}

TEST(HugePages, OnlyInsideTheBlock)
{
    const Mapping mapping(kLeastForHugePages + kHugePage);
    preferHugePages(mapping.atHugePage() + 1, kLeastForHugePages + kHugePage - 1);
    EXPECT_FALSE(isAdvised(mapping.atHugePage())) << "its first page begins before the block";
    EXPECT_EQ(isAdvised(mapping.atHugePage() + kHugePage), systemKnowsHugePages());
    EXPECT_FALSE(isAdvised(mapping.atHugePage() + kLeastForHugePages + kHugePage));
}

TEST(HugePages, AskedForByTheAlignedAllocators)
{
    constexpr std::size_t bytes = std::size_t{64} << 20;
    for (const bool zeroed : {false, true}) {
        void* const block = zeroed ? alignedAllocateZeroed(1, bytes, 128) : alignedAllocate(bytes, 128);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(isAdvised(static_cast<char*>(block) + bytes / 2), systemKnowsHugePages());
        alignedRelease(block);
    }
}

} // namespace
