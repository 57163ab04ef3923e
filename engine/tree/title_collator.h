// Locale-aware, case-insensitive comparison of titles: an ICU collator for the user's locale at
// secondary strength, so "apple" and "Apple" are equal while "resume" and "résumé" are not.
//
// Sorting compares collation keys, each made once per entry, never once per comparison. A key is
// made in parts, as far as the sort needs it: the first eight bytes of every title's key, which
// usually decide, and the rest only for titles whose first eight bytes tie.
//
// Most titles are plain ASCII, and ICU's key of such a title is, in most locales, the weights of
// its characters one after the other: each character's primary weight bytes, the level
// separator, and a count of common secondary weights. Those keys are put together from a table
// of each character's weights, read from ICU itself when the collator is opened, so they are
// ICU's keys to the byte. A character the locale treats otherwise (in a contraction such as
// Czech "ch", with more than one weight, with compressed weights) is left out of the table, and
// a title that holds one is keyed by ICU, as is every title under settings the table cannot
// follow (shifted punctuation, numeric or French ordering).
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
        bool fromTable = false;  // made from the table of ASCII weights: `state` is not ICU's
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

    // Whether titles of plain ASCII are keyed from the table: for tests.
    bool keysAsciiFromTable() const { return ascii_.enabled; }

private:
    // The weights of each ASCII character, where its key in a title is the same as alone.
    struct AsciiWeights {
        bool enabled = false;
        bool usable[128] = {};
        std::uint8_t length[128] = {};  // primary weight bytes; 0: ignored altogether
        std::uint8_t bytes[128][4] = {};
    };
    void readAsciiWeights();
    // The whole key of `title` from the table, or false when a character is not in it.
    bool keyFromTable(std::string_view title, std::string& key) const;
    // The same for the key's head alone, without putting the whole key together.
    bool headFromTable(std::string_view title, KeyHead& head) const;

    std::string locale_;
    UCollator* collator_ = nullptr;
    AsciiWeights ascii_;
};

// The user's collation locale as ICU names it, from the environment ("" when it is C or POSIX).
std::string userCollationLocale();

}  // namespace orvane
