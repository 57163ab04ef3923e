// Titles of plain ASCII are keyed from a table of their characters' weights instead of by ICU:
// the keys must be ICU's to the byte, in every locale, or two titles would sort differently
// depending on which way each was keyed.
#include <gtest/gtest.h>
#include <unicode/ucol.h>
#include <unicode/uset.h>

#include <random>
#include <string>
#include <vector>

#include "tree/title_collator.h"

namespace orvane {
namespace {

// ICU's own key of a title at the collator's strength, without the final 00.
class IcuKeys {
public:
    explicit IcuKeys(const char* locale) {
        UErrorCode status = U_ZERO_ERROR;
        collator_ = ucol_open(locale, &status);
        ucol_setStrength(collator_, UCOL_SECONDARY);
    }
    ~IcuKeys() { ucol_close(collator_); }
    std::string key(const std::string& title) const {
        std::vector<UChar> text(title.begin(), title.end());  // ASCII: one unit each
        std::uint8_t bytes[1024];
        const std::int32_t n = ucol_getSortKey(collator_, text.data(), static_cast<std::int32_t>(text.size()), bytes,
                                               sizeof bytes);
        return std::string(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(n - 1));
    }
    const UCollator* get() const { return collator_; }

private:
    UCollator* collator_ = nullptr;
};

std::vector<std::string> asciiTitles() {
    std::vector<std::string> titles{""};
    for (int a = 1; a < 128; ++a) {
        titles.emplace_back(1, static_cast<char>(a));
        for (int b = 1; b < 128; ++b) titles.push_back({static_cast<char>(a), static_cast<char>(b)});
    }
    // Longer ones, mostly letters and spaces as titles are, some punctuation and digits, a few
    // control characters, some long enough for the secondary count to pass 33.
    std::mt19937 random(7);
    const std::string common = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ      0123456789-.,:/'&()!?#";
    for (int i = 0; i < 20000; ++i) {
        std::string title(random() % (i % 10 == 0 ? 120 : 24), ' ');
        for (char& c : title)
            c = random() % 20 == 0 ? static_cast<char>(1 + random() % 127) : common[random() % common.size()];
        titles.push_back(title);
    }
    return titles;
}

TEST(TitleCollator, AsciiTitlesKeyedAsIcuKeysThem) {
    const std::vector<std::string> titles = asciiTitles();
    for (const char* locale : {"C", "en_US", "de_DE", "fr_FR", "fr_CA", "sv_SE", "da_DK", "cs_CZ", "es_ES", "tr_TR",
                               "hr_HR", "ja_JP", "ru_RU", "th_TH", "ar"}) {
        SCOPED_TRACE(locale);
        const TitleCollator collator(locale);
        const IcuKeys icu(collator.localeName().c_str());
        int wrong = 0;
        for (const std::string& title : titles) {
            const std::string expected = icu.key(title);
            const TitleCollator::KeyHead head = collator.keyHead(title);
            std::uint64_t bytes = 0;
            for (std::size_t i = 0; i < 8; ++i)
                bytes = bytes << 8 | (i < expected.size() ? static_cast<std::uint8_t>(expected[i]) : 0);
            if ((head.bytes != bytes || head.complete != (expected.size() < 8) ||
                 collator.sortKey(title) != expected) &&
                ++wrong <= 3)
                ADD_FAILURE() << "title \"" << title << "\" is keyed unlike ICU";
        }
        EXPECT_EQ(wrong, 0);
    }
    // The table is used where nothing stands in its way, so the comparison above compared it.
    EXPECT_TRUE(TitleCollator("C").keysAsciiFromTable());
    EXPECT_TRUE(TitleCollator("de_DE").keysAsciiFromTable());
    EXPECT_TRUE(TitleCollator("cs_CZ").keysAsciiFromTable());
    // Czech "ch" is one letter, after "h": its characters are keyed by ICU.
    EXPECT_GT(TitleCollator("cs_CZ").compare("chata", "hrad"), 0);
}

// The table trusts that the root order joins no ASCII characters into one: a later ICU that did
// would fail here.
TEST(TitleCollator, RootOrderHasNoContractionOfAsciiAlone) {
    const IcuKeys icu("");
    UErrorCode status = U_ZERO_ERROR;
    USet* contractions = uset_openEmpty();
    ucol_getContractionsAndExpansions(icu.get(), contractions, nullptr, true, &status);
    ASSERT_TRUE(U_SUCCESS(status));
    UChar text[64];
    for (std::int32_t i = 0, n = uset_getItemCount(contractions); i < n; ++i) {
        UChar32 start, end;
        const std::int32_t length = uset_getItem(contractions, i, &start, &end, text, 64, &status);
        bool allAscii = length > 0;
        for (std::int32_t k = 0; k < length; ++k) allAscii = allAscii && text[k] < 128;
        EXPECT_FALSE(allAscii) << "contraction " << i;
    }
    uset_close(contractions);
}

}  // namespace
}  // namespace orvane
