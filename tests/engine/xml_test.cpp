// The XML property-list reader and writer: round trips, the writer's layout and refusals, what
// the reader accepts (as Apple's does) and what it rejects, with line numbers.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "test_support.h"

using namespace orvane::plist;
using namespace orvane::test;

namespace {

ReadResult read(std::string_view s) { return readXml(bytesOf(s)); }

std::string writeError(const Value& v) {
    StringSink sink;
    return writeXml(v, sink);
}

const std::string kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">\n";
std::string plist(std::string_view body) { return kHead + std::string(body) + "\n</plist>\n"; }

Value bytes(std::size_t n) {
    std::vector<std::uint8_t> b(n);
    for (std::size_t i = 0; i < n; ++i) b[i] = static_cast<std::uint8_t>(i * 37 + 11);
    return Value::data(b);
}
std::vector<std::string> keysOf(const Value& d) {
    std::vector<std::string> keys;
    for (const auto& e : d.asDictionary()->entries()) keys.emplace_back(e.key.asString());
    return keys;
}

// Something of every type, the way a bookmarks file looks, with the awkward values.
Value everything() {
    const double inf = std::numeric_limits<double>::infinity();
    Value data = Value::array(), reals = Value::array();
    for (std::size_t n : {0, 1, 2, 3, 4, 5, 57, 58, 200}) data.asArray()->append(bytes(n));
    for (double d : {0.0, -0.0, 1.0, 0.1, -2.5, 1e300, 5e-324, 123456789.125, inf, -inf, std::nan("")})
        reals.asArray()->append(Value::real(d));
    return D({
        {"Title", S("")},
        {"WebBookmarkType", S("WebBookmarkTypeList")},
        {"Children", A({D({{"URLString", S("https://example.com/?a=1&b=<2>")}, {"Title", S("Grüße, 日本, 😀𝄞")}}),
                        D({{"Title", S("tab\tnewline\ncr\r]]> 'quotes' \"")}, {"Children", A({})}}), D({})})},
        {"Integers", A({I(0), I(-1), I(INT64_MIN), I(INT64_MAX), Value::unsignedInteger(1ull << 63),
                        Value::unsignedInteger(~0ull)})},
        {"Reals", reals},
        {"Data", data},
        {"Dates", A({Value::date(0), Value::date(-978307200), Value::date(1e9), Value::date(-63113904000.0),
                     Value::date(252423993599.0), Value::date(-1)})},
        {"Booleans", A({Value::boolean(true), Value::boolean(false)})},
        {"UIDs", A({Value::uid(0), Value::uid(42), Value::uid(~0ull)})},
        {"Deep", nested(40)},
        {"zeta", I(1)},
        {"alpha", I(2)},
    });
}

}  // namespace

TEST(XmlRoundTrip, EveryValueTypeComesBackEqualAndInOrder) {
    Value original = everything();
    std::string text = toXml(original);
    ReadResult r = read(text);
    ASSERT_TRUE(r) << r.status.description() << "\n" << text;
    EXPECT_EQ(r.format, Format::Xml);
    EXPECT_EQ(r.value, original) << text;
    EXPECT_EQ(keysOf(r.value), keysOf(original));  // file order, not sorted
    // Writing what was read gives the same bytes again.
    EXPECT_EQ(toXml(r.value), text);
    // Keys repeated across dictionaries share one string.
    const auto& children = r.value.asDictionary()->find("Children")->asArray()->items();
    EXPECT_TRUE(children[0].asDictionary()->entries()[1].key.isSameObject(r.value.asDictionary()->entries()[0].key));
}

TEST(XmlWriter, ExactLayout) {
    Value v = D({{"b", A({S("x<&>y"), I(-7), Value::boolean(true), Value::array(), Value::dictionary()})},
                 {"a", D({{"r", Value::real(1)}, {"d", Value::date(-1)}})},
                 {"data", bytes(60)},
                 {"u", Value::uid(3)}});
    EXPECT_EQ(toXml(v), kHead +
                            "<dict>\n"
                            "\t<key>b</key>\n\t<array>\n"
                            "\t\t<string>x&lt;&amp;&gt;y</string>\n\t\t<integer>-7</integer>\n"
                            "\t\t<true/>\n\t\t<array/>\n\t\t<dict/>\n"
                            "\t</array>\n"
                            "\t<key>a</key>\n\t<dict>\n"
                            "\t\t<key>r</key>\n\t\t<real>1</real>\n"
                            "\t\t<key>d</key>\n\t\t<date>2000-12-31T23:59:59Z</date>\n"
                            "\t</dict>\n"
                            "\t<key>data</key>\n\t<data>\n"
                            "\tCzBVep/E6Q4zWH2ix+wRNluApcrvFDleg6jN8hc8YYar0PUaP2SJrtP4HUJnjLHW+yBFao+02f4j\n\tSG2S\n"
                            "\t</data>\n"
                            "\t<key>u</key>\n\t<dict>\n\t\t<key>CF$UID</key>\n\t\t<integer>3</integer>\n\t</dict>\n"
                            "</dict>\n</plist>\n");
    EXPECT_EQ(toXml(S("")), kHead + "<string></string>\n</plist>\n");
}

