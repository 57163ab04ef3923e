// The XML property list 1.0 reader.
//
// It accepts what Apple's CoreFoundation reader accepts:
//
// * Encoding: UTF-32 or UTF-16 with a byte-order mark, UTF-16 without one (a NUL among the first
//   two bytes), UTF-8 with or without a mark; otherwise the `encoding=` of the XML declaration,
//   where ISO-8859-1 and US-ASCII are converted and any other non-Unicode encoding is refused.
//   Converted text is parsed as UTF-8; offsets in messages then count bytes of that UTF-8 text.
// * Processing instructions and comments are skipped between elements, a DOCTYPE is skipped in
//   the prolog, but a DOCTYPE with an internal subset ('[') is an error: no declarations are ever
//   read, no entity is ever expanded beyond the five predefined ones, nothing is ever fetched.
// * The <plist> wrapper is optional and holds exactly one object. Anything after the root
//   element's end is ignored, as Apple's reader does (files with junk after </plist> open in
//   Safari, so they open here too).
// * Text is kept verbatim (no trimming, no line-end normalisation); entities are only &lt; &gt;
//   &amp; &apos; &quot; and character references; CDATA sections are allowed inside text.
//
// The parser is iterative: containers live on an explicit stack of at most kMaxDepth frames.
// Everything it allocates is proportional to the input: values, one scratch buffer for text that
// needs decoding, a key interner and, for dictionaries of more than 16 entries, an index for
// finding duplicate keys. Errors are thrown inside the parser as `Failure` and turned into a
// ParseStatus at the entry point; the line is computed from the offset only then.
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "codec.h"
#include "utf.h"

namespace orvane::plist {
namespace {

struct Failure {
    std::size_t offset;
    std::string message;
};

[[noreturn]] void fail(std::size_t offset, std::string message) { throw Failure{offset, std::move(message)}; }

// XML blank space: space, tab, newline, carriage return (one compare and a bit test).
inline bool isSpace(char c) {
    const auto u = static_cast<unsigned char>(c);
    return u <= 0x20 && ((std::uint64_t(1) << u) & 0x100002600ull) != 0;
}

// 1-based line of `offset`; a line ends at LF, CRLF or a lone CR.
std::uint64_t lineAt(std::string_view text, std::size_t offset) {
    if (offset > text.size()) offset = text.size();
    std::uint64_t line = 1;
    for (std::size_t i = 0; i < offset; ++i) {
        if (text[i] == '\n')
            ++line;
        else if (text[i] == '\r' && (i + 1 >= text.size() || text[i + 1] != '\n'))
            ++line;
    }
    return line;
}

// A short, printable rendering of input text for messages: cut at a character boundary,
// control characters escaped.
std::string snippet(std::string_view s, std::size_t max = 40) {
    bool cut = s.size() > max;
    if (cut) {
        std::size_t n = max;
        while (n > 0 && (static_cast<unsigned char>(s[n]) & 0xC0) == 0x80) --n;
        s = s.substr(0, n);
    }
    std::string out;
    out.reserve(s.size() + 8);
    for (char c : s) {
        auto u = static_cast<unsigned char>(c);
        if (u >= 0x20 && u != 0x7F) {
            out.push_back(c);
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\t') {
            out += "\\t";
        } else {
            static const char hex[] = "0123456789ABCDEF";
            out += "\\x";
            out.push_back(hex[u >> 4]);
            out.push_back(hex[u & 15]);
        }
    }
    if (cut) out += "...";
    return out;
}

std::string quoted(std::string_view s) {
    std::string out = "\"";
    out.append(snippet(s)).append("\"");
    return out;
}

std::string hexByte(unsigned char c) {
    static const char hex[] = "0123456789ABCDEF";
    return std::string("0x") + hex[c >> 4] + hex[c & 15];
}

// ---------------------------------------------------------------------------------------------
// Encodings

// Offset of the first byte that does not start a well-formed UTF-8 sequence, or npos. Encoded
// surrogates count as malformed: they are not UTF-8, even though our strings may hold them.
std::size_t firstInvalidUtf8(std::string_view s) {
    const auto* p = reinterpret_cast<const unsigned char*>(s.data());
    const std::size_t n = s.size();
    std::size_t i = 0;
    while (i < n) {
        while (i + 8 <= n) {
            std::uint64_t w;
            std::memcpy(&w, p + i, 8);
            if (w & 0x8080808080808080ull) break;
            i += 8;
        }
        if (i >= n) break;
        if (p[i] < 0x80) {
            ++i;
            continue;
        }
        std::size_t pos = i;
        std::uint32_t cp;
        if (!utf::nextCodePoint(s, pos, cp) || (cp >= 0xD800 && cp <= 0xDFFF)) return i;
        i = pos;
    }
    return std::string_view::npos;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        char x = a[i], y = b[i];
        if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
        if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
        if (x != y) return false;
    }
    return true;
}

bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
    for (std::string_view n : names)
        if (equalsIgnoringCase(name, n)) return true;
    return false;
}

