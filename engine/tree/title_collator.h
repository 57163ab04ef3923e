// Locale-aware, case-insensitive comparison of titles: an ICU collator for the user's locale at
// secondary strength, so "apple" and "Apple" are equal while "resume" and "résumé" are not.
//
// Sorting compares collation keys, each made once per entry, never once per comparison. A key is
// made in parts, as far as the sort needs it: the first eight bytes of every title's key, which
// usually decide, and the rest only for titles whose first eight bytes tie.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct UCollator;

namespace orvane {

class TitleCollator {
public:
    // `locale` is an ICU or POSIX locale name ("de_DE", "sv_SE.UTF-8"); empty means the user's,
    // taken from LC_ALL, LC_COLLATE or LANG, the first one set.
    explicit TitleCollator(std::string_view locale = {});
    ~TitleCollator();
    // A copy that another thread may use while this one is used: a collator is not shared
    // between threads.
    TitleCollator(const TitleCollator& other);
    TitleCollator& operator=(const TitleCollator&) = delete;

    // The first eight bytes of a title's key, big-endian in one number (zeros past a shorter key),
    // and where to go on from there.
    struct KeyHead {
        std::uint64_t bytes = 0;
        bool complete = true;  // the whole key fits in `bytes`
        std::uint32_t state[2] = {0, 0};
    };
    // Titles are WTF-8; what is not well-formed UTF-8 collates as U+FFFD.
    KeyHead keyHead(std::string_view title) const;
    // The bytes of the key after its head; empty for a complete head.
    std::string keyRest(std::string_view title, const KeyHead& head) const;

    // The whole key: keys compare with plain byte comparison.
    std::string sortKey(std::string_view title) const;
    // -1, 0 or 1, as comparing the two titles' keys would answer.
    int compare(std::string_view a, std::string_view b) const;

    // The locale the collator was opened for, "" for ICU's root collation.
    const std::string& localeName() const { return locale_; }

private:
    std::string locale_;
    UCollator* collator_ = nullptr;
};

// The user's collation locale as ICU names it, from the environment ("" when it is C or POSIX).
std::string userCollationLocale();

}  // namespace orvane
