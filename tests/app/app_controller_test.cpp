// The application controller and its parts over fake services, with the real engine: the Sort
// command and its alerts, locating the file, the restore, the launch sequence, the quit rules,
// the helper's reports, and the texts of every part in the user's language.
#include <QAccessible>
#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QMenu>
#include <QPushButton>
#include <QTranslator>
#include <QtTest>

#include "app_fakes.h"
#include "bookmarks_files.h"
#include "helper_codes.h"
#include "support/error_codes.h"
#include "main_window.h"
#include "profiles/discovery.h"
#include "settings.h"
#include "support/log.h"
#include "support/translation.h"
#include "test_support.h"
#include "translations.h"

using namespace orvane;
using namespace orvane::test;

namespace {

const QString kSortFailed = QStringLiteral("The bookmarks could not be sorted");
const QString kSorted = QStringLiteral("The bookmarks are now sorted");

QStringList titles(const QList<Alert>& alerts) {
    QStringList out;
    for (const Alert& alert : alerts) out.append(alert.title);
    return out;
}

QCheckBox* checkBox(AppDelegate& controller, const char* name) {
    return controller.window()->findChild<QCheckBox*>(QLatin1StringView(name));
}

QAction* restoreMenuItem(AppDelegate& controller) {
    return controller.window()->findChild<QAction*>(QStringLiteral("restoreInitialBackupMenuItem"));
}

// An executable file standing in for orvane-helper in a folder of the scratch home.
QString putHelper(ScratchHome& home) {
    QDir().mkpath(home.path("bin"));
    writeFile(home.path("bin/orvane-helper").toStdString(), "#!/bin/sh\n");
    QFile::setPermissions(home.path("bin/orvane-helper"), QFile::ReadOwner | QFile::ExeOwner);
    return home.path("bin");
}

}  // namespace

class AppControllerTest : public QObject {
    Q_OBJECT
private slots:
    void checkBoxesShowAndChangeTheirSettings();
    void resultAlertsByCode();
    void locatingTheFileAsksAndCancellingEndsSilently();
    void serviceCallsAndAutomaticModeQuitAfterSorting();
    void quitRules();
    void launchSequence();
    void helperReportsAreShownOnceInTheirOrder();
    void helperLoginItemFailuresOnlyLog();
    void restoreAsksFirstAndFollowsTheBackup();
    void restoreRefusesABackupThatHoldsNoBookmarks();
    void eachProfileHasABackupOfItsOwn();
    void aBrowserProfileIsNotSafari();
    void theFirstChoiceOfBookmarks();
    void sortButtonRetitlesAfterItsAnimation();
    void serviceRequestsWaitUntilTheControllerIsIdle();
    void serviceCallTimeWindow();
    void everyPartSpeaksTheUsersLanguage();
};

void AppControllerTest::checkBoxesShowAndChangeTheirSettings() {
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    using Setting = bool (*)();
    const QList<std::pair<QCheckBox*, Setting>> boxes = {
        {checkBox(c, "arrangeFoldersAtTopCheckBox"), [] { return Settings::sortOptions().foldersAtTop; }},
        {checkBox(c, "removeDuplicatesCheckBox"), [] { return Settings::sortOptions().removeDuplicates; }},
        {checkBox(c, "renameSamenamedCheckBox"), [] { return Settings::sortOptions().renameSamenamed; }},
        {checkBox(c, "sortBookmarksBarCheckBox"), [] { return Settings::sortOptions().sortBookmarksBar; }},
        {c.windowBinding().autoSortModeCheckBox(), &Settings::autoSortMode}};
    QCOMPARE(c.windowBinding().sortBookmarksButton()->accessibleName(), QStringLiteral("Sort Bookmarks"));
    for (const auto& [box, setting] : boxes) {
        QCOMPARE(box->isChecked(), setting());
        box->setEnabled(true);
        const bool before = box->isChecked();
        box->click();
        QCOMPARE(setting(), !before);
        // What a screen reader announces is what the box says, without its mnemonic's mark.
        QCOMPARE(QAccessible::queryAccessibleInterface(box)->text(QAccessible::Name),
                 QString(box->text()).remove(QLatin1Char('&')));
        QVERIFY(!box->text().isEmpty());
    }
}