// The `encoding` of an XML declaration at the start of `t`; empty when there is none. Sets
// `offset` to where the name starts, for messages.
std::string_view declaredEncoding(std::string_view t, std::size_t& offset) {
    std::size_t i = 0;
    while (i < t.size() && isSpace(t[i])) ++i;
    if (t.substr(i, 5) != "<?xml" || i + 5 >= t.size() || !isSpace(t[i + 5])) return {};
    std::size_t end = t.find("?>", i);
    if (end == std::string_view::npos) return {};  // the parser reports the unterminated declaration
    std::string_view decl = t.substr(0, end);
    std::size_t e = decl.find("encoding", i);
    if (e == std::string_view::npos) return {};
    std::size_t j = e + 8;
    while (j < decl.size() && isSpace(decl[j])) ++j;
    if (j >= decl.size() || decl[j] != '=') return {};
    ++j;
    while (j < decl.size() && isSpace(decl[j])) ++j;
    if (j >= decl.size() || (decl[j] != '"' && decl[j] != '\'')) return {};
    std::size_t close = decl.find(decl[j], j + 1);
    if (close == std::string_view::npos) return {};
    offset = j + 1;
    return decl.substr(j + 1, close - j - 1);
}

// The document as UTF-8 text to parse.
struct Decoded {
    std::string_view text;           // what the parser reads
    std::string storage;             // the converted text, when the input was not UTF-8
    std::size_t base = 0;            // added to offsets of `text` to get file offsets (a skipped BOM)
    bool converted = false;          // `text` is `storage`, made by a conversion (so well-formed)
    bool mayHoldSurrogates = false;  // converted from UTF-16/32: unpaired surrogates possible
};

void mergeSurrogatePairs(std::string& s);

void decodeUtf32(std::span<const std::uint8_t> bytes, bool bigEndian, Decoded& d) {
    d.converted = true;
    const std::size_t units = bytes.size() / 4;
    d.storage.reserve(units);
    for (std::size_t i = 0; i < units; ++i) {
        const std::uint8_t* p = bytes.data() + 4 * i;
        std::uint32_t cp =
            bigEndian ? (std::uint32_t(p[0]) << 24 | std::uint32_t(p[1]) << 16 | std::uint32_t(p[2]) << 8 | p[3])
                      : (std::uint32_t(p[3]) << 24 | std::uint32_t(p[2]) << 16 | std::uint32_t(p[1]) << 8 | p[0]);
        if (cp > 0x10FFFF) {
            d.text = d.storage;
            fail(d.storage.size(),
                 "the UTF-32 text holds the value " + std::to_string(cp) + ", which is not a Unicode character");
        }
        utf::appendCodePoint(d.storage, cp);
        if (cp >= 0xD800 && cp <= 0xDFFF) d.mayHoldSurrogates = true;
    }
    // A pair spelt as two UTF-32 units is one character, as UTF-16 would read it.
    if (d.mayHoldSurrogates) mergeSurrogatePairs(d.storage);
    d.text = d.storage;
    if (bytes.size() % 4 != 0) fail(d.storage.size(), "the UTF-32 text ends in the middle of a character");
}

void decodeUtf16(std::span<const std::uint8_t> bytes, bool bigEndian, Decoded& d) {
    d.converted = true;
    utf::appendUtf16(d.storage, bytes.data(), bytes.size() / 2, bigEndian);
    d.text = d.storage;
    d.mayHoldSurrogates = d.storage.find('\xED') != std::string::npos;
    if (bytes.size() % 2 != 0) fail(d.storage.size(), "the UTF-16 text ends in the middle of a character");
}

// Fills `d` (never moved afterwards: `text` may point into `storage`).
void decode(std::span<const std::uint8_t> bytes, Decoded& d) {
    auto at = [&](std::size_t i) -> int { return i < bytes.size() ? bytes[i] : -1; };
    const std::size_t n = bytes.size();
    if (n >= 4 && at(0) == 0 && at(1) == 0 && at(2) == 0xFE && at(3) == 0xFF) {
        decodeUtf32(bytes.subspan(4), true, d);
    } else if (n >= 4 && at(0) == 0xFF && at(1) == 0xFE && at(2) == 0 && at(3) == 0) {
        decodeUtf32(bytes.subspan(4), false, d);
    } else if (n >= 3 && at(0) == 0xEF && at(1) == 0xBB && at(2) == 0xBF) {
        d.text = std::string_view(reinterpret_cast<const char*>(bytes.data()) + 3, n - 3);
        d.base = 3;
    } else if (n >= 2 && at(0) == 0xFE && at(1) == 0xFF) {
        decodeUtf16(bytes.subspan(2), true, d);
    } else if (n >= 2 && at(0) == 0xFF && at(1) == 0xFE) {
        decodeUtf16(bytes.subspan(2), false, d);
    } else if (n >= 2 && (at(0) == 0 || at(1) == 0)) {
        decodeUtf16(bytes, at(0) == 0, d);
    } else {
        d.text = std::string_view(reinterpret_cast<const char*>(bytes.data()), n);
        std::size_t nameOffset = 0;
        std::string_view enc = declaredEncoding(d.text, nameOffset);
        if (enc.empty() || isOneOf(enc, {"UTF-8", "UTF8"})) {
            // the common case, checked below
        } else if (isOneOf(enc, {"UTF-16", "UTF-16BE", "UTF-16LE", "UTF16", "UTF-32", "UTF-32BE", "UTF-32LE",
                                 "ISO-10646-UCS-2", "UCS-2"})) {
            // The declaration itself reads as single bytes, so the document is not really in a
            // 16- or 32-bit encoding: it was converted without updating the declaration.
        } else if (isOneOf(enc, {"US-ASCII", "ASCII", "ANSI_X3.4-1968", "ISO646-US"})) {
            for (std::size_t i = 0; i < n; ++i)
                if (bytes[i] >= 0x80)
                    fail(i, "byte " + hexByte(bytes[i]) + " is not US-ASCII, the encoding the document declares");
            return;
        } else if (isOneOf(enc, {"ISO-8859-1", "ISO8859-1", "ISO_8859-1", "latin1", "latin-1", "L1", "IBMus819"})) {
            if (utf::isAscii(d.text)) return;
            d.storage.reserve(n + n / 8);
            for (std::uint8_t b : bytes) utf::appendCodePoint(d.storage, b);
            d.text = d.storage;
            d.converted = true;
            return;
        } else {
            fail(nameOffset, "unsupported encoding " + quoted(enc) +
                                 "; XML property lists are read in UTF-8, UTF-16, ISO-8859-1 or US-ASCII");
        }
    }
    if (!d.converted) {
        std::size_t bad = firstInvalidUtf8(d.text);
        if (bad != std::string_view::npos)
            fail(bad, "invalid UTF-8: byte " + hexByte(static_cast<unsigned char>(d.text[bad])) +
                          " does not start a well-formed character");
    }
}

