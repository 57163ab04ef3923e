// The application controller over fake services: the Sort command and its alerts, locating the
// file, the restore, the launch sequence, the quit rules and the helper's reports.
#include <QAccessible>
#include <QAction>
#include <QCheckBox>
#include <QFile>
#include <QMenu>
#include <QPushButton>
#include <QSettings>
#include <QtTest>

#include "app_fakes.h"
#include "helper_codes.h"
#include "log.h"
#include "main_window.h"
#include "orvane.h"
#include "settings.h"
#include "test_support.h"

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
    void settingsHaveDefaultsAndAreReadAfresh();
    void checkBoxesShowAndChangeTheirSettings();
    void resultAlertsByCode();
    void locatingTheFileAsksAndCancellingEndsSilently();
    void serviceCallsAndAutomaticModeQuitAfterSorting();
    void quitRules();
    void launchSequence();
    void helperReportsAreShownOnceInTheirOrder();
    void helperLoginItemFailuresOnlyLog();
    void restoreAsksFirstAndFollowsTheBackup();
    void sortButtonRetitlesAfterItsAnimation();
    void serviceRequestsWaitUntilTheControllerIsIdle();
    void serviceCallTimeWindow();
};

void AppControllerTest::settingsHaveDefaultsAndAreReadAfresh() {
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    QVERIFY(c.arrangeFoldersAtTop() && c.removeDuplicates() && c.renameSamenamed());
    QVERIFY(!c.sortBookmarksBar() && !c.autoSortMode());
    QCOMPARE(c.bookmarksFilename(), rig.home.path("Library/Safari/Bookmarks.plist"));
    QCOMPARE(c.applicationFolder(), rig.home.path(".local/share/Orvane"));
    // Reading never writes the registered defaults.
    QVERIFY(!rig.home.settingsText().contains(QLatin1String("FoldersAtTop")));

    // Another process's write is seen at the next read.
    QDir().mkpath(rig.home.path(".config/Marrowfen"));
    writeFile(rig.home.path(".config/Marrowfen/Orvane.conf").toStdString(),
              "[General]\nFoldersAtTop=false\nSortBookmarksBar=true\nBookmarksFilename=/elsewhere/B.plist\n");
    QVERIFY(!c.arrangeFoldersAtTop());
    QVERIFY(c.sortBookmarksBar());
    QCOMPARE(c.bookmarksFilename(), QStringLiteral("/elsewhere/B.plist"));

    // The initial copy's path is cached until the bookmarks file changes, and then the same.
    const QString backup = c.backupFilename();
    QCOMPARE(backup, rig.home.path(".local/share/Orvane/Bookmarks (Initial Copy).plist"));
    c.setBackupFilename(QStringLiteral("/cached"));
    QCOMPARE(c.backupFilename(), QStringLiteral("/cached"));
    c.setBookmarksFilename(QStringLiteral("/other.plist"));
    QCOMPARE(c.backupFilename(), backup);
}

void AppControllerTest::checkBoxesShowAndChangeTheirSettings() {
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    const QList<std::pair<QCheckBox*, const char*>> boxes = {{c.arrangeFoldersAtTopCheckBox(), keys::FoldersAtTop},
                                                             {c.removeDuplicatesCheckBox(), keys::RemoveDuplicates},
                                                             {c.renameSamenamedCheckBox(), keys::RenameSamenamed},
                                                             {c.sortBookmarksBarCheckBox(), keys::SortBookmarksBar},
                                                             {c.autoSortModeCheckBox(), keys::AutoSortMode}};
    QCOMPARE(c.sortBookmarksButton()->accessibleName(), QStringLiteral("Sort Bookmarks"));
    for (const auto& [box, key] : boxes) {
        QCOMPARE(box->isChecked(), Settings::boolForKey(key));
        box->setEnabled(true);
        const bool before = box->isChecked();
        box->click();
        QCOMPARE(Settings::boolForKey(key), !before);
        // What a screen reader announces is what the box says.
        QCOMPARE(QAccessible::queryAccessibleInterface(box)->text(QAccessible::Name), box->text());
        QVERIFY(!box->text().isEmpty());
    }
}

