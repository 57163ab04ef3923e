// The XML property-list reader and writer: round trips, the writer's layout and refusals, what
// the reader accepts (as Apple's does) and what it rejects, with line numbers.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "plist/codec.h"
#include "plist/utf.h"

using namespace orvane::plist;

namespace {

std::span<const std::uint8_t> bytesOf(std::string_view s) { return {reinterpret_cast<const std::uint8_t*>(s.data()), s.size()}; }

ReadResult read(std::string_view s) { return readXml(bytesOf(s)); }

std::string write(const Value& v) {
    StringSink sink;
    std::string error = writeXml(v, sink);
    EXPECT_EQ(error, "");
    return sink.out;
}

std::string writeError(const Value& v) {
    StringSink sink;
    return writeXml(v, sink);
}

const std::string kHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                          "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">\n";
std::string plist(std::string_view body) { return kHead + std::string(body) + "\n</plist>\n"; }

Value str(std::string_view s) { return Value::string(s); }
Value num(std::int64_t i) { return Value::integer(i); }
Value arr(std::initializer_list<Value> items) {
    Value a = Value::array();
    for (const Value& v : items) a.asArray()->append(v);
    return a;
}
Value dict(std::initializer_list<std::pair<std::string_view, Value>> entries) {
    Value d = Value::dictionary();
    for (const auto& [k, v] : entries) d.asDictionary()->appendUnchecked(str(k), v);
    return d;
}
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
Value nested(std::size_t depth) {
    Value root = Value::array(), cur = root;
    for (std::size_t i = 1; i < depth; ++i) {
        Value next = Value::array();
        cur.asArray()->append(next);
        cur = next;
    }
    return root;
}

// Something of every type, the way a bookmarks file looks, with the awkward values.
Value everything() {
    const double inf = std::numeric_limits<double>::infinity();
    Value data = Value::array(), reals = Value::array();
    for (std::size_t n : {0, 1, 2, 3, 4, 5, 57, 58, 200}) data.asArray()->append(bytes(n));
    for (double d : {0.0, -0.0, 1.0, 0.1, -2.5, 1e300, 5e-324, 123456789.125, inf, -inf, std::nan("")})
        reals.asArray()->append(Value::real(d));
    return dict({
        {"Title", str("")},
        {"WebBookmarkType", str("WebBookmarkTypeList")},
        {"Children", arr({dict({{"URLString", str("https://example.com/?a=1&b=<2>")}, {"Title", str("Grüße, 日本, 😀𝄞")}}),
                          dict({{"Title", str("tab\tnewline\ncr\r]]> 'quotes' \"")}, {"Children", arr({})}}), dict({})})},
        {"Integers", arr({num(0), num(-1), num(std::numeric_limits<std::int64_t>::min()),
                          num(std::numeric_limits<std::int64_t>::max()), Value::unsignedInteger(1ull << 63),
                          Value::unsignedInteger(~0ull)})},
        {"Reals", reals},
        {"Data", data},
        {"Dates", arr({Value::date(0), Value::date(-978307200), Value::date(1e9), Value::date(-63113904000.0),
                       Value::date(252423993599.0), Value::date(-1)})},
        {"Booleans", arr({Value::boolean(true), Value::boolean(false)})},
        {"UIDs", arr({Value::uid(0), Value::uid(42), Value::uid(~0ull)})},
        {"Deep", nested(40)},
        {"zeta", num(1)},
        {"alpha", num(2)},
    });
}

}  // namespace

TEST(XmlRoundTrip, EveryValueTypeComesBackEqualAndInOrder) {
    Value original = everything();
    std::string text = write(original);
    ReadResult r = read(text);
    ASSERT_TRUE(r) << r.status.description() << "\n" << text;
    EXPECT_EQ(r.format, Format::Xml);
    EXPECT_EQ(r.value, original) << text;
    EXPECT_EQ(keysOf(r.value), keysOf(original));  // file order, not sorted
    const Value& ints = *r.value.asDictionary()->find("Integers");
    EXPECT_TRUE((*ints.asArray())[5].isBigUnsigned());
    EXPECT_EQ((*ints.asArray())[2].asInt64(), std::numeric_limits<std::int64_t>::min());
    // Writing what was read gives the same bytes again.
    EXPECT_EQ(write(r.value), text);
    // Keys repeated across dictionaries share one string.
    const auto& children = r.value.asDictionary()->find("Children")->asArray()->items();
    EXPECT_TRUE(children[0].asDictionary()->entries()[1].key.isSameObject(r.value.asDictionary()->entries()[0].key));
}