// Joins the WTF-8 encodings of a high and a following low surrogate into the one four-byte
// sequence of their code point, so that strings keep the invariant of utf.h. Pieces of text
// glued together (entities, CDATA sections) can bring such halves next to each other.
void mergeSurrogatePairs(std::string& s) {
    auto high = [&](std::size_t i) {
        return i + 2 < s.size() && s[i] == '\xED' && (static_cast<unsigned char>(s[i + 1]) & 0xF0) == 0xA0;
    };
    auto low = [&](std::size_t i) {
        return i + 2 < s.size() && s[i] == '\xED' && (static_cast<unsigned char>(s[i + 1]) & 0xF0) == 0xB0;
    };
    std::size_t r = s.find('\xED');
    if (r == std::string::npos) return;
    std::size_t w = r;
    while (r < s.size()) {
        if (high(r) && low(r + 3)) {
            std::uint32_t hi = 0xD000 | (std::uint32_t(s[r + 1] & 0x3F) << 6) | std::uint32_t(s[r + 2] & 0x3F);
            std::uint32_t lo = 0xD000 | (std::uint32_t(s[r + 4] & 0x3F) << 6) | std::uint32_t(s[r + 5] & 0x3F);
            std::uint32_t cp = 0x10000 + ((hi - 0xD800) << 10) + (lo - 0xDC00);
            s[w++] = static_cast<char>(0xF0 | (cp >> 18));
            s[w++] = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
            s[w++] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            s[w++] = static_cast<char>(0x80 | (cp & 0x3F));
            r += 6;
        } else {
            s[w++] = s[r++];
        }
    }
    s.resize(w);
}

// ---------------------------------------------------------------------------------------------
// Scalars

constexpr std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
    const auto yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

constexpr std::int64_t kDays1970To2001 = daysFromCivil(2001, 1, 1);

bool isLeap(std::int64_t y) { return y % 4 == 0 && (y % 100 != 0 || y % 400 == 0); }

Value parseInteger(std::string_view s, std::size_t offset) {
    std::size_t i = 0;
    auto wide = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; };
    while (i < s.size() && wide(s[i])) ++i;
    if (i == s.size()) fail(offset, "<integer> is empty");
    bool negative = false;
    if (s[i] == '+' || s[i] == '-') {
        negative = s[i] == '-';
        ++i;
        while (i < s.size() && wide(s[i])) ++i;
    }
    unsigned base = 10;
    if (i + 1 < s.size() && s[i] == '0' && (s[i + 1] == 'x' || s[i + 1] == 'X')) {
        base = 16;
        i += 2;
    }
    const std::size_t digitsStart = i;
    std::uint64_t magnitude = 0;
    bool overflow = false;
    for (; i < s.size(); ++i) {
        char c = s[i];
        unsigned digit;
        if (c >= '0' && c <= '9')
            digit = unsigned(c - '0');
        else if (base == 16 && c >= 'a' && c <= 'f')
            digit = unsigned(c - 'a' + 10);
        else if (base == 16 && c >= 'A' && c <= 'F')
            digit = unsigned(c - 'A' + 10);
        else
            break;
        if (magnitude > (std::numeric_limits<std::uint64_t>::max() - digit) / base) overflow = true;
        magnitude = magnitude * base + digit;
    }
    if (i < s.size()) {
        std::size_t j = i;
        while (j < s.size() && wide(s[j])) ++j;
        if (j == s.size() && i > digitsStart)
            fail(offset, "integer " + quoted(s) + " has blank space after its digits, which is not allowed");
        fail(offset, "integer " + quoted(s) + " is not a number");
    }
    if (i == digitsStart) fail(offset, "integer " + quoted(s) + " has no digits");
    const std::uint64_t limit = std::uint64_t(1) << 63;
    if (overflow || (negative && magnitude > limit)) fail(offset, "integer " + snippet(s) + " does not fit in 64 bits");
    if (negative)
        return Value::integer(magnitude == limit ? std::numeric_limits<std::int64_t>::min()
                                                 : -static_cast<std::int64_t>(magnitude));
    return Value::unsignedInteger(magnitude);
}