void AppControllerTest::resultAlertsByCode() {
    ScratchHome home;
    FakeAlerts presenter;
    QWidget window;
    BusyCount busy({});
    AlertSheet alerts(presenter, window, busy);
    const QString stored = QStringLiteral("/some/where/Bookmarks.plist");
    struct Case {
        std::uint32_t code;
        QString title, message;
        bool clearsName;
    };
    // Safari's initial copy in the application folder.
    const QString backup = initialBackupPathFor(stored);
    QCOMPARE(backup, home.path(".local/share/Orvane/Bookmarks (Initial Copy).plist"));
    const QList<Case> cases = {
        {0, kSorted, "The bookmarks file was opened, sorted and saved.", false},
        {1, kSortFailed,
         "The bookmarks file “" + stored + "” could not be located. Please locate the file and try again.", true},
        {3, kSortFailed,
         "The file “" + stored + "” is not a bookmarks file. Please locate and select Safari’s bookmarks file.", true},
        {7, kSortFailed,
         "A backup for the bookmarks file “" + backup +
             "” could not be created. Please verify that you have read and write access to the file’s directory.",
         false},
        {8, kSortFailed, "Safari is currently using the bookmarks file, please wait a while before sorting.", false},
        {kOVUnsupportedBookmarksFile, kSortFailed,
         "The bookmarks file “" + stored + "” has no Bookmarks Bar or no Bookmarks Menu, so it was left as it was.",
         false},
    };
    for (const Case& test : cases) {
        Settings::setBookmarksFilename(stored);
        presenter.shown.clear();
        SortCommand::showResult(alerts, test.code);
        QCOMPARE(presenter.shown.size(), 1);
        QCOMPARE(presenter.shown[0].title, test.title);
        QCOMPARE(presenter.shown[0].message, test.message);
        QCOMPARE(Settings::bookmarksFilename(), test.clearsName ? QString() : stored);
    }
}

void AppControllerTest::locatingTheFileAsksAndCancellingEndsSilently() {
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    c.windowBinding().sortBookmarksButton()->setEnabled(true);
    c.sortBookmarks();  // no file where the settings say, and the user cancels the open panel
    QCOMPARE(titles(rig.alerts.shown), QStringList{"Cannot locate the bookmarks file"});
    QCOMPARE(
        rig.alerts.shown[0].message,
        QStringLiteral("The bookmarks file is not located in its usual place.\n\nPlease locate and select Safari’s "
                       "bookmarks file in the next dialog (it’s usually named: Bookmarks.plist.)"));
    QCOMPARE(rig.files.asked, (QList<QStringList>{{rig.home.path("Library/Safari"), "Property lists (*.plist)"}}));
    QVERIFY(c.windowBinding().sortBookmarksButton()->isEnabled());
    QCOMPARE(Settings::bookmarksFilename(), rig.home.path("Library/Safari/Bookmarks.plist"));

    // Choosing a file stores it, and the next Sort uses it without asking.
    const QString chosen = rig.home.path("Chosen.plist");
    ScratchHome::saveSampleOver(chosen);
    rig.files.answer = chosen;
    rig.alerts.shown.clear();
    c.sortBookmarks();
    QCOMPARE(titles(rig.alerts.shown), (QStringList{"Cannot locate the bookmarks file", kSorted}));
    QCOMPARE(Settings::bookmarksFilename(), chosen);
    rig.alerts.shown.clear();
    c.sortBookmarks();
    QCOMPARE(titles(rig.alerts.shown), QStringList{kSorted});
    QCOMPARE(rig.files.asked.size(), 2);
}

void AppControllerTest::serviceCallsAndAutomaticModeQuitAfterSorting() {
    // Automatic mode: a successful sort is silent and quits, and quitting starts the helper.
    {
        ControllerRig rig;
        rig.home.putSampleBookmarks();
        rig.controller->autoSortControl().setExecutableFolder(putHelper(rig.home));
        Settings::setAutoSortMode(true);
        rig.controller->applicationDidFinishLaunching();
        rig.controller->sortBookmarks();
        QVERIFY(rig.alerts.shown.isEmpty());
        QCOMPARE(rig.terminations, 1);
        QCOMPARE(rig.workspace.launched, QStringList{rig.home.path("bin/orvane-helper")});
    }
    // A failure in the automatic mode is shown and the application stays open.
    {
        ControllerRig rig;
        const QString file = rig.home.putSampleBookmarks();
        QFile::resize(file, 10);
        Settings::setAutoSortMode(true);
        rig.controller->sortBookmarks();
        QCOMPARE(titles(rig.alerts.shown), QStringList{kSortFailed});
        QCOMPARE(rig.terminations, 0);
    }
    // A service call right after launch: silent on success, shown on failure, and quits either way.
    for (const bool fail : {false, true}) {
        ControllerRig rig;
        const QString file = rig.home.putSampleBookmarks();
        if (fail) QFile::resize(file, 10);
        rig.controller->applicationDidFinishLaunching();
        rig.clock.time = rig.clock.time.addMSecs(400);
        rig.controller->serviceCalled();
        QVERIFY(rig.controller->autoSortControl().wasServiceCall());
        rig.controller->sortBookmarks();
        QCOMPARE(titles(rig.alerts.shown), fail ? QStringList{kSortFailed} : QStringList{});
        QCOMPARE(rig.terminations, 1);
    }
}

