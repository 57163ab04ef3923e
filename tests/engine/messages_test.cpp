// The texts of the codes, the translation hook, fresh identities and the conditional insert.
#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "support/error_codes.h"
#include "job/messages.h"
#include "support/translation.h"
#include "support/uuid.h"
#include "tree/string_set.h"
#include "tree/validation.h"

namespace orvane {
namespace {

TEST(Messages, BothTablesWithTheirGaps) {
    for (std::uint32_t code : {0, 42, 9})
        EXPECT_EQ(shortMessage(code), "The sorted bookmark plist file was successfully written to disk.") << code;
    EXPECT_EQ(shortMessage(8), "Could not write the bookmark plist file, some other process is using it.");
    EXPECT_EQ(shortMessage(2), "Could not find the output bookmark plist file.");

    EXPECT_EQ(messageForUser(0, "x"), "The bookmarks file was opened, sorted and saved.");
    EXPECT_EQ(
        messageForUser(1, "/home/a/B.plist"),
        "The bookmarks file \u201C/home/a/B.plist\u201D could not be located. Please locate the file and try again.");
    EXPECT_EQ(
        messageForUser(7, "B.plist"),
        "A backup for the bookmarks file \u201CB.plist\u201D could not be created. Please verify that you have read and write access "
        "to the file\u2019s directory.");
    EXPECT_EQ(messageForUser(8, "ignored"),
              "Safari is currently using the bookmarks file, please wait a while before sorting.");
    // 2 has no long text of its own: it reads as an unknown error with its number.
    EXPECT_EQ(
        messageForUser(2, "B.plist"),
        "The program ran into an unknown error: 2.\n\nA restart of your computer will hopefully solve the error.");
    EXPECT_NE(messageForUser(4000000000u, "B.plist").find("error: -294967296."), std::string::npos);

    for (std::uint64_t code : {0, 8, 9}) EXPECT_TRUE(isEngineCode(code)) << code;
    for (std::uint64_t code : {10, 70, 100, 103}) EXPECT_FALSE(isEngineCode(code)) << code;
}

TEST(Messages, TranslationsReplaceTheEnglishText) {
    Translator previous = setTranslator([](std::string_view english) -> std::string {
        if (english == "No Name") return "Sans nom";
        if (english.starts_with("The file \u201C%@\u201D is not"))
            return "Le fichier \u00AB %@ \u00BB n\u2019est pas un fichier de signets.";
        return "";
    });
    EXPECT_EQ(untitledName(), "Sans nom");
    EXPECT_EQ(messageForUser(3, "B.plist"), "Le fichier \u00AB B.plist \u00BB n\u2019est pas un fichier de signets.");
    EXPECT_EQ(shortMessage(5), "Could not read the bookmark plist file.");  // no translation: English
    setTranslator(previous);
}

TEST(Helpers, UUIDsAreFreshAndWellFormed) {
    const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        const std::string id = stringWithUUID();
        ASSERT_TRUE(std::regex_match(id, form)) << id;
        seen.insert(id);
    }
    EXPECT_EQ(seen.size(), 1000u);
}

TEST(Helpers, ConditionalInsertIsExact) {
    StringSet set(2);
    const std::pair<const char*, bool> inserts[] = {
        {"News", true},     {"News", false}, {"news", true}, {"News ", true}, {"Cafe\u0301", true} /* not normalised */,
        {"Caf\u00E9", true}};
    for (const auto& [text, isNew] : inserts) EXPECT_EQ(set.insert(text), isNew) << text;
    EXPECT_EQ(set.size(), 5u);
}

}  // namespace
}  // namespace orvane