TEST(XmlWriter, ExactLayout) {
    Value v = dict({{"b", arr({str("x<&>y"), num(-7), Value::boolean(true), Value::array(), Value::dictionary()})},
                    {"a", dict({{"r", Value::real(1)}, {"d", Value::date(-1)}})},
                    {"data", bytes(60)},
                    {"u", Value::uid(3)}});
    EXPECT_EQ(write(v), kHead + "<dict>\n"
                                "\t<key>b</key>\n"
                                "\t<array>\n"
                                "\t\t<string>x&lt;&amp;&gt;y</string>\n"
                                "\t\t<integer>-7</integer>\n"
                                "\t\t<true/>\n"
                                "\t\t<array/>\n"
                                "\t\t<dict/>\n"
                                "\t</array>\n"
                                "\t<key>a</key>\n"
                                "\t<dict>\n"
                                "\t\t<key>r</key>\n"
                                "\t\t<real>1</real>\n"
                                "\t\t<key>d</key>\n"
                                "\t\t<date>2000-12-31T23:59:59Z</date>\n"
                                "\t</dict>\n"
                                "\t<key>data</key>\n"
                                "\t<data>\n"
                                "\tCzBVep/E6Q4zWH2ix+wRNluApcrvFDleg6jN8hc8YYar0PUaP2SJrtP4HUJnjLHW+yBFao+02f4j\n"
                                "\tSG2S\n"
                                "\t</data>\n"
                                "\t<key>u</key>\n"
                                "\t<dict>\n"
                                "\t\t<key>CF$UID</key>\n"
                                "\t\t<integer>3</integer>\n"
                                "\t</dict>\n"
                                "</dict>\n"
                                "</plist>\n");
    EXPECT_EQ(write(str("")), kHead + "<string></string>\n</plist>\n");
}

TEST(XmlWriter, RefusesWhatXmlCannotHoldAndNamesWhere) {
    struct Case {
        Value value;
        std::string message;
    };
    Value deep = nested(513), ok = nested(512);
    const Case cases[] = {
        {Value(), "a null value cannot be written"},
        {dict({{"Children", arr({num(1), Value()})}}), "a null value cannot be written (at Children[1])"},
        {dict({{"Children", arr({str(""), str(""), str(""), dict({{"Title", str("a\x01z")}})})}}),
         "the string at Children[3].Title holds U+0001, which XML 1.0 cannot represent; write binary instead"},
        {arr({str("\xED\xA0\x80")}), "the string at [0] holds an unpaired surrogate U+D800"},
        {arr({str("\xEF\xBF\xBE")}), "holds U+FFFE"},
        {arr({str("bad \xC3(")}), "the string at [0] holds invalid UTF-8 (byte 0xC3)"},
        {dict({{"k\x1b", num(1)}}), "the key at k\\u001B holds U+001B"},
        {arr({Value::date(252423993600.0)}), "the date at [0] lies outside the years 1 to 9999"},
        {arr({Value::date(std::nan(""))}), "outside the years 1 to 9999"},
        {deep, "nested in more than 512 arrays or dictionaries"},
    };
    for (const Case& c : cases) EXPECT_NE(writeError(c.value).find(c.message), std::string::npos) << writeError(c.value);
    EXPECT_EQ(writeError(ok), "");

    // A sink that fails stops the writer, which says so; a big tree goes out in chunks.
    struct FailingSink : Sink {
        std::size_t writes = 0, bytes = 0;
        void write(const void*, std::size_t n) override { ++writes, bytes += n; }
        bool failed() const override { return writes >= 2; }
    };
    Value big = Value::array();
    for (int i = 0; i < 20000; ++i) big.asArray()->append(str("https://example.com/some/long/path"));
    FailingSink sink;
    EXPECT_NE(writeXml(big, sink), "");
    EXPECT_EQ(sink.writes, 2u);
    EXPECT_LE(sink.bytes, 2u * 70 * 1024);
}