void AppControllerTest::quitRules() {
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    AutoSortControl& autoSort = c.autoSortControl();
    QCheckBox* modeBox = c.windowBinding().autoSortModeCheckBox();
    modeBox->setEnabled(true);
    QVERIFY(autoSort.applicationShouldTerminate());  // automatic mode off
    QVERIFY(rig.workspace.launched.isEmpty());

    modeBox->click();
    QVERIFY(Settings::autoSortMode());
    rig.updater.inProgress = true;
    QVERIFY(autoSort.applicationShouldTerminate());  // an update is being installed
    QVERIFY(rig.workspace.launched.isEmpty());
    rig.updater.inProgress = false;

    // The helper is missing: an alert, one log line, the mode switched off, the quit refused;
    // asking again then quits.
    QStringList log;
    ScopedLogSink sink([&](std::string_view line) { log.append(QString::fromUtf8(line.data(), line.size())); });
    QVERIFY(!c.terminate());
    QCOMPARE(rig.alerts.shown.size(), 1);
    QCOMPARE(rig.alerts.shown[0].title, QStringLiteral("Cannot automatically sort your bookmarks"));
    QCOMPARE(rig.alerts.shown[0].message,
             QStringLiteral("Something seems to be fataly wrong with the program‘s main "
                            "file.\n\nPlease reinstall the application to remidy this problem."));
    QVERIFY(log.contains(
        "-[AppDelegate applicationShouldTerminate:] Could not start OrvaneHelper.app, automatic storting will not be enabled."));
    QVERIFY(!Settings::autoSortMode());
    QVERIFY(!modeBox->isChecked());
    QCOMPARE(rig.terminations, 0);
    QVERIFY(c.terminate());
    QCOMPARE(rig.terminations, 1);

    // The helper is there but the system refuses to start it: its reason is shown.
    autoSort.setExecutableFolder(putHelper(rig.home));
    modeBox->setChecked(true);
    rig.workspace.launchError = QStringLiteral("Permission denied");
    rig.alerts.shown.clear();
    QVERIFY(!autoSort.applicationShouldTerminate());
    QCOMPARE(rig.alerts.shown[0].message,
             QStringLiteral("The operating system says: Permission denied\n\nIf this problem "
                            "remains after restarting your computer, then please reinstall the application."));

    // Closing the main window is a request to quit.
    ControllerRig closing;
    closing.controller->autoSortControl().setExecutableFolder(putHelper(closing.home));
    Settings::setAutoSortMode(true);
    closing.controller->window()->show();
    QVERIFY(closing.controller->window()->close());
    QCOMPARE(closing.terminations, 1);
    QCOMPARE(closing.workspace.launched, QStringList{closing.home.path("bin/orvane-helper")});
}

void AppControllerTest::launchSequence() {
    for (const auto& [version, outdated] : {std::pair<std::optional<QString>, bool>{QStringLiteral("5.1"), true},
                                            {QStringLiteral("5.1.1"), false},
                                            {std::nullopt, true}}) {
        ControllerRig rig;
        rig.safari.version = version;
        Settings::setLastHelperError(kHelperCannotWatch);
        QStringList seen;
        rig.alerts.onShow = [&](const Alert& alert) {
            // Each alert comes after the helper was asked to quit, the folder stored and the
            // service offered, with the window showing; the controls wait until the Safari check is done.
            QCOMPARE(rig.workspace.quitAsked, QStringList{"com.marrowfen.OrvaneHelper"});
            QCOMPARE(Settings::applicationFolder(), rig.home.path(".local/share/Orvane"));
            QCOMPARE(rig.services.provided, 1);
            QVERIFY(rig.controller->window()->isVisible());
            if (alert.title == QLatin1String("Please update Safari"))
                QVERIFY(!rig.controller->windowBinding().sortBookmarksButton()->isEnabled());
            seen.append(alert.title);
        };
        rig.controller->applicationDidFinishLaunching();
        QStringList expected{"Automatic sorting error"};
        if (outdated) expected.prepend("Please update Safari");
        QCOMPARE(seen, expected);
        if (outdated) QVERIFY(rig.alerts.shown[0].message.contains(QStringLiteral("from the “Apple” (\uF8FF) menu")));
        QVERIFY(rig.controller->windowBinding().sortBookmarksButton()->isEnabled());
        QVERIFY(rig.controller->windowBinding().autoSortModeCheckBox()->isEnabled());
    }
}

