// What the readers and writers of binary property lists share: big-endian numbers, the buffered
// output, and how numbers, counts and strings are encoded. writeBinary encodes values;
// writeEdited copies most of a file's objects and encodes the rest the same way, so that both
// give the same bytes.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "codec.h"
#include "utf.h"

namespace orvane::plist {

// A big-endian number of `n` bytes. Inlined: it runs for every offset and reference of a file,
// and the common widths get a direct load.
[[gnu::always_inline]] inline std::uint64_t readBE(const std::uint8_t* p, std::size_t n) {
    switch (n) {
    case 1: return p[0];
    case 2: return std::uint64_t{p[0]} << 8 | p[1];
    case 4: {
        std::uint32_t v;
        std::memcpy(&v, p, 4);
        return __builtin_bswap32(v);
    }
    case 8: {
        std::uint64_t v;
        std::memcpy(&v, p, 8);
        return __builtin_bswap64(v);
    }
    default: {
        std::uint64_t v = 0;
        for (std::size_t i = 0; i < n; ++i) v = (v << 8) | p[i];
        return v;
    }
    }
}

// The width of an offset, a reference or an unsigned number: 1, 2, 4 or 8 bytes.
inline unsigned byteCount(std::uint64_t n) {
    if (n < (1ull << 8)) return 1;
    if (n < (1ull << 16)) return 2;
    if (n < (1ull << 32)) return 4;
    return 8;
}

inline std::uint64_t bitsOf(double d) {
    std::uint64_t u;
    std::memcpy(&u, &d, sizeof u);
    return u;
}

// The bytes of a count that follows a marker: none when it fits the marker's low nibble.
inline std::uint64_t countBytes(std::uint64_t n) { return n < 15 ? 0 : 1 + byteCount(n); }

// Gives `put` each byte of an unsigned number as the smallest integer object that holds it.
template <class Put>
void encodeUnsigned(std::uint64_t v, Put put) {
    const unsigned width = byteCount(v);
    put(static_cast<std::uint8_t>(width == 1 ? 0x10 : width == 2 ? 0x11 : width == 4 ? 0x12 : 0x13));
    for (unsigned i = width; i-- > 0;) put(static_cast<std::uint8_t>(v >> (8 * i)));
}

// Gives `put` each byte of a marker of `kind` and its count: the count in the low nibble below
// 15, else as an integer object after it.
template <class Put>
void encodeMarker(std::uint8_t kind, std::uint64_t count, Put put) {
    if (count < 15) {
        put(static_cast<std::uint8_t>(kind << 4 | count));
        return;
    }
    put(static_cast<std::uint8_t>(kind << 4 | 0x0F));
    encodeUnsigned(count, put);
}

// Buffers output for the sink and counts the bytes written, which are the objects' offsets.
class Output {
public:
    // `start`: where in the file the sink's first byte goes.
    explicit Output(Sink& sink, std::uint64_t start = 0) : sink_(sink), buffer_(new char[kChunk]), position_(start) {}
    ~Output() { flush(); }
    void byte(std::uint8_t b) {
        if (used_ == kChunk) flush();
        buffer_[used_++] = static_cast<char>(b);
    }
    void bytes(const void* p, std::size_t n) {
        const char* src = static_cast<const char*>(p);
        while (n > 0) {
            if (used_ == kChunk) flush();
            std::size_t take = std::min(n, kChunk - used_);
            std::memcpy(buffer_.get() + used_, src, take);
            used_ += take, src += take, n -= take;
        }
    }
    // Widths are 1, 2, 4 or 8: every reference and offset goes through here.
    void bigEndian(std::uint64_t v, unsigned width) {
        if (kChunk - used_ < 8) flush();
        const std::uint64_t be = __builtin_bswap64(v << (8 * (8 - width)));
        std::memcpy(buffer_.get() + used_, &be, 8);  // only `width` bytes count; the rest is overwritten
        used_ += width;
    }
    void flush() {
        if (used_ > 0) sink_.write(buffer_.get(), used_);
        position_ += used_;
        used_ = 0;
    }
    std::uint64_t position() const { return position_ + used_; }
    bool failed() const { return sink_.failed(); }
    std::string& scratch() { return scratch_; }

    void unsignedInteger(std::uint64_t v) {
        encodeUnsigned(v, [this](std::uint8_t b) { byte(b); });
    }
    void marker(std::uint8_t kind, std::uint64_t count) {
        encodeMarker(kind, count, [this](std::uint8_t b) { byte(b); });
    }

private:
    static constexpr std::size_t kChunk = 256 * 1024;
    Sink& sink_;
    std::unique_ptr<char[]> buffer_;
    std::size_t used_ = 0;
    std::string scratch_;
    std::uint64_t position_ = 0;
};

// Appends a string object: ASCII when every byte is, else UTF-16 big-endian. `s` must be valid
// WTF-8.
inline void appendEncodedString(std::string& out, std::string_view s) {
    const auto put = [&out](std::uint8_t b) { out.push_back(static_cast<char>(b)); };
    if (utf::isAscii(s)) {
        encodeMarker(0x5, s.size(), put);
        out.append(s);
        return;
    }
    encodeMarker(0x6, utf::utf16Length(s), put);
    utf::appendUtf16BE(out, s);
}

}  // namespace orvane::plist
