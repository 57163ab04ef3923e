// Locale-aware, case-insensitive comparison of titles: an ICU collator for the user's locale at
// secondary strength, so "apple" and "Apple" are equal while "resume" and "résumé" are not.
// Sorting compares sort keys, made once per entry instead of once per comparison.
#pragma once

#include <memory>
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
    TitleCollator(const TitleCollator&) = delete;
    TitleCollator& operator=(const TitleCollator&) = delete;

    // The sort key of a title (WTF-8; lone surrogates are collated as ICU collates them).
    // Keys compare with plain byte comparison.
    std::string sortKey(std::string_view title) const;
    // -1, 0 or 1, as comparing the two titles' sort keys would answer.
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