TEST(XmlWriter, RefusesWhatXmlCannotHoldAndNamesWhere) {
    const struct {
        Value value;
        std::string message;
    } cases[] = {
        {Value(), "a null value cannot be written"},
        {D({{"Children", A({I(1), Value()})}}), "a null value cannot be written (at Children[1])"},
        {D({{"Children", A({S(""), S(""), S(""), D({{"Title", S("a\x01z")}})})}}),
         "the string at Children[3].Title holds U+0001, which XML 1.0 cannot represent; write binary instead"},
        {A({S("\xED\xA0\x80")}), "the string at [0] holds an unpaired surrogate U+D800"},
        {A({S("\xEF\xBF\xBE")}), "holds U+FFFE"},
        {A({S("bad \xC3(")}), "the string at [0] holds invalid UTF-8 (byte 0xC3)"},
        {D({{"k\x1b", I(1)}}), "the key at k\\u001B holds U+001B"},
        {A({Value::date(252423993600.0)}), "the date at [0] lies outside the years 1 to 9999"},
        {A({Value::date(std::nan(""))}), "outside the years 1 to 9999"},
        {nested(513), "nested in more than 512 arrays or dictionaries"},
    };
    for (const auto& c : cases)
        EXPECT_NE(writeError(c.value).find(c.message), std::string::npos) << writeError(c.value);
    EXPECT_EQ(writeError(nested(512)), "");

    // A sink that fails stops the writer, which says so; a big tree goes out in chunks.
    Value big = Value::array();
    for (int i = 0; i < 20000; ++i) big.asArray()->append(S("https://example.com/some/long/path"));
    FailingSink sink(1);
    EXPECT_NE(writeXml(big, sink), "");
    EXPECT_EQ(sink.writes, 2u);
    EXPECT_LE(sink.bytes, 2u * 70 * 1024);
}

TEST(XmlReader, AcceptsWhatApplesReaderAccepts) {
    const double inf = std::numeric_limits<double>::infinity();
    std::string manyKeys = "<dict>";
    Value manyExpected = Value::dictionary();
    for (int i = 0; i < 40; ++i) {
        const std::string key = std::string("k") + std::to_string(i % 30);
        manyKeys += "<key>" + key + "</key><integer>" + std::to_string(i) + "</integer>";
        manyExpected.asDictionary()->set(key, I(i));
    }
    const struct {
        std::string text;
        Value expected;
    } cases[] = {
        {plist("<string>&lt;&gt;&amp;&apos;&quot;&#65;&#x42;&#x1F600;</string>"), S("<>&'\"AB😀")},
        {plist("<string>&#xD83D;&#xDE00; &#xD800;</string>"), S("😀 \xED\xA0\x80")},  // pairs join, lone halves stay
        {plist("<string>a<![CDATA[<&>]]>b  </string>"), S("a<&>b  ")},
        {plist("<string/>"), S("")},
        {"<?xml version=\"1.0\"?>\n<!-- c --><!DOCTYPE plist SYSTEM \"x[y].dtd\">\n<?pi x?><plist><!--c--><true/><!--d--></plist>",
         Value::boolean(true)},
        {"<dict><key>a</key><false></false></dict>", D({{"a", Value::boolean(false)}})},  // no <plist>
        {plist("<array><key>k</key></array>"), A({S("k")})},  // <key> as a value is a string
        {plist("<array><integer> \t-0x1F</integer><integer>+ 007</integer><integer>18446744073709551615</integer>"
               "<integer>-9223372036854775808</integer><integer>0X7fffffffffffffff</integer></array>"),
         A({I(-31), I(7), Value::unsignedInteger(~0ull), I(INT64_MIN), I(INT64_MAX)})},
        {plist("<array><real>NaN</real><real>-INF</real><real>+Infinity</real><real>1e400</real><real>-1e-400</real>"
               "<real>+1.5E3</real><real>.5</real></array>"),
         A({Value::real(std::nan("")), Value::real(-inf), Value::real(inf), Value::real(inf), Value::real(-0.0),
            Value::real(1500), Value::real(0.5)})},
        {plist(
             "<array><date>1970-01-01T00:00:00Z</date><date>2024-02-29T12:34:56Z</date><date>-0001-12-31T00:00:00Z</date></array>"),
         A({Value::date(-978307200), Value::date(730902896), Value::date(-63145612800.0)})},
        {plist("<array><data>QUJD</data><data> Q U\nJ D\t!~ </data><data>QQ==</data><data>QUI</data><data></data>"
               "<data>QQ==QUJD</data></array>"),
         A({Value::data(bytesOf("ABC")), Value::data(bytesOf("ABC")), Value::data(bytesOf("A")),
            Value::data(bytesOf("AB")), Value::data({}), Value::data(bytesOf("AABC"))})},
        {plist(
             "<dict><key>b</key><string>1</string><key>a</key><string>2</string><key>b</key><string>3</string></dict>"),
         D({{"b", S("3")}, {"a", S("2")}})},  // last value wins, first position kept
        {plist(manyKeys + "</dict>"), manyExpected},
        {plist(
             "<array><dict><key>CF$UID</key><integer>7</integer></dict><dict><key>CF$UID</key><integer>-1</integer></dict>"
             "<dict><key>CF$UID</key><integer>1</integer><key>x</key><true/></dict></array>"),
         A({Value::uid(7), D({{"CF$UID", I(-1)}}), D({{"CF$UID", I(1)}, {"x", Value::boolean(true)}})})},
        {"<plist version=\"1.0\" x='>'><string>x</string></plist> junk <after> & </plist>", S("x")},
        {"\xEF\xBB\xBF<string>bom</string>", S("bom")},
        {"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><string>caf\xE9</string>", S("café")},
    };
    for (const auto& c : cases) {
        ReadResult r = read(c.text);
        ASSERT_TRUE(r) << c.text << "\n" << r.status.description();
        EXPECT_EQ(r.value, c.expected) << c.text << "\n" << toXml(r.value);
    }
}