Value parseReal(std::string_view s, std::size_t offset) {
    if (s.empty()) fail(offset, "<real> is empty");
    std::string_view body = s;
    bool negative = false;
    if (body[0] == '+' || body[0] == '-') {
        negative = body[0] == '-';
        body.remove_prefix(1);
    }
    if (equalsIgnoringCase(body, "nan")) return Value::real(std::numeric_limits<double>::quiet_NaN());
    if (equalsIgnoringCase(body, "inf") || equalsIgnoringCase(body, "infinity"))
        return Value::real(negative ? -std::numeric_limits<double>::infinity()
                                    : std::numeric_limits<double>::infinity());
    // from_chars takes no '+'; a '-' it reads itself.
    const char* first = s.data() + (s[0] == '+' ? 1 : 0);
    const char* last = s.data() + s.size();
    if (first == last || *first == '+' || (s[0] == '+' && *first == '-'))
        fail(offset, "real " + quoted(s) + " is not a number");
    double d = 0;
    auto [ptr, ec] = std::from_chars(first, last, d, std::chars_format::general);
    if (ptr != last || ec == std::errc::invalid_argument) fail(offset, "real " + quoted(s) + " is not a number");
    if (ec == std::errc::result_out_of_range) {
        // Too big or too small for a double: like strtod, answer infinity or zero. The decimal
        // exponent of the first significant digit tells which.
        std::int64_t exponent = 0, intDigits = 0, leadingZeros = 0;
        bool seenDigit = false, afterPoint = false;
        const char* q = body.data();
        const char* end = body.data() + body.size();
        for (; q < end && *q != 'e' && *q != 'E'; ++q) {
            if (*q == '.') {
                afterPoint = true;
            } else if (*q != '0' || seenDigit) {
                seenDigit = true;
                if (!afterPoint) ++intDigits;
            } else if (afterPoint) {
                ++leadingZeros;
            }
        }
        if (q < end) {  // an exponent, saturated: only its sign and rough size matter
            ++q;
            bool negativeExponent = q < end && *q == '-';
            if (q < end && (*q == '+' || *q == '-')) ++q;
            for (; q < end && *q >= '0' && *q <= '9'; ++q)
                if (exponent < 1000000) exponent = exponent * 10 + (*q - '0');
            if (negativeExponent) exponent = -exponent;
        }
        std::int64_t magnitude = exponent + (intDigits > 0 ? intDigits : -leadingZeros);
        d = magnitude > 0 ? std::numeric_limits<double>::infinity() : 0.0;
        if (negative) d = -d;
    }
    if (std::isnan(d)) d = std::numeric_limits<double>::quiet_NaN();  // one NaN, whatever the spelling
    return Value::real(d);
}

// [-]Y+-MM-DDTHH:MM:SSZ, UTC, proleptic Gregorian calendar (years as CF reads them: any number
// of digits, here bounded to nine).
Value parseDate(std::string_view s, std::size_t offset) {
    auto bad = [&](const char* why) -> Value {
        fail(offset, "date " + quoted(s) + " is not of the form YYYY-MM-DDTHH:MM:SSZ" + why);
    };
    std::size_t i = 0;
    bool negative = false;
    if (i < s.size() && s[i] == '-') negative = true, ++i;
    std::int64_t year = 0;
    std::size_t yearStart = i;
    while (i < s.size() && s[i] >= '0' && s[i] <= '9' && i - yearStart < 9) year = year * 10 + (s[i++] - '0');
    if (i == yearStart || i >= s.size() || s[i] != '-') return bad("");
    ++i;
    auto two = [&](char after) -> int {
        if (i + 2 > s.size() || s[i] < '0' || s[i] > '9' || s[i + 1] < '0' || s[i + 1] > '9') bad("");
        int v = (s[i] - '0') * 10 + (s[i + 1] - '0');
        i += 2;
        if (i >= s.size() || s[i] != after) bad("");
        ++i;
        return v;
    };
    int month = two('-'), day = two('T'), hour = two(':'), minute = two(':'), second = two('Z');
    if (i != s.size()) return bad("");
    if (negative) year = -year;
    static const int kDaysIn[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month < 1 || month > 12) return bad(" (the month is out of range)");
    int monthDays = kDaysIn[month - 1] + (month == 2 && isLeap(year) ? 1 : 0);
    if (day < 1 || day > monthDays) return bad(" (the day is out of range)");
    if (hour > 23 || minute > 59 || second > 59) return bad(" (the time is out of range)");
    std::int64_t days = daysFromCivil(year, unsigned(month), unsigned(day)) - kDays1970To2001;
    std::int64_t seconds = days * 86400 + hour * 3600 + minute * 60 + second;
    return Value::date(static_cast<double>(seconds));
}

constexpr std::array<std::int8_t, 256> makeBase64Table() {
    std::array<std::int8_t, 256> t{};
    for (auto& x : t) x = -1;
    const char* alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (int i = 0; i < 64; ++i) t[static_cast<unsigned char>(alphabet[i])] = static_cast<std::int8_t>(i);
    return t;
}
constexpr auto kBase64 = makeBase64Table();

// Decodes like CF: ASCII outside the alphabet is skipped, each '=' counts as a zero digit and
// drops one byte from the group it ends; a trailing partial group of 2 or 3 digits still gives its
// 1 or 2 bytes. Bytes >= 0x80 are an error. The output never exceeds 3/4 of the input.
void decodeBase64(std::string_view s, std::size_t offset, std::vector<std::uint8_t>& out) {
    out.clear();
    out.reserve(s.size() / 4 * 3 + 3);
    std::uint32_t acc = 0;
    unsigned count = 0, padding = 0;
    for (char ch : s) {
        auto c = static_cast<unsigned char>(ch);
        int v;
        if (c >= 0x80) fail(offset, "<data> holds byte " + hexByte(c) + ", which is not base64");
        if (c == '=') {
            ++padding;
            v = 0;
        } else {
            v = kBase64[c];
            if (v < 0) continue;
            padding = 0;
        }
        acc = (acc << 6) | unsigned(v);
        if (++count == 4) {
            out.push_back(static_cast<std::uint8_t>(acc >> 16));
            if (padding < 2) out.push_back(static_cast<std::uint8_t>(acc >> 8));
            if (padding < 1) out.push_back(static_cast<std::uint8_t>(acc));
            count = 0;
            acc = 0;
        }
    }
    if (count >= 2 && padding == 0) {  // unpadded tail
        acc <<= 6 * (4 - count);
        out.push_back(static_cast<std::uint8_t>(acc >> 16));
        if (count == 3) out.push_back(static_cast<std::uint8_t>(acc >> 8));
    }
}