void AppControllerTest::helperReportsAreShownOnceInTheirOrder() {
    ControllerRig rig;
    AutoSortControl& autoSort = rig.controller->autoSortControl();
    struct Case {
        std::uint32_t stored;
        QStringList titles;
        QString message;
        int updateChecks;
    };
    const QString unknown = QStringLiteral(
        "The program ran into an unknown error: 7000.\n\nA restart of your computer will hopefully solve the error.");
    const QList<Case> cases = {
        {0, {}, {}, 0},
        {kHelperClearedError, {}, {}, 0},
        {kHelperAsksForUpdateCheck, {}, {}, 1},
        {5,
         {kSortFailed},
         "The bookmarks file “" + Settings::bookmarksFilename() +
             "” could not be read. Please verify that you have read and write access to the file.",
         0},
        {kOVUnsupportedBookmarksFile,
         {kSortFailed},
         "The bookmarks file “" + Settings::bookmarksFilename() +
             "” has no Bookmarks Bar or no Bookmarks Menu, so it was left as it was.",
         0},
        {kHelperCannotWatch,
         {"Automatic sorting error"},
         "Could not begin watching the bookmarks file for modification events.\n\nThis problem is very rare. A restart of your computer will probably solve the error.",
         0},
        {7000, {"Automatic sorting error"}, unknown, 0},
    };
    for (const Case& test : cases) {
        rig.alerts.shown.clear();
        rig.updater.checks = 0;
        Settings::setLastHelperError(test.stored);
        autoSort.handleHelperApplicationError();
        QCOMPARE(titles(rig.alerts.shown), test.titles);
        if (!test.message.isEmpty()) QCOMPARE(rig.alerts.shown[0].message, test.message);
        QCOMPARE(rig.updater.checks, test.updateChecks);
        QVERIFY(!Settings::lastHelperError());
        autoSort.handleHelperApplicationError();  // reported once only
        QCOMPARE(rig.alerts.shown.size(), test.titles.size());
    }
}

void AppControllerTest::helperLoginItemFailuresOnlyLog() {
    ControllerRig rig;
    QCheckBox* modeBox = rig.controller->windowBinding().autoSortModeCheckBox();
    QStringList log;
    ScopedLogSink sink([&](std::string_view line) { log.append(QString::fromUtf8(line.data(), line.size())); });
    modeBox->setEnabled(true);
    modeBox->click();  // on, with no helper beside the program
    modeBox->click();  // off, with no login item to remove
    QCOMPARE(
        log,
        (QStringList{
            "-[AppDelegate addHelperApplicationAsLoginItem] Cannot find the application, will not add an unresolved URL to the login items.",
            "-[AppDelegate removeHelperApplicationFromLoginItems] Could not remove OrvaneHelper.app from the user‘s login items."}));
    QVERIFY(rig.alerts.shown.isEmpty());
}

