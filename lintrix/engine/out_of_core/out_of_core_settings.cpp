#include <lintrix/engine/out_of_core/out_of_core_settings.h>

#include <lintrix/engine/out_of_core/configuration_text.h>
#include <lintrix/engine/out_of_core_configuration.h>
#include <lintrix/engine/report/messages.h>
#include <lintrix/services/environment.h>
#include <lintrix/services/regular_file.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <limits>
#include <span>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr const char* kConfigurationFile = "pardiso_ooc.cfg";

thread_local int mostMegabytes = std::numeric_limits<int>::max(); // of a core
thread_local const OutOfCoreConfiguration* defaults = nullptr;    // of a program, before those of the engine

/// Words of the first control block.
enum class SettingWord : int { CoreMegabytes, KeepsFiles };

const OutOfCoreTable& tableOf(const Handle& handle) noexcept
{
    return *handle.block<OutOfCoreTable>(Slot::OutOfCoreControl);
}

std::int64_t& wordOf(const Handle& handle, SettingWord word) noexcept
{
    return tableOf(handle).control[static_cast<int>(word)];
}

/// Folder and name of the configuration file, zero-terminated.
class ConfigurationPath {
public:
    ConfigurationPath() noexcept
    {
        const EnvironmentValue folder = readEnvironment("MKL_PARDISO_OOC_CFG_PATH");
        const EnvironmentValue name = readEnvironment("MKL_PARDISO_OOC_CFG_FILE_NAME");
        append(folder.text());
        if (length_ > 0) append("/");
        append(name.text().empty() ? kConfigurationFile : name.text());
    }
    const char* text() const noexcept { return cells_; }

private:
    void append(std::string_view text) noexcept { length_ += text.copy(cells_ + length_, text.size()); }

    char cells_[2 * EnvironmentValue::kLongest + 2] = {};
    std::size_t length_ = 0;
};

/// As much of an open file as there is, up to the size of `into`; @return  how much
std::size_t readAll(int file, std::span<char> into) noexcept
{
    std::size_t length = 0;
    while (length < into.size()) {
        const ssize_t count = ::read(file, into.data() + length, into.size() - length);
        if (count > 0) length += static_cast<std::size_t>(count);
        if (count == 0 || (count < 0 && errno != EINTR)) break;
    }
    return length;
}

/// The beginning of the configuration file, in whole lines; nothing where there is no regular file.
class ConfigurationFile {
public:
    explicit ConfigurationFile(const char* path) noexcept
    {
        const int file = openRegular(path, O_RDONLY);
        if (file < 0) return;
        length_ = readAll(file, cells_);
        ::close(file);
    }
    std::string_view text() const noexcept
    {
        const std::string_view all(cells_, length_);
        return length_ < sizeof cells_ ? all
                                       : all.substr(0, all.rfind('\n') + 1); // or the last line is cut off
    }

private:
    char cells_[16384];
    std::size_t length_ = 0;
};

void store(Handle handle, const OutOfCoreSettings& settings) noexcept
{
    char* const path = tableOf(handle).path;
    std::fill(std::ranges::copy(settings.path, path).out, path + OutOfCoreTable::kPathLength, ' ');
    wordOf(handle, SettingWord::CoreMegabytes) = std::min(settings.megabytes, mostMegabytes);
    wordOf(handle, SettingWord::KeepsFiles) = settings.keep != 0 ? 1 : 0;
}

/// What the file and then the environment say, as it is now.
class Configuration {
public:
    explicit Configuration(bool reports)
    {
        if (defaults != nullptr) takeDefaults();
        readConfigurationText(file_.text(), settings_);
        if (settings_.takePath(path_.text()) && reports)
            print(Message::PathFromEnvironment, {settings_.path});
        if (settings_.takeMegabytes(size_.text()) && reports)
            print(Message::CoreSizeFromEnvironment, {settings_.megabytes});
        if (settings_.takeKeep(keep_.text()) && reports)
            print(Message::KeepFileFromEnvironment, {settings_.keep});
    }
    Configuration(const Configuration&) = delete; // the path is a view of a text of this one
    Configuration& operator=(const Configuration&) = delete;

    const OutOfCoreSettings& settings() const noexcept { return settings_; }

private:
    void takeDefaults() noexcept
    {
        if (*defaults->path != 0) settings_.path = defaults->path;
        settings_.megabytes = defaults->megabytes.value_or(settings_.megabytes);
        if (defaults->keepsFiles) settings_.keep = *defaults->keepsFiles ? 1 : 0;
    }

    ConfigurationFile file_{ConfigurationPath().text()};
    EnvironmentValue path_ = readEnvironment("MKL_PARDISO_OOC_PATH");
    EnvironmentValue size_ = readEnvironment("MKL_PARDISO_OOC_MAX_CORE_SIZE");
    EnvironmentValue keep_ = readEnvironment("MKL_PARDISO_OOC_KEEP_FILE");
    OutOfCoreSettings settings_;
};

} // namespace

void readOutOfCoreSettings(Handle handle, bool reports)
{
    store(handle, Configuration(reports).settings());
}

std::string_view filePrefix(const Handle& handle) noexcept
{
    const std::string_view buffer(tableOf(handle).path, OutOfCoreTable::kPathLength);
    return buffer.substr(0, buffer.find_last_not_of(' ') + 1);
}

std::int64_t coreMegabytes(const Handle& handle) noexcept
{
    return wordOf(handle, SettingWord::CoreMegabytes);
}

bool keepsFactorFiles(const Handle& handle) noexcept
{
    return wordOf(handle, SettingWord::KeepsFiles) != 0;
}

} // namespace Velmar::Lintrix::detail::engine

namespace Velmar::Lintrix {

OutOfCoreConfiguration ReadOutOfCoreConfiguration() noexcept
{
    const detail::engine::Configuration read(false);
    const detail::engine::OutOfCoreSettings& settings = read.settings();
    OutOfCoreConfiguration said;
    static_assert(OutOfCoreConfiguration::kLongestPath == detail::engine::kLongestPrefix);
    static_assert(sizeof said.path > OutOfCoreConfiguration::kLongestPath);
    if (settings.pathIsTaken) settings.path.copy(said.path, sizeof said.path - 1);
    if (settings.megabytesAreTaken) said.megabytes = settings.megabytes;
    if (settings.keepIsTaken) said.keepsFiles = settings.keep != 0;
    return said;
}

OutOfCoreDefaults::OutOfCoreDefaults(const OutOfCoreConfiguration& defaults) noexcept
    : before_(std::exchange(detail::engine::defaults, &defaults))
{
}

OutOfCoreDefaults::~OutOfCoreDefaults()
{
    detail::engine::defaults = before_;
}

OutOfCoreLimit::OutOfCoreLimit(int megabytes) noexcept
    : before_(std::exchange(detail::engine::mostMegabytes, megabytes))
{
}

OutOfCoreLimit::~OutOfCoreLimit()
{
    detail::engine::mostMegabytes = before_;
}

} // namespace Velmar::Lintrix