TEST(XmlReader, RejectsMalformedInputWithLineAndReason) {
    std::string open513, close513;
    for (int i = 0; i < 513; ++i) open513 += "<array>", close513 += "</array>";
    const struct {
        std::string text;
        std::uint64_t line;
        std::string message;
    } cases[] = {
        {"", 1, "empty"},
        {"  \n  ", 2, "no element"},
        {kHead + "<array>\n<string>x</string>", 5, "unterminated <array> started on line 4"},
        {"<plist>\n<string>abc", 2, "unterminated <string> started on line 2"},
        {plist("<array>\n</dict>"), 5, "expected </array> to close <array> started on line 4, found </dict>"},
        {plist("<string>x</key>"), 4, "expected </string>"},
        {"<!DOCTYPE plist [\n<!ENTITY a \"aaaa\">\n]>\n<string>&a;</string>", 1, "internal subset"},
        {plist("<string>&a;</string>"), 4, "unknown entity &a;"},
        {plist("<string>AT&T</string>"), 4, "'&' does not start an entity"},
        {plist("<string>&#0;</string>"), 4, "not a Unicode character"},
        {plist("<string>&#x110000;</string>"), 4, "not a Unicode character"},
        {plist("<dict>\n<key>a</key>\n</dict>"), 6, "key \"a\" in <dict> has no value"},
        {plist("<dict>\n<string>a</string>\n</dict>"), 5, "expected <key> in <dict>, found <string>"},
        {plist("<array><foo/></array>"), 4, "unknown element <foo>"},
        {plist("<Array></Array>"), 4, "unknown element <Array>"},
        {plist("<array>text</array>"), 4, "unexpected text \"text\" in <array>"},
        {plist("<string>a<b/>c</string>"), 4, "unexpected <b> inside <string>"},
        {plist("<string>a<!-- no -->c</string>"), 4, "comment is not allowed"},
        {plist("<integer>12a</integer>"), 4, "integer \"12a\" is not a number"},
        {plist("<integer></integer>"), 4, "<integer> is empty"},
        {plist("<integer>0x</integer>"), 4, "has no digits"},
        {plist("<integer>18446744073709551616</integer>"), 4, "integer 18446744073709551616 does not fit in 64 bits"},
        {plist("<integer>-9223372036854775809</integer>"), 4, "does not fit in 64 bits"},
        {plist("<integer>5 </integer>"), 4, "blank space after its digits"},
        {plist("<real>1.5x</real>"), 4, "real \"1.5x\" is not a number"},
        {plist("<real> 1</real>"), 4, "is not a number"},  // unlike <integer>, no leading blank space
        {plist("<date>2024-1-01T00:00:00Z</date>"), 4, "is not of the form YYYY-MM-DDTHH:MM:SSZ"},
        {plist("<date>1900-02-29T00:00:00Z</date>"), 4, "the day is out of range"},
        {plist("<date>2023-13-01T00:00:00Z</date>"), 4, "the month is out of range"},
        {plist("<data>QUJD\xC3\xA9</data>"), 4, "<data> holds byte 0xC3, which is not base64"},
        {plist("<data/>"), 4, "<data/> is not allowed"},
        {plist("<true>x</true>"), 4, "<true> must be empty"},
        {plist("<string>a</string>\n<string>b</string>"), 5, "<plist> holds more than one object"},
        {"<plist>\n</plist>", 2, "<plist> holds no object"},
        {plist("<array><plist/></array>"), 4, "only allowed as the outermost element"},
        {plist("<string>\x80</string>"), 4, "invalid UTF-8: byte 0x80"},
        {plist("<string>\xED\xA0\x80</string>"), 4, "invalid UTF-8"},  // surrogates are not UTF-8
        {"<?xml version=\"1.0\" encoding=\"Shift_JIS\"?><string/>", 1, "unsupported encoding \"Shift_JIS\""},
        {"<?xml version=\"1.0\" encoding=\"us-ascii\"?>\n<string>\xC3\xA9</string>", 2, "is not US-ASCII"},
        {"<!-- open", 1, "unterminated comment"},
        {"<?xml version=\"1.0\"", 1, "unterminated processing instruction"},
        {"<string", 1, "unterminated tag <string"},
        {"text<string/>", 1, "before the first element"},
        {"\n" + open513 + close513, 2, "too many nested arrays or dictionaries"},
    };
    for (const auto& c : cases) {
        ReadResult r = read(c.text);
        EXPECT_FALSE(r) << c.text;
        EXPECT_TRUE(r.value.isNull());
        EXPECT_EQ(r.format, Format::Xml);
        EXPECT_EQ(r.status.line, c.line) << c.text << "\n" << r.status.description();
        EXPECT_NE(r.status.message.find(c.message), std::string::npos) << c.text << "\n" << r.status.description();
    }
    // 512 levels are fine, empty innermost container or not.
    std::string open512 = open513.substr(7), close512 = close513.substr(8);
    EXPECT_TRUE(read(open512 + close512));
    EXPECT_TRUE(read(open512.substr(7) + "<array/>" + close512.substr(8)));
    EXPECT_FALSE(read(open512 + "<array/>" + close512));
}

