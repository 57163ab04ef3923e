#include "json_writer.h"

#include "plist/utf.h"

namespace orvane::cli {

namespace {
constexpr std::size_t kFlushAt = 64 * 1024;

void appendEscape(std::string& out, std::uint32_t unit) {
    static const char digits[] = "0123456789abcdef";
    out += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) out += digits[(unit >> shift) & 0xF];
}
}  // namespace

void JsonWriter::appendString(std::string& out, std::string_view text) {
    out += '"';
    std::size_t pos = 0;
    while (pos < text.size()) {
        const std::size_t start = pos;
        std::uint32_t cp;
        if (!plist::utf::nextCodePoint(text, pos, cp)) {
            ++pos;
            out += "\\ufffd";
            continue;
        }
        switch (cp) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (cp < 0x20 || (cp >= 0xD800 && cp <= 0xDFFF))
                appendEscape(out, cp);
            else
                out.append(text.substr(start, pos - start));
        }
    }
    out += '"';
}

JsonWriter& JsonWriter::key(std::string_view name) {
    beforeValue();
    appendString(buffer_, name);
    buffer_ += ": ";
    afterKey_ = true;
    return *this;
}

void JsonWriter::string(std::string_view text) {
    beforeValue();
    appendString(buffer_, text);
}

void JsonWriter::number(std::uint64_t n) {
    beforeValue();
    buffer_ += std::to_string(n);
}

void JsonWriter::boolean(bool b) {
    beforeValue();
    buffer_ += b ? "true" : "false";
}

void JsonWriter::null() {
    beforeValue();
    buffer_ += "null";
}

void JsonWriter::beforeValue() {
    if (afterKey_) {
        afterKey_ = false;
        return;
    }
    if (filled_.empty()) return;
    if (filled_.back()) buffer_ += ',';
    filled_.back() = true;
    newline();
}

void JsonWriter::open(char bracket) {
    beforeValue();
    buffer_ += bracket;
    filled_.push_back(false);
}

void JsonWriter::close(char bracket) {
    const bool filled = filled_.back();
    filled_.pop_back();
    if (filled) newline();
    buffer_ += bracket;
    if (filled_.empty()) buffer_ += '\n';
    if (buffer_.size() >= kFlushAt) flush();
}

void JsonWriter::newline() {
    buffer_ += '\n';
    buffer_.append(2 * filled_.size(), ' ');
}

void JsonWriter::flush() {
    // A failed write shows in the stream's error flag, which the command checks at its end.
    std::fwrite(buffer_.data(), 1, buffer_.size(), out_);
    buffer_.clear();
}

}  // namespace orvane::cli
