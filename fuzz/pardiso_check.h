#pragma once
/// @file
/// A call of the sparse direct solver made out of bytes, and what must hold after it whatever they say.

#include "fuzz/fuzzing.h"

#include <lintrix/engine/pardiso.h>
#include <lintrix/services/threads.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <span>
#include <string>
#include <vector>

namespace Velmar::Lintrix::fuzzing {

/// Numbers from bytes, zeros when they have run out.
class Bytes {
public:
    explicit Bytes(std::span<const std::uint8_t> data) : data_(data) {}

    int next()
    {
        if (data_.empty()) return 0;
        const int value = data_.front();
        data_ = data_.subspan(1);
        return value;
    }
    int below(int count) { return next() % count; }
    /// Mostly an index near 1..16, now and then one far out.
    int index()
    {
        constexpr int kFar[] = {0, -1, 1 << 30, std::numeric_limits<int>::max(),
                                std::numeric_limits<int>::min()};
        const int value = next();
        return value >= 250 ? kFar[value % 5] : value % 18;
    }
    double value()
    {
        constexpr double kOdd[] = {0.,       1e308,   1e-308,
                                   HUGE_VAL, -1e-320, std::numeric_limits<double>::quiet_NaN()};
        const int value = next();
        return value >= 240 ? kOdd[value % 6] : (value - 120) / 16.;
    }

private:
    std::span<const std::uint8_t> data_;
};

/// Where the factors in files of this process go, and nothing else is.
class FactorFolder {
public:
    FactorFolder()
    {
        std::string name = std::filesystem::temp_directory_path() / "lintrix_fuzz_XXXXXX";
        require(mkdtemp(name.data()) != nullptr, "there is a folder for factors");
        path_ = name;
        setenv("MKL_PARDISO_OOC_CFG_PATH", name.c_str(), 1); // no file of the current folder is read
        setenv("MKL_PARDISO_OOC_PATH", (path_ / "factor").c_str(), 1);
        setenv("MKL_PARDISO_OOC_KEEP_FILE", "0", 1);
    }
    ~FactorFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    FactorFolder(const FactorFolder&) = delete;
    FactorFolder& operator=(const FactorFolder&) = delete;

    bool isEmpty() const { return std::filesystem::is_empty(path_); }

    static const FactorFolder& ofThisProcess()
    {
        static const FactorFolder folder;
        return folder;
    }

private:
    std::filesystem::path path_;
};

/// The arguments; arrays have the room that the interface asks for, whatever they hold.
struct PardisoCase {
    static constexpr int kMostRows = 16, kMostEntries = 96;

    explicit PardisoCase(Bytes& bytes)
    {
        constexpr int kTypes[] = {11, 1, 2, -2, 3, 4, -4, 6, 13, 0, 7, -13, std::numeric_limits<int>::min()};
        constexpr int kPhases[] = {11, 11, 11, 12, 13, 22, 23, 33, 331, 334, 0, 14, 99, -9};
        mtype = kTypes[bytes.below(std::size(kTypes))];
        for (int& phase : phases) phase = kPhases[bytes.below(std::size(kPhases))];
        n = bytes.below(kMostRows + 2) - 1;
        maxfct = bytes.below(4) - 1;
        mnum = bytes.below(5) - 1;
        nrhs = bytes.below(4) - 1;
        readParameters(bytes);
        const bool sane = bytes.below(4) != 0;
        for (int i = 0; i <= kMostRows; ++i) ia[i] = sane ? 1 : bytes.index();
        for (int k = 1; sane && k <= kMostRows; ++k) ia[k] = ia[k - 1] + 1 + bytes.below(5);
        for (int& column : ja) column = bytes.index();
        if (bytes.below(2) != 0) sortRows();
        for (double& cell : a) cell = bytes.value();
        // The one promise that no check can look behind: `ja` and `a` are as long as the last row start says.
        if (n >= 0) ia[n] = std::min(ia[n], kMostEntries + 1);
        for (int i = 0; i < kMostRows; ++i) perm[i] = bytes.below(8) == 0 ? bytes.index() : i + 1;
        threads = 1 + bytes.below(4);
    }

    int run(int phase)
    {
        int error = 1;
        FactorFolder::ofThisProcess();
        MKL_Set_Dynamic(0); // a small matrix keeps its threads, and so its parts and separators
        MKL_Set_Num_Threads(threads);
        pardiso(pt.data(), maxfct, mnum, mtype, phase, n, a.data(), ia.data(), ja.data(), perm.data(), nrhs,
                iparm.data(), 0, b.data(), x.data(), error);
        return error;
    }

    std::array<void*, 64> pt{};
    std::array<int, 3> phases{};
    int maxfct, mnum, mtype, n, nrhs, threads;
    std::array<int, 64> iparm{};
    std::array<int, kMostRows + 1> ia{};
    std::array<int, kMostEntries> ja{};
    std::array<double, 2 * kMostEntries> a{};
    std::array<int, kMostRows> perm{};
    std::array<double, 2 * 3 * kMostRows> b{}, x{};

private:
    void readParameters(Bytes& bytes)
    {
        for (const int k : {1, 2, 5, 6, 11, 12, 13, 28, 60}) iparm[k - 1] = bytes.below(4);
        if (bytes.below(8) == 0) iparm[bytes.below(64)] = bytes.index();
        iparm[26] = bytes.below(4) != 0; // the matrix check, mostly on
    }
    /// Many rows with ascending columns, so that the check lets some matrices through.
    void sortRows()
    {
        for (int i = 0; i < kMostRows; ++i) {
            const int first = std::clamp(ia[i], 1, kMostEntries + 1) - 1;
            const int last = std::clamp(ia[i + 1], first + 1, kMostEntries + 1) - 1;
            for (int k = first; k < last; ++k) ja[k] = std::min(i + 1 + k - first, std::max(n, 1));
        }
    }
};

/// Three calls and the release: each answers a code of the table, the index arrays stand at base 1 again, and
/// nothing is held at the end, in memory or in files.
inline void checkPardisoOnce(std::span<const std::uint8_t> data)
{
    Bytes bytes(data);
    PardisoCase call(bytes);
    const auto ia = call.ia;
    const auto ja = call.ja;
    for (const int phase : call.phases) {
        const int error = call.run(phase);
        require(error <= 0 && error >= -11, "a code of the table is answered");
        require(call.ia == ia && call.ja == ja, "the index arrays stand as they stood");
    }
    call.iparm[11] = 0;
    require(call.run(-1) == 0, "a release is no failure");
    require(call.pt[0] == nullptr, "a release empties the handle");
    require(FactorFolder::ofThisProcess().isEmpty(), "a release removes the files of the factor");
}

} // namespace Velmar::Lintrix::fuzzing
