// What the tests share: files, scratch folders, the real bookmarks files, running programs, and
// short ways to build and write property-list values.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "plist/codec.h"

namespace orvane::test {

std::vector<std::uint8_t> readFile(const std::filesystem::path& path);
// A file's bytes as a string, to compare with what a test wrote or expects.
std::string readText(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, std::string_view bytes);

inline std::span<const std::uint8_t> bytesOf(std::string_view s) {
    return {reinterpret_cast<const std::uint8_t*>(s.data()), s.size()};
}

// Safari bookmarks files for the tests that read whole files.
struct SafariFiles {
    std::vector<std::filesystem::path> bookmarks;  // every *.plist directly in the folder
    std::vector<std::filesystem::path> derived;    // keyed archives taken out of them (derived/*.bplist)
};
// Ours, in tests/data/safari (scripts/make_safari_test_files.py), shaped after what Safari's
// versions write: proxies, Safari 2's root title, UTF-16 titles, extended counts, Sync data.
SafariFiles ownSafariFiles();
// Real files of Safari's, kept beside the clone in ../shared/data/real because they are
// third-party data the project must not hold. Call only when realSafariFilesMissing() is empty.
SafariFiles realSafariFiles();
// Why the real files cannot be read (one line for a skipped test), or empty when they are there.
std::string realSafariFilesMissing();

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

// Runs a program with the given arguments and standard input, and waits for it. Each "NAME=value"
// in `env` is set in the program's environment, replacing the variable of that name.
RunResult run(const std::vector<std::string>& argv, std::string_view input = {},
              const std::vector<std::string>& env = {});

// The python3 that runs the plistlib cross-checks; empty when the build found none.
std::string python3();
// Path of the orvane-cli program under test.
std::string cliPath();

}  // namespace orvane::test

// Skips the calling test, with the reason, when the real Safari files are not beside the clone:
// a clone on its own passes, and the run says what it did not test.
#define ORVANE_SKIP_WITHOUT_REAL_FILES() \
    if (const std::string why = ::orvane::test::realSafariFilesMissing(); !why.empty()) GTEST_SKIP() << why

namespace orvane::test {

inline plist::Value S(std::string_view s) { return plist::Value::string(s); }
inline plist::Value I(std::int64_t i) { return plist::Value::integer(i); }
inline plist::Value A(std::initializer_list<plist::Value> items) {
    plist::Value v = plist::Value::array(items.size());
    v.asArray()->assign({items.begin(), items.size()});
    return v;
}
inline plist::Value D(std::initializer_list<std::pair<std::string_view, plist::Value>> entries) {
    plist::Value v = plist::Value::dictionary();
    for (const auto& [key, item] : entries) v.asDictionary()->set(key, item);
    return v;
}
// Arrays nested `depth` deep, the innermost one empty.
inline plist::Value nested(std::size_t depth) {
    plist::Value v = plist::Value::array();
    for (std::size_t i = 1; i < depth; ++i) v = A({v});
    return v;
}

// What each writer makes of `v`; a refusal fails the calling test.
std::string toBinary(const plist::Value& v);
std::string toXml(const plist::Value& v);

// WTF-8 text as UTF-16 code units (lone surrogates kept), without a byte-order mark.
std::string utf16(std::string_view wtf8, bool bigEndian);

// Takes `okWrites` writes, then reports failure.
struct FailingSink final : plist::Sink {
    explicit FailingSink(std::size_t okWrites) : okWrites(okWrites) {}
    void write(const void*, std::size_t n) override { ++writes, bytes += n; }
    using Sink::write;
    bool failed() const override { return writes > okWrites; }
    std::uint64_t position() const override { return bytes; }
    void overwrite(std::uint64_t, std::string_view) override {}
    std::size_t okWrites, writes = 0, bytes = 0;
};

}  // namespace orvane::test
