#include "tree/title_collator.h"

#include <unicode/ucol.h>
#include <unicode/uiter.h>
#include <cstdlib>

namespace orvane {
namespace {

// "de_DE.UTF-8@euro" -> "de_DE"; "C" and "POSIX" -> "" (ICU's root order).
std::string icuLocaleFromPosix(std::string_view name) {
    name = name.substr(0, name.find_first_of(".@"));
    if (name == "C" || name == "POSIX") return {};
    return std::string(name);
}

// Up to `room` further bytes of the key of `title`, going on from `state`; answers how many.
std::int32_t nextKeyPart(const UCollator* collator, std::string_view title, std::uint32_t state[2], std::uint8_t* out,
                         std::int32_t room) {
    UCharIterator it;
    uiter_setUTF8(&it, title.data(), static_cast<std::int32_t>(title.size()));
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t n = ucol_nextSortKeyPart(collator, &it, state, out, room, &status);
    return U_SUCCESS(status) ? n : 0;
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

TitleCollator::TitleCollator(const TitleCollator& other) : locale_(other.locale_) {
    UErrorCode status = U_ZERO_ERROR;
    if (other.collator_) collator_ = ucol_clone(other.collator_, &status);
    if (U_FAILURE(status)) collator_ = nullptr;
}

TitleCollator::~TitleCollator() {
    if (collator_) ucol_close(collator_);
}

TitleCollator::KeyHead TitleCollator::keyHead(std::string_view title) const {
    KeyHead head;
    if (title.size() > INT32_MAX) title = title.substr(0, INT32_MAX);
    std::uint8_t bytes[8] = {};
    const std::int32_t n = collator_ ? nextKeyPart(collator_, title, head.state, bytes, 8) : 0;
    for (std::uint8_t b : bytes) head.bytes = head.bytes << 8 | b;
    head.complete = n < 8;
    return head;
}

std::string TitleCollator::keyRest(std::string_view title, const KeyHead& head) const {
    std::string rest;
    if (head.complete || !collator_) return rest;
    if (title.size() > INT32_MAX) title = title.substr(0, INT32_MAX);
    std::uint32_t state[2] = {head.state[0], head.state[1]};
    std::uint8_t part[64];
    for (;;) {
        const std::int32_t n = nextKeyPart(collator_, title, state, part, sizeof part);
        rest.append(reinterpret_cast<const char*>(part), static_cast<std::size_t>(n));
        if (n < static_cast<std::int32_t>(sizeof part)) return rest;
    }
}

std::string TitleCollator::sortKey(std::string_view title) const {
    const KeyHead head = keyHead(title);
    std::string key;
    for (int shift = 56; shift >= 0; shift -= 8)
        if (const auto b = static_cast<char>(head.bytes >> shift); b != 0) key += b;
    return key + keyRest(title, head);
}

int TitleCollator::compare(std::string_view a, std::string_view b) const {
    const int c = sortKey(a).compare(sortKey(b));
    return (c > 0) - (c < 0);
}

}  // namespace orvane