TEST(XmlReader, AcceptsWhatApplesReaderAccepts) {
    const double inf = std::numeric_limits<double>::infinity();
    std::string manyKeys = "<dict>";
    Value manyExpected = Value::dictionary();
    for (int i = 0; i < 40; ++i) {
        manyKeys += "<key>k" + std::to_string(i % 30) + "</key><integer>" + std::to_string(i) + "</integer>";
        manyExpected.asDictionary()->set("k" + std::to_string(i % 30), num(i));
    }
    manyKeys += "</dict>";
    struct Case {
        std::string text;
        Value expected;
    };
    const Case cases[] = {
        {plist("<string>&lt;&gt;&amp;&apos;&quot;&#65;&#x42;&#x1F600;</string>"), str("<>&'\"AB😀")},
        {plist("<string>&#xD83D;&#xDE00; &#xD800;</string>"), str("😀 \xED\xA0\x80")},  // pairs join, lone halves stay
        {plist("<string>a<![CDATA[<&>]]>b  </string>"), str("a<&>b  ")},
        {plist("<string>  line\r\nkept  </string>"), str("  line\r\nkept  ")},
        {plist("<string/>"), str("")},
        {"<?xml version=\"1.0\"?>\n<!-- c --><!DOCTYPE plist SYSTEM \"x[y].dtd\">\n<?pi x?><plist><!--c--><true/><!--d--></plist>",
         Value::boolean(true)},
        {"<dict><key>a</key><false></false></dict>", dict({{"a", Value::boolean(false)}})},  // no <plist>
        {plist("<array><key>k</key></array>"), arr({str("k")})},  // <key> as a value is a string
        {plist("<array><integer> \t-0x1F</integer><integer>+ 007</integer><integer>18446744073709551615</integer>"
               "<integer>-9223372036854775808</integer><integer>0X7fffffffffffffff</integer></array>"),
         arr({num(-31), num(7), Value::unsignedInteger(~0ull), num(std::numeric_limits<std::int64_t>::min()),
              num(std::numeric_limits<std::int64_t>::max())})},
        {plist("<array><real>NaN</real><real>-INF</real><real>+Infinity</real><real>1e400</real><real>-1e-400</real>"
               "<real>+1.5E3</real><real>.5</real></array>"),
         arr({Value::real(std::nan("")), Value::real(-inf), Value::real(inf), Value::real(inf), Value::real(-0.0),
              Value::real(1500), Value::real(0.5)})},
        {plist("<array><date>1970-01-01T00:00:00Z</date><date>2024-02-29T12:34:56Z</date><date>-0001-12-31T00:00:00Z</date></array>"),
         arr({Value::date(-978307200), Value::date(730902896), Value::date(-63145612800.0)})},
        {plist("<array><data>QUJD</data><data> Q U\nJ D\t!~ </data><data>QQ==</data><data>QUI</data><data></data>"
               "<data>QQ==QUJD</data></array>"),
         arr({Value::data(bytesOf("ABC")), Value::data(bytesOf("ABC")), Value::data(bytesOf("A")), Value::data(bytesOf("AB")),
              Value::data({}), Value::data(bytesOf("AABC"))})},
        {plist("<dict><key>b</key><string>1</string><key>a</key><string>2</string><key>b</key><string>3</string></dict>"),
         dict({{"b", str("3")}, {"a", str("2")}})},  // last value wins, first position kept
        {plist(manyKeys), manyExpected},
        {plist("<array><dict><key>CF$UID</key><integer>7</integer></dict><dict><key>CF$UID</key><integer>-1</integer></dict>"
               "<dict><key>CF$UID</key><integer>1</integer><key>x</key><true/></dict></array>"),
         arr({Value::uid(7), dict({{"CF$UID", num(-1)}}), dict({{"CF$UID", num(1)}, {"x", Value::boolean(true)}})})},
        {"<plist version=\"1.0\" x='>'><string>x</string></plist> junk <after> & </plist>", str("x")},
        {"\xEF\xBB\xBF<string>bom</string>", str("bom")},
        {"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><string>caf\xE9</string>", str("café")},
    };
    for (const Case& c : cases) {
        ReadResult r = read(c.text);
        ASSERT_TRUE(r) << c.text << "\n" << r.status.description();
        EXPECT_EQ(r.value, c.expected) << c.text << "\n" << write(r.value);
    }
    EXPECT_EQ(keysOf(read(plist(manyKeys)).value).size(), 30u);
}

