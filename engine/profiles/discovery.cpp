#include "profiles/discovery.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>

#include "files/atomic_file.h"
#include "files/paths.h"
#include "stores/chromium/chromium_browsers.h"
#include "stores/chromium/json_document.h"
#include "stores/safari/default_file.h"

namespace orvane {
namespace fs = std::filesystem;

namespace {

struct FirefoxBrowser {
    std::string_view id, name;
    // Where its profiles.ini may lie: relative to the home folder, or to the configuration
    // folder when it begins with "$CONFIG/".
    std::vector<std::string_view> roots;
};

const std::vector<FirefoxBrowser>& firefoxBrowsers() {
    static const std::vector<FirefoxBrowser> browsers = {
        {"firefox",
         "Firefox",
         {".mozilla/firefox", "$CONFIG/mozilla/firefox", "snap/firefox/common/.mozilla/firefox",
          ".var/app/org.mozilla.firefox/.mozilla/firefox", ".var/app/org.mozilla.firefox/config/mozilla/firefox"}},
        {"librewolf",
         "LibreWolf",
         {".librewolf", "$CONFIG/librewolf/librewolf", ".var/app/io.gitlab.librewolf-community/.librewolf"}},
        {"floorp", "Floorp", {".floorp", ".var/app/one.ablaze.floorp/.floorp"}},
        {"waterfox", "Waterfox", {".waterfox", ".var/app/net.waterfox.waterfox/.waterfox"}},
    };
    return browsers;
}

fs::path configFolder() {
    if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg == '/') return xdg;
    return fs::path(homeFolder()) / ".config";
}

bool isFile(const fs::path& path) {
    std::error_code error;
    return fs::is_regular_file(path, error);
}

// The sections of an ini file, their keys in order; lines that are none of section, key, comment
// or blank are reported, with their numbers.
using IniSections = std::vector<std::pair<std::string, std::map<std::string, std::string>>>;
IniSections readIni(const fs::path& file, std::vector<std::string>& problems) {
    IniSections sections;
    std::ifstream in(file);
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        const std::size_t start = line.find_first_not_of(" \t");
        if (start == std::string::npos || line[start] == ';' || line[start] == '#') continue;
        if (line[start] == '[') {
            const std::size_t end = line.find(']', start);
            if (end == std::string::npos) {
                problems.push_back(file.string() + ": line " + std::to_string(number) +
                                   ": a section without its \"]\"");
                continue;
            }
            sections.push_back({line.substr(start + 1, end - start - 1), {}});
            continue;
        }
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos || sections.empty()) {
            problems.push_back(file.string() + ": line " + std::to_string(number) + ": neither a section nor a key");
            continue;
        }
        sections.back().second[line.substr(start, equals - start)] = line.substr(equals + 1);
    }
    return sections;
}

void findFirefoxProfiles(const FirefoxBrowser& browser, const fs::path& root, Discovery& found) {
    const fs::path ini = root / "profiles.ini";
    if (!isFile(ini)) return;
    const IniSections profiles = readIni(ini, found.problems);
    // The default: what installs.ini names for an installation, else what profiles.ini's own
    // install sections name, else the profile marked Default=1.
    std::string defaultPath;
    if (isFile(root / "installs.ini"))
        for (const auto& [section, keys] : readIni(root / "installs.ini", found.problems))
            if (const auto it = keys.find("Default"); it != keys.end() && defaultPath.empty()) defaultPath = it->second;
    for (const auto& [section, keys] : profiles)
        if (const auto it = keys.find("Default");
            section.starts_with("Install") && it != keys.end() && defaultPath.empty())
            defaultPath = it->second;
    for (const auto& [section, keys] : profiles) {
        if (!section.starts_with("Profile")) continue;
        const auto path = keys.find("Path");
        if (path == keys.end()) {
            found.problems.push_back(ini.string() + ": [" + section + "] has no Path");
            continue;
        }
        const auto relative = keys.find("IsRelative");
        const bool isRelative = relative == keys.end() || relative->second != "0";
        const fs::path folder = isRelative ? root / path->second : fs::path(path->second);
        if (!isFile(folder / "places.sqlite")) continue;
        BrowserProfile profile;
        profile.browser = browser.id;
        profile.browserName = browser.name;
        const auto name = keys.find("Name");
        profile.folder = folder.filename().string();
        profile.name = name != keys.end() ? name->second : profile.folder;
        profile.bookmarksFile = folder / "places.sqlite";
        const auto isDefault = keys.find("Default");
        profile.isDefault =
            defaultPath.empty() ? isDefault != keys.end() && isDefault->second == "1" : path->second == defaultPath;
        found.profiles.push_back(std::move(profile));
    }
}

