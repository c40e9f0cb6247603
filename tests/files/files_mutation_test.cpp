// Sound files of each form, damaged at random: bytes changed, cut, doubled, numbers made large. What comes of
// it is a matrix, or one failure that names the file; never a crash, and never memory that the file does not
// vouch for.

#include "tests/files/files_support.h"
#include "tests/support/failing_allocator.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

namespace Velmar::Lintrix::testing {
namespace {

constexpr int kRuns = 20'000; // of each form; told in docs/manual.md

class Mutator {
public:
    explicit Mutator(std::uint64_t seed) : generator_(seed) {}

    std::string operator()(std::string text)
    {
        const int changes = 1 + static_cast<int>(below(4));
        for (int k = 0; k < changes && !text.empty(); ++k) change(text);
        return text;
    }

private:
    std::size_t below(std::size_t bound) { return static_cast<std::size_t>(generator_() % bound); }

    void change(std::string& text)
    {
        const std::size_t at = below(text.size()), length = std::min(text.size() - at, 1 + below(16));
        switch (below(7)) {
        case 0:
            text[at] = static_cast<char>(generator_() & 255);
            break;
        case 1:
            text[at] = static_cast<char>(text[at] ^ (1 << below(8)));
            break;
        case 2:
            text.erase(at, length);
            break;
        case 3:
            text.insert(at, std::string(text.substr(below(text.size()), length)));
            break;
        case 4:
            text.resize(at);
            break;
        case 5:
            text.replace(at, length, "99999999999999999999", length);
            break;
        default:
            text.replace(at, length, std::string(length, "\xff\x7f\0 -9"[below(6)]));
        }
    }

    std::mt19937_64 generator_;
};

/// Whether a matrix came of it.
bool survives(const std::string& text, const std::string& name)
{
    try {
        std::istringstream in(text);
        MatrixFileReader reader(in, name);
        const double cells = static_cast<double>(reader.Header().rows) + reader.Header().cols;
        if (cells > 1e5) return false; // a size is taken at its word, once its reader has let it pass
        const CSparseMatrix A = reader.ReadComplexSparse();
        EXPECT_EQ(A.Rows(), reader.Header().rows);
        if (reader.RightHands() > 0 && reader.RightHands() < 1000) reader.ReadComplexRightHands();
        return true;
    } catch (const FileFormatException& fault) {
        EXPECT_TRUE(std::string_view(fault.what()).starts_with(name + ":")) << fault.what();
    } catch (const NotSupportedException&) { // more entries than a sparse matrix holds
    } catch (const std::exception& other) {
        ADD_FAILURE() << typeid(other).name() << ": " << other.what();
    }
    return false;
}

void mutate(const std::vector<std::string>& seeds, const std::string& name)
{
    Mutator mutator(20261122);
    int sound = 0;
    for (int run = 0; run < kRuns; ++run)
        sound += survives(mutator(seeds[static_cast<std::size_t>(run) % seeds.size()]), name) ? 1 : 0;
    EXPECT_GT(sound, 0) << "some damage does not matter";
    EXPECT_LT(sound, kRuns) << "some does";
}

/// The files in tests/files/data whose names end so.
std::vector<std::string> filesOf(std::string_view end)
{
    std::vector<std::string> contents;
    for (const auto& entry : std::filesystem::directory_iterator(dataFile("../files/data"))) {
        if (entry.path().string().ends_with(end)) contents.push_back(contentOf(entry.path()));
    }
    return contents;
}

TEST(FilesMutation, Cards)
{
    CSparseMatrix H(3, true);
    H(0, 2) = Complex(1.5, -2.0);
    H(1, 1) = 4.0;
    const std::string rightHands =
        "T\n 4 1 1 1 2\nRSA 2 2 2 0\n(8I4) (8I4) (4F8.2) (2D9.2)\nM 2 3\n   1   2   3\n   1   2\n"
        "    5.00    4.00\n   1   3   4\n   1   2   1\n 1.00D+00 2.00D+00\n 3.00D+00\n";
    std::vector<std::string> seeds = filesOf(".rua");
    seeds.push_back(written(MatrixFileFormat::RutherfordBoeing, H));
    seeds.push_back(rightHands);
    mutate(seeds, "a.rua");
}

TEST(FilesMutation, Arrays)
{
    mutate(filesOf(".npy"), "a.npy");
}

TEST(FilesMutation, Archives)
{
    mutate(filesOf(".npz"), "a.npz");
}

} // namespace
} // namespace Velmar::Lintrix::testing
