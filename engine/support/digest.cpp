#include "support/digest.h"

#include <bit>
#include <cstring>

namespace orvane {
namespace {

constexpr char kHex[] = "0123456789abcdef";

std::string hex(const std::uint8_t* bytes, std::size_t n) {
    std::string out;
    out.reserve(2 * n);
    for (std::size_t i = 0; i < n; ++i) {
        out += kHex[bytes[i] >> 4];
        out += kHex[bytes[i] & 15];
    }
    return out;
}

// Feeds whole 64-byte blocks to `block` and keeps the rest in `buffer`.
template <class Block>
void feed(std::array<std::uint8_t, 64>& buffer, std::uint64_t& length, std::string_view bytes, Block block) {
    const auto* p = reinterpret_cast<const std::uint8_t*>(bytes.data());
    std::size_t n = bytes.size();
    std::size_t used = length % 64;
    length += n;
    if (used) {
        const std::size_t take = std::min(n, 64 - used);
        std::memcpy(buffer.data() + used, p, take);
        p += take, n -= take, used += take;
        if (used < 64) return;
        block(buffer.data());
    }
    for (; n >= 64; p += 64, n -= 64) block(p);
    std::memcpy(buffer.data(), p, n);
}

// The padding both digests end with: 0x80, zeros, and the length in bits in 8 bytes.
template <class Update>
void pad(std::uint64_t length, bool bigEndian, Update update) {
    std::uint8_t tail[72] = {0x80};
    const std::size_t zeros = (length % 64 < 56 ? 56 : 120) - length % 64;
    const std::uint64_t bits = length * 8;
    for (int i = 0; i < 8; ++i) tail[zeros + i] = static_cast<std::uint8_t>(bits >> (bigEndian ? 56 - 8 * i : 8 * i));
    update(std::string_view(reinterpret_cast<const char*>(tail), zeros + 8));
}

}  // namespace

Md5::Md5() : state_{0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476} {}

void Md5::block(const std::uint8_t* p) {
    std::uint32_t m[16];
    for (int i = 0; i < 16; ++i)
        m[i] = std::uint32_t(p[4 * i]) | std::uint32_t(p[4 * i + 1]) << 8 | std::uint32_t(p[4 * i + 2]) << 16 |
               std::uint32_t(p[4 * i + 3]) << 24;
    std::uint32_t a = state_[0], b = state_[1], c = state_[2], d = state_[3];
    // The 64 steps written out, so that the compiler keeps everything in registers: a checksum of
    // a large bookmarks file hashes tens of megabytes.
    a = b + std::rotl(a + (d ^ (b & (c ^ d))) + m[0] + 0xd76aa478u, 7);
    d = a + std::rotl(d + (c ^ (a & (b ^ c))) + m[1] + 0xe8c7b756u, 12);
    c = d + std::rotl(c + (b ^ (d & (a ^ b))) + m[2] + 0x242070dbu, 17);
    b = c + std::rotl(b + (a ^ (c & (d ^ a))) + m[3] + 0xc1bdceeeu, 22);
    a = b + std::rotl(a + (d ^ (b & (c ^ d))) + m[4] + 0xf57c0fafu, 7);
    d = a + std::rotl(d + (c ^ (a & (b ^ c))) + m[5] + 0x4787c62au, 12);
    c = d + std::rotl(c + (b ^ (d & (a ^ b))) + m[6] + 0xa8304613u, 17);
    b = c + std::rotl(b + (a ^ (c & (d ^ a))) + m[7] + 0xfd469501u, 22);
    a = b + std::rotl(a + (d ^ (b & (c ^ d))) + m[8] + 0x698098d8u, 7);
    d = a + std::rotl(d + (c ^ (a & (b ^ c))) + m[9] + 0x8b44f7afu, 12);
    c = d + std::rotl(c + (b ^ (d & (a ^ b))) + m[10] + 0xffff5bb1u, 17);
    b = c + std::rotl(b + (a ^ (c & (d ^ a))) + m[11] + 0x895cd7beu, 22);
    a = b + std::rotl(a + (d ^ (b & (c ^ d))) + m[12] + 0x6b901122u, 7);
    d = a + std::rotl(d + (c ^ (a & (b ^ c))) + m[13] + 0xfd987193u, 12);
    c = d + std::rotl(c + (b ^ (d & (a ^ b))) + m[14] + 0xa679438eu, 17);
    b = c + std::rotl(b + (a ^ (c & (d ^ a))) + m[15] + 0x49b40821u, 22);
    a = b + std::rotl(a + (c ^ (d & (b ^ c))) + m[1] + 0xf61e2562u, 5);
    d = a + std::rotl(d + (b ^ (c & (a ^ b))) + m[6] + 0xc040b340u, 9);
    c = d + std::rotl(c + (a ^ (b & (d ^ a))) + m[11] + 0x265e5a51u, 14);
    b = c + std::rotl(b + (d ^ (a & (c ^ d))) + m[0] + 0xe9b6c7aau, 20);
    a = b + std::rotl(a + (c ^ (d & (b ^ c))) + m[5] + 0xd62f105du, 5);
    d = a + std::rotl(d + (b ^ (c & (a ^ b))) + m[10] + 0x02441453u, 9);
    c = d + std::rotl(c + (a ^ (b & (d ^ a))) + m[15] + 0xd8a1e681u, 14);
    b = c + std::rotl(b + (d ^ (a & (c ^ d))) + m[4] + 0xe7d3fbc8u, 20);
    a = b + std::rotl(a + (c ^ (d & (b ^ c))) + m[9] + 0x21e1cde6u, 5);
    d = a + std::rotl(d + (b ^ (c & (a ^ b))) + m[14] + 0xc33707d6u, 9);
    c = d + std::rotl(c + (a ^ (b & (d ^ a))) + m[3] + 0xf4d50d87u, 14);
    b = c + std::rotl(b + (d ^ (a & (c ^ d))) + m[8] + 0x455a14edu, 20);
    a = b + std::rotl(a + (c ^ (d & (b ^ c))) + m[13] + 0xa9e3e905u, 5);
    d = a + std::rotl(d + (b ^ (c & (a ^ b))) + m[2] + 0xfcefa3f8u, 9);
    c = d + std::rotl(c + (a ^ (b & (d ^ a))) + m[7] + 0x676f02d9u, 14);
    b = c + std::rotl(b + (d ^ (a & (c ^ d))) + m[12] + 0x8d2a4c8au, 20);
    a = b + std::rotl(a + (b ^ c ^ d) + m[5] + 0xfffa3942u, 4);
    d = a + std::rotl(d + (a ^ b ^ c) + m[8] + 0x8771f681u, 11);
    c = d + std::rotl(c + (d ^ a ^ b) + m[11] + 0x6d9d6122u, 16);
    b = c + std::rotl(b + (c ^ d ^ a) + m[14] + 0xfde5380cu, 23);
    a = b + std::rotl(a + (b ^ c ^ d) + m[1] + 0xa4beea44u, 4);
    d = a + std::rotl(d + (a ^ b ^ c) + m[4] + 0x4bdecfa9u, 11);
    c = d + std::rotl(c + (d ^ a ^ b) + m[7] + 0xf6bb4b60u, 16);
    b = c + std::rotl(b + (c ^ d ^ a) + m[10] + 0xbebfbc70u, 23);
    a = b + std::rotl(a + (b ^ c ^ d) + m[13] + 0x289b7ec6u, 4);
    d = a + std::rotl(d + (a ^ b ^ c) + m[0] + 0xeaa127fau, 11);
    c = d + std::rotl(c + (d ^ a ^ b) + m[3] + 0xd4ef3085u, 16);
    b = c + std::rotl(b + (c ^ d ^ a) + m[6] + 0x04881d05u, 23);
    a = b + std::rotl(a + (b ^ c ^ d) + m[9] + 0xd9d4d039u, 4);
    d = a + std::rotl(d + (a ^ b ^ c) + m[12] + 0xe6db99e5u, 11);
    c = d + std::rotl(c + (d ^ a ^ b) + m[15] + 0x1fa27cf8u, 16);
    b = c + std::rotl(b + (c ^ d ^ a) + m[2] + 0xc4ac5665u, 23);
    a = b + std::rotl(a + (c ^ (b | ~d)) + m[0] + 0xf4292244u, 6);
    d = a + std::rotl(d + (b ^ (a | ~c)) + m[7] + 0x432aff97u, 10);
    c = d + std::rotl(c + (a ^ (d | ~b)) + m[14] + 0xab9423a7u, 15);
    b = c + std::rotl(b + (d ^ (c | ~a)) + m[5] + 0xfc93a039u, 21);
    a = b + std::rotl(a + (c ^ (b | ~d)) + m[12] + 0x655b59c3u, 6);
    d = a + std::rotl(d + (b ^ (a | ~c)) + m[3] + 0x8f0ccc92u, 10);
    c = d + std::rotl(c + (a ^ (d | ~b)) + m[10] + 0xffeff47du, 15);
    b = c + std::rotl(b + (d ^ (c | ~a)) + m[1] + 0x85845dd1u, 21);
    a = b + std::rotl(a + (c ^ (b | ~d)) + m[8] + 0x6fa87e4fu, 6);
    d = a + std::rotl(d + (b ^ (a | ~c)) + m[15] + 0xfe2ce6e0u, 10);
    c = d + std::rotl(c + (a ^ (d | ~b)) + m[6] + 0xa3014314u, 15);
    b = c + std::rotl(b + (d ^ (c | ~a)) + m[13] + 0x4e0811a1u, 21);
    a = b + std::rotl(a + (c ^ (b | ~d)) + m[4] + 0xf7537e82u, 6);
    d = a + std::rotl(d + (b ^ (a | ~c)) + m[11] + 0xbd3af235u, 10);
    c = d + std::rotl(c + (a ^ (d | ~b)) + m[2] + 0x2ad7d2bbu, 15);
    b = c + std::rotl(b + (d ^ (c | ~a)) + m[9] + 0xeb86d391u, 21);
    state_[0] += a, state_[1] += b, state_[2] += c, state_[3] += d;
}

void Md5::update(std::string_view bytes) {
    feed(buffer_, length_, bytes, [this](const std::uint8_t* p) { block(p); });
}

std::string Md5::hexDigest() {
    pad(length_, false, [this](std::string_view tail) {
        const std::uint64_t keep = length_;
        update(tail);
        length_ = keep;
    });
    std::uint8_t out[16];
    for (int i = 0; i < 16; ++i) out[i] = static_cast<std::uint8_t>(state_[i / 4] >> (8 * (i % 4)));
    return hex(out, 16);
}

Sha256::Sha256()
    : state_{0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a, 0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19} {}

void Sha256::block(const std::uint8_t* p) {
    static constexpr std::uint32_t kK[64] = {
        0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
        0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
        0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
        0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
        0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
        0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
        0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
        0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};
    std::uint32_t w[64];
    for (int i = 0; i < 16; ++i)
        w[i] = std::uint32_t(p[4 * i]) << 24 | std::uint32_t(p[4 * i + 1]) << 16 | std::uint32_t(p[4 * i + 2]) << 8 |
               std::uint32_t(p[4 * i + 3]);
    for (int i = 16; i < 64; ++i) {
        const std::uint32_t s0 = std::rotr(w[i - 15], 7) ^ std::rotr(w[i - 15], 18) ^ (w[i - 15] >> 3);
        const std::uint32_t s1 = std::rotr(w[i - 2], 17) ^ std::rotr(w[i - 2], 19) ^ (w[i - 2] >> 10);
        w[i] = w[i - 16] + s0 + w[i - 7] + s1;
    }
    auto [a, b, c, d, e, f, g, h] = state_;
    for (int i = 0; i < 64; ++i) {
        const std::uint32_t t1 =
            h + (std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25)) + ((e & f) ^ (~e & g)) + kK[i] + w[i];
        const std::uint32_t t2 =
            (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
        h = g, g = f, f = e, e = d + t1, d = c, c = b, b = a, a = t1 + t2;
    }
    const std::uint32_t add[8] = {a, b, c, d, e, f, g, h};
    for (int i = 0; i < 8; ++i) state_[i] += add[i];
}

void Sha256::update(std::string_view bytes) {
    feed(buffer_, length_, bytes, [this](const std::uint8_t* p) { block(p); });
}

std::string Sha256::hexDigest() {
    pad(length_, true, [this](std::string_view tail) {
        const std::uint64_t keep = length_;
        update(tail);
        length_ = keep;
    });
    std::uint8_t out[32];
    for (int i = 0; i < 32; ++i) out[i] = static_cast<std::uint8_t>(state_[i / 4] >> (24 - 8 * (i % 4)));
    return hex(out, 32);
}

}  // namespace orvane
