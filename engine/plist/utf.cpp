#include "utf.h"

#include <cstring>

namespace orvane::plist::utf {

void appendCodePoint(std::string& out, std::uint32_t cp) {
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

void appendUtf16(std::string& out, const std::uint8_t* bytes, std::size_t units, bool bigEndian) {
    auto unitAt = [&](std::size_t i) -> std::uint32_t {
        const std::uint8_t* p = bytes + 2 * i;
        return bigEndian ? (std::uint32_t(p[0]) << 8 | p[1]) : (std::uint32_t(p[1]) << 8 | p[0]);
    };
    // Written in place into room for the longest outcome, three bytes a unit (a pair of units
    // makes four), and cut to size at the end: every non-ASCII title of a file comes through here.
    const std::size_t start = out.size();
    out.resize(start + 3 * units);
    char* q = out.data() + start;
    for (std::size_t i = 0; i < units; ++i) {
        std::uint32_t cp = unitAt(i);
        if (cp < 0x80) {
            *q++ = static_cast<char>(cp);
            continue;
        }
        if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < units) {
            const std::uint32_t low = unitAt(i + 1);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
                ++i;
            }
        }
        if (cp < 0x800) {
            *q++ = static_cast<char>(0xC0 | (cp >> 6));
        } else if (cp < 0x10000) {
            *q++ = static_cast<char>(0xE0 | (cp >> 12));
            *q++ = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        } else {
            *q++ = static_cast<char>(0xF0 | (cp >> 18));
            *q++ = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
            *q++ = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        }
        *q++ = static_cast<char>(0x80 | (cp & 0x3F));
    }
    out.resize(static_cast<std::size_t>(q - out.data()));
}

bool nextCodePoint(std::string_view s, std::size_t& pos, std::uint32_t& cp) {
    const auto* p = reinterpret_cast<const std::uint8_t*>(s.data());
    const std::size_t n = s.size();
    if (pos >= n) return false;
    std::uint8_t c = p[pos];
    if (c < 0x80) {
        cp = c;
        pos += 1;
        return true;
    }
    std::size_t len;
    std::uint32_t min;
    if ((c & 0xE0) == 0xC0) {
        len = 2, min = 0x80, cp = c & 0x1F;
    } else if ((c & 0xF0) == 0xE0) {
        len = 3, min = 0x800, cp = c & 0x0F;
    } else if ((c & 0xF8) == 0xF0) {
        len = 4, min = 0x10000, cp = c & 0x07;
    } else {
        return false;
    }
    if (n - pos < len) return false;
    for (std::size_t k = 1; k < len; ++k) {
        std::uint8_t t = p[pos + k];
        if ((t & 0xC0) != 0x80) return false;
        cp = (cp << 6) | (t & 0x3F);
    }
    if (cp < min || cp > 0x10FFFF) return false;
    pos += len;
    return true;
}

bool isValid(std::string_view s) {
    std::size_t pos = 0;
    std::uint32_t cp;
    while (pos < s.size()) {
        if (static_cast<std::uint8_t>(s[pos]) < 0x80) {
            ++pos;
            continue;
        }
        if (!nextCodePoint(s, pos, cp)) return false;
    }
    return true;
}

bool isAscii(std::string_view s) {
    // Eight bytes at a time: this runs over every string that is written.
    const char* p = s.data();
    std::size_t n = s.size();
    std::uint64_t any = 0;
    for (; n >= 8; p += 8, n -= 8) {
        std::uint64_t w;
        std::memcpy(&w, p, 8);
        any |= w;
    }
    for (; n > 0; ++p, --n) any |= static_cast<std::uint8_t>(*p);
    return (any & 0x8080808080808080ull) == 0;
}

std::size_t utf16Length(std::string_view s) {
    std::size_t pos = 0, units = 0;
    std::uint32_t cp;
    while (pos < s.size()) {
        if (!nextCodePoint(s, pos, cp)) break;
        units += cp >= 0x10000 ? 2 : 1;
    }
    return units;
}

void appendUtf16BE(std::string& out, std::string_view s) {
    // No sequence yields more UTF-16 bytes than twice its UTF-8 bytes: size once, trim after.
    const std::size_t start = out.size();
    out.resize(start + 2 * s.size());
    char* p = out.data() + start;
    auto put = [&p](std::uint32_t u) {
        *p++ = static_cast<char>(u >> 8);
        *p++ = static_cast<char>(u & 0xFF);
    };
    std::size_t pos = 0;
    std::uint32_t cp;
    while (pos < s.size()) {
        if (!nextCodePoint(s, pos, cp)) break;
        if (cp >= 0x10000) {
            cp -= 0x10000;
            put(0xD800 + (cp >> 10));
            put(0xDC00 + (cp & 0x3FF));
        } else {
            put(cp);
        }
    }
    out.resize(static_cast<std::size_t>(p - out.data()));
}

}  // namespace orvane::plist::utf
