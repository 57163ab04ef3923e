// Reader of the old OpenStep (ASCII) property-list text format, as CoreFoundation reads it
// (CFOldStylePList.c; section 3 of the format notes).
//
//   object  := dict | array | data | string
//   dict    := '{' ( string ( '=' object )? ';' )* '}'     "key;" means key = key
//   array   := '(' [ object ( ',' object )* [','] ] ')'
//   data    := '<' ( hex pair | blank )* '>'
//   string  := '"' ... '"' | '\'' ... '\'' | [A-Za-z0-9_$/:.-]+
//
// Every scalar is a string. Blanks are 0x09-0x0D, space, U+2028, U+2029 and comments ("//" to
// the end of the line, "/* */" not nested). A top-level string followed by more tokens makes
// the whole text a ".strings" file: dictionary entries without the braces.
//
// The text is UTF-8 (with or without a byte-order mark) or UTF-16 with a byte-order mark, which
// is converted to UTF-8 first. The tree is built with an explicit stack of open containers, at
// most kMaxDepth deep, and nothing is allocated beyond a constant factor of the input's size.
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "codec.h"
#include "utf.h"

namespace orvane::plist {
namespace {

// The NeXTSTEP Latin encoding's bytes 0x80-0xFF as Unicode (Unicode's NEXTSTEP.TXT, the table CF
// uses); 0x00-0x7F are ASCII. 0xFE and 0xFF are unassigned and become U+FFFD.
constexpr std::uint16_t kNextStepHigh[128] = {
    0x00A0, 0x00C0, 0x00C1, 0x00C2, 0x00C3, 0x00C4, 0x00C5, 0x00C7,  // 80-87
    0x00C8, 0x00C9, 0x00CA, 0x00CB, 0x00CC, 0x00CD, 0x00CE, 0x00CF,  // 88-8F
    0x00D0, 0x00D1, 0x00D2, 0x00D3, 0x00D4, 0x00D5, 0x00D6, 0x00D9,  // 90-97
    0x00DA, 0x00DB, 0x00DC, 0x00DD, 0x00DE, 0x00B5, 0x00D7, 0x00F7,  // 98-9F
    0x00A9, 0x00A1, 0x00A2, 0x00A3, 0x2044, 0x00A5, 0x0192, 0x00A7,  // A0-A7
    0x00A4, 0x2019, 0x201C, 0x00AB, 0x2039, 0x203A, 0xFB01, 0xFB02,  // A8-AF
    0x00AE, 0x2013, 0x2020, 0x2021, 0x00B7, 0x00A6, 0x00B6, 0x2022,  // B0-B7
    0x201A, 0x201E, 0x201D, 0x00BB, 0x2026, 0x2030, 0x00AC, 0x00BF,  // B8-BF
    0x00B9, 0x02CB, 0x00B4, 0x02C6, 0x02DC, 0x00AF, 0x02D8, 0x02D9,  // C0-C7
    0x00A8, 0x00B2, 0x02DA, 0x00B8, 0x00B3, 0x02DD, 0x02DB, 0x02C7,  // C8-CF
    0x2014, 0x00B1, 0x00BC, 0x00BD, 0x00BE, 0x00E0, 0x00E1, 0x00E2,  // D0-D7
    0x00E3, 0x00E4, 0x00E5, 0x00E7, 0x00E8, 0x00E9, 0x00EA, 0x00EB,  // D8-DF
    0x00EC, 0x00C6, 0x00ED, 0x00AA, 0x00EE, 0x00EF, 0x00F0, 0x00F1,  // E0-E7
    0x0141, 0x00D8, 0x0152, 0x00BA, 0x00F2, 0x00F3, 0x00F4, 0x00F5,  // E8-EF
    0x00F6, 0x00E6, 0x00F9, 0x00FA, 0x00FB, 0x0131, 0x00FC, 0x00FD,  // F0-F7
    0x0142, 0x00F8, 0x0153, 0x00DF, 0x00FE, 0x00FF, 0xFFFD, 0xFFFD,  // F8-FF
};

// Dictionaries with more entries than this look keys up in a hash index instead of scanning.
constexpr std::size_t kIndexAbove = 16;
// Keys quoted in messages are cut to about this many bytes.
constexpr std::size_t kQuotedKeyBytes = 40;

enum : std::uint8_t { kBlank = 1, kUnquoted = 2, kHex = 4 };

constexpr auto kClass = [] {
    struct Table {
        std::uint8_t c[256] = {};
    } t;
    for (int c = 0x09; c <= 0x0D; ++c) t.c[c] |= kBlank;
    t.c[0x20] |= kBlank;  // space
    for (int c = 'a'; c <= 'z'; ++c) t.c[c] |= kUnquoted;
    for (int c = 'A'; c <= 'Z'; ++c) t.c[c] |= kUnquoted;
    for (int c = '0'; c <= '9'; ++c) t.c[c] |= kUnquoted | kHex;
    for (int c = 'a'; c <= 'f'; ++c) t.c[c] |= kHex;
    for (int c = 'A'; c <= 'F'; ++c) t.c[c] |= kHex;
    for (char c : std::string_view("_$/:.-")) t.c[static_cast<std::uint8_t>(c)] |= kUnquoted;
    return t;
}();

bool is(std::uint8_t c, std::uint8_t what) { return (kClass.c[c] & what) != 0; }

int hexValue(std::uint8_t c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// True when `s` ends with the WTF-8 encoding of a high surrogate (ED A0..AF xx).
bool endsWithHighSurrogate(const std::string& s) {
    const std::size_t n = s.size();
    return n >= 3 && static_cast<std::uint8_t>(s[n - 3]) == 0xED &&
           (static_cast<std::uint8_t>(s[n - 2]) & 0xF0) == 0xA0;
}

// Appends one UTF-16 code unit. A low surrogate right after a high one becomes the pair's
// code point, as UTF-16 reads them, so the string goes back to the same code units.
void appendUnit(std::string& s, std::uint32_t unit) {
    if (unit >= 0xDC00 && unit <= 0xDFFF && endsWithHighSurrogate(s)) {
        const std::size_t n = s.size();
        std::uint32_t high = 0xD000 | (static_cast<std::uint32_t>(s[n - 2] & 0x3F) << 6) | (s[n - 1] & 0x3F);
        s.resize(n - 3);
        utf::appendCodePoint(s, 0x10000 + ((high - 0xD800) << 10) + (unit - 0xDC00));
        return;
    }
    utf::appendCodePoint(s, unit);
}

// The offset of the first byte that is not UTF-8 (surrogates are not UTF-8 either), or npos.
std::size_t firstInvalidUtf8(std::string_view s) {
    std::size_t pos = 0;
    while (pos < s.size()) {
        if (static_cast<std::uint8_t>(s[pos]) < 0x80) {
            ++pos;
            continue;
        }
        std::size_t at = pos;
        std::uint32_t cp;
        if (!utf::nextCodePoint(s, pos, cp) || (cp >= 0xD800 && cp <= 0xDFFF)) return at;
    }
    return std::string_view::npos;
}

// Where each key of a big dictionary is: open addressing over (hash, entry + 1) slots, at most
// half full, so a lookup rarely touches more than one slot and never a key's text for nothing.
class KeyIndex {
public:
    // The entry holding `key`, or else records that `entry` (the next one appended) holds it and
    // answers npos.
    std::size_t findOrAdd(std::string_view key, std::span<const Dictionary::Entry> entries, std::size_t entry) {
        if (2 * (used_ + 1) > slots_.size()) grow(entries);
        const std::size_t hash = std::hash<std::string_view>{}(key);
        const std::size_t mask = slots_.size() - 1;
        for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
            Slot& slot = slots_[i];
            if (slot.entry == 0) {
                slot = {hash, entry + 1};
                ++used_;
                return std::string_view::npos;
            }
            if (slot.hash == hash && entries[slot.entry - 1].key.asString() == key) return slot.entry - 1;
        }
    }

private:
    struct Slot {
        std::size_t hash = 0;
        std::size_t entry = 0;  // entry index + 1; 0 for a free slot
    };

    // Doubles the table (or builds it from all entries the first time).
    void grow(std::span<const Dictionary::Entry> entries) {
        std::vector<Slot> old = std::move(slots_);
        slots_.assign(old.empty() ? 64 : 2 * old.size(), Slot{});
        const std::size_t mask = slots_.size() - 1;
        auto place = [&](Slot s) {
            std::size_t i = s.hash & mask;
            while (slots_[i].entry != 0) i = (i + 1) & mask;
            slots_[i] = s;
        };
        if (old.empty()) {
            for (std::size_t e = 0; e < entries.size(); ++e)
                place({std::hash<std::string_view>{}(entries[e].key.asString()), e + 1});
            used_ = entries.size();
        } else {
            for (const Slot& s : old)
                if (s.entry != 0) place(s);
        }
    }

    std::vector<Slot> slots_;
    std::size_t used_ = 0;
};

struct Frame {
    enum class Kind : std::uint8_t { Array, Dictionary, Strings };
    Kind kind;
    std::size_t open;  // offset of '(' or '{'
    Value container;
    Value key;                        // a dictionary's key whose value is being read
    std::unique_ptr<KeyIndex> index;  // only for dictionaries of more than kIndexAbove entries
};

class Parser {
public:
    // `text` is valid WTF-8. Offsets in messages are mapped back to the input's bytes: `prefix`
    // bytes of byte-order mark, and two bytes per UTF-16 unit when `utf16`.
    Parser(std::string_view text, std::size_t prefix, bool utf16)
        : t_(text), n_(text.size()), prefix_(prefix), utf16_(utf16) {}

