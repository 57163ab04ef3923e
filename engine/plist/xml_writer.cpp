// The XML property list 1.0 writer.
//
// The layout is that of Apple's writer (plist-format.md, section 2.3): the usual declaration and
// DOCTYPE, tab indentation, one element per line, <array/> and <dict/> for empty containers,
// base64 data on lines of its own. Two deliberate differences: dictionary keys keep the
// dictionary's own order (Apple sorts them; we keep the file's layout), and base64 lines are always
// 76 characters wide, whatever the indentation.
//
// Strings are checked as they are written: XML 1.0 cannot hold control characters other than tab,
// newline and carriage return, surrogates or U+FFFE/U+FFFF, so such a string stops the writer with
// a message naming where it is ("Children[3].Title"). Output goes through a 64 KiB buffer to the
// sink, or straight into the string of a StringSink. The tree is walked with an explicit stack.
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "codec.h"
#include "utf.h"

namespace orvane::plist {
namespace {

constexpr std::size_t kBufferSize = 64 * 1024;

constexpr std::string_view kHeader =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";

// Byte classes for writing text: 0 plain, 1 escaped (< > &), 2 forbidden control, 3 non-ASCII.
constexpr std::array<std::uint8_t, 256> makeClasses() {
    std::array<std::uint8_t, 256> t{};
    for (int c = 0; c < 0x20; ++c) t[c] = 2;
    t['\t'] = t['\n'] = t['\r'] = 0;
    t['<'] = t['>'] = t['&'] = 1;
    for (int c = 0x80; c < 0x100; ++c) t[c] = 3;
    return t;
}
constexpr auto kClass = makeClasses();

constexpr std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
    const auto yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

struct Civil {
    std::int64_t year;
    unsigned month, day;
};

constexpr Civil civilFromDays(std::int64_t z) {
    z += 719468;
    const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const auto doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    const unsigned d = doy - (153 * mp + 2) / 5 + 1;
    const unsigned m = mp < 10 ? mp + 3 : mp - 9;
    return {static_cast<std::int64_t>(yoe) + era * 400 + (m <= 2), m, d};
}

constexpr std::int64_t kDays1970To2001 = daysFromCivil(2001, 1, 1);
// Dates the "%04d" year format can hold: 0001-01-01T00:00:00Z up to the end of 9999.
constexpr double kFirstDate = double((daysFromCivil(1, 1, 1) - kDays1970To2001) * 86400);
constexpr double kEndDate = double((daysFromCivil(10000, 1, 1) - kDays1970To2001) * 86400);

const char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

class Writer {
public:
    explicit Writer(Sink& sink) : sink_(sink), direct_(dynamic_cast<StringSink*>(&sink)) {
        if (direct_) {
            out_ = &direct_->out;
        } else {
            buffer_.reserve(kBufferSize + 1024);
            out_ = &buffer_;
        }
    }

    std::string run(const Value& root);

private:
    struct Frame {
        const Array* array;  // exactly one of array, dict
        const Dictionary* dict;
        std::size_t next;  // the child to write next
    };

    void put(std::string_view s) {
        out_->append(s);
        if (out_->size() >= kBufferSize) flush();
    }
    void put(char c) { out_->push_back(c); }
    void indent(std::size_t depth) {
        static constexpr std::size_t kTabs = 16;
        static constexpr char tabs[kTabs + 1] = "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t";
        for (; depth > kTabs; depth -= kTabs) out_->append(tabs, kTabs);
        out_->append(tabs, depth);
    }
    void flush() {
        if (direct_ || buffer_.empty()) return;
        if (!sinkFailed_) sink_.write(buffer_.data(), buffer_.size());
        buffer_.clear();
        if (sink_.failed()) sinkFailed_ = true;
    }

    bool value(const Value& v, std::size_t depth);
    bool text(std::string_view s, const char* what);
    bool data(std::span<const std::uint8_t> bytes, std::size_t depth);
    bool date(double t);
    std::string path() const;
    bool error(std::string message) {
        error_ = std::move(message);
        return false;
    }
    std::string at() const {
        std::string p = path();
        return p.empty() ? "the root" : p;
    }

