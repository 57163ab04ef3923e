#include "stores/chromium/chromium_json.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <deque>

namespace orvane::json {
namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;

// The next code point of `s` at `pos`; a sequence that is not well-formed UTF-8 (a surrogate, an
// overlong form, a truncated or stray byte) gives U+FFFD for its longest valid beginning.
std::uint32_t nextCodePoint(std::string_view s, std::size_t& pos) {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(s[i]); };
    const std::uint8_t lead = byte(pos++);
    if (lead < 0x80) return lead;
    int extra;
    std::uint32_t cp, low = 0x80, high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF)
        extra = 1, cp = lead & 0x1F;
    else if (lead >= 0xE0 && lead <= 0xEF)
        extra = 2, cp = lead & 0x0F, low = lead == 0xE0 ? 0xA0 : 0x80, high = lead == 0xED ? 0x9F : 0xBF;
    else if (lead >= 0xF0 && lead <= 0xF4)
        extra = 3, cp = lead & 0x07, low = lead == 0xF0 ? 0x90 : 0x80, high = lead == 0xF4 ? 0x8F : 0xBF;
    else
        return kReplacement;
    for (int i = 0; i < extra; ++i, low = 0x80, high = 0xBF) {
        if (pos >= s.size() || byte(pos) < low || byte(pos) > high) return kReplacement;
        cp = cp << 6 | (byte(pos++) & 0x3F);
    }
    return cp;
}

void appendUtf8(std::string& out, std::uint32_t cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | cp >> 6);
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | cp >> 12);
        out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | cp >> 18);
        out += static_cast<char>(0x80 | (cp >> 12 & 0x3F));
        out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

class Writer {
public:
    Writer(const Document& document, const Edits& edits, plist::Sink& sink)
        : d_(document), edits_(edits), sink_(sink) {}

    std::string run() {
        value(d_.root(), 0);
        out_ += '\n';
        flush();
        return sink_.failed() ? "the file could not be written" : "";
    }

private:
    struct Entry {
        std::string_view key;
        const Replacement* replacement;  // or the document's value:
        ValueId value;
    };

    void flush() {
        sink_.write(out_);
        out_.clear();
    }
    void indent(std::size_t depth) { out_.append(3 * depth, ' '); }

    void elements(const ValueId* first, std::size_t n, std::size_t depth) {
        out_ += "[ ";
        for (std::size_t i = 0; i < n; ++i) {
            if (i) out_ += ", ";
            value(first[i], depth);
        }
        out_ += " ]";
    }

    void object(ValueId id, std::size_t depth) {
        // One list of members per level, kept between objects: a file holds a hundred thousand.
        if (scratch_.size() <= depth) scratch_.resize(depth + 1);
        std::vector<Entry>& entries = scratch_[depth];
        entries.clear();
        for (std::size_t i = 0; i < d_.size(id); ++i) entries.push_back({d_.key(id, i), nullptr, d_.member(id, i)});
        if (const auto edited = edits_.find(id); edited != edits_.end())
            for (const Replacement& r : edited->second) entries.push_back({r.key, &r, 0});
        // A key given twice counts once, with its last value, as Chromium reads it. What Chromium
        // wrote is in order already.
        const auto byKey = [](const Entry& a, const Entry& b) { return a.key < b.key; };
        if (!std::is_sorted(entries.begin(), entries.end(), byKey))
            std::stable_sort(entries.begin(), entries.end(), byKey);
        out_ += "{\n";
        bool first = true;
        for (std::size_t i = 0; i < entries.size(); ++i) {
            if (i + 1 < entries.size() && entries[i + 1].key == entries[i].key) continue;
            if (!first) out_ += ",\n";
            first = false;
            indent(depth + 1);
            appendQuoted(out_, entries[i].key);
            out_ += ": ";
            if (const Replacement* r = entries[i].replacement) {
                if (r->isText) {
                    r->writtenAt = sink_.position() + out_.size() + 1;
                    appendQuoted(out_, r->text);
                } else {
                    elements(r->elements.data(), r->elements.size(), depth + 1);
                }
            } else {
                value(entries[i].value, depth + 1);
            }
        }
        if (!first) out_ += '\n';
        indent(depth);
        out_ += '}';
        if (out_.size() > (1 << 16)) flush();
    }