// Profile names by folder, from "Local State"'s profile.info_cache.
std::map<std::string, std::string> chromiumProfileNames(const fs::path& localState,
                                                        std::vector<std::string>& problems) {
    std::map<std::string, std::string> names;
    if (!isFile(localState)) return names;
    FileSnapshot snapshot;
    if (IoError error = readSnapshot(localState, snapshot); !error.ok()) {
        problems.push_back(error.message);
        return names;
    }
    json::Document document;
    if (std::string error = document.parse(snapshot.bytes); !error.empty()) {
        problems.push_back(localState.string() + ": not valid JSON: " + error);
        return names;
    }
    const json::ValueId* profile = document.find(document.root(), "profile");
    const json::ValueId* cache = profile ? document.find(*profile, "info_cache") : nullptr;
    if (!cache || document.type(*cache) != json::Type::Object) return names;
    for (std::size_t i = 0; i < document.size(*cache); ++i) {
        const json::ValueId* name = document.find(document.member(*cache, i), "name");
        if (name && document.type(*name) == json::Type::String)
            names[std::string(document.key(*cache, i))] = std::string(document.text(*name));
    }
    return names;
}

void findChromiumProfiles(const chromium::Browser& browser, const fs::path& config, Discovery& found) {
    std::error_code error;
    if (!fs::is_directory(config, error)) return;
    const std::map<std::string, std::string> names = chromiumProfileNames(config / "Local State", found.problems);
    std::vector<fs::path> folders;
    if (isFile(config / "Bookmarks")) folders.push_back(config);  // Opera keeps its profile here
    for (const auto& entry : fs::directory_iterator(config, error))
        if (entry.is_directory(error) && isFile(entry.path() / "Bookmarks")) folders.push_back(entry.path());
    // The default profile first, then the others by their folders' names.
    std::sort(folders.begin(), folders.end(), [&](const fs::path& a, const fs::path& b) {
        const bool aFirst = a == config || a.filename() == "Default", bFirst = b == config || b.filename() == "Default";
        return aFirst != bFirst ? aFirst : a.filename() < b.filename();
    });
    for (const fs::path& folder : folders) {
        BrowserProfile profile;
        profile.browser = browser.id;
        profile.browserName = browser.name;
        profile.folder = folder == config ? "Default" : folder.filename().string();
        const auto name = names.find(profile.folder);
        profile.name = name != names.end() ? name->second : profile.folder;
        profile.bookmarksFile = folder / "Bookmarks";
        profile.isDefault = profile.folder == "Default";
        found.profiles.push_back(std::move(profile));
    }
}

}  // namespace

std::vector<std::string_view> browserIds() {
    std::vector<std::string_view> ids{"safari"};
    for (const FirefoxBrowser& browser : firefoxBrowsers()) ids.push_back(browser.id);
    for (const chromium::Browser& browser : chromium::browsers()) ids.push_back(browser.id);
    return ids;
}

Discovery discoverProfiles() {
    Discovery found;
    const fs::path home = homeFolder(), config = configFolder();
    if (const fs::path safari = expandTilde(safari::kDefaultBookmarksFile); isFile(safari))
        found.profiles.push_back({"safari", "Safari", "default", "Safari", safari, true});
    for (const FirefoxBrowser& browser : firefoxBrowsers())
        for (const std::string_view root : browser.roots)
            findFirefoxProfiles(browser, root.starts_with("$CONFIG/") ? config / root.substr(8) : home / root, found);
    for (const chromium::Browser& browser : chromium::browsers()) {
        findChromiumProfiles(browser, config / browser.configFolder, found);
        if (!browser.flatpakId.empty())
            findChromiumProfiles(browser, home / ".var/app" / browser.flatpakId / "config" / browser.configFolder,
                                 found);
    }
    // A profile reached by two ways (a link between them) is listed once.
    std::set<fs::path> seen;
    std::erase_if(found.profiles, [&](const BrowserProfile& profile) {
        std::error_code error;
        return !seen.insert(fs::weakly_canonical(profile.bookmarksFile, error)).second;
    });
    return found;
}

std::optional<BrowserProfile> findProfile(const Discovery& found, std::string_view choice, std::string& why) {
    const std::size_t colon = choice.find(':');
    const std::string_view id = choice.substr(0, colon);
    const std::optional<std::string_view> wanted =
        colon == std::string_view::npos ? std::nullopt : std::optional(choice.substr(colon + 1));
    std::vector<const BrowserProfile*> ofBrowser;
    for (const BrowserProfile& profile : found.profiles)
        if (profile.browser == id) ofBrowser.push_back(&profile);
    const auto ids = browserIds();
    if (std::find(ids.begin(), ids.end(), id) == ids.end()) {
        std::set<std::string> present;
        for (const BrowserProfile& profile : found.profiles) present.insert(profile.browser);
        std::string list;
        for (const std::string& each : present) list += (list.empty() ? "" : ", ") + each;
        why = "no browser \"" + std::string(id) + "\"; profiles were found for: " + (list.empty() ? "none" : list);
        return std::nullopt;
    }
    if (ofBrowser.empty()) {
        why = "no profile of " + std::string(id) + " was found";
        return std::nullopt;
    }
    if (!wanted) {
        for (const BrowserProfile* profile : ofBrowser)
            if (profile->isDefault) return *profile;
        return *ofBrowser.front();
    }
    for (const BrowserProfile* profile : ofBrowser)
        if (profile->name == *wanted || profile->folder == *wanted) return *profile;
    std::string list;
    for (const BrowserProfile* profile : ofBrowser) list += (list.empty() ? "" : ", ") + profile->name;
    why = "no profile \"" + std::string(*wanted) + "\" of " + std::string(id) + "; it has: " + list;
    return std::nullopt;
}

}  // namespace orvane
