#include <lintrix/services/thread_settings.h>

#include <algorithm>
#include <string_view>

namespace Velmar::Lintrix::detail {

namespace {

void skip(std::string_view& text, std::string_view characters)
{
    text.remove_prefix(std::min(text.find_first_not_of(characters), text.size()));
}

/// Cuts off and returns what stands before the first of `ends`.
std::string_view takeUntil(std::string_view& text, std::string_view ends)
{
    const std::string_view taken = text.substr(0, text.find_first_of(ends));
    text.remove_prefix(taken.size());
    return taken;
}

void setOnce(int& setting, int value)
{
    if (setting < 0 && value >= 1) setting = value;
}

/// A count in digits; any other text is 1.
int countOf(std::string_view text)
{
    return digitsValue(text).value_or(1);
}

/// The setting that a key of MKL_DOMAIN_NUM_THREADS names, null for any other key.
int* settingOf(std::string_view key, ThreadSettings& settings)
{
    if (key == "MKL_ALL") return &settings.global;
    if (key == "MKL_BLAS") return &settings.blas;
    if (key == "MKL_FFT") return &settings.fft;
    if (key == "MKL_VML") return &settings.vml;
    return nullptr;
}

/// key=value pairs. A key does not end at a comma, semicolon or colon, and a quote between key and value
/// makes the value empty, which counts as 1. The first empty key ends the list. A list with such a slip in it
/// would give other counts by a stricter rule, so it stays.
void parseDomains(std::string_view list, ThreadSettings& settings)
{
    for (;;) {
        skip(list, " ,;:\"'");
        const std::string_view key = takeUntil(list, "= \"'");
        if (key.empty()) return;
        skip(list, " =");
        const std::string_view value = takeUntil(list, " ,;:\"'");
        int* const setting = settingOf(key, settings);
        if (setting != nullptr) setOnce(*setting, value.empty() ? 1 : countOf(value));
    }
}

/// Only these two spellings switch it off. "False" leaves it on: the counts of whoever writes it would
/// change, so it stays.
int parseDynamic(std::string_view text)
{
    skip(text, " \"'");
    const std::string_view word = takeUntil(text, " \"'");
    return word == "FALSE" || word == "false" ? 0 : 1;
}

/// The level in digits if it lies in 0..3, else 0.
int parseMpiThreadLevel(std::string_view text)
{
    const int level = digitsValue(text).value_or(0);
    return level <= 3 ? level : 0;
}

/// This process's share of the cores: 1 when the share is below 2, or when the MPI library may be used by one
/// thread only. With no core count there is nothing to share out, and the runtime's count
/// stands.
int shareOfCores(const ThreadQuestion& q)
{
    if (q.mpiThreadLevel <= 0) return 1;
    if (q.cores < 0) return q.runtime;
    return std::max(1, q.cores / q.processesPerNode);
}

} // namespace

ThreadSettings parseThreadSettings(const EnvironmentLookup& lookup)
{
    ThreadSettings settings;
    if (const auto v = lookup("MKL_NUM_THREADS"); v.present()) setOnce(settings.global, countOf(v.text()));
    if (const auto v = lookup("MKL_DOMAIN_NUM_THREADS"); v.present()) parseDomains(v.text(), settings);
    settings.dynamic = parseDynamic(lookup("MKL_DYNAMIC").text());
    if (const auto v = lookup("OMP_NUM_THREADS"); v.present()) setOnce(settings.openmp, countOf(v.text()));
    const auto processes = lookup("I_MPI_NUMBER_OF_MPI_PROCESSES_PER_NODE");
    setOnce(settings.processesPerNode, digitsValue(processes.text()).value_or(0));
    settings.mpiThreadLevel = parseMpiThreadLevel(lookup("I_MPI_THREAD_LEVEL").text());
    return settings;
}

int threadCount(const ThreadQuestion& q) noexcept
{
    if (q.dynamic && q.inActiveRegion) return 1;
    const bool fromRuntime = q.domain <= 0 && q.global <= 0;
    const int asked = q.domain > 0 ? q.domain : q.global > 0 ? q.global : q.runtime;
    if (!q.dynamic) return asked;
    if (q.processesPerNode > 0 && fromRuntime && q.openmp < 0) return shareOfCores(q);
    // Unsigned, so that an unknown core count, -1, is the largest number.
    return static_cast<int>(std::min(static_cast<unsigned>(q.cores), static_cast<unsigned>(asked)));
}

} // namespace Velmar::Lintrix::detail
