#include <lintrix/engine/saved_factorization.h>

#include <lintrix/engine/analysis_summary.h>

#include "tests/engine/engine_call.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/files.h"
#include "tests/support/thread_setting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::testing;

namespace {

constexpr int kTypes[] = {1, 2, -2, 3, 4, -4, 6, 11, 13};

bool save(const EngineCall& call, const std::string& path)
{
    SectionWriter file(path, "handle");
    return SaveFactorization(call.pt.data(), file) == SaveOutcome::Saved && file.Commit();
}

SectionFault load(EngineCall& call, const std::string& path)
{
    SectionReader file;
    if (const SectionFault fault = file.Open(path.c_str(), "handle")) return fault;
    if (const SectionFault fault = LoadFactorization(call.pt.data(), call.mtype, call.n, call.A.ia.data(),
                                                     call.A.ja.data(), call.allParameters().data(), file))
        return fault;
    return file.End();
}

/// A call with the matrix and the parameters of another one, and no handle.
std::unique_ptr<EngineCall> twinOf(const EngineCall& call)
{
    auto twin = std::make_unique<EngineCall>(call.A, call.mtype);
    for (int k = 1; k <= 64; ++k) twin->set(k, call.iparm(k));
    twin->maxfct = call.maxfct;
    twin->mnum = call.mnum;
    twin->nrhs = call.nrhs;
    twin->b = call.b;
    return twin;
}

void toSinglePrecision(std::vector<double>& values)
{
    std::vector<float> single(values.begin(), values.end());
    std::memcpy(values.data(), single.data(), single.size() * sizeof(float));
}

void expectSameSolution(EngineCall& one, EngineCall& other)
{
    ASSERT_EQ(one.run(33), 0);
    ASSERT_EQ(other.run(33), 0);
    EXPECT_EQ(std::memcmp(one.x.data(), other.x.data(), one.x.size() * sizeof(double)), 0);
    EXPECT_EQ(one.iparm(7), other.iparm(7));
    EXPECT_EQ(one.iparm(14), other.iparm(14));
}

struct Setting {
    int mtype, ordering, matching, pairs, single;
};

/// With one zero on the diagonal, where the type can go about it.
std::unique_ptr<EngineCall> systemFor(const Setting& setting, int side)
{
    Rows A = gridMatrix(setting.mtype, side, 7);
    if (setting.single != 0) toSinglePrecision(A.a);
    auto call = std::make_unique<EngineCall>(A, setting.mtype);
    call->set(2, setting.ordering);
    call->set(11, setting.matching);
    call->set(13, setting.matching);
    call->set(21, setting.pairs);
    call->set(28, setting.single);
    call->set(18, -1);
    call->nrhs = 2;
    std::iota(call->b.begin(), call->b.end(), 1.0);
    if (setting.single != 0) toSinglePrecision(call->b);
    return call;
}

template <class Visit>
void forEachSetting(const Visit& visit)
{
    for (const int mtype : kTypes) {
        for (int ordering = 0; ordering <= 3; ++ordering) {
            for (const int matching : {0, 1}) {
                for (const int single : {0, 1}) {
                    if (ordering != 2 && (single != 0 || matching == 0)) continue;
                    SCOPED_TRACE(::testing::Message() << "type " << mtype << " ordering " << ordering
                                                      << " matching " << matching << " single " << single);
                    visit(Setting{mtype, ordering, matching, matching, single});
                }
            }
        }
    }
}

TEST(SavedFactorization, SolvesToTheSameBits)
{
    const Scratch folder;
    for (const int threads : {1, 2}) {
        const ThreadSetting setting(threads);
        forEachSetting([&](const Setting& s) {
            const auto saved = systemFor(s, 14);
            ASSERT_EQ(saved->run(12), 0);
            ASSERT_TRUE(save(*saved, folder.at("file")));
            const auto loaded = twinOf(*saved);
            ASSERT_FALSE(load(*loaded, folder.at("file")));
            expectSameSolution(*saved, *loaded);
            for (EngineCall* call : {saved.get(), loaded.get()}) call->set(12, 1);
            expectSameSolution(*saved, *loaded);
        });
    }
}

TEST(SavedFactorization, IsFactorizedAnewToTheSameBitsByAnyThreads)
{
    const Scratch folder;
    forEachSetting([&](const Setting& s) {
        const auto saved = systemFor(s, 14);
        {
            const ThreadSetting two(2);
            ASSERT_EQ(saved->run(12), 0);
            ASSERT_TRUE(save(*saved, folder.at("file")));
        }
        const auto loaded = twinOf(*saved);
        ASSERT_FALSE(load(*loaded, folder.at("file")));
        for (const int threads : {1, 2}) {
            const ThreadSetting setting(threads);
            ASSERT_EQ(saved->run(22), 0);
            ASSERT_EQ(loaded->run(22), 0);
            expectSameSolution(*saved, *loaded);
        }
    });
}

TEST(SavedFactorization, TellsTheSameOfItsAnalysis)
{
    const Scratch folder;
    const ThreadSetting two(2);
    forEachSetting([&](const Setting& s) {
        const auto saved = systemFor(s, 14);
        ASSERT_EQ(saved->run(11), 0);
        ASSERT_TRUE(save(*saved, folder.at("file")));
        const auto loaded = twinOf(*saved);
        ASSERT_FALSE(load(*loaded, folder.at("file")));
        const AnalysisView one(saved->pt.data()), other(loaded->pt.data());
        const auto summary = one.Summary(), same = other.Summary();
        ASSERT_TRUE(summary && same);
        EXPECT_EQ(summary->lowerNonZeros, same->lowerNonZeros);
        EXPECT_EQ(summary->storedElements, same->storedElements);
        EXPECT_EQ(summary->supernodes, same->supernodes);
        EXPECT_EQ(summary->largestSupernode, same->largestSupernode);
        EXPECT_EQ(summary->panelWidth, same->panelWidth);
        EXPECT_EQ(summary->treeHeight, same->treeHeight);
        EXPECT_EQ(summary->subgraphs, same->subgraphs);
        EXPECT_EQ(summary->independentSubgraphs, same->independentSubgraphs);
        EXPECT_EQ(summary->operations, same->operations);
        EXPECT_EQ(one.Matching().has_value(), other.Matching().has_value());
        ASSERT_EQ(saved->run(22), 0);
        ASSERT_EQ(loaded->run(22), 0);
        expectSameSolution(*saved, *loaded);
    });
}

// A zero diagonal: rows move, pivots come in pairs, and some are perturbed.
TEST(SavedFactorization, KeepsMatchingPairsAndPerturbedPivots)
{
    const Scratch folder;
    for (const int mtype : {-2, -4, 6, 11, 13}) {
        SCOPED_TRACE(mtype);
        const auto saved = systemFor({mtype, 2, 1, 1, 0}, 10);
        const int width = detail::engine::isComplex(mtype) ? 2 : 1;
        for (int i = 0; i < saved->n; i += 2) {
            for (int k = saved->A.ia[static_cast<std::size_t>(i)] - 1;
                 k < saved->A.ia[static_cast<std::size_t>(i) + 1] - 1; ++k) {
                if (saved->A.ja[static_cast<std::size_t>(k)] == i + 1)
                    std::fill_n(saved->A.a.begin() + width * k, width, 0.0);
            }
        }
        ASSERT_EQ(saved->run(12), 0);
        ASSERT_TRUE(save(*saved, folder.at("file")));
        const auto loaded = twinOf(*saved);
        ASSERT_FALSE(load(*loaded, folder.at("file")));
        expectSameSolution(*saved, *loaded);
    }
}

TEST(SavedFactorization, KeepsEachOfSeveralFactors)
{
    const Scratch folder;
    const auto saved = systemFor({2, 2, 0, 0, 0}, 8);
    saved->maxfct = 3;
    ASSERT_EQ(saved->run(11), 0);
    ASSERT_EQ(saved->run(22), 0);
    saved->mnum = 3;
    for (double& value : saved->A.a) value *= 2.0;
    ASSERT_EQ(saved->run(22), 0);
    ASSERT_TRUE(save(*saved, folder.at("file")));
    const auto loaded = twinOf(*saved);
    ASSERT_FALSE(load(*loaded, folder.at("file")));
    for (const int mnum : {1, 3}) {
        saved->mnum = loaded->mnum = mnum;
        expectSameSolution(*saved, *loaded);
    }
}

TEST(SavedFactorization, NeedsAnAnalysisInMemory)
{
    const Scratch folder;
    EngineCall call(gridMatrix(11, 5, 1));
    SectionWriter file(folder.at("file"), "handle");
    EXPECT_EQ(SaveFactorization(call.pt.data(), file), SaveOutcome::NoAnalysis);
    ASSERT_EQ(setenv("MKL_PARDISO_OOC_PATH", folder.at("ooc").c_str(), 1), 0);
    ASSERT_EQ(setenv("MKL_PARDISO_OOC_KEEP_FILE", "0", 1), 0);
    call.set(60, 2);
    ASSERT_EQ(call.run(12), 0);
    EXPECT_EQ(SaveFactorization(call.pt.data(), file), SaveOutcome::InFiles);
    call.release();
    unsetenv("MKL_PARDISO_OOC_PATH");
    unsetenv("MKL_PARDISO_OOC_KEEP_FILE");
}

TEST(SavedFactorization, OfAnotherPatternIsRefused)
{
    const Scratch folder;
    EngineCall call(gridMatrix(11, 6, 1));
    ASSERT_EQ(call.run(12), 0);
    ASSERT_TRUE(save(call, folder.at("file")));
    EngineCall smaller(gridMatrix(11, 5, 1)), other(gridMatrix(11, 6, 1));
    EXPECT_EQ(load(smaller, folder.at("file")).error, SectionError::Contradiction);
    // The grid's row 0 has columns 1, 2 and 7: column 30 is far from it.
    other.A.ja[2] = 30;
    const SectionFault fault = load(other, folder.at("file"));
    EXPECT_EQ(fault.error, SectionError::Contradiction);
    other.A.ja[2] = 99;
    EXPECT_EQ(load(other, folder.at("file")).error, SectionError::Contradiction);
}

TEST(SavedFactorization, OfOtherElementsIsRefused)
{
    const Scratch folder;
    EngineCall call(gridMatrix(11, 6, 1));
    ASSERT_EQ(call.run(12), 0);
    ASSERT_TRUE(save(call, folder.at("file")));
    for (const int mtype : {13, 3}) {
        EngineCall complex(gridMatrix(11, 6, 1));
        complex.mtype = mtype;
        EXPECT_EQ(load(complex, folder.at("file")).error, SectionError::Contradiction);
        complex.mtype = 11;
    }
    EngineCall triangle(gridMatrix(2, 6, 1), 2), single(gridMatrix(11, 6, 1));
    EXPECT_EQ(load(triangle, folder.at("file")).error, SectionError::Contradiction);
    single.set(28, 1);
    EXPECT_EQ(load(single, folder.at("file")).error, SectionError::Contradiction);
}

// Everything is given back, and with memory again it is loaded.
TEST(SavedFactorization, WithoutMemoryIsNotLoaded)
{
    const Scratch folder;
    for (const int mtype : {11, -4}) {
        const auto saved = systemFor({mtype, 3, 1, 1, 0}, 8);
        ASSERT_EQ(saved->run(12), 0);
        ASSERT_TRUE(save(*saved, folder.at("file")));
        const auto loaded = twinOf(*saved);
        int refused = 0;
        for (bool failed = true; failed; ++refused) {
            loaded->release();
            const FailingAllocator memory(refused);
            const SectionFault fault = load(*loaded, folder.at("file"));
            failed = memory.hasFailed() && fault;
            if (!failed) continue; // nothing but the room behind the last list could not be given back
            EXPECT_EQ(fault.error, SectionError::NoMemory) << refused;
            EXPECT_TRUE(std::ranges::all_of(loaded->pt, [](void* slot) { return slot == nullptr; }));
        }
        EXPECT_GT(refused, 10);
        expectSameSolution(*saved, *loaded);
    }
}

TEST(SavedFactorization, WithAnyByteChangedIsRefused)
{
    const Scratch folder;
    const auto saved = systemFor({11, 2, 1, 0, 0}, 3);
    ASSERT_EQ(saved->run(12), 0);
    ASSERT_TRUE(save(*saved, folder.at("file")));
    const std::string content = contentOf(folder.at("file"));
    const auto loaded = twinOf(*saved);
    for (std::size_t byte = 0; byte < content.size(); ++byte) {
        std::string changed = content;
        changed[byte] = static_cast<char>(changed[byte] ^ 0x10);
        EXPECT_TRUE(load(*loaded, folder.file("changed", changed))) << byte;
        EXPECT_TRUE(load(*loaded, folder.file("changed", content.substr(0, byte)))) << byte;
    }
    ASSERT_FALSE(load(*loaded, folder.at("file")));
    expectSameSolution(*saved, *loaded);
}

} // namespace
