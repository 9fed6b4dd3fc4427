#pragma once

#include <QString>

#include <array>

namespace murlo {

/// A transcription language that the user can choose.
struct SpokenLanguage {
    const char* code;       ///< as stored and as the speech engine takes it
    const char* name;       ///< in English
    const char16_t* native; ///< in the language itself
};

/// Stored instead of a code: the speech engine detects the language.
inline constexpr const char* automaticLanguage = "auto";

/// In display order.
inline constexpr std::array<SpokenLanguage, 13> spokenLanguages{{
    {"en", "English", u"English"},
    {"hi", "Hindi", u"हिन्दी"},
    {"es", "Spanish", u"Español"},
    {"fr", "French", u"Français"},
    {"de", "German", u"Deutsch"},
    {"it", "Italian", u"Italiano"},
    {"pt", "Portuguese", u"Português"},
    {"nl", "Dutch", u"Nederlands"},
    {"ru", "Russian", u"Русский"},
    {"ar", "Arabic", u"العربية"},
    {"zh", "Chinese", u"中文"},
    {"ja", "Japanese", u"日本語"},
    {"ko", "Korean", u"한국어"},
}};

} // namespace murlo
