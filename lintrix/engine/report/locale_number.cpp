#include <lintrix/engine/report/locale_number.h>

#include <algorithm>
#include <iterator>

#include <langinfo.h>
#include <locale.h>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr unsigned long kEnglish = 1033;

struct NumberedLocale {
    std::string_view name;
    unsigned long number;
};

constexpr NumberedLocale kLocales[] = {
    {"ar_SA", 1025}, {"bg_BG", 1026}, {"ca_ES", 1027}, {"zh_TW", 1028},  {"cs_CZ", 1029},  {"da_DK", 1030},
    {"de_DE", 1031}, {"el_GR", 1032}, {"en_US", 1033}, {"fi_FI", 1035},  {"fr_FR", 1036},  {"he_IL", 1037},
    {"hu_HU", 1038}, {"is_IS", 1039}, {"it_IT", 1040}, {"ja_JP", 1041},  {"ko_KR", 1042},  {"nl_NL", 1043},
    {"nb_NO", 1044}, {"pl_PL", 1045}, {"pt_BR", 1046}, {"ro_RO", 1048},  {"ru_RU", 1049},  {"hr_HR", 1050},
    {"sk_SK", 1051}, {"sv_SE", 1053}, {"th_TH", 1054}, {"tr_TR", 1055},  {"id_ID", 1057},  {"uk_UA", 1058},
    {"sl_SI", 1060}, {"et_EE", 1061}, {"lv_LV", 1062}, {"lt_LT", 1063},  {"fa_IR", 1065},  {"vi_VN", 1066},
    {"hi_IN", 1081}, {"zh_CN", 2052}, {"de_CH", 2055}, {"en_GB", 2057},  {"es_MX", 2058},  {"fr_BE", 2060},
    {"it_CH", 2064}, {"nl_BE", 2067}, {"nn_NO", 2068}, {"pt_PT", 2070},  {"zh_HK", 3076},  {"de_AT", 3079},
    {"en_AU", 3081}, {"es_ES", 3082}, {"fr_CA", 3084}, {"zh_SG", 4100},  {"en_CA", 4105},  {"fr_CH", 4108},
    {"en_NZ", 5129}, {"en_IE", 6153}, {"en_ZA", 7177}, {"es_AR", 11274}, {"en_IN", 16393},
};

} // namespace

unsigned long localeNumber(std::string_view name) noexcept
{
    const std::string_view place = name.substr(0, name.find_first_of(".@"));
    const auto* const found = std::ranges::find(kLocales, place, &NumberedLocale::name);
    return found == std::end(kLocales) ? kEnglish : found->number;
}

unsigned long localeNumberOfThread() noexcept
{
    const char* const name =
        nl_langinfo(NL_LOCALE_NAME(LC_MESSAGES)); // NOLINT(concurrency-mt-unsafe): constant
    return localeNumber(name);
}

} // namespace Velmar::Lintrix::detail::engine
