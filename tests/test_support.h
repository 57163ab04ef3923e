// What the tests share: files, scratch folders, the real bookmarks files, running programs.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::test {

std::vector<std::uint8_t> readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, std::string_view bytes);
void writeFile(const std::filesystem::path& path, std::span<const std::uint8_t> bytes);

inline std::span<const std::uint8_t> bytesOf(std::string_view s) {
    return {reinterpret_cast<const std::uint8_t*>(s.data()), s.size()};
}

// The real Safari bookmarks files beside the project (every *.plist directly in the folder).
std::vector<std::filesystem::path> realBookmarkFiles();
// NSKeyedArchiver blobs taken out of a real bookmarks file (the folder's "derived" files).
std::vector<std::filesystem::path> realDerivedFiles();

// A fresh folder under the system's temporary folder, removed with everything in it.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

struct RunResult {
    int exitCode = -1;  // -1 when the program did not exit normally
    std::string out;
    std::string err;
};

// Runs a program with the given arguments and standard input, and waits for it.
RunResult run(const std::vector<std::string>& argv, std::string_view input = {});

// The python3 that runs the plistlib cross-checks; empty when the build found none.
std::string python3();
// Path of the orvane-cli program under test.
std::string cliPath();

}  // namespace orvane::test