// ---------------------------------------------------------------------------------------------
// The parser

enum class Tag : std::uint8_t { Plist, Array, Dict, Key, String, Data, Date, Integer, Real, True, False, Unknown };

Tag classify(std::string_view n) {
    auto is = [&](std::string_view name) { return std::memcmp(n.data(), name.data(), name.size()) == 0; };
    switch (n.size()) {
    case 3:
        if (is("key")) return Tag::Key;
        break;
    case 4:
        switch (n[0]) {
        case 'd':
            if (is("dict")) return Tag::Dict;
            if (is("data")) return Tag::Data;
            if (is("date")) return Tag::Date;
            break;
        case 'r':
            if (is("real")) return Tag::Real;
            break;
        case 't':
            if (is("true")) return Tag::True;
            break;
        default: break;
        }
        break;
    case 5:
        if (is("array")) return Tag::Array;
        if (is("false")) return Tag::False;
        if (is("plist")) return Tag::Plist;
        break;
    case 6:
        if (is("string")) return Tag::String;
        break;
    case 7:
        if (is("integer")) return Tag::Integer;
        break;
    default: break;
    }
    return Tag::Unknown;
}

struct StartTag {
    Tag tag;
    bool empty;  // <name/>
    std::size_t offset;
    std::string_view name;
};

// Above this many entries a dictionary being read gets a hash index for duplicate keys.
constexpr std::size_t kLinearKeyLimit = 16;
// Keys up to this length are interned, so equal keys are the same object.
constexpr std::size_t kInternLimit = 256;

// An open <array> or <dict>. Its items wait on the reader's item stack from `first` on (for a
// dictionary: key, value, key, value, ... and maybe a key still waiting for its value), so that
// the container is made once, at its end tag, with its exact size.
struct Frame {
    bool isDict;
    bool haveKey = false;  // dictionaries: the last item is a key waiting for its value
    std::size_t first;     // where its items start on the item stack
    std::size_t offset;    // of the start tag
    std::unique_ptr<std::unordered_map<std::string_view, std::size_t>> index;  // key -> item position
};

class Reader {
public:
    explicit Reader(const Decoded& d)
        : doc_(d.text),
          b_(d.text.data()),
          p_(d.text.data()),
          e_(d.text.data() + d.text.size()),
          mayHoldSurrogates_(d.mayHoldSurrogates) {}

    Value run();

private:
    std::size_t at(const char* q) const { return static_cast<std::size_t>(q - b_); }
    std::size_t here() const { return at(p_); }
    bool startsWith(const char* q, std::string_view s) const {
        return static_cast<std::size_t>(e_ - q) >= s.size() && std::memcmp(q, s.data(), s.size()) == 0;
    }
    const char* find(const char* from, std::string_view s) const {
        std::size_t i = doc_.find(s, at(from));
        return i == std::string_view::npos ? nullptr : b_ + i;
    }
    std::string startedOn(std::size_t offset) const {
        return " started on line " + std::to_string(lineAt(doc_, offset));
    }

    void skipMisc(bool prolog, std::string_view where);
    // skipMisc for the common case: blank space, then a tag that is no comment or instruction.
    void skipBetween(std::string_view where) {
        while (p_ < e_ && isSpace(*p_)) ++p_;
        if (p_ + 1 < e_ && *p_ == '<' && p_[1] != '?' && p_[1] != '!') return;
        skipMisc(false, where);
    }
    // Consumes "</name>" when it comes next, exactly so.
    bool endTagFollows(std::string_view name) {
        const std::size_t n = name.size();
        if (static_cast<std::size_t>(e_ - p_) < n + 3 || p_[0] != '<' || p_[1] != '/' || p_[n + 2] != '>' ||
            std::memcmp(p_ + 2, name.data(), n) != 0)
            return false;
        p_ += n + 3;
        return true;
    }
    void skipDoctype();
    StartTag readStartTag();
    std::string_view readEndTag(std::size_t& offset);
    void expectEndTag(const StartTag& st);
    std::string_view readText(const StartTag& st);
    const char* decodeEntity(const char* amp);
    Value internKey(std::string_view text);
    Value parseElement(StartTag st);
    void add(Frame& f, Value v);
    Value close(const Frame& f);

    std::string_view doc_;
    const char* b_;
    const char* p_;
    const char* e_;
    bool mayHoldSurrogates_;
    bool madeSurrogate_ = false;
    std::string scratch_;
    std::vector<std::uint8_t> bytes_;
    std::vector<Frame> stack_;
    std::vector<Value> items_;  // the items of every open container, innermost last
    std::unordered_map<std::string_view, Value> keys_;
    Arena arena_;
};