TEST(XmlReader, RejectsMalformedInputWithLineAndReason) {
    struct Case {
        std::string text;
        std::uint64_t line;
        std::string message;
    };
    std::string open513, close513;
    for (int i = 0; i < 513; ++i) open513 += "<array>", close513 += "</array>";
    const Case cases[] = {
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
        {plist("<integer>99999999999999999999</integer>"), 4, "integer 99999999999999999999 does not fit in 64 bits"},
        {plist("<integer>18446744073709551616</integer>"), 4, "does not fit in 64 bits"},
        {plist("<integer>-9223372036854775809</integer>"), 4, "does not fit in 64 bits"},
        {plist("<integer>5 </integer>"), 4, "blank space after its digits"},
        {plist("<real>1.5x</real>"), 4, "real \"1.5x\" is not a number"},
        {plist("<real> 1</real>"), 4, "is not a number"},
        {plist("<date>2024-1-01T00:00:00Z</date>"), 4, "is not of the form YYYY-MM-DDTHH:MM:SSZ"},
        {plist("<date>2024-01-01T00:00:00+01:00</date>"), 4, "is not of the form"},
        {plist("<date>2023-02-29T00:00:00Z</date>"), 4, "the day is out of range"},
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
    for (const Case& c : cases) {
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

TEST(XmlReader, EveryTruncationOfAValidDocumentFailsCleanly) {
    const std::string text = write(everything());
    const std::size_t end = text.rfind("</plist>") + 8;
    for (std::size_t n = 0; n < text.size(); ++n) {
        ReadResult r = read(std::string_view(text).substr(0, n));
        if (n < end) {
            ASSERT_FALSE(r) << n;
            ASSERT_GT(r.status.line, 0u);
            ASSERT_FALSE(r.status.message.empty());
            ASSERT_TRUE(r.value.isNull());
        } else {
            ASSERT_TRUE(r) << n;
        }
    }
}

TEST(XmlReader, ReadsUtf16AndUtf32) {
    const Value expected = dict({{"Title", str("Grüße 😀")}, {"Lone", str("x\xED\xB0\x80y")}});
    std::string doc = plist("<dict><key>Title</key><string>Grüße 😀</string><key>Lone</key><string>x&#xDC00;y</string></dict>");
    std::string be;
    utf::appendUtf16BE(be, doc);
    std::string le = be;
    for (std::size_t i = 0; i + 1 < le.size(); i += 2) std::swap(le[i], le[i + 1]);
    // A raw unpaired surrogate in UTF-16 is kept, as in binary files.
    std::string rawLone;
    utf::appendUtf16BE(rawLone, "<string>x");
    rawLone += std::string("\xDC\x00", 2);
    utf::appendUtf16BE(rawLone, "y</string>");
    std::string utf32 = std::string("\0\0\xFE\xFF", 4);
    for (char c : std::string_view("<string>A")) utf32 += std::string("\0\0\0", 3) + c;
    utf32 += std::string("\0\0\xD8\x3D\0\0\xDE\x00", 8);  // a pair as two units is one character
    for (char c : std::string_view("</string>")) utf32 += std::string("\0\0\0", 3) + c;

    for (const std::string& text : {"\xFE\xFF" + be, "\xFF\xFE" + le, be, le}) {
        ReadResult r = read(text);
        ASSERT_TRUE(r) << r.status.description();
        EXPECT_EQ(r.value, expected);
    }
    EXPECT_EQ(read(rawLone).value, str("x\xED\xB0\x80y"));
    EXPECT_EQ(read(utf32).value, str("A😀"));
    // Errors in UTF-16 text still name the line.
    std::string bad;
    utf::appendUtf16BE(bad, plist("<dict>\n<integer>1</integer></dict>"));
    ReadResult r = read(bad);
    EXPECT_EQ(r.status.line, 5u);
    EXPECT_NE(r.status.message.find("expected <key>"), std::string::npos);
    EXPECT_NE(read(be.substr(0, be.size() - 1)).status.message.find("middle of a character"), std::string::npos);
}