void AppControllerTest::restoreAsksFirstAndFollowsTheBackup() {
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    RestoreCommand& command = c.restoreCommand();
    QMenu* fileMenu = c.window()->findChild<QMenu*>("fileMenu");
    QAction* restore = restoreMenuItem(c);
    command.menuNeedsUpdate(fileMenu);
    QVERIFY(!restore->isEnabled());

    const QString file = rig.home.putSampleBookmarks();
    const QByteArray original = contents(file);
    c.sortBookmarks();
    command.menuNeedsUpdate(fileMenu);
    QVERIFY(restore->isEnabled());
    // A menu without the restore item is left alone.
    QMenu other;
    QAction* plain = other.addAction(QStringLiteral("Plain"));
    plain->setEnabled(false);
    command.menuNeedsUpdate(&other);
    QVERIFY(!plain->isEnabled());

    // Cancel is the default answer and changes nothing.
    rig.alerts.shown.clear();
    restore->trigger();
    QCOMPARE(rig.alerts.confirmations[0].title,
             QStringLiteral("You are about to restore the initial backup of your bookmarks"));
    QCOMPARE(rig.alerts.buttons, (QStringList{"Cancel", "OK"}));
    QVERIFY(rig.alerts.shown.isEmpty());
    QVERIFY(command.canRestoreInitialBackup());

    rig.alerts.confirm = true;
    restore->trigger();
    QCOMPARE(titles(rig.alerts.shown), QStringList{"Restoring the initial backup of your bookmarks."});
    QCOMPARE(rig.alerts.shown[0].message,
             QStringLiteral("The initial backup of your bookmarks have now been restored."));
    QCOMPARE(contents(file), original);
    command.menuNeedsUpdate(fileMenu);
    QVERIFY(!restore->isEnabled());

    // A backup gone after the menu was opened: the restore fails and names the bookmarks file.
    rig.alerts.shown.clear();
    command.restoreInitialBackup();
    QCOMPARE(rig.alerts.shown.size(), 1);
    QCOMPARE(rig.alerts.shown[0].title, QStringLiteral("Restoring the initial backup of your bookmarks."));
    QCOMPARE(
        rig.alerts.shown[0].message,
        "Unfortionately the initial backup of your bookmarks could not be restored. Please verify that you have read "
        "and write privilages for the file “" +
            file + ".”");
}

void AppControllerTest::restoreRefusesABackupThatHoldsNoBookmarks() {
    // Whatever lies at the backup's path must not take the bookmarks file's place: garbage, a
    // property list that is no bookmarks file, a folder.
    const QList<std::pair<const char*, std::function<void(const QString&)>>> backups = {
        {"garbage", [](const QString& path) { writeFile(path.toStdString(), std::string(50, '\x9c')); }},
        {"not bookmarks",
         [](const QString& path) {
             writeFile(path.toStdString(), toXml(D({{"Title", S("x")}})));
         }},
        {"folder", [](const QString& path) { QDir().mkpath(path + QStringLiteral("/inside")); }},
    };
    for (const auto& [name, putBackup] : backups) {
        ControllerRig rig;
        const QString file = rig.home.putSampleBookmarks();
        const QByteArray original = contents(file);
        QDir().mkpath(rig.home.path(".local/share/Orvane"));
        putBackup(initialBackupPathFor(file));
        rig.alerts.confirm = true;
        // The menu offers it: something is there.
        rig.controller->restoreCommand().menuNeedsUpdate(rig.controller->window()->findChild<QMenu*>("fileMenu"));
        QVERIFY2(restoreMenuItem(*rig.controller)->isEnabled(), name);
        restoreMenuItem(*rig.controller)->trigger();
        QVERIFY2(contents(file) == original, name);
        QCOMPARE(titles(rig.alerts.shown), QStringList{"Restoring the initial backup of your bookmarks."});
        QCOMPARE(rig.alerts.shown[0].message,
                 "Unfortionately the initial backup of your bookmarks could not be restored. Please verify that you "
                 "have read and write privilages for the file “" +
                     file + ".”");
        // The refused backup stays where it was, for the user to look at.
        QVERIFY2(QFileInfo::exists(initialBackupPathFor(file)), name);
    }
}

void AppControllerTest::eachProfileHasABackupOfItsOwn() {
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    const QString safari = rig.home.putSampleBookmarks();
    const QString work = rig.home.putChromiumProfile("google-chrome", "Profile 1", "Work");
    const QString original = QString::fromUtf8(contents(work));
    Settings::setBookmarksFilename(work);
    c.sortBookmarks();
    QCOMPARE(titles(rig.alerts.shown), QStringList{kSorted});
    QVERIFY(contents(work) != original.toUtf8());
    const QString backup = initialBackupPathFor(work);
    QCOMPARE(QFileInfo(backup).path(), rig.home.path(".local/share/Orvane/Initial Copies"));
    QCOMPARE(contents(backup), original.toUtf8());
    QVERIFY(!QFileInfo::exists(initialBackupPathFor(safari)));

    // The menu offers the chosen file's backup only.
    QMenu* fileMenu = c.window()->findChild<QMenu*>("fileMenu");
    c.restoreCommand().menuNeedsUpdate(fileMenu);
    QVERIFY(restoreMenuItem(c)->isEnabled());
    Settings::setBookmarksFilename(safari);
    c.restoreCommand().menuNeedsUpdate(fileMenu);
    QVERIFY(!restoreMenuItem(c)->isEnabled());

    Settings::setBookmarksFilename(work);
    rig.alerts.confirm = true;
    rig.alerts.shown.clear();
    c.restoreCommand().restoreInitialBackup();
    QCOMPARE(rig.alerts.shown[0].message,
             QStringLiteral("The initial backup of your bookmarks have now been restored."));
    QCOMPARE(contents(work), original.toUtf8());
    QVERIFY(!QFileInfo::exists(backup));
}