// Skips blank space, comments and processing instructions (and, in the prolog, a DOCTYPE).
// Stops at the next '<' that starts something else, or at the end. Other text is an error.
void Reader::skipMisc(bool prolog, std::string_view where) {
    for (;;) {
        while (p_ < e_ && isSpace(*p_)) ++p_;
        if (p_ >= e_) return;
        if (*p_ != '<') {
            const char* stop = static_cast<const char*>(std::memchr(p_, '<', static_cast<std::size_t>(e_ - p_)));
            std::string_view text(p_, static_cast<std::size_t>((stop ? stop : e_) - p_));
            if (prolog) fail(here(), "unexpected text " + quoted(text) + " before the first element");
            fail(here(), "unexpected text " + quoted(text) + " in " + std::string(where));
        }
        if (startsWith(p_, "<?")) {
            const char* end = find(p_ + 2, "?>");
            if (!end) fail(here(), "unterminated processing instruction (no \"?>\")");
            p_ = end + 2;
        } else if (startsWith(p_, "<!--")) {
            const char* end = find(p_ + 4, "-->");
            if (!end) fail(here(), "unterminated comment (no \"-->\")");
            p_ = end + 3;
        } else if (prolog && startsWith(p_, "<!DOCTYPE")) {
            skipDoctype();
        } else {
            return;
        }
    }
}

void Reader::skipDoctype() {
    const char* start = p_;
    for (const char* q = p_ + 9; q < e_; ++q) {
        if (*q == '"' || *q == '\'') {
            const char* close = static_cast<const char*>(std::memchr(q + 1, *q, static_cast<std::size_t>(e_ - q - 1)));
            if (!close) break;
            q = close;
        } else if (*q == '[') {
            fail(at(q), "the DOCTYPE has an internal subset ('['); entity and other declarations are not allowed");
        } else if (*q == '>') {
            p_ = q + 1;
            return;
        }
    }
    fail(at(start), "unterminated <!DOCTYPE");
}

// At '<' of a start tag. Attributes are skipped (quoted values may hold '>').
StartTag Reader::readStartTag() {
    StartTag st;
    st.offset = here();
    const char* q = p_ + 1;
    while (q < e_ && !isSpace(*q) && *q != '>' && *q != '/') ++q;
    st.name = std::string_view(p_ + 1, static_cast<std::size_t>(q - p_ - 1));
    if (st.name.empty()) fail(st.offset, "'<' is not followed by an element name");
    if (st.name[0] == '!') {
        if (startsWith(p_, "<![CDATA["))
            fail(st.offset, "a CDATA section is only allowed inside <string>, <key> or other text");
        if (startsWith(p_, "<!DOCTYPE")) fail(st.offset, "<!DOCTYPE is only allowed before the first element");
        if (startsWith(p_, "<!ENTITY")) fail(st.offset, "entity declarations are not allowed");
        fail(st.offset, "unexpected markup <" + snippet(st.name) + ">");
    }
    while (q < e_ && *q != '>') {
        if (*q == '"' || *q == '\'') {
            const char* close = static_cast<const char*>(std::memchr(q + 1, *q, static_cast<std::size_t>(e_ - q - 1)));
            if (!close) break;
            q = close;
        }
        ++q;
    }
    if (q >= e_) fail(st.offset, "unterminated tag <" + snippet(st.name) + " (no '>')");
    st.empty = q[-1] == '/';
    p_ = q + 1;
    st.tag = classify(st.name);
    return st;
}

// At "</". Answers the name; `offset` gets the tag's offset.
std::string_view Reader::readEndTag(std::size_t& offset) {
    offset = here();
    const char* q = p_ + 2;
    while (q < e_ && !isSpace(*q) && *q != '>') ++q;
    std::string_view name(p_ + 2, static_cast<std::size_t>(q - p_ - 2));
    while (q < e_ && isSpace(*q)) ++q;
    if (q >= e_ || *q != '>') fail(offset, "malformed end tag </" + snippet(name) + " (no '>')");
    p_ = q + 1;
    return name;
}

void Reader::expectEndTag(const StartTag& st) {
    if (endTagFollows(st.name)) return;
    if (p_ >= e_) fail(here(), "unterminated <" + std::string(st.name) + ">" + startedOn(st.offset));
    if (!startsWith(p_, "</"))
        fail(here(), std::string("<").append(st.name).append("> must be empty or closed at once"));
    std::size_t offset;
    std::string_view name = readEndTag(offset);
    if (name != st.name)
        fail(offset, "expected </" + std::string(st.name) + "> to close <" + std::string(st.name) + ">" +
                         startedOn(st.offset) + ", found </" + snippet(name) + ">");
}

// Decodes the entity or character reference at '&' into scratch_; answers where text goes on.
const char* Reader::decodeEntity(const char* amp) {
    const char* limit = e_ - amp > 14 ? amp + 14 : e_;
    const char* semi = static_cast<const char*>(std::memchr(amp, ';', static_cast<std::size_t>(limit - amp)));
    if (!semi) fail(at(amp), "'&' does not start an entity such as &amp; (write & as &amp;)");
    std::string_view name(amp + 1, static_cast<std::size_t>(semi - amp - 1));
    if (name == "lt")
        scratch_.push_back('<');
    else if (name == "gt")
        scratch_.push_back('>');
    else if (name == "amp")
        scratch_.push_back('&');
    else if (name == "apos")
        scratch_.push_back('\'');
    else if (name == "quot")
        scratch_.push_back('"');
    else if (name.size() >= 2 && name[0] == '#') {
        bool hex = name[1] == 'x';
        std::string_view digits = name.substr(hex ? 2 : 1);
        std::uint64_t cp = 0;
        bool okDigits = !digits.empty();
        for (char c : digits) {
            unsigned d;
            if (c >= '0' && c <= '9')
                d = unsigned(c - '0');
            else if (hex && c >= 'a' && c <= 'f')
                d = unsigned(c - 'a' + 10);
            else if (hex && c >= 'A' && c <= 'F')
                d = unsigned(c - 'A' + 10);
            else {
                okDigits = false;
                break;
            }
            cp = cp * (hex ? 16 : 10) + d;
        }
        if (!okDigits) fail(at(amp), "malformed character reference &" + snippet(name) + ";");
        if (cp == 0 || cp > 0x10FFFF)
            fail(at(amp), "character reference &" + snippet(name) + "; is not a Unicode character");
        utf::appendCodePoint(scratch_, static_cast<std::uint32_t>(cp));
        if (cp >= 0xD800 && cp <= 0xDFFF) madeSurrogate_ = true;
    } else {
        fail(at(amp), "unknown entity &" + snippet(name) +
                          "; (only &lt; &gt; &amp; &apos; &quot; and character references are allowed)");
    }
    return semi + 1;
}