    Sink& sink_;
    StringSink* direct_;
    std::string buffer_;
    std::string* out_;
    bool sinkFailed_ = false;
    std::vector<Frame> stack_;
    std::string error_;
};

// Where the value being written sits: "Children[3].Title"; empty for the root. Keys are shown
// with unprintable characters escaped.
std::string Writer::path() const {
    std::string p;
    for (const Frame& f : stack_) {
        if (f.next == 0) break;
        if (f.array) {
            p += '[';
            p += std::to_string(f.next - 1);
            p += ']';
            continue;
        }
        if (!p.empty()) p += '.';
        std::string_view key = f.dict->entries()[f.next - 1].key.asString();
        std::size_t pos = 0;
        while (pos < key.size()) {
            std::uint32_t cp;
            std::size_t start = pos;
            char buf[16];
            if (!utf::nextCodePoint(key, pos, cp)) {
                std::snprintf(buf, sizeof buf, "\\x%02X", static_cast<unsigned char>(key[start]));
                p += buf;
                pos = start + 1;
            } else if (cp < 0x20 || cp == 0x7F || (cp >= 0xD800 && cp <= 0xDFFF) || cp == 0xFFFE || cp == 0xFFFF) {
                std::snprintf(buf, sizeof buf, "\\u%04X", cp);
                p += buf;
            } else {
                p.append(key, start, pos - start);
            }
        }
    }
    return p;
}

// Writes `s` escaped, or answers false when XML 1.0 cannot hold one of its characters.
bool Writer::text(std::string_view s, const char* what) {
    const auto* u = reinterpret_cast<const unsigned char*>(s.data());
    std::size_t run = 0, i = 0;
    const std::size_t n = s.size();
    while (i < n) {
        const std::uint8_t cls = kClass[u[i]];
        if (cls == 0) {
            ++i;
            continue;
        }
        if (cls == 1) {
            out_->append(s.data() + run, i - run);
            out_->append(u[i] == '<' ? "&lt;" : u[i] == '>' ? "&gt;" : "&amp;");
            run = ++i;
            continue;
        }
        std::uint32_t cp = u[i];
        std::size_t pos = i;
        char buf[16];
        if (cls == 3) {
            if (!utf::nextCodePoint(s, pos, cp)) {
                std::snprintf(buf, sizeof buf, "0x%02X", u[i]);
                return error(std::string("the ") + what + " at " + at() + " holds invalid UTF-8 (byte " + buf +
                             "), which XML 1.0 cannot represent; write binary instead");
            }
            if (!(cp >= 0xD800 && cp <= 0xDFFF) && cp != 0xFFFE && cp != 0xFFFF) {
                i = pos;
                continue;
            }
        }
        std::snprintf(buf, sizeof buf, "U+%04X", cp);
        std::string which = cp >= 0xD800 && cp <= 0xDFFF ? std::string("an unpaired surrogate ") + buf : buf;
        return error(std::string("the ") + what + " at " + at() + " holds " + which +
                     ", which XML 1.0 cannot represent; write binary instead");
    }
    out_->append(s.data() + run, n - run);
    return true;
}

bool Writer::data(std::span<const std::uint8_t> bytes, std::size_t depth) {
    put("<data>\n");
    constexpr std::size_t kLineBytes = 57;  // 76 base64 characters
    char line[80];
    for (std::size_t off = 0; off < bytes.size(); off += kLineBytes) {
        const std::size_t len = std::min(kLineBytes, bytes.size() - off);
        const std::uint8_t* p = bytes.data() + off;
        char* w = line;
        std::size_t k = 0;
        for (; k + 3 <= len; k += 3) {
            const std::uint32_t t = std::uint32_t(p[k]) << 16 | std::uint32_t(p[k + 1]) << 8 | p[k + 2];
            *w++ = kBase64[t >> 18];
            *w++ = kBase64[(t >> 12) & 63];
            *w++ = kBase64[(t >> 6) & 63];
            *w++ = kBase64[t & 63];
        }
        if (len - k == 1) {
            const std::uint32_t t = std::uint32_t(p[k]) << 16;
            *w++ = kBase64[t >> 18];
            *w++ = kBase64[(t >> 12) & 63];
            *w++ = '=';
            *w++ = '=';
        } else if (len - k == 2) {
            const std::uint32_t t = std::uint32_t(p[k]) << 16 | std::uint32_t(p[k + 1]) << 8;
            *w++ = kBase64[t >> 18];
            *w++ = kBase64[(t >> 12) & 63];
            *w++ = kBase64[(t >> 6) & 63];
            *w++ = '=';
        }
        *w++ = '\n';
        indent(depth);
        put(std::string_view(line, static_cast<std::size_t>(w - line)));
    }
    indent(depth);
    put("</data>\n");
    return true;
}

bool Writer::date(double t) {
    if (!(t >= kFirstDate && t < kEndDate))
        return error("the date at " + at() + " lies outside the years 1 to 9999, which XML dates cannot hold");
    const auto seconds = static_cast<std::int64_t>(std::floor(t));
    std::int64_t days = seconds / 86400;
    std::int64_t rest = seconds % 86400;
    if (rest < 0) rest += 86400, --days;
    const Civil c = civilFromDays(days + kDays1970To2001);
    // "<date>%04d-%02d-%02dT%02d:%02d:%02dZ</date>\n", without printf's cost.
    char buf[] = "<date>0000-00-00T00:00:00Z</date>\n";
    auto two = [&](char* at, unsigned v) {
        at[0] = static_cast<char>('0' + v / 10);
        at[1] = static_cast<char>('0' + v % 10);
    };
    const auto year = static_cast<unsigned>(c.year);  // 1..9999
    two(buf + 6, year / 100);
    two(buf + 8, year % 100);
    two(buf + 11, c.month);
    two(buf + 14, c.day);
    two(buf + 17, static_cast<unsigned>(rest / 3600));
    two(buf + 20, static_cast<unsigned>(rest / 60 % 60));
    two(buf + 23, static_cast<unsigned>(rest % 60));
    put(std::string_view(buf, sizeof buf - 1));
    return true;
}

// Writes one value at `depth` tabs; a non-empty container is opened and pushed.
bool Writer::value(const Value& v, std::size_t depth) {
    char buf[64];
    switch (v.type()) {
    case Type::Null: {
        std::string p = path();
        return error(p.empty() ? "a null value cannot be written" : "a null value cannot be written (at " + p + ")");
    }
    case Type::Boolean:
        indent(depth);
        put(v.asBool() ? "<true/>\n" : "<false/>\n");
        return true;
    case Type::Integer: {
        auto r = v.isBigUnsigned() ? std::to_chars(buf, buf + sizeof buf, v.asUInt64())
                                   : std::to_chars(buf, buf + sizeof buf, v.asInt64());
        indent(depth);
        out_->append("<integer>");
        out_->append(buf, r.ptr);
        put("</integer>\n");
        return true;
    }
    case Type::Real: {
        const double d = v.asReal();
        std::string_view s;
        if (std::isnan(d)) {
            s = "nan";
        } else if (std::isinf(d)) {
            s = d > 0 ? "+infinity" : "-infinity";
        } else {
            // The shortest text that reads back as the same double ("1", "0.1", "1e+300", "-0").
            auto r = std::to_chars(buf, buf + sizeof buf, d);
            s = std::string_view(buf, static_cast<std::size_t>(r.ptr - buf));
        }
        indent(depth);
        out_->append("<real>");
        out_->append(s);
        put("</real>\n");
        return true;
    }
    case Type::Date: indent(depth); return date(v.asDate());
    case Type::String:
        indent(depth);
        out_->append("<string>");
        if (!text(v.asString(), "string")) return false;
        put("</string>\n");
        return true;
    case Type::Data: indent(depth); return data(v.asData(), depth);
    case Type::Uid: {
        if (stack_.size() >= kMaxDepth) break;
        auto r = std::to_chars(buf, buf + sizeof buf, v.asUid());
        indent(depth);
        out_->append("<dict>\n");
        indent(depth + 1);
        out_->append("<key>CF$UID</key>\n");
        indent(depth + 1);
        out_->append("<integer>");
        out_->append(buf, r.ptr);
        out_->append("</integer>\n");
        indent(depth);
        put("</dict>\n");
        return true;
    }
    case Type::Array:
    case Type::Dictionary: {
        // Every array or dictionary element counts as a level, empty ones too, as the readers count.
        if (stack_.size() >= kMaxDepth) break;
        const Array* a = v.asArray();
        const Dictionary* d = v.asDictionary();
        indent(depth);
        if (a ? a->empty() : d->empty()) {
            put(a ? "<array/>\n" : "<dict/>\n");
            return true;
        }
        put(a ? "<array>\n" : "<dict>\n");
        stack_.push_back({a, d, 0});
        return true;
    }
    }
    return error("the value at " + at() + " is nested in more than " + std::to_string(kMaxDepth) +
                 " arrays or dictionaries; readers refuse deeper trees");
}

std::string Writer::run(const Value& root) {
    put(kHeader);
    if (!value(root, 0)) return error_;
    while (!stack_.empty()) {
        if (sinkFailed_) return "the XML property list could not be written: the output failed";
        Frame& f = stack_.back();
        const std::size_t depth = stack_.size();
        if (f.array) {
            if (f.next < f.array->size()) {
                if (!value((*f.array)[f.next++], depth)) return error_;
                continue;
            }
        } else if (f.next < f.dict->size()) {
            const Dictionary::Entry& e = f.dict->entries()[f.next++];
            indent(depth);
            out_->append("<key>");
            if (!text(e.key.asString(), "key")) return error_;
            put("</key>\n");
            if (!value(e.value, depth)) return error_;
            continue;
        }
        const bool isArray = f.array != nullptr;
        stack_.pop_back();
        indent(stack_.size());
        put(isArray ? "</array>\n" : "</dict>\n");
    }
    put("</plist>\n");
    flush();
    if (sinkFailed_ || sink_.failed()) return "the XML property list could not be written: the output failed";
    return {};
}

}  // namespace

std::string writeXml(const Value& root, Sink& sink) {
    Writer writer(sink);
    return writer.run(root);
}

}  // namespace orvane::plist