    void value(ValueId id, std::size_t depth) {
        switch (d_.type(id)) {
        case Type::Null: out_ += "null"; break;
        case Type::False: out_ += "false"; break;
        case Type::True: out_ += "true"; break;
        case Type::Number: out_ += d_.text(id); break;
        case Type::String: appendQuoted(out_, d_.text(id)); break;
        case Type::Array: elements(d_.elements(id), d_.size(id), depth); break;
        case Type::Object: object(id, depth); break;
        }
    }

    const Document& d_;
    const Edits& edits_;
    plist::Sink& sink_;
    std::string out_;
    std::deque<std::vector<Entry>> scratch_;  // a deque: growing it moves no list in use
};

}  // namespace

// Bytes that stand for themselves in a quoted string: printable ASCII but '"', '\\' and '<'.
constexpr bool isPlain(unsigned char c) { return c >= 0x20 && c < 0x80 && c != '"' && c != '\\' && c != '<'; }

// Whether eight bytes are all plain, tested at once: a byte below 0x20, at or above 0x80, or
// equal to one of the three sets the high bit of its lane.
bool allPlain(const char* p) {
    std::uint64_t w;
    std::memcpy(&w, p, 8);
    constexpr std::uint64_t kOnes = 0x0101010101010101, kHigh = 0x8080808080808080;
    const auto zeroByte = [](std::uint64_t v) { return (v - kOnes) & ~v & kHigh; };
    const std::uint64_t control = (w - kOnes * 0x20) & ~w & kHigh;
    return ((w & kHigh) | control | zeroByte(w ^ (kOnes * '"')) | zeroByte(w ^ (kOnes * '\\')) |
            zeroByte(w ^ (kOnes * '<'))) == 0;
}

void appendQuoted(std::string& out, std::string_view text) {
    out += '"';
    for (std::size_t pos = 0; pos < text.size();) {
        // Runs of plain bytes, and of well-formed multi-byte characters, are copied as they are.
        std::size_t end = pos;
        while (end + 8 <= text.size() && allPlain(text.data() + end)) end += 8;
        while (end < text.size()) {
            if (isPlain(static_cast<unsigned char>(text[end]))) {
                ++end;
                continue;
            }
            if (static_cast<unsigned char>(text[end]) < 0x80) break;
            std::size_t next = end;
            const std::uint32_t cp = nextCodePoint(text, next);
            if (cp == kReplacement || cp == 0x2028 || cp == 0x2029) break;
            end = next;
        }
        out.append(text.data() + pos, end - pos);
        if (end == text.size()) break;
        pos = end;
        const std::uint32_t cp = nextCodePoint(text, pos);
        switch (cp) {
        case '\b': out += "\\b"; break;
        case '\f': out += "\\f"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        case '\\': out += "\\\\"; break;
        case '"': out += "\\\""; break;
        case '<': out += "\\u003C"; break;
        case 0x2028: out += "\\u2028"; break;
        case 0x2029: out += "\\u2029"; break;
        default:
            if (cp < 0x20) {
                char escaped[8];
                std::snprintf(escaped, sizeof escaped, "\\u%04X", static_cast<unsigned>(cp));
                out += escaped;
            } else {
                appendUtf8(out, cp);
            }
        }
    }
    out += '"';
}

void appendUtf16LE(std::string& out, std::string_view text) {
    const auto unit = [&](std::uint32_t u) {
        out += static_cast<char>(u & 0xFF);
        out += static_cast<char>(u >> 8);
    };
    for (std::size_t pos = 0; pos < text.size();) {
        if (static_cast<unsigned char>(text[pos]) < 0x80) {
            unit(static_cast<unsigned char>(text[pos++]));
            continue;
        }
        const std::uint32_t cp = nextCodePoint(text, pos);
        if (cp < 0x10000) {
            unit(cp);
        } else {
            unit(0xD800 + ((cp - 0x10000) >> 10));
            unit(0xDC00 + ((cp - 0x10000) & 0x3FF));
        }
    }
}

std::string writeChromiumStyle(const Document& document, const Edits& edits, plist::Sink& sink) {
    return Writer(document, edits, sink).run();
}

}  // namespace orvane::json