void AppControllerTest::aBrowserProfileIsNotSafari() {
    // A launch with a profile chosen shows no Safari alert, even with no Safari at all.
    for (const bool firefox : {true, false}) {
        ControllerRig rig;
        rig.safari.version = std::nullopt;
        Settings::setBookmarksFilename(firefox ? rig.home.putFirefoxProfile("default-release", true)
                                               : rig.home.putChromiumProfile("chromium", "Default", "Person 1"));
        rig.controller->applicationDidFinishLaunching();
        QVERIFY(rig.alerts.shown.isEmpty());
    }

    // Its sort leaves a running, outdated Safari alone; Safari's file still has it refreshed.
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    rig.safari.version = QStringLiteral("5.0");
    rig.safari.preferences = rig.home.path("none.plist");
    rig.safari.running = {{"com.apple.Safari", 11}};
    const QString safari = rig.home.putSampleBookmarks();
    const QString work = rig.home.putChromiumProfile("google-chrome", "Profile 1", "Work");
    Settings::setBookmarksFilename(work);
    c.sortBookmarks();
    QCOMPARE(titles(rig.alerts.shown), QStringList{kSorted});
    QVERIFY(rig.safari.askedFor.isEmpty());
    Settings::setBookmarksFilename(safari);
    c.sortBookmarks();
    QCOMPARE(rig.safari.askedFor, QStringList{"com.apple.Safari"});
    QVERIFY(rig.safari.events.contains("activate com.apple.Safari"));

    // Held by its browser, the profile is left alone and the alert names the browser.
    rig.home.putChromiumProfile("google-chrome", "Profile 1", "Work");
    const QByteArray unsorted = contents(work);
    FakeBrowser chrome(rig.home.path(".config/google-chrome"));
    QVERIFY(chrome.start());
    Settings::setBookmarksFilename(work);
    rig.alerts.shown.clear();
    c.sortBookmarks();
    QCOMPARE(titles(rig.alerts.shown), QStringList{kSortFailed});
    QCOMPARE(rig.alerts.shown[0].message,
             QStringLiteral("Google Chrome is currently using the bookmarks file, please quit it before sorting."));
    QCOMPARE(contents(work), unsorted);
    chrome.quit();

    // Its other alerts name it where Safari's name Safari.
    rig.alerts.confirm = false;
    c.restoreCommand().restoreInitialBackup();
    QVERIFY(rig.alerts.confirmations[0].message.startsWith(
        "This action will restore Google Chrome’s bookmarks as they were before running this program for the first "
        "time.\n\nPlease note"));
    rig.alerts.shown.clear();
    SortCommand::showResult(c.alertSheet(), kOVSyncedBookmarks);
    QCOMPARE(rig.alerts.shown[0].message,
             "Google Chrome syncs these bookmarks with your account: sync would undo a sort made outside it and bring "
             "removed bookmarks back, so the bookmarks file “" +
                 work + "” was left as it was.");
    SortCommand::showResult(c.alertSheet(), OVErrorNotBookmarksFile);
    QCOMPARE(rig.alerts.shown[1].message, "The file “" + work +
                                              "” is not a bookmarks file. Please locate and select Google Chrome’s "
                                              "bookmarks file.");
    QCOMPARE(Settings::bookmarksFilename(), QString());

    // A profile that went away: the locate alert names the browser and its file's name, and the
    // panel starts as near the profile as it can.
    Settings::setBookmarksFilename(work);
    QFile::remove(work);
    rig.alerts.shown.clear();
    rig.files.asked.clear();
    c.sortBookmarks();
    QCOMPARE(titles(rig.alerts.shown), QStringList{"Cannot locate the bookmarks file"});
    QCOMPARE(rig.alerts.shown[0].message,
             QStringLiteral("The bookmarks file is not located in its usual place.\n\nPlease locate and select Google "
                            "Chrome’s bookmarks file in the next dialog (it’s usually named: Bookmarks.)"));
    QCOMPARE(rig.files.asked,
             (QList<QStringList>{{rig.home.path(".config/google-chrome/Profile 1"),
                                  "Bookmarks files (*.plist Bookmarks places.sqlite);;All files (*)"}}));
}

