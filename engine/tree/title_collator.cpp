#include "tree/title_collator.h"

#include <unicode/ucol.h>
#include <unicode/uiter.h>
#include <unicode/uset.h>
#include <cstdlib>
#include <cstring>

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
    readAsciiWeights();
}

void TitleCollator::readAsciiWeights() {
    ascii_ = AsciiWeights();
    if (!collator_) return;
    // Settings under which a key is no longer its characters' weights in a row.
    UErrorCode status = U_ZERO_ERROR;
    if (ucol_getAttribute(collator_, UCOL_ALTERNATE_HANDLING, &status) != UCOL_NON_IGNORABLE ||
        ucol_getAttribute(collator_, UCOL_NUMERIC_COLLATION, &status) != UCOL_OFF ||
        ucol_getAttribute(collator_, UCOL_CASE_LEVEL, &status) != UCOL_OFF ||
        ucol_getAttribute(collator_, UCOL_FRENCH_COLLATION, &status) != UCOL_OFF || U_FAILURE(status))
        return;
    auto keyOf = [&](const UChar* text, std::int32_t length, std::uint8_t* out, std::int32_t room) {
        return ucol_getSortKey(collator_, text, length, out, room);
    };
    for (UChar c = 1; c < 128; ++c) {
        // Alone: primary bytes, the separator 01, one common secondary weight (05), the end 00;
        // or, for a character ignored altogether, 01 00.
        std::uint8_t key[32];
        const std::int32_t n = keyOf(&c, 1, key, sizeof key);
        const auto* separator = static_cast<const std::uint8_t*>(std::memchr(key, 0x01, static_cast<std::size_t>(n)));
        if (n < 2 || n > static_cast<std::int32_t>(sizeof key) || !separator) continue;
        const auto primary = static_cast<std::size_t>(separator - key);
        const std::size_t after = static_cast<std::size_t>(n) - primary;
        const bool ignored = primary == 0 && after == 2 && key[1] == 0x00;
        const bool single = primary > 0 && primary <= 4 && after == 3 && key[primary + 1] == 0x05 && key[primary + 2] == 0x00;
        if (!ignored && !single) continue;
        // Twice in a row: no weight compressed against the one before.
        const UChar twice[2] = {c, c};
        std::uint8_t doubled[32];
        const std::int32_t m = keyOf(twice, 2, doubled, sizeof doubled);
        if (single && (m != static_cast<std::int32_t>(2 * primary + 3) || std::memcmp(doubled, key, primary) != 0 ||
                       std::memcmp(doubled + primary, key, primary) != 0 || doubled[2 * primary + 1] != 0x06))
            continue;
        if (ignored && (m != 2 || doubled[0] != 0x01)) continue;
        ascii_.usable[c] = true;
        ascii_.length[c] = static_cast<std::uint8_t>(primary);
        std::memcpy(ascii_.bytes[c], key, primary);
    }
    // A contraction (two or more characters weighed as one) of ASCII characters alone: none in
    // the root order, some in tailorings (Czech "ch", Danish "aa"), whose characters are then
    // keyed by ICU.
    USet* tailored = ucol_getTailoredSet(collator_, &status);
    if (U_FAILURE(status)) return;
    UChar text[64];
    for (std::int32_t i = 0, n = uset_getItemCount(tailored); i < n; ++i) {
        UChar32 start, end;
        UErrorCode itemStatus = U_ZERO_ERROR;
        // 0 for a range of single characters, which their keys alone describe; else a string.
        const std::int32_t length = uset_getItem(tailored, i, &start, &end, text, 64, &itemStatus);
        if (length == 0) continue;
        if (U_FAILURE(itemStatus)) {  // longer than any contraction the table could follow
            uset_close(tailored);
            return;
        }
        for (std::int32_t k = 0; k < length; ++k)
            if (text[k] < 128) ascii_.usable[text[k]] = false;
    }
    uset_close(tailored);
    ascii_.enabled = true;
}

bool TitleCollator::keyFromTable(std::string_view title, std::string& key) const {
    if (!ascii_.enabled) return false;
    key.clear();
    std::size_t weighed = 0;
    for (const char ch : title) {
        const auto c = static_cast<unsigned char>(ch);
        if (c >= 128 || !ascii_.usable[c]) return false;
        if (ascii_.length[c] == 0) continue;
        key.append(reinterpret_cast<const char*>(ascii_.bytes[c]), ascii_.length[c]);
        ++weighed;
    }
    key += '\x01';
    // The common secondary weights, counted as ICU counts them: 05 for one, one more for each
    // further one, and 25 for every 33 beyond.
    if (weighed > 0) {
        std::size_t more = weighed - 1;
        for (; more >= 33; more -= 33) key += '\x25';
        key += static_cast<char>(0x05 + more);
    }
    return true;
}

namespace {

// How many bytes the common secondary weights of `weighed` characters take, as keyFromTable()
// writes them.
std::size_t secondaryBytes(std::size_t weighed) { return weighed == 0 ? 0 : (weighed - 1) / 33 + 1; }

}  // namespace

bool TitleCollator::headFromTable(std::string_view title, KeyHead& head) const {
    if (!ascii_.enabled) return false;
    std::uint64_t bytes = 0;
    std::size_t length = 0, weighed = 0;  // primary bytes, characters weighed
    for (const char ch : title) {
        const auto c = static_cast<unsigned char>(ch);
        if (c >= 128 || !ascii_.usable[c]) return false;
        const std::size_t n = ascii_.length[c];
        if (n == 0) continue;
        ++weighed;
        for (std::size_t i = 0; i < n && length + i < 8; ++i) bytes = bytes << 8 | ascii_.bytes[c][i];
        length += n;
    }
    // A key short of eight bytes goes on with the separator and the secondary weights, which
    // then are one byte: at most seven characters were weighed.
    std::size_t kept = std::min<std::size_t>(length, 8);
    if (kept < 8) {
        bytes = bytes << 8 | 0x01;
        ++kept;
    }
    if (kept < 8 && weighed > 0) {
        bytes = bytes << 8 | (0x04 + weighed);
        ++kept;
    }
    head.bytes = bytes << (8 * (8 - kept));
    head.complete = length + 1 + secondaryBytes(weighed) < 8;
    head.fromTable = true;
    return true;
}

TitleCollator::TitleCollator(const TitleCollator& other) : locale_(other.locale_), ascii_(other.ascii_) {
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
    if (headFromTable(title, head)) return head;
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
    if (head.fromTable && keyFromTable(title, rest)) return rest.substr(8);
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