void AppControllerTest::resultAlertsByCode() {
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    const QString stored = QStringLiteral("/some/where/Bookmarks.plist");
    struct Case {
        std::uint32_t code;
        QString title, message;
        bool clearsName;
    };
    const QString backup = c.backupFilename();
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
        c.setBookmarksFilename(stored);
        rig.alerts.shown.clear();
        c.showOrvaneError(test.code);
        QCOMPARE(rig.alerts.shown.size(), 1);
        QCOMPARE(rig.alerts.shown[0].title, test.title);
        QCOMPARE(rig.alerts.shown[0].message, test.message);
        QCOMPARE(c.bookmarksFilename(), test.clearsName ? QString() : stored);
    }
}

void AppControllerTest::locatingTheFileAsksAndCancellingEndsSilently() {
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    c.sortBookmarksButton()->setEnabled(true);
    c.sortBookmarks();  // no file where the settings say, and the user cancels the open panel
    QCOMPARE(titles(rig.alerts.shown), QStringList{"Cannot locate the bookmarks file"});
    QCOMPARE(
        rig.alerts.shown[0].message,
        QStringLiteral("The bookmarks file is not located in its usual place.\n\nPlease locate and select Safari’s "
                       "bookmarks file in the next dialog (it’s usually named: Bookmarks.plist.)"));
    QCOMPARE(rig.files.asked, (QList<QStringList>{{rig.home.path("Library/Safari"), "Property lists (*.plist)"}}));
    QVERIFY(c.sortBookmarksButton()->isEnabled());
    QCOMPARE(c.bookmarksFilename(), rig.home.path("Library/Safari/Bookmarks.plist"));

    // Choosing a file stores it, and the next Sort uses it without asking.
    const QString chosen = rig.home.path("Chosen.plist");
    ScratchHome::saveSampleOver(chosen);
    rig.files.answer = chosen;
    rig.alerts.shown.clear();
    c.sortBookmarks();
    QCOMPARE(titles(rig.alerts.shown), (QStringList{"Cannot locate the bookmarks file", kSorted}));
    QCOMPARE(c.bookmarksFilename(), chosen);
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
        rig.controller->setExecutableFolder(putHelper(rig.home));
        rig.controller->setAutoSortMode(true);
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
        rig.controller->setAutoSortMode(true);
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
        QString error = QStringLiteral("untouched");
        rig.controller->sortBookmarks(QString(), &error);
        QCOMPARE(error, QStringLiteral("untouched"));
        QVERIFY(rig.controller->wasServiceCall());
        rig.controller->sortBookmarks();
        QCOMPARE(titles(rig.alerts.shown), fail ? QStringList{kSortFailed} : QStringList{});
        QCOMPARE(rig.terminations, 1);
    }
}