void AppControllerTest::theFirstChoiceOfBookmarks() {
    auto profile = [](const char* browser, const char* name, bool isDefault) {
        BrowserProfile found;
        found.browser = browser;
        found.name = name;
        found.bookmarksFile = std::string("/p/") + browser + "/" + name;
        found.isDefault = isDefault;
        return found;
    };
    const QString missing = QStringLiteral("/nowhere/Bookmarks.plist");
    QCOMPARE(BookmarksChooser::firstChoice({}, missing), missing);
    Discovery found;
    found.profiles = {profile("firefox", "old", false), profile("firefox", "default-release", true),
                      profile("chromium", "Default", true)};
    QCOMPARE(BookmarksChooser::firstChoice(found, missing), QStringLiteral("/p/firefox/default-release"));
    found.profiles = {profile("firefox", "old", false), profile("chromium", "Default", true)};
    QCOMPARE(BookmarksChooser::firstChoice(found, missing), QStringLiteral("/p/firefox/old"));
    found.profiles = {profile("google-chrome", "Work", false), profile("google-chrome", "Default", true),
                      profile("chromium", "Default", true)};
    QCOMPARE(BookmarksChooser::firstChoice(found, missing), QStringLiteral("/p/google-chrome/Default"));

    // At launch, with nothing chosen yet and no Safari file, Firefox's default profile is chosen
    // and stored, and the launch shows no Safari alert.
    ControllerRig rig;
    rig.safari.version = std::nullopt;
    rig.home.putChromiumProfile("chromium", "Default", "Person 1");
    rig.home.putFirefoxProfile("old", false);
    const QString firefox = rig.home.putFirefoxProfile("default-release", true);
    rig.controller->applicationDidFinishLaunching();
    QCOMPARE(Settings::bookmarksFilename(), firefox);
    QVERIFY(Settings::bookmarksFilenameChosen());
    QVERIFY(rig.alerts.shown.isEmpty());
    QCOMPARE(BookmarksChooser::firstChoice(discoverProfiles(), rig.home.path("Library/Safari/Bookmarks.plist")),
             firefox);
    // Safari's file wins where it exists, but a choice once made stays.
    const QString safari = rig.home.putSampleBookmarks();
    QCOMPARE(BookmarksChooser::firstChoice(discoverProfiles(), safari), safari);
    rig.controller->bookmarksChooser().refresh();
    QCOMPARE(Settings::bookmarksFilename(), firefox);
    // Nothing but Safari's file where nothing else is found: nothing is stored.
    ControllerRig plain;
    plain.safari.version = std::nullopt;
    plain.controller->applicationDidFinishLaunching();
    QVERIFY(!Settings::bookmarksFilenameChosen());
    QCOMPARE(titles(plain.alerts.shown), QStringList{"Please update Safari"});
}

void AppControllerTest::sortButtonRetitlesAfterItsAnimation() {
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    QPushButton* button = c.windowBinding().sortBookmarksButton();
    QCheckBox* modeBox = c.windowBinding().autoSortModeCheckBox();
    c.window()->show();
    modeBox->setEnabled(true);
    modeBox->click();
    // The button slides and stretches empty, then shows its new title, centred.
    QCOMPARE(button->text(), QString());
    QCOMPARE(button->accessibleName(), QStringLiteral("Begin Sorting Bookmarks"));
    QTRY_COMPARE(button->text(), QStringLiteral("Begin Sorting Bookmarks"));
    QCOMPARE(button->size(), button->sizeHint());
    const int left = button->mapTo(c.window(), QPoint(0, 0)).x();
    QVERIFY(qAbs(left - (c.window()->width() - button->width()) / 2) <= 1);
    modeBox->click();
    QTRY_COMPARE(button->text(), QStringLiteral("Sort Bookmarks"));
}