// Each prefix sits in a buffer of exactly its size, so the sanitizer catches a read past its end.
TEST(XmlReader, EveryTruncationOfAValidDocumentFailsCleanly) {
    const std::string text = toXml(everything());
    const std::size_t end = text.rfind("</plist>") + 8;
    for (std::size_t n = 0; n < text.size(); ++n) {
        ReadResult r = readXml(std::vector<std::uint8_t>(text.begin(), text.begin() + n));
        ASSERT_EQ(static_cast<bool>(r), n >= end) << n;
        ASSERT_EQ(r.value.isNull(), n < end) << n;
    }
}

TEST(XmlReader, ReadsUtf16AndUtf32) {
    const Value expected = D({{"Title", S("Grüße 😀")}, {"Lone", S("x\xED\xB0\x80y")}});
    const std::string doc =
        plist("<dict><key>Title</key><string>Grüße 😀</string><key>Lone</key><string>x&#xDC00;y</string></dict>");
    const std::string be = utf16(doc, true), le = utf16(doc, false);
    std::string utf32 = std::string("\0\0\xFE\xFF", 4);
    for (char c : std::string_view("<string>A")) utf32 += std::string("\0\0\0", 3) + c;
    utf32 += std::string("\0\0\xD8\x3D\0\0\xDE\x00", 8);  // a pair as two units is one character
    for (char c : std::string_view("</string>")) utf32 += std::string("\0\0\0", 3) + c;

    for (const std::string& text : {"\xFE\xFF" + be, "\xFF\xFE" + le, be, le}) {
        ReadResult r = read(text);
        ASSERT_TRUE(r) << r.status.description();
        EXPECT_EQ(r.value, expected);
    }
    // A raw unpaired surrogate in UTF-16 is kept, as in binary files.
    EXPECT_EQ(read(utf16("<string>x\xED\xB0\x80y</string>", true)).value, S("x\xED\xB0\x80y"));
    EXPECT_EQ(read(utf32).value, S("A😀"));
    // Errors in UTF-16 text still name the line.
    ReadResult r = read(utf16(plist("<dict>\n<integer>1</integer></dict>"), true));
    EXPECT_EQ(r.status.line, 5u);
    EXPECT_NE(r.status.message.find("expected <key>"), std::string::npos);
    EXPECT_NE(read(be.substr(0, be.size() - 1)).status.message.find("middle of a character"), std::string::npos);
}
