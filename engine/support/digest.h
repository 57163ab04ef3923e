// MD5 and SHA-256, fed piece by piece, answered as lower-case hexadecimal: what Chromium's
// bookmarks file keeps as its checksums. Not for anything that needs to resist an attacker.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace orvane {

class Md5 {
public:
    Md5();
    void update(std::string_view bytes);
    std::string hexDigest();  // ends the computation

private:
    void block(const std::uint8_t* p);
    std::array<std::uint32_t, 4> state_;
    std::array<std::uint8_t, 64> buffer_{};
    std::uint64_t length_ = 0;
};

class Sha256 {
public:
    Sha256();
    void update(std::string_view bytes);
    std::string hexDigest();  // ends the computation

private:
    void block(const std::uint8_t* p);
    std::array<std::uint32_t, 8> state_;
    std::array<std::uint8_t, 64> buffer_{};
    std::uint64_t length_ = 0;
};

}  // namespace orvane
