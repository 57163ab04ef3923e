#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "cli.h"
#include "files/atomic_file.h"
#include "plist/utf.h"
#include "stores/safari/bookmarks_plist.h"

namespace orvane::cli {

void printError(std::string_view message) {
    std::fprintf(stderr, "orvane-cli: %.*s\n", static_cast<int>(message.size()), message.data());
}

plist::ReadResult readPropertyListFile(std::string_view path, std::string& why) {
    std::vector<std::uint8_t> bytes;
    plist::ReadResult failed;
    failed.status.message = "unreadable";
    if (path == "-") {
        std::uint8_t buffer[64 * 1024];
        for (;;) {
            ssize_t n = ::read(STDIN_FILENO, buffer, sizeof buffer);
            if (n < 0 && errno == EINTR) continue;
            if (n < 0) {
                why = std::string("cannot read standard input: ") + std::strerror(errno);
                return failed;
            }
            if (n == 0) break;
            bytes.insert(bytes.end(), buffer, buffer + n);
        }
    } else if (IoError io = readWholeFile(std::string(path), bytes); !io.ok()) {
        why = io.message;
        return failed;
    }
    plist::ReadResult result = plist::readPropertyList(bytes);
    if (!result) why = safari::readFailure(path == "-" ? "standard input" : path, result);
    return result;
}

plist::ReadResult loadPropertyList(std::string_view path) {
    std::string why;
    plist::ReadResult result = readPropertyListFile(path, why);
    if (!result) printError(why);
    return result;
}

int finishStandardOutput(int status) {
    errno = 0;
    if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return status;
    const int errnum = errno != 0 ? errno : EIO;
    printError(std::string("cannot write standard output: ") + std::strerror(errnum));
    return status == ExitOk ? ExitUnwritable : status;
}

int reportJobResult(std::uint32_t code, std::string_view message) {
    if (code == OVErrorSuccess) {
        std::printf("%.*s\n", static_cast<int>(message.size()), message.data());
        return static_cast<int>(code);
    }
    for (std::size_t start = 0;;) {
        const std::size_t end = message.find("\n\n", start);
        printError(message.substr(start, end - start));
        if (end == std::string_view::npos) break;
        start = end + 2;
    }
    return static_cast<int>(code);
}

std::string printable(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    std::size_t pos = 0;
    while (pos < text.size()) {
        std::uint32_t cp;
        if (!plist::utf::nextCodePoint(text, pos, cp)) {
            ++pos;
            cp = 0xFFFD;
        }
        if (cp < 0x20 || cp == 0x7F || (cp >= 0xD800 && cp <= 0xDFFF)) cp = 0xFFFD;
        plist::utf::appendCodePoint(out, cp);
    }
    return out;
}

}  // namespace orvane::cli
