#include "stores/chromium/chromium_browsers.h"

#include <algorithm>
#include <string>

namespace orvane::chromium {
namespace {

constexpr std::string_view kChromium[] = {"chromium", "chromium-browser", "chrome"};
constexpr std::string_view kChrome[] = {"chrome", "google-chrome"};
constexpr std::string_view kEdge[] = {"msedge", "microsoft-edge"};
constexpr std::string_view kBrave[] = {"brave", "brave-browser"};
constexpr std::string_view kVivaldi[] = {"vivaldi-bin", "vivaldi"};
constexpr std::string_view kOpera[] = {"opera"};

constexpr Browser kBrowsers[] = {
    {"chromium", "Chromium", "chromium", "org.chromium.Chromium", kChromium},
    {"google-chrome", "Google Chrome", "google-chrome", "com.google.Chrome", kChrome},
    {"google-chrome-beta", "Google Chrome Beta", "google-chrome-beta", "", kChrome},
    {"microsoft-edge", "Microsoft Edge", "microsoft-edge", "com.microsoft.Edge", kEdge},
    {"brave", "Brave", "BraveSoftware/Brave-Browser", "com.brave.Browser", kBrave},
    {"vivaldi", "Vivaldi", "vivaldi", "com.vivaldi.Vivaldi", kVivaldi},
    {"opera", "Opera", "opera", "com.opera.Opera", kOpera},
};

}  // namespace

std::span<const Browser> browsers() { return kBrowsers; }

std::filesystem::path wholePath(const std::filesystem::path& file) {
    std::error_code error;
    const std::filesystem::path whole = std::filesystem::absolute(file, error);
    return (error ? file : whole).lexically_normal();
}

std::optional<Browser> browserOwning(const std::filesystem::path& bookmarksFile) {
    // ".../CONFIG-FOLDER/PROFILE/Bookmarks", or ".../opera/Bookmarks" where the profile is the
    // configuration folder itself.
    const std::string path = wholePath(bookmarksFile).string();
    for (const Browser& browser : kBrowsers) {
        // Appended rather than "/" + ... + "/": with Debian's package flags (-O2, fortified) GCC 12
        // warns, wrongly, that the concatenation's copy may overlap (-Wrestrict).
        std::string folder = "/";
        folder.append(browser.configFolder).append("/");
        const std::size_t at = path.rfind(folder);
        if (at == std::string::npos) continue;
        const std::string_view rest = std::string_view(path).substr(at + folder.size());
        if (std::count(rest.begin(), rest.end(), '/') <= 1) return browser;
    }
    return std::nullopt;
}

std::optional<Browser> browserRunning(std::string_view executableName) {
    for (const Browser& browser : kBrowsers)
        if (std::find(browser.programs.begin(), browser.programs.end(), executableName) != browser.programs.end())
            return browser;
    return std::nullopt;
}

}  // namespace orvane::chromium