void AppControllerTest::serviceRequestsWaitUntilTheControllerIsIdle() {
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    const QString file = rig.home.putSampleBookmarks();
    const QByteArray unsorted = contents(file);
    rig.safari.version = QStringLiteral("4.0");
    // Calls that come while the launch alert is open are stamped at once; their sort waits.
    rig.alerts.onShow = [&](const Alert&) {
        c.serviceCalled();
        c.sortWhenIdle();
        c.sortWhenIdle();
    };
    c.applicationDidFinishLaunching();
    rig.alerts.onShow = nullptr;
    QVERIFY(c.autoSortControl().wasServiceCall());
    QCOMPARE(contents(file), unsorted);
    QTRY_COMPARE(rig.terminations, 1);  // sorted once, silently, then quit as a service run does
    QVERIFY(contents(file) != unsorted);
    QCOMPARE(titles(rig.alerts.shown), QStringList{"Please update Safari"});

    // A quit asked for while an alert is open comes after the command that shows it.
    ControllerRig later;
    later.home.putSampleBookmarks();
    later.alerts.onShow = [&](const Alert&) {
        later.controller->terminateWhenIdle();
        QCOMPARE(later.terminations, 0);
    };
    later.controller->sortBookmarks();
    QCOMPARE(titles(later.alerts.shown), QStringList{kSorted});
    QCOMPARE(later.terminations, 0);
    QTRY_COMPARE(later.terminations, 1);
}

void AppControllerTest::serviceCallTimeWindow() {
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    const AutoSortControl& autoSort = c.autoSortControl();
    QVERIFY(!autoSort.wasServiceCall());
    c.applicationDidFinishLaunching();
    const QDateTime start = rig.clock.time;
    QVERIFY(!autoSort.wasServiceCall());  // no call in this run
    for (const auto& [offset, expected] :
         {std::pair{990, true}, {1000, true}, {1010, false}, {-500, true}, {-1000, true}, {-1010, false}}) {
        rig.clock.time = start.addMSecs(offset);
        c.serviceCalled();
        QCOMPARE(autoSort.wasServiceCall(), expected);
    }
}

void AppControllerTest::everyPartSpeaksTheUsersLanguage() {
    // Each part of the controller asks the catalogue under the context its texts are kept in.
    QLocale::setDefault(QLocale(QLocale::German));
    installTranslations(*QCoreApplication::instance());
    {
        ControllerRig rig;
        AppDelegate& c = *rig.controller;
        rig.safari.version = QStringLiteral("5.0");
        Settings::setLastHelperError(kHelperCannotWatch);
        c.applicationDidFinishLaunching();  // the controller's and the automatic mode's alerts
        c.sortBookmarks();                  // no bookmarks file: the locator's alert, then cancelled
        c.restoreCommand().restoreInitialBackup();
        QCOMPARE(titles(rig.alerts.shown),
                 (QStringList{"Bitte aktualisieren Sie Safari", "Fehler beim automatischen Sortieren",
                              "Die Lesezeichendatei wurde nicht gefunden"}));
        QCOMPARE(rig.alerts.confirmations[0].title,
                 QStringLiteral("Sie sind dabei, die erste Sicherungskopie Ihrer Lesezeichen wiederherzustellen"));
        QCOMPARE(c.windowBinding().sortBookmarksButton()->accessibleName(), QStringLiteral("Lesezeichen sortieren"));
        const auto* chooser = c.window()->findChild<QComboBox*>("bookmarksChooser");
        QCOMPARE(chooser->accessibleName(), QStringLiteral("Lesezeichen von"));
        QCOMPARE(chooser->itemText(chooser->count() - 1), QStringLiteral("Andere Datei…"));

        // The result alert: its title from the application's catalogue, its message from the engine's.
        rig.alerts.shown.clear();
        rig.home.putSampleBookmarks();
        c.sortBookmarks();
        QCOMPARE(rig.alerts.shown[0].title, QStringLiteral("Die Lesezeichen sind jetzt sortiert"));
        QCOMPARE(rig.alerts.shown[0].message,
                 QStringLiteral("Die Lesezeichendatei wurde geöffnet, sortiert und gespeichert."));
    }
    for (QTranslator* translator : QCoreApplication::instance()->findChildren<QTranslator*>())
        QCoreApplication::removeTranslator(translator), delete translator;
    QLocale::setDefault(QLocale::c());
    setTranslator({});
}

QTEST_MAIN(AppControllerTest)
#include "app_controller_test.moc"