    ReadResult run();
    // A failed result for a problem found before parsing (`offset` into the text).
    ReadResult failure(std::size_t offset, std::string message);

private:
    enum class State { Value, ArrayNext, DictKey, DictNext };

    std::uint8_t at(std::size_t i) const { return static_cast<std::uint8_t>(t_[i]); }
    bool parse(Value& result, bool asStrings);
    bool skipBlanks();
    bool parseQuoted(Value& out);
    bool parseData(Value& out);
    Value parseUnquoted();
    void appendRaw(std::string& s, std::size_t from, std::size_t to) const;
    bool push(Frame::Kind kind);
    Value pop();
    static void insert(Frame& f, const Value& key, Value value);

    bool fail(std::size_t offset, std::string message);
    std::uint64_t lineAt(std::size_t offset) const;
    std::string lineOf(std::size_t offset) const { return "line " + std::to_string(lineAt(offset)); }
    std::string describeAt(std::size_t offset) const;
    static std::string quoteKey(const Value& key);

    std::string_view t_;
    std::size_t n_;
    std::size_t pos_ = 0;
    std::size_t prefix_;
    bool utf16_;
    std::vector<Frame> frames_;
    std::string scratch_;              // a quoted string with escapes, being decoded
    std::vector<std::uint8_t> bytes_;  // a <data> being decoded
    Arena arena_;
    ParseStatus status_;
};

ReadResult Parser::failure(std::size_t offset, std::string message) {
    fail(offset, std::move(message));
    ReadResult r;
    r.format = Format::OpenStep;
    r.status = std::move(status_);
    return r;
}

ReadResult Parser::run() {
    Value root;
    bool ok = skipBlanks() && (pos_ < n_ || fail(n_, "no property list: the text is empty")) && parse(root, false) &&
              skipBlanks();
    if (ok && pos_ < n_) {
        if (root.isString()) {
            // A string followed by more: the text is a .strings file, read again from the start.
            pos_ = 0;
            ok = parse(root, true);
        } else {
            ok = fail(pos_, "unexpected " + describeAt(pos_) + " after the end of the property list");
        }
    }
    ReadResult r;
    r.format = Format::OpenStep;
    if (ok)
        r.value = std::move(root);
    else
        r.status = std::move(status_);
    return r;
}

// The state machine over the open containers. A finished value (a scalar, or a container whose
// closing bracket was read) falls out of the switch into `v` and is handed to its parent.
bool Parser::parse(Value& result, bool asStrings) {
    frames_.clear();
    State state = State::Value;
    if (asStrings) {
        push(Frame::Kind::Strings);  // the first frame: never too deep
        state = State::DictKey;
    }
    Value v;
    for (;;) {
        switch (state) {
        case State::Value: {
            if (!skipBlanks()) return false;
            if (pos_ >= n_) {
                if (frames_.empty()) return fail(n_, "no property list: the text is empty");
                const Frame& f = frames_.back();
                if (f.kind == Frame::Kind::Array)
                    return fail(n_, "unterminated array started on " + lineOf(f.open) +
                                        ": the text ends where an element should be");
                return fail(n_, "the text ends where the value of key " + quoteKey(f.key) + " should be");
            }
            const std::uint8_t c = at(pos_);
            if (c == '{') {
                if (!push(Frame::Kind::Dictionary)) return false;
                ++pos_;
                state = State::DictKey;
                continue;
            }
            if (c == '(') {
                if (!push(Frame::Kind::Array)) return false;
                ++pos_;
                if (!skipBlanks()) return false;
                if (pos_ < n_ && at(pos_) == ')') {
                    ++pos_;
                    v = pop();
                    break;
                }
                continue;
            }
            if (c == '<') {
                if (!parseData(v)) return false;
                break;
            }
            if (c == '"' || c == '\'') {
                if (!parseQuoted(v)) return false;
                break;
            }
            if (is(c, kUnquoted)) {
                v = parseUnquoted();
                break;
            }
            std::string where;
            if (frames_.empty())
                where = "where the property list should begin";
            else if (frames_.back().kind == Frame::Kind::Array)
                where = "where an array element should be";
            else
                where = "where the value of key " + quoteKey(frames_.back().key) + " should be";
            return fail(pos_, "unexpected " + describeAt(pos_) + " " + where);
        }
        case State::ArrayNext: {
            if (!skipBlanks()) return false;
            if (pos_ >= n_)
                return fail(n_,
                            "unterminated array started on " + lineOf(frames_.back().open) + ": expected ',' or ')'");
            const std::uint8_t c = at(pos_);
            if (c == ')') {
                ++pos_;
                v = pop();
                break;
            }
            if (c != ',') return fail(pos_, "expected ',' or ')' after an array element, found " + describeAt(pos_));
            ++pos_;
            if (!skipBlanks()) return false;
            if (pos_ < n_ && at(pos_) == ')') {  // a trailing comma
                ++pos_;
                v = pop();
                break;
            }
            state = State::Value;
            continue;
        }
        case State::DictKey: {
            if (!skipBlanks()) return false;
            Frame& f = frames_.back();
            const bool strings = f.kind == Frame::Kind::Strings;
            if (pos_ >= n_) {
                if (!strings)
                    return fail(n_, "unterminated dictionary started on " + lineOf(f.open) + ": expected a key or '}'");
                v = pop();
                break;
            }
            const std::uint8_t c = at(pos_);
            if (c == '}' && !strings) {
                ++pos_;
                v = pop();
                break;
            }
            Value key;
            if (c == '"' || c == '\'') {
                if (!parseQuoted(key)) return false;
            } else if (is(c, kUnquoted)) {
                key = parseUnquoted();
            } else {
                return fail(pos_, "unexpected " + describeAt(pos_) +
                                      (strings ? " where a key should be" : " where a key or '}' should be"));
            }
            if (!skipBlanks()) return false;
            if (pos_ < n_ && at(pos_) == '=') {
                ++pos_;
                f.key = std::move(key);
                state = State::Value;
                continue;
            }
            if (pos_ < n_ && at(pos_) == ';') {  // "key;" stands for "key = key;"
                ++pos_;
                insert(f, key, key);
                continue;
            }
            return fail(pos_, "expected '=' or ';' after key " + quoteKey(key) +
                                  (pos_ < n_ ? ", found " + describeAt(pos_) : ""));
        }
        case State::DictNext: {
            if (!skipBlanks()) return false;
            if (pos_ < n_ && at(pos_) == ';') {
                ++pos_;
                state = State::DictKey;
                continue;
            }
            return fail(pos_, "expected ';' after the value of key " + quoteKey(frames_.back().key) +
                                  (pos_ < n_ ? ", found " + describeAt(pos_) : ""));
        }
        }
        if (frames_.empty()) {
            result = std::move(v);
            return true;
        }
        Frame& f = frames_.back();
        const std::size_t held =
            f.kind == Frame::Kind::Array ? f.container.asArray()->size() : f.container.asDictionary()->size();
        if (held == kMaxContainerSize) return fail(f.open, "more elements than a property list may hold");
        if (f.kind == Frame::Kind::Array) {
            f.container.asArray()->append(std::move(v));
            state = State::ArrayNext;
        } else {
            insert(f, f.key, std::move(v));
            state = State::DictNext;
        }
    }
}

bool Parser::push(Frame::Kind kind) {
    if (frames_.size() >= kMaxDepth)
        return fail(pos_, "too many nested arrays or dictionaries (more than " + std::to_string(kMaxDepth) + ")");
    frames_.push_back(Frame{kind, pos_,
                            kind == Frame::Kind::Array ? Value::array(0, &arena_) : Value::dictionary(0, &arena_),
                            Value(), nullptr});
    return true;
}

Value Parser::pop() {
    Value v = std::move(frames_.back().container);
    frames_.pop_back();
    return v;
}

// Adds an entry; a key seen before keeps its first place and takes the new value.
void Parser::insert(Frame& f, const Value& key, Value value) {
    Dictionary& d = *f.container.asDictionary();
    const auto entries = d.entries();
    const std::string_view k = key.asString();
    if (f.index) {
        const std::size_t existing = f.index->findOrAdd(k, entries, entries.size());
        if (existing == std::string_view::npos)
            d.appendUnchecked(Key(key), std::move(value));
        else
            entries[existing].value = std::move(value);
        return;
    }
    for (auto& e : entries) {
        if (e.key.asString() == k) {
            e.value = std::move(value);
            return;
        }
    }
    d.appendUnchecked(Key(key), std::move(value));
    if (entries.size() == kIndexAbove) f.index = std::make_unique<KeyIndex>();  // filled on first use
}

bool Parser::skipBlanks() {
    while (pos_ < n_) {
        const std::uint8_t c = at(pos_);
        if (is(c, kBlank)) {
            ++pos_;
        } else if (c == 0xE2 && pos_ + 2 < n_ && at(pos_ + 1) == 0x80 &&
                   (at(pos_ + 2) == 0xA8 || at(pos_ + 2) == 0xA9)) {
            pos_ += 3;  // U+2028, U+2029
        } else if (c == '/' && pos_ + 1 < n_ && at(pos_ + 1) == '/') {
            pos_ += 2;  // to the end of the line; the line break itself is a blank
            while (pos_ < n_ && at(pos_) != '\n' && at(pos_) != '\r' &&
                   !(at(pos_) == 0xE2 && pos_ + 2 < n_ && at(pos_ + 1) == 0x80 && (at(pos_ + 2) & 0xFE) == 0xA8))
                ++pos_;
        } else if (c == '/' && pos_ + 1 < n_ && at(pos_ + 1) == '*') {
            const std::size_t end = t_.find("*/", pos_ + 2);
            if (end == std::string_view::npos) return fail(n_, "unterminated comment started on " + lineOf(pos_));
            pos_ = end + 2;
        } else {
            break;
        }
    }
    return true;
}

Value Parser::parseUnquoted() {
    const std::size_t start = pos_;
    while (pos_ < n_ && is(at(pos_), kUnquoted)) ++pos_;
    return Value::string(t_.substr(start, pos_ - start), &arena_);
}

// Appends text[from, to) to a string being decoded. Text converted from UTF-16 may hold a lone
// low surrogate; right after an escaped high surrogate the two make one code point.
void Parser::appendRaw(std::string& s, std::size_t from, std::size_t to) const {
    if (to - from >= 3 && at(from) == 0xED && (at(from + 1) & 0xF0) == 0xB0 && endsWithHighSurrogate(s)) {
        appendUnit(s, 0xD000 | (static_cast<std::uint32_t>(at(from + 1) & 0x3F) << 6) | (at(from + 2) & 0x3F));
        from += 3;
    }
    s.append(t_.data() + from, to - from);
}

bool Parser::parseQuoted(Value& out) {
    const std::size_t open = pos_;
    const std::uint8_t quote = at(pos_++);
    auto unterminated = [&] { return fail(n_, "unterminated quoted string started on " + lineOf(open)); };
    std::size_t run = pos_;
    while (pos_ < n_ && at(pos_) != quote && at(pos_) != '\\') ++pos_;
    if (pos_ >= n_) return unterminated();
    if (at(pos_) == quote) {  // no escapes: the string is the text itself
        out = Value::string(t_.substr(run, pos_ - run), &arena_);
        ++pos_;
        return true;
    }
    std::string& s = scratch_;
    s.clear();
    appendRaw(s, run, pos_);
    for (;;) {
        if (pos_ >= n_) return unterminated();
        std::uint8_t c = at(pos_);
        if (c == quote) {
            ++pos_;
            break;
        }
        if (c != '\\') {
            run = pos_;
            while (pos_ < n_ && at(pos_) != quote && at(pos_) != '\\') ++pos_;
            appendRaw(s, run, pos_);
            continue;
        }
        const std::size_t escape = pos_++;
        if (pos_ >= n_) return unterminated();
        c = at(pos_++);
        switch (c) {
        case 'a': s.push_back('\a'); break;
        case 'b': s.push_back('\b'); break;
        case 'f': s.push_back('\f'); break;
        case 'n': s.push_back('\n'); break;
        case 'r': s.push_back('\r'); break;
        case 't': s.push_back('\t'); break;
        case 'v': s.push_back('\v'); break;
        case 'U': {  // one UTF-16 unit in 1-4 hex digits
            std::uint32_t unit = 0;
            int digits = 0;
            for (; digits < 4 && pos_ < n_ && is(at(pos_), kHex); ++digits)
                unit = unit * 16 + static_cast<std::uint32_t>(hexValue(at(pos_++)));
            if (digits == 0) return fail(escape, "\\U escape without hex digits in a quoted string");
            appendUnit(s, unit);
            break;
        }
        case '0':
        case '1':
        case '2':
        case '3':
        case '4':
        case '5':
        case '6':
        case '7': {
            // 1-3 octal digits: a byte of the NeXTSTEP encoding (CF keeps the low 8 bits).
            std::uint32_t b = c - '0';
            for (int k = 0; k < 2 && pos_ < n_ && at(pos_) >= '0' && at(pos_) <= '7'; ++k)
                b = b * 8 + (at(pos_++) - '0');
            b &= 0xFF;
            utf::appendCodePoint(s, b < 0x80 ? b : kNextStepHigh[b - 0x80]);
            break;
        }
        default:  // any other character stands for itself, a line break included
            if (c < 0x80) {
                s.push_back(static_cast<char>(c));
            } else {
                const std::size_t from = pos_ - 1;
                pos_ = from + (c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : 2);  // the text is valid
                appendRaw(s, from, pos_);
            }
            break;
        }
    }
    out = Value::string(s, &arena_);
    return true;
}

bool Parser::parseData(Value& out) {
    const std::size_t open = pos_++;
    bytes_.clear();
    for (;;) {
        if (!skipBlanks()) return false;
        if (pos_ >= n_) return fail(n_, "unterminated <data> started on " + lineOf(open));
        const std::uint8_t c = at(pos_);
        if (c == '>') {
            ++pos_;
            break;
        }
        const int high = hexValue(c);
        if (high < 0) return fail(pos_, "unexpected " + describeAt(pos_) + " in <data>: expected hex digits or '>'");
        if (pos_ + 1 >= n_) return fail(n_, "unterminated <data> started on " + lineOf(open));
        const std::uint8_t c2 = at(pos_ + 1);
        const int low = hexValue(c2);
        if (low < 0) {
            if (c2 == '>') return fail(pos_, "odd number of hex digits in <data>");
            if (is(c2, kBlank)) return fail(pos_, "odd number of hex digits in <data> (a blank splits a byte)");
            return fail(pos_ + 1, "unexpected " + describeAt(pos_ + 1) + " in <data>: expected hex digits or '>'");
        }
        bytes_.push_back(static_cast<std::uint8_t>(high << 4 | low));
        pos_ += 2;
    }
    out = Value::data(bytes_, &arena_);
    return true;
}

bool Parser::fail(std::size_t offset, std::string message) {
    if (offset > n_) offset = n_;
    std::uint64_t original = utf16_ ? 2 * utf::utf16Length(t_.substr(0, offset)) : offset;
    status_ = ParseStatus::atLine(lineAt(offset), prefix_ + original, std::move(message));
    return false;
}

// 1-based; lines end at "\n", "\r\n" or a lone "\r".
std::uint64_t Parser::lineAt(std::size_t offset) const {
    std::uint64_t line = 1;
    for (std::size_t i = 0; i < offset && i < n_; ++i) {
        const std::uint8_t c = at(i);
        if (c == '\n' || (c == '\r' && (i + 1 >= n_ || at(i + 1) != '\n'))) ++line;
    }
    return line;
}

// The character at `offset` as a message shows it: 'x', or its code for anything unprintable.
std::string Parser::describeAt(std::size_t offset) const {
    const std::uint8_t c = at(offset);
    char buf[48];
    if (c >= 0x21 && c < 0x7F) {
        std::snprintf(buf, sizeof buf, "'%c'", c);
    } else if (c < 0x80) {
        std::snprintf(buf, sizeof buf, "character 0x%02X", c);
    } else {
        std::size_t p = offset;
        std::uint32_t cp = 0;
        utf::nextCodePoint(t_, p, cp);
        std::snprintf(buf, sizeof buf, "character U+%04X", cp);
    }
    return buf;
}

// A key for a message: in double quotes, control characters escaped, long keys cut short.
std::string Parser::quoteKey(const Value& key) {
    const std::string_view k = key.asString();
    std::string out = "\"";
    std::size_t i = 0;
    for (; i < k.size() && i < kQuotedKeyBytes; ++i) {
        const auto c = static_cast<std::uint8_t>(k[i]);
        if (c == '"' || c == '\\') {
            out.push_back('\\');
            out.push_back(static_cast<char>(c));
        } else if (c < 0x20 || c == 0x7F) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\x%02X", c);
            out += buf;
        } else {
            out.push_back(static_cast<char>(c));
        }
    }
    if (i < k.size()) {
        while (!out.empty() && (static_cast<std::uint8_t>(out.back()) & 0xC0) == 0x80)
            out.pop_back();  // a cut sequence
        if (!out.empty() && static_cast<std::uint8_t>(out.back()) >= 0xC0) out.pop_back();
        out += "...";
    }
    out.push_back('"');
    return out;
}

}  // namespace

ReadResult readOpenStep(std::span<const std::uint8_t> bytes) {
    const std::size_t n = bytes.size();
    if (n >= 2 && ((bytes[0] == 0xFE && bytes[1] == 0xFF) || (bytes[0] == 0xFF && bytes[1] == 0xFE))) {
        std::string text;
        utf::appendUtf16(text, bytes.data() + 2, (n - 2) / 2, bytes[0] == 0xFE);
        Parser parser(text, 2, true);
        if ((n - 2) % 2 != 0) return parser.failure(text.size(), "UTF-16 text with an odd number of bytes");
        return parser.run();
    }
    const std::size_t prefix = n >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF ? 3 : 0;
    std::string_view text(reinterpret_cast<const char*>(bytes.data()) + prefix, n - prefix);
    Parser parser(text, prefix, false);
    if (std::size_t bad = firstInvalidUtf8(text); bad != std::string_view::npos)
        return parser.failure(bad, "invalid UTF-8 byte sequence");
    return parser.run();
}

}  // namespace orvane::plist
