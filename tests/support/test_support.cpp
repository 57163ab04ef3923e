#include "test_support.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <algorithm>
#include <random>

#include "plist/utf.h"

namespace orvane::test {
namespace fs = std::filesystem;

std::vector<std::uint8_t> readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("test cannot read " + path.string());
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string readText(const fs::path& path) {
    const auto bytes = readFile(path);
    return {bytes.begin(), bytes.end()};
}

void writeFile(const fs::path& path, std::string_view bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!out) throw std::runtime_error("test cannot write " + path.string());
}

namespace {
std::vector<fs::path> filesIn(const fs::path& folder, std::string_view extension) {
    std::vector<fs::path> files;
    if (!fs::is_directory(folder)) throw std::runtime_error("missing test data folder " + folder.string());
    for (const auto& entry : fs::directory_iterator(folder))
        if (entry.is_regular_file() && entry.path().extension() == extension) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

SafariFiles safariFilesIn(const fs::path& folder) {
    return {filesIn(folder, ".plist"), filesIn(folder / "derived", ".bplist")};
}
}  // namespace

SafariFiles ownSafariFiles() { return safariFilesIn(fs::path(ORVANE_SOURCE_DIR) / "tests" / "data" / "safari"); }
SafariFiles realSafariFiles() { return safariFilesIn(ORVANE_REAL_DATA); }

std::string realSafariFilesMissing() {
    const fs::path folder = ORVANE_REAL_DATA;
    if (fs::is_directory(folder / "derived")) return {};
    return "skipped: the real Safari files are not beside this clone (no folder " + folder.lexically_normal().string() +
           "); they are third-party data kept outside the project, and tests/data/safari covers what they hold";
}

TempDir::TempDir() {
    std::random_device random;
    path_ = fs::temp_directory_path() / ("orvane-test-" + std::to_string(::getpid()) + "-" + std::to_string(random()));
    fs::create_directories(path_);
}

TempDir::~TempDir() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

RunResult run(const std::vector<std::string>& argv, std::string_view input, const std::vector<std::string>& env) {
    TempDir scratch;
    const fs::path in = scratch / "stdin", out = scratch / "stdout", err = scratch / "stderr";
    writeFile(in, input);
    // Built before fork, so that the child does no more than redirect and exec.
    std::vector<std::string> environment;
    auto overridden = [&](std::string_view entry) {
        const std::string_view name = entry.substr(0, entry.find('='));
        return std::any_of(env.begin(), env.end(),
                           [&](const std::string& e) { return e.substr(0, e.find('=')) == name; });
    };
    for (char** e = environ; *e; ++e)
        if (!overridden(*e)) environment.emplace_back(*e);
    environment.insert(environment.end(), env.begin(), env.end());
    std::vector<char*> envp;
    for (auto& e : environment) envp.push_back(e.data());
    envp.push_back(nullptr);
    std::vector<char*> args;
    for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    pid_t pid = ::fork();
    if (pid == 0) {
        if (!std::freopen(in.c_str(), "rb", stdin) || !std::freopen(out.c_str(), "wb", stdout) ||
            !std::freopen(err.c_str(), "wb", stderr))
            std::_Exit(127);
        ::execve(args[0], args.data(), envp.data());
        std::_Exit(127);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    RunResult result;
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = readText(out);
    result.err = readText(err);
    return result;
}

std::string python3() { return ORVANE_PYTHON3; }
std::string cliPath() { return ORVANE_CLI; }

std::string toBinary(const plist::Value& v) {
    plist::StringSink sink;
    EXPECT_EQ(plist::writeBinary(v, sink), "");
    return sink.out;
}

std::string toXml(const plist::Value& v) {
    plist::StringSink sink;
    EXPECT_EQ(plist::writeXml(v, sink), "");
    return sink.out;
}

std::string utf16(std::string_view wtf8, bool bigEndian) {
    std::string out;
    plist::utf::appendUtf16BE(out, wtf8);
    if (!bigEndian)
        for (std::size_t i = 0; i + 1 < out.size(); i += 2) std::swap(out[i], out[i + 1]);
    return out;
}

}  // namespace orvane::test
