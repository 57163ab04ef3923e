// Finding every browser profile of a home folder, and one of them by name.
#include <gtest/gtest.h>

#include <cstdlib>

#include "profiles/discovery.h"
#include "test_support.h"

namespace orvane {
namespace {

namespace fs = std::filesystem;
using namespace test;

// HOME and XDG_CONFIG_HOME pointed at a scratch folder for one test.
struct FakeHome {
    FakeHome() {
        for (const char* name : {"HOME", "XDG_CONFIG_HOME"})
            if (const char* value = std::getenv(name)) saved.emplace_back(name, value);
        ::setenv("HOME", dir.path().c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", (dir / "config").c_str(), 1);
    }
    ~FakeHome() {
        ::unsetenv("HOME");
        ::unsetenv("XDG_CONFIG_HOME");
        for (const auto& [name, value] : saved) ::setenv(name.c_str(), value.c_str(), 1);
    }
    fs::path put(const std::string& relative, std::string_view contents = "") const {
        fs::create_directories((dir / relative).parent_path());
        writeFile(dir / relative, contents);
        return dir / relative;
    }
    TempDir dir;
    std::vector<std::pair<std::string, std::string>> saved;
};

std::vector<std::string> lines(const Discovery& found) {
    std::vector<std::string> out;
    for (const BrowserProfile& p : found.profiles)
        out.push_back(p.browser + " " + p.name + (p.isDefault ? " *" : "") + " " + p.bookmarksFile.filename().string());
    return out;
}

TEST(Discovery, FindsEveryBrowsersProfilesWhereverTheyAreKept) {
    FakeHome home;
    home.put("Library/Safari/Bookmarks.plist");
    // Chromium's and Chrome's profiles named by Local State, Opera's in its folder itself, and a
    // Flatpak Brave; a folder without bookmarks is no profile.
    home.put("config/chromium/Default/Bookmarks");
    home.put("config/google-chrome/Profile 1/Bookmarks");
    home.put("config/google-chrome/Default/Bookmarks");
    home.put("config/google-chrome/System Profile/Preferences");
    home.put("config/google-chrome/Local State", R"({"profile": {"info_cache": {"Profile 1": {"name": "Work"}}}})");
    home.put("config/opera/Bookmarks");
    home.put(".var/app/com.brave.Browser/config/BraveSoftware/Brave-Browser/Default/Bookmarks");
    // Firefox with a relative and an absolute profile, the default from installs.ini; a Snap
    // LibreWolf-less Firefox elsewhere; and a broken profiles.ini whose good lines still count.
    home.put(".mozilla/firefox/a.default/places.sqlite");
    const fs::path elsewhere = home.put("elsewhere/b.work/places.sqlite").parent_path();
    home.put(".mozilla/firefox/profiles.ini",
             "[Profile0]\nName=default\nIsRelative=1\nPath=a.default\nDefault=1\n\n"
             "[Profile1]\nName=work\nIsRelative=0\nPath=" +
                 elsewhere.string() + "\n");
    home.put(".mozilla/firefox/installs.ini", "[4F96D1932A9F858E]\nDefault=" + elsewhere.string() + "\nLocked=1\n");
    home.put("snap/firefox/common/.mozilla/firefox/s.snap/places.sqlite");
    home.put("snap/firefox/common/.mozilla/firefox/profiles.ini",
             "[Profile0]\nName=snap\nPath=s.snap\nthis line is broken\n");
    home.put("config/vivaldi/Local State", "{not json");
    home.put("config/vivaldi/Default/Bookmarks");

    const Discovery found = discoverProfiles();
    EXPECT_EQ(lines(found),
              (std::vector<std::string>{"safari default * Bookmarks.plist", "firefox default places.sqlite",
                                        "firefox work * places.sqlite", "firefox snap places.sqlite",
                                        "chromium Default * Bookmarks", "google-chrome Default * Bookmarks",
                                        "google-chrome Work Bookmarks", "brave Default * Bookmarks",
                                        "vivaldi Default * Bookmarks", "opera Default * Bookmarks"}));
    ASSERT_EQ(found.problems.size(), 2u);
    EXPECT_NE(found.problems[0].find("profiles.ini: line 4: neither a section nor a key"), std::string::npos)
        << found.problems[0];
    EXPECT_NE(found.problems[1].find("Local State: not valid JSON"), std::string::npos) << found.problems[1];

    std::string why;
    EXPECT_EQ(findProfile(found, "firefox", why)->bookmarksFile, elsewhere / "places.sqlite");
    EXPECT_EQ(findProfile(found, "google-chrome:Work", why)->folder, "Profile 1");
    EXPECT_EQ(findProfile(found, "google-chrome:Profile 1", why)->name, "Work");
    EXPECT_EQ(findProfile(found, "chromium", why)->bookmarksFile,
              home.dir.path() / "config/chromium/Default/Bookmarks");
    EXPECT_FALSE(findProfile(found, "google-chrome:Home", why));
    EXPECT_EQ(why, "no profile \"Home\" of google-chrome; it has: Default, Work");
    EXPECT_FALSE(findProfile(found, "netscape", why));
    EXPECT_NE(why.find("profiles were found for: brave, chromium, firefox"), std::string::npos) << why;
    EXPECT_FALSE(findProfile(found, "microsoft-edge", why));
    EXPECT_EQ(why, "no profile of microsoft-edge was found");
}

}  // namespace
}  // namespace orvane