// Reads the text of a text element up to and including its end tag. The answer points into the
// document when the text needed no decoding, else into scratch_; it is valid until the next call.
std::string_view Reader::readText(const StartTag& st) {
    if (st.empty) return {};
    const char* start = p_;
    const char* run = p_;
    bool copied = false;
    scratch_.clear();
    for (;;) {
        const char* lt = static_cast<const char*>(std::memchr(run, '<', static_cast<std::size_t>(e_ - run)));
        const char* stop = lt ? lt : e_;
        if (const char* amp = static_cast<const char*>(std::memchr(run, '&', static_cast<std::size_t>(stop - run)))) {
            scratch_.append(run, amp);
            copied = true;
            run = decodeEntity(amp);
            continue;
        }
        if (!lt) fail(at(e_), "unterminated <" + std::string(st.name) + ">" + startedOn(st.offset));
        if (lt + 1 < e_ && lt[1] == '/') {
            std::string_view text;
            if (copied) {
                scratch_.append(run, lt);
                if (mayHoldSurrogates_ || madeSurrogate_) {
                    mergeSurrogatePairs(scratch_);
                    madeSurrogate_ = false;
                }
                text = scratch_;
            } else {
                text = std::string_view(start, static_cast<std::size_t>(lt - start));
            }
            p_ = lt;
            expectEndTag(st);
            return text;
        }
        if (startsWith(lt, "<![CDATA[")) {
            const char* end = find(lt + 9, "]]>");
            if (!end) fail(at(lt), "unterminated CDATA section (no \"]]>\")");
            scratch_.append(run, lt);
            scratch_.append(lt + 9, end);
            copied = true;
            run = end + 3;
            continue;
        }
        p_ = lt;
        if (startsWith(lt, "<!--")) fail(at(lt), "a comment is not allowed inside <" + std::string(st.name) + ">");
        StartTag inner = readStartTag();
        fail(inner.offset,
             "unexpected <" + snippet(inner.name) + "> inside <" + std::string(st.name) + ">, which holds only text");
    }
}

Value Reader::internKey(std::string_view text) {
    if (text.size() > kInternLimit) return Value::string(text, &arena_);  // long keys are not worth sharing
    auto it = keys_.find(text);
    if (it != keys_.end()) return it->second;
    Value v = Value::string(text, &arena_);
    keys_.emplace(v.asString(), v);
    return v;
}

// Stores a finished value into the container on top of the stack. Duplicate keys: the last value
// wins, at the position of the first.
void Reader::add(Frame& f, Value v) {
    if (!f.isDict) {
        items_.push_back(std::move(v));
        return;
    }
    f.haveKey = false;
    const std::size_t keyAt = items_.size() - 1;
    const Value& key = items_[keyAt];
    const std::string_view k = key.asString();
    if (f.index) {
        auto [it, inserted] = f.index->try_emplace(k, keyAt);
        if (!inserted) {
            items_[it->second + 1] = std::move(v);
            items_.pop_back();
            return;
        }
    } else {
        // Interned keys are equal exactly when they are the same object.
        const bool interned = k.size() <= kInternLimit;
        for (std::size_t i = f.first; i < keyAt; i += 2) {
            if (items_[i].isSameObject(key) || (!interned && items_[i].asString() == k)) {
                items_[i + 1] = std::move(v);
                items_.pop_back();
                return;
            }
        }
    }
    items_.push_back(std::move(v));
    const std::size_t pairs = (items_.size() - f.first) / 2;
    if (!f.index && pairs > kLinearKeyLimit) {
        f.index = std::make_unique<std::unordered_map<std::string_view, std::size_t>>();
        f.index->reserve(pairs * 2);
        for (std::size_t i = f.first; i < items_.size(); i += 2) f.index->emplace(items_[i].asString(), i);
    }
}

// Makes the container of the frame on top from its items and takes them off the item stack.
// A dictionary of exactly one {CF$UID: n} entry (n >= 0) is a UID.
Value Reader::close(const Frame& f) {
    const std::size_t n = items_.size() - f.first;
    if ((f.isDict ? n / 2 : n) > kMaxContainerSize) fail(f.offset, "more elements than a property list may hold");
    auto begin = items_.begin() + static_cast<std::ptrdiff_t>(f.first);
    Value result;
    if (!f.isDict) {
        result = Value::array(n, &arena_);
        Array* array = result.asArray();
        for (auto it = begin; it != items_.end(); ++it) array->append(std::move(*it));
    } else if (n == 2 && items_[f.first].asString() == "CF$UID" && items_[f.first + 1].type() == Type::Integer &&
               (items_[f.first + 1].isBigUnsigned() || items_[f.first + 1].asInt64() >= 0)) {
        result = Value::uid(items_[f.first + 1].asUInt64());
    } else {
        result = Value::dictionary(n / 2, &arena_);
        Dictionary* d = result.asDictionary();
        for (std::size_t i = f.first; i < items_.size(); i += 2)
            d->appendUnchecked(Key(items_[i]), std::move(items_[i + 1]));
    }
    items_.erase(begin, items_.end());
    return result;
}

