// orvane-cli browsers: every browser profile found for the user, and finding one by its name.
#include <cstdio>

#include "cli.h"
#include "profiles/discovery.h"

namespace orvane::cli {
namespace {

const char* kHelp =
    "usage: orvane-cli browsers\n"
    "\n"
    "Lists the bookmarks of every browser profile found for the current user, one line each, three\n"
    "fields separated by a tab: the browser's id, the profile's name and the path of its bookmarks\n"
    "file. Ids: safari (when ~/Library/Safari/Bookmarks.plist exists), firefox, librewolf, floorp,\n"
    "waterfox, chromium, google-chrome, google-chrome-beta, microsoft-edge, brave, vivaldi, opera.\n"
    "Each id, alone or as ID:PROFILE, is what --browser takes in sort, restore and print.\n"
    "A profiles.ini or Local State that cannot be read is reported on standard error, and the\n"
    "rest is still listed.\n"
    "\n"
    "Options:\n"
    "  -h, --help     show this help\n"
    "\n"
    "Exit status: 0 done (also when nothing is found), 6 standard output not written, 64 usage\n"
    "error.\n";

}  // namespace

int runBrowsers(const Args& args) {
    for (std::string_view a : args) {
        if (a == "-h" || a == "--help") {
            std::fputs(kHelp, stdout);
            return ExitOk;
        }
        printError("browsers: unknown argument '" + std::string(a) + "'; see 'orvane-cli browsers --help'");
        return ExitUsage;
    }
    const Discovery found = discoverProfiles();
    for (const std::string& problem : found.problems) printError(problem);
    for (const BrowserProfile& profile : found.profiles)
        std::printf("%s\t%s\t%s\n", profile.browser.c_str(), printable(profile.name).c_str(),
                    printable(profile.bookmarksFile.string()).c_str());
    return ExitOk;
}

std::optional<std::string> browserProfileFile(std::string_view command, std::string_view choice) {
    const Discovery found = discoverProfiles();
    std::string why;
    if (const std::optional<BrowserProfile> profile = findProfile(found, choice, why))
        return profile->bookmarksFile.string();
    printError(std::string(command) + ": --browser " + std::string(choice) + ": " + why +
               "; see 'orvane-cli browsers'");
    return std::nullopt;
}

}  // namespace orvane::cli
