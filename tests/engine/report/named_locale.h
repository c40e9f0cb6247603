#pragma once
/// @file
/// Locales of any name: "C.utf8", which every system has, under another one.

#include "tests/support/files.h"

#include <cstdlib>
#include <filesystem>

#include <locale.h>

namespace Velmar::Lintrix::testing {

/// A locale that has one category by the name, the others from "C". The system's own newlocale would not give
/// back what it keeps of LOCPATH, so the locale of the process is set, copied, and set back.
class NamedLocale {
public:
    NamedLocale(const char* name, int category)
    {
        std::filesystem::copy("/usr/lib/locale/C.utf8", folder_.at(name),
                              std::filesystem::copy_options::recursive);
        setenv("LOCPATH", folder_.at("").c_str(), 1);
        isThere_ = setlocale(category, name) != nullptr;
        locale_ = duplocale(LC_GLOBAL_LOCALE);
        setlocale(category, "C");
        unsetenv("LOCPATH");
    }
    ~NamedLocale() { freelocale(locale_); }
    NamedLocale(const NamedLocale&) = delete;
    NamedLocale& operator=(const NamedLocale&) = delete;

    bool isThere() const { return isThere_; }

    /// This thread's locale for the length of a scope.
    class Use {
    public:
        explicit Use(const NamedLocale& named) : before_(uselocale(named.locale_)) {}
        ~Use() { uselocale(before_); }
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

    private:
        locale_t before_;
    };

private:
    Scratch folder_;
    bool isThere_;
    locale_t locale_;
};

} // namespace Velmar::Lintrix::testing