void AppControllerTest::quitRules() {
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    c.autoSortModeCheckBox()->setEnabled(true);
    QCOMPARE(c.applicationShouldTerminate(), AppDelegate::TerminateNow);  // automatic mode off
    QVERIFY(rig.workspace.launched.isEmpty());

    c.autoSortModeCheckBox()->click();
    QVERIFY(c.autoSortMode());
    rig.updater.inProgress = true;
    QCOMPARE(c.applicationShouldTerminate(), AppDelegate::TerminateNow);  // an update is being installed
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
    QVERIFY(!c.autoSortMode());
    QVERIFY(!c.autoSortModeCheckBox()->isChecked());
    QCOMPARE(rig.terminations, 0);
    QVERIFY(c.terminate());
    QCOMPARE(rig.terminations, 1);

    // The helper is there but the system refuses to start it: its reason is shown.
    c.setExecutableFolder(putHelper(rig.home));
    c.setAutoSortMode(true);
    c.autoSortModeCheckBox()->setChecked(true);
    rig.workspace.launchError = QStringLiteral("Permission denied");
    rig.alerts.shown.clear();
    QCOMPARE(c.applicationShouldTerminate(), AppDelegate::TerminateCancel);
    QCOMPARE(rig.alerts.shown[0].message,
             QStringLiteral("The operating system says: Permission denied\n\nIf this problem "
                            "remains after restarting your computer, then please reinstall the application."));

    // Closing the main window is a request to quit.
    ControllerRig closing;
    closing.controller->setExecutableFolder(putHelper(closing.home));
    closing.controller->setAutoSortMode(true);
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
        Settings::setObject(keys::LastHelperError, 101);
        QStringList seen;
        rig.alerts.onShow = [&](const Alert& alert) {
            // Each alert comes after the helper was asked to quit, the folder stored and the
            // service offered, with the window showing; the controls wait until the Safari check is done.
            QCOMPARE(rig.workspace.quitAsked, QStringList{"com.marrowfen.OrvaneHelper"});
            QCOMPARE(Settings::stringForKey(keys::ApplicationFolder), rig.controller->applicationFolder());
            QCOMPARE(rig.services.provided, 1);
            QVERIFY(rig.controller->window()->isVisible());
            if (alert.title == QLatin1String("Please update Safari"))
                QVERIFY(!rig.controller->sortBookmarksButton()->isEnabled());
            seen.append(alert.title);
        };
        rig.controller->applicationDidFinishLaunching();
        QStringList expected{"Automatic sorting error"};
        if (outdated) expected.prepend("Please update Safari");
        QCOMPARE(seen, expected);
        if (outdated) QVERIFY(rig.alerts.shown[0].message.contains(QStringLiteral("from the “Apple” (\uF8FF) menu")));
        QVERIFY(rig.controller->sortBookmarksButton()->isEnabled());
        QVERIFY(rig.controller->autoSortModeCheckBox()->isEnabled());
    }
}

void AppControllerTest::helperReportsAreShownOnceInTheirOrder() {
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    struct Case {
        QVariant stored;
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
         "The bookmarks file “" + c.bookmarksFilename() +
             "” could not be read. Please verify that you have read and write access to the file.",
         0},
        {kHelperCannotWatch,
         {"Automatic sorting error"},
         "Could not begin watching the bookmarks file for modification events.\n\nThis problem is very rare. A restart of your computer will probably solve the error.",
         0},
        {7000, {"Automatic sorting error"}, unknown, 0},
        {QStringLiteral("7000"), {"Automatic sorting error"}, unknown, 0},
    };
    for (const Case& test : cases) {
        rig.alerts.shown.clear();
        rig.updater.checks = 0;
        Settings::setObject(keys::LastHelperError, test.stored);
        c.handleHelperApplicationError();
        QCOMPARE(titles(rig.alerts.shown), test.titles);
        if (!test.message.isEmpty()) QCOMPARE(rig.alerts.shown[0].message, test.message);
        QCOMPARE(rig.updater.checks, test.updateChecks);
        QVERIFY(!Settings::storedObjectForKey(keys::LastHelperError));
        c.handleHelperApplicationError();  // reported once only
        QCOMPARE(rig.alerts.shown.size(), test.titles.size());
    }
}

