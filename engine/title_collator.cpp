#include "title_collator.h"

#include <cstdlib>
#include <cstring>
#include <unicode/ucol.h>
#include <vector>

#include "plist/utf.h"

namespace orvane {
namespace {

// "de_DE.UTF-8@euro" -> "de_DE"; "C" and "POSIX" -> "" (ICU's root order).
std::string icuLocaleFromPosix(std::string_view name) {
    name = name.substr(0, name.find_first_of(".@"));
    if (name == "C" || name == "POSIX") return {};
    return std::string(name);
}

std::u16string toUtf16(std::string_view wtf8) {
    std::u16string out;
    out.reserve(wtf8.size());
    std::size_t pos = 0;
    std::uint32_t cp;
    while (pos < wtf8.size()) {
        if (!plist::utf::nextCodePoint(wtf8, pos, cp)) {
            cp = 0xFFFD;  // not expected from our readers; keep going rather than drop the rest
            ++pos;
        }
        if (cp >= 0x10000) {
            cp -= 0x10000;
            out += static_cast<char16_t>(0xD800 + (cp >> 10));
            out += static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
        } else {
            out += static_cast<char16_t>(cp);
        }
    }
    return out;
}

}  // namespace

std::string userCollationLocale() {
    for (const char* variable : {"LC_ALL", "LC_COLLATE", "LANG"})
        if (const char* value = std::getenv(variable); value && *value) return icuLocaleFromPosix(value);
    return {};
}

TitleCollator::TitleCollator(std::string_view locale)
    : locale_(locale.empty() ? userCollationLocale() : icuLocaleFromPosix(locale)) {
    UErrorCode status = U_ZERO_ERROR;
    collator_ = ucol_open(locale_.c_str(), &status);
    if (U_FAILURE(status)) {
        status = U_ZERO_ERROR;
        locale_.clear();
        collator_ = ucol_open("", &status);
    }
    if (collator_) ucol_setStrength(collator_, UCOL_SECONDARY);
}

TitleCollator::~TitleCollator() {
    if (collator_) ucol_close(collator_);
}

std::string TitleCollator::sortKey(std::string_view title) const {
    const std::u16string text = toUtf16(title);
    if (!collator_) return std::string(title);
    std::string key(text.size() * 2 + 16, '\0');
    const auto length = static_cast<std::int32_t>(text.size());
    std::int32_t needed = ucol_getSortKey(collator_, reinterpret_cast<const UChar*>(text.data()), length,
                                          reinterpret_cast<std::uint8_t*>(key.data()), static_cast<std::int32_t>(key.size()));
    if (needed > static_cast<std::int32_t>(key.size())) {
        key.resize(static_cast<std::size_t>(needed));
        needed = ucol_getSortKey(collator_, reinterpret_cast<const UChar*>(text.data()), length,
                                 reinterpret_cast<std::uint8_t*>(key.data()), needed);
    }
    // The key ends with a zero byte that byte comparison does not need.
    key.resize(needed > 0 ? static_cast<std::size_t>(needed - 1) : 0);
    return key;
}

int TitleCollator::compare(std::string_view a, std::string_view b) const {
    const int c = sortKey(a).compare(sortKey(b));
    return (c > 0) - (c < 0);
}

}  // namespace orvane
