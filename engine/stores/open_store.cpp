#include <fcntl.h>
#include <unistd.h>
#include <string_view>

#include "files/atomic_file.h"
#include "stores/bookmark_store.h"
#include "stores/chromium/chromium_browsers.h"
#include "stores/chromium/chromium_store.h"
#include "stores/firefox/firefox_store.h"
#include "stores/safari/safari_store.h"

namespace orvane {
namespace fs = std::filesystem;

namespace {

// The first bytes of a file, enough to tell the formats apart.
std::string head(const fs::path& file) {
    std::string bytes(64 * 1024, '\0');
    const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return {};
    struct stat st;
    ssize_t n = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) ? ::read(fd, bytes.data(), bytes.size()) : -1;
    ::close(fd);
    bytes.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    return bytes;
}

}  // namespace

BookmarksFormat detectFormat(const fs::path& file) {
    const std::string bytes = head(file);
    const std::string_view text(bytes);
    if (text.empty()) return BookmarksFormat::Unknown;
    if (text.starts_with(std::string_view("SQLite format 3\0", 16))) return BookmarksFormat::Firefox;
    if (text.starts_with("bplist")) return BookmarksFormat::Safari;
    // JSON with a "roots" object is Chromium's; an OpenStep property list also begins with "{",
    // but never holds that key in quotes followed by a colon.
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    if (first != std::string_view::npos && text[first] == '{')
        for (std::size_t at = text.find("\"roots\""); at != std::string_view::npos;
             at = text.find("\"roots\"", at + 1)) {
            const std::size_t colon = text.find_first_not_of(" \t\r\n", at + 7);
            if (colon != std::string_view::npos && text[colon] == ':') return BookmarksFormat::Chromium;
        }
    // Everything else is for the property-list readers to accept or refuse, with their reasons.
    return BookmarksFormat::Safari;
}

std::unique_ptr<BookmarkStore> openStore(const fs::path& file, const fs::path& givenPath, const StoreOptions& options,
                                         const fs::path& sample) {
    BookmarksFormat format = detectFormat(file);
    if (format == BookmarksFormat::Unknown && !sample.empty()) format = detectFormat(sample);
    switch (format) {
    case BookmarksFormat::Chromium: return std::make_unique<chromium::ChromiumStore>(file, options);
    case BookmarksFormat::Firefox: return std::make_unique<firefox::FirefoxStore>(file, options);
    default: return std::make_unique<safari::SafariStore>(file, givenPath);
    }
}

}  // namespace orvane