void AppControllerTest::helperLoginItemFailuresOnlyLog() {
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    QStringList log;
    ScopedLogSink sink([&](std::string_view line) { log.append(QString::fromUtf8(line.data(), line.size())); });
    c.autoSortModeCheckBox()->setEnabled(true);
    c.autoSortModeCheckBox()->click();  // on, with no helper beside the program
    c.autoSortModeCheckBox()->click();  // off, with no login item to remove
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
    QMenu* fileMenu = c.window()->findChild<QMenu*>("fileMenu");
    QAction* restore = c.restoreInitialBackupMenuItem();
    c.menuNeedsUpdate(fileMenu);
    QVERIFY(!restore->isEnabled());

    const QString file = rig.home.putSampleBookmarks();
    const QByteArray original = contents(file);
    c.sortBookmarks();
    c.menuNeedsUpdate(fileMenu);
    QVERIFY(restore->isEnabled());
    // A menu without the restore item is left alone.
    QMenu other;
    QAction* plain = other.addAction(QStringLiteral("Plain"));
    plain->setEnabled(false);
    c.menuNeedsUpdate(&other);
    QVERIFY(!plain->isEnabled());

    // Cancel is the default answer and changes nothing.
    rig.alerts.shown.clear();
    c.restoreInitialBackup();
    QCOMPARE(rig.alerts.confirmations[0].title,
             QStringLiteral("You are about to restore the initial backup of your bookmarks"));
    QCOMPARE(rig.alerts.buttons, (QStringList{"Cancel", "OK"}));
    QVERIFY(rig.alerts.shown.isEmpty());
    QVERIFY(c.canRestoreInitialBackup());

    rig.alerts.confirm = true;
    c.restoreInitialBackup();
    QCOMPARE(titles(rig.alerts.shown), QStringList{"Restoring the initial backup of your bookmarks."});
    QCOMPARE(rig.alerts.shown[0].message,
             QStringLiteral("The initial backup of your bookmarks have now been restored."));
    QCOMPARE(contents(file), original);
    c.menuNeedsUpdate(fileMenu);
    QVERIFY(!restore->isEnabled());

    // With the backup used up, a second restore fails and names the bookmarks file.
    rig.alerts.shown.clear();
    c.restoreInitialBackup();
    QCOMPARE(rig.alerts.shown[0].title, QStringLiteral("Restoring the initial backup of your bookmarks."));
    QCOMPARE(
        rig.alerts.shown[0].message,
        "Unfortionately the initial backup of your bookmarks could not be restored. Please verify that you have read "
        "and write privilages for the file “" +
            file + ".”");
}

void AppControllerTest::sortButtonRetitlesAfterItsAnimation() {
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    c.window()->show();
    c.autoSortModeCheckBox()->setEnabled(true);
    c.autoSortModeCheckBox()->click();
    // The button slides and stretches empty, then shows its new title, centred.
    QCOMPARE(c.sortBookmarksButton()->text(), QString());
    QCOMPARE(c.sortBookmarksButton()->accessibleName(), QStringLiteral("Begin Sorting Bookmarks"));
    QTRY_COMPARE(c.sortBookmarksButton()->text(), QStringLiteral("Begin Sorting Bookmarks"));
    QPushButton* button = c.sortBookmarksButton();
    QCOMPARE(button->size(), button->sizeHint());
    const int left = button->mapTo(c.window(), QPoint(0, 0)).x();
    QVERIFY(qAbs(left - (c.window()->width() - button->width()) / 2) <= 1);
    c.autoSortModeCheckBox()->click();
    QTRY_COMPARE(c.sortBookmarksButton()->text(), QStringLiteral("Sort Bookmarks"));
}

void AppControllerTest::serviceRequestsWaitUntilTheControllerIsIdle() {
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    const QString file = rig.home.putSampleBookmarks();
    const QByteArray unsorted = contents(file);
    rig.safari.version = QStringLiteral("4.0");
    // Calls that come while the launch alert is open are stamped at once; their sort waits.
    rig.alerts.onShow = [&](const Alert&) {
        c.sortBookmarks(QString(), nullptr);
        c.sortWhenIdle();
        c.sortWhenIdle();
    };
    c.applicationDidFinishLaunching();
    rig.alerts.onShow = nullptr;
    QVERIFY(c.wasServiceCall());
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
    QVERIFY(!c.wasServiceCall());
    rig.controller->applicationDidFinishLaunching();
    const QDateTime start = rig.clock.time;
    QVERIFY(!c.wasServiceCall());  // no call in this run
    for (const auto& [offset, expected] :
         {std::pair{990, true}, {1000, true}, {1010, false}, {-500, true}, {-1000, true}, {-1010, false}}) {
        rig.clock.time = start.addMSecs(offset);
        c.sortBookmarks(QString(), nullptr);
        QCOMPARE(c.wasServiceCall(), expected);
    }
}

QTEST_MAIN(AppControllerTest)
#include "app_controller_test.moc"
