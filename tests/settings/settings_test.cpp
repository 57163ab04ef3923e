// The settings that orvane and orvane-helper share: registered defaults that are never written,
// another process's writes seen at the next read, and values written by hand read as meant (a
// bookmarks file under "~" included).
#include <QDir>
#include <QtTest>

#include "scratch_home.h"
#include "settings.h"
#include "test_support.h"

using namespace orvane;
using namespace orvane::test;

namespace {

// Replaces the settings file, as another process or a person with an editor would.
void writeSettingsFile(const ScratchHome& home, const std::string& text) {
    QDir().mkpath(home.path(".config/Marrowfen"));
    writeFile(home.path(".config/Marrowfen/Orvane.conf").toStdString(), "[General]\n" + text);
}

}  // namespace

class SettingsTest : public QObject {
    Q_OBJECT
private slots:
    void defaultsAreNeverWrittenAndWritesAreReadAfresh();
    void handWrittenValuesReadAsMeant();
};

void SettingsTest::defaultsAreNeverWrittenAndWritesAreReadAfresh() {
    ScratchHome home;
    // The sort options' defaults are the engine's own.
    QCOMPARE(Settings::sortOptions(), SortOptions{});
    QVERIFY(!Settings::autoSortMode());
    QCOMPARE(Settings::bookmarksFilename(), home.path("Library/Safari/Bookmarks.plist"));
    QCOMPARE(Settings::applicationFolder(), QString());
    QVERIFY(!Settings::lastHelperError());
    QCOMPARE(Settings::bookmarksUpdateLatency(), 1.0);
    QVERIFY(!Settings::mainWindowFrame());
    QVERIFY(!home.settingsText().contains(QLatin1String("FoldersAtTop")));
    QVERIFY(!home.settingsText().contains(QLatin1String("BookmarksFilename")));
    QVERIFY(!Settings::bookmarksFilenameChosen());
    writeSettingsFile(home, "BookmarksFilename=~/.config/chromium/Default/Bookmarks\n");
    QCOMPARE(Settings::bookmarksFilename(), home.path(".config/chromium/Default/Bookmarks"));

    writeSettingsFile(home,
                      "FoldersAtTop=false\nSortBookmarksBar=true\nAutoSortMode=true\n"
                      "BookmarksFilename=/elsewhere/B.plist\nLastHelperError=5\n");
    QCOMPARE(Settings::sortOptions(), (SortOptions{.foldersAtTop = false, .sortBookmarksBar = true}));
    QVERIFY(Settings::autoSortMode());
    QCOMPARE(Settings::bookmarksFilename(), QStringLiteral("/elsewhere/B.plist"));
    QVERIFY(Settings::bookmarksFilenameChosen());
    QCOMPARE(Settings::lastHelperError(), 5u);
}

void SettingsTest::handWrittenValuesReadAsMeant() {
    ScratchHome home;
    writeSettingsFile(home,
                      "FoldersAtTop=0\nRemoveDuplicates=no\nRenameSamenamed=YES\nSortBookmarksBar=2\n"
                      "LastHelperError=7000\nBookmarksUpdateLatency=0.25\n");
    QCOMPARE(Settings::sortOptions(), (SortOptions{false, false, true, true}));
    QCOMPARE(Settings::lastHelperError(), 7000u);
    QCOMPARE(Settings::bookmarksUpdateLatency(), 0.25);
    // A latency that is no number, or below zero, is the default one; text that is no number is
    // no failure.
    for (const char* latency : {"soon", "-1", "nan"}) {
        writeSettingsFile(home, std::string("LastHelperError=none\nBookmarksUpdateLatency=") + latency + "\n");
        QCOMPARE(Settings::bookmarksUpdateLatency(), 1.0);
        QCOMPARE(Settings::lastHelperError(), 0u);
    }
}

QTEST_GUILESS_MAIN(SettingsTest)
#include "settings_test.moc"