// Parses the element whose start tag was just read, with everything inside it.
Value Reader::parseElement(StartTag st) {
    for (;;) {
        Value v;
        bool complete = true;
        if (!stack_.empty() && stack_.back().isDict && !stack_.back().haveKey) {
            Frame& top = stack_.back();
            if (st.tag != Tag::Key) fail(st.offset, "expected <key> in <dict>, found <" + snippet(st.name) + ">");
            items_.push_back(internKey(readText(st)));
            top.haveKey = true;
            complete = false;
        } else {
            switch (st.tag) {
            case Tag::Array:
            case Tag::Dict: {
                if (stack_.size() >= kMaxDepth)
                    fail(st.offset, "too many nested arrays or dictionaries (more than 512)");
                if (st.empty) {
                    v = st.tag == Tag::Array ? Value::array() : Value::dictionary();
                    break;
                }
                stack_.push_back(Frame{st.tag == Tag::Dict, false, items_.size(), st.offset, nullptr});
                complete = false;
                break;
            }
            case Tag::String:
            case Tag::Key: v = Value::string(readText(st), &arena_); break;
            case Tag::Integer: {
                std::size_t offset = here();
                v = parseInteger(readText(st), st.empty ? st.offset : offset);
                break;
            }
            case Tag::Real: {
                std::size_t offset = here();
                v = parseReal(readText(st), st.empty ? st.offset : offset);
                break;
            }
            case Tag::Date: {
                std::size_t offset = here();
                v = parseDate(readText(st), st.empty ? st.offset : offset);
                break;
            }
            case Tag::Data: {
                if (st.empty) fail(st.offset, "<data/> is not allowed; empty data is written <data></data>");
                std::size_t offset = here();
                decodeBase64(readText(st), offset, bytes_);
                v = Value::data(bytes_, &arena_);
                break;
            }
            case Tag::True:
            case Tag::False:
                if (!st.empty) expectEndTag(st);
                v = Value::boolean(st.tag == Tag::True);
                break;
            case Tag::Plist: fail(st.offset, "<plist> is only allowed as the outermost element");
            case Tag::Unknown: fail(st.offset, "unknown element <" + snippet(st.name) + ">");
            }
        }
        // Hand finished values up, closing the containers whose end tags follow, until the next
        // start tag (or the end of the outermost element).
        for (;;) {
            if (complete) {
                if (stack_.empty()) return v;
                add(stack_.back(), std::move(v));
                complete = false;
            }
            Frame& top = stack_.back();
            const std::string_view name = top.isDict ? "dict" : "array";
            skipBetween(top.isDict ? std::string_view("<dict>") : std::string_view("<array>"));
            if (endTagFollows(name)) {
                if (top.haveKey)
                    fail(here() - name.size() - 3,
                         "key " + quoted(items_.back().asString()) + " in <dict> has no value");
                v = close(top);
                stack_.pop_back();
                complete = true;
                continue;
            }
            if (p_ >= e_) fail(here(), "unterminated <" + std::string(name) + ">" + startedOn(top.offset));
            if (p_ + 1 < e_ && p_[1] == '/') {
                std::size_t offset;
                std::string_view end = readEndTag(offset);
                if (end != name)
                    fail(offset, "expected </" + std::string(name) + "> to close <" + std::string(name) + ">" +
                                     startedOn(top.offset) + ", found </" + snippet(end) + ">");
                if (top.haveKey) fail(offset, "key " + quoted(items_.back().asString()) + " in <dict> has no value");
                v = close(top);
                stack_.pop_back();
                complete = true;
                continue;
            }
            st = readStartTag();
            break;
        }
    }
}

Value Reader::run() {
    if (doc_.empty()) fail(0, "the document is empty");
    skipMisc(true, {});
    if (p_ >= e_) fail(here(), "the document holds no element");
    if (startsWith(p_, "</")) fail(here(), "unexpected end tag before the first element");
    StartTag st = readStartTag();
    if (st.tag != Tag::Plist) return parseElement(st);  // a bare root element, as CF accepts

    if (st.empty) fail(st.offset, "<plist/> holds no object");
    skipMisc(false, "<plist>");
    if (p_ >= e_) fail(here(), "unterminated <plist>" + startedOn(st.offset));
    if (p_ + 1 < e_ && p_[1] == '/') fail(here(), "<plist> holds no object");
    Value root = parseElement(readStartTag());
    skipMisc(false, "<plist>");
    if (p_ >= e_) fail(here(), "unterminated <plist>" + startedOn(st.offset));
    if (!(p_ + 1 < e_ && p_[1] == '/')) fail(here(), "<plist> holds more than one object");
    std::size_t offset;
    std::string_view end = readEndTag(offset);
    if (end != "plist") fail(offset, "expected </plist>, found </" + snippet(end) + ">");
    // Whatever follows </plist> is ignored, as Apple's reader ignores it.
    return root;
}

}  // namespace

ReadResult readXml(std::span<const std::uint8_t> bytes) {
    ReadResult result;
    result.format = Format::Xml;
    Decoded decoded;
    try {
        decode(bytes, decoded);
        Reader reader(decoded);
        result.value = reader.run();
    } catch (const Failure& f) {
        result.value = Value();
        std::string_view text = decoded.text.data()
                                    ? decoded.text
                                    : std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        result.status = ParseStatus::atLine(lineAt(text, f.offset), f.offset + decoded.base, f.message);
    }
    return result;
}

}  // namespace orvane::plist
