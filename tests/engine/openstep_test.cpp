// The OpenStep (ASCII) property-list reader: values read, errors reported, limits kept.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "test_support.h"

namespace orvane::plist {
namespace {

using namespace std::string_literals;
using namespace test;

ReadResult read(std::string_view text) { return readOpenStep(bytesOf(text)); }

Value B(std::initializer_list<std::uint8_t> bytes) { return Value::data({bytes.begin(), bytes.size()}); }

// UTF-16 with a byte-order mark; lone surrogates in the WTF-8 text become lone code units.
std::string withBom(std::string_view wtf8, bool bigEndian) {
    return (bigEndian ? "\xFE\xFF" : "\xFF\xFE") + utf16(wtf8, bigEndian);
}

const char* const kBookmarks = R"(// Bookmarks, written by hand
{
    Title = "";  WebBookmarkType = WebBookmarkTypeList;
    Children = (
        { Title = "Caf\U00e9 \"Nord\""; URLString = "https://example.com/a?b=1&c=2"; },
        { Title = 'It\'s'; Sync = { Key = <0fab 12
                                            CD>; }; },   /* a comment, with ( and } */
        ( nested, "array", ),
    );
    WebBookmarkFileVersion = 1;
})";

TEST(OpenStepRead, ValidDocumentsGiveTheirValues) {
    const struct {
        const char* name;
        std::string text;
        Value expected;
    } cases[] = {
        {"bookmarks", kBookmarks,
         D({{"Title", S("")},
            {"WebBookmarkType", S("WebBookmarkTypeList")},
            {"Children", A({D({{"Title", S("Caf\u00e9 \"Nord\"")}, {"URLString", S("https://example.com/a?b=1&c=2")}}),
                            D({{"Title", S("It's")}, {"Sync", D({{"Key", B({0x0F, 0xAB, 0x12, 0xCD})}})}}),
                            A({S("nested"), S("array")})})},
            {"WebBookmarkFileVersion", S("1")}})},
        {"empty containers and data", "( (), {}, <>, <AbCd/*x*/ef>, '' )",
         A({A({}), D({}), B({}), B({0xAB, 0xCD, 0xEF}), S("")})},
        {"unquoted strings stay strings", "(-1337, 0.25, YES, a/b:c$_.d)",
         A({S("-1337"), S("0.25"), S("YES"), S("a/b:c$_.d")})},
        {"key; shorthand", "{ a; \"b c\"; d = e; }", D({{"a", S("a")}, {"b c", S("b c")}, {"d", S("e")}})},
        {"simple escapes", R"("\a\b\f\n\r\t\v\"\\\'\q\/")", S("\a\b\f\n\r\t\v\"\\'q/")},
        {"octal through NeXTSTEP", R"("\101\1011\0\341\252\200\377\777")", S("AA1\0\u00C6\u201C\u00A0\uFFFD\uFFFD"s)},
        {"U escapes", R"("\U00e9\U41\U12345")", S("\u00e9A\u12345")},
        {"U surrogates, paired and lone", R"("\UD83D\UDE00\Ud800x\UDC00")",
         S("\xF0\x9F\x98\x80\xED\xA0\x80x\xED\xB0\x80")},
        {"comments and odd blanks", "/*a*/{//b\n a /*c*/=/*d*/(x /*,*/,y)\u2028;\u2029}// end",
         D({{"a", A({S("x"), S("y")})}})},
        {"UTF-8 byte-order mark", "\xEF\xBB\xBF{ a = b; }", D({{"a", S("b")}})},
        {"top-level string", "  \"just text\" // and a comment\n", S("just text")},
        {".strings file", "\"a\" = \"b\";\nc = d; /* x */ e;\n", D({{"a", S("b")}, {"c", S("d")}, {"e", S("e")}})},
        {"UTF-16 BE", withBom("{ k = \"\u00e9\xF0\x9F\x98\x80\"; }", true), D({{"k", S("\u00e9\xF0\x9F\x98\x80")}})},
        {"512 nested arrays", std::string(kMaxDepth, '(') + std::string(kMaxDepth, ')'), nested(kMaxDepth)},
        {"UTF-16 LE, raw low surrogate after escape", withBom("(\"\\UD83D\xED\xB8\x80\", \"\xED\xB0\x80\")", false),
         A({S("\xF0\x9F\x98\x80"), S("\xED\xB0\x80")})},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ReadResult r = read(c.text);
        ASSERT_TRUE(r) << r.status.description();
        EXPECT_EQ(r.format, Format::OpenStep);
        EXPECT_TRUE(r.value == c.expected);
    }
}

TEST(OpenStepRead, DuplicateKeysLastValueWinsAtFirstPlace) {
    for (int count : {3, 40}) {  // a small dictionary scans, a big one uses its index
        std::string text = "{ ";
        for (int i = 0; i < count; ++i)
            text += std::string("k") + std::to_string(i) + " = v" + std::to_string(i) + "; ";
        ReadResult r = read(text + "k1 = again; k0; }");
        ASSERT_TRUE(r) << r.status.description();
        const auto& entries = r.value.asDictionary()->entries();
        ASSERT_EQ(entries.size(), static_cast<std::size_t>(count));
        EXPECT_EQ(entries[0].key.asString(), "k0");
        EXPECT_EQ(entries[0].value.asString(), "k0");
        EXPECT_EQ(entries[1].value.asString(), "again");
        EXPECT_EQ(entries[2].value.asString(), "v2");
    }
}

TEST(OpenStepRead, MalformedInputsNameTheProblemAndLine) {
    const struct {
        std::string text;
        std::uint64_t line;
        const char* mentions;
    } cases[] = {
        {" \n\t// only a comment\n", 3, "the text is empty"},
        {"{\n Title = \"x\"\n}", 3, "expected ';' after the value of key \"Title\""},
        {"\n\n\n  \"abc\n\n", 6, "unterminated quoted string started on line 4"},
        {"{ a = <0fa>; }", 1, "odd number of hex digits in <data>"},
        {"{ a = <0f a b>; }", 1, "odd number of hex digits"},
        {"<0g>", 1, "'g' in <data>"},
        {"{ a = <0f", 1, "unterminated <data>"},
        {")", 1, "unexpected ')'"},
        {"{ a = ); }", 1, "unexpected ')' where the value of key \"a\""},
        {"( a, , b )", 1, "unexpected ','"},
        {"(\n a\n b )", 3, "expected ',' or ')'"},
        {"{ a }", 1, "expected '=' or ';' after key \"a\""},
        {"{ (a) = b; }", 1, "where a key or '}'"},
        {"{ a = b;\n", 2, "unterminated dictionary started on line 1"},
        {"( a,\n", 2, "unterminated array"},
        {"{ a = ", 1, "value of key \"a\""},
        {"\"\\U\"", 1, "\\U escape"},
        {"{ a = b; }\n junk", 2, "after the end of the property list"},
        {"( a ) /* open", 1, "unterminated comment"},
        {"{\n a = \"\xC3\x28\"; }", 2, "invalid UTF-8"},
        {"\"\xED\xA0\x80\"", 1, "invalid UTF-8"},
        {"\"a\" = \"b\"\n\"c\" = d;", 2, "expected ';' after the value of key \"a\""},
        {"\xFE\xFF\x00{\x00\n\x00"s, 2, "odd number of bytes"},
        {std::string(kMaxDepth + 1, '(') + std::string(kMaxDepth + 1, ')'), 1,
         "too many nested arrays or dictionaries"},
        {[] {
             std::string s;
             for (std::size_t i = 0; i <= kMaxDepth; ++i) s += "{a=";
             return s;
         }(),
         1, "too many nested"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        ReadResult r = read(c.text);
        ASSERT_FALSE(r);
        EXPECT_TRUE(r.value.isNull());
        EXPECT_EQ(r.format, Format::OpenStep);
        EXPECT_EQ(r.status.line, c.line);
        EXPECT_NE(r.status.message.find(c.mentions), std::string::npos) << r.status.message;
    }
    // Offsets count the input's bytes, byte-order mark and UTF-16 included.
    EXPECT_EQ(read("{ a = b c }").status.offset, 8u);
    EXPECT_EQ(read("\xEF\xBB\xBF{ a = b c }").status.offset, 11u);
    EXPECT_EQ(read(withBom("(\"\u00e9\" x)", true)).status.offset, 2u + 2 * 5);
}

// Each prefix sits in a buffer of exactly its size, so the sanitizer catches a read past its end.
TEST(OpenStepRead, EveryTruncationFailsCleanlyOrReadsAPrefix) {
    const std::string documents[] = {kBookmarks, "\"a\" = \"\\U00e9\\101\"; b; c = <00ff>;",
                                     withBom("{ k = ( \"\xED\xA0\xBD\", <0f> ); }", true)};
    for (const std::string& doc : documents)
        for (std::size_t n = 0; n < doc.size(); ++n) {
            ReadResult r = readOpenStep(std::vector<std::uint8_t>(doc.begin(), doc.begin() + n));
            EXPECT_EQ(r.value.isNull(), !r) << n;
        }
}

}  // namespace
}  // namespace orvane::plist
