// orvane-helper's own decisions: when to hold back, which bus errors mean that Orvane cannot be
// reached, the sort it runs itself, and what it leaves for Orvane when that fails.
#include <QDBusError>
#include <QDBusMessage>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QtTest>

#include "helper.h"
#include "helper_codes.h"
#include "job/sort_job.h"
#include "profile_release.h"
#include "scratch_home.h"
#include "settings.h"
#include "test_support.h"

using namespace orvane;
using namespace orvane::test;

namespace {

// A bus connection that is not connected: the helper must get by without Orvane's service.
QDBusConnection noBus() {
    return QDBusConnection::connectToBus(QStringLiteral("unix:path=/nonexistent/bus"), QStringLiteral("none"));
}

QDBusError namedError(const char* name) {
    return QDBusError(QDBusMessage::createError(QString::fromLatin1(name), QString()));
}

}  // namespace

class HelperTest : public QObject {
    Q_OBJECT
private slots:
    void backsOffWhenTheFileComesRightBack();
    void unreachableMeansNobodyCanAnswer();
    void sortsByItselfWithoutTheServiceAndReportsFailures();
    void reportsAFileItCannotWatch();
    void backsUpAProfileInTheFolderOrvaneNamed();
    void waitsForTheBrowserToQuitThenSortsOnce();
    void aBrowserThatWasKilledHoldsNothing();
    void looksAgainWhenTheBrowserItFoundAtStartQuits();
};

void HelperTest::backsOffWhenTheFileComesRightBack() {
    const QDateTime t0(QDate(2026, 11, 23), QTime(9, 0), Qt::UTC);
    Backoff backoff;
    QCOMPARE(backoff.waitBeforeRequest(t0), 0);  // the first change goes at once
    backoff.noteRequest(t0);
    // Each change that comes right back doubles the wait, up to five minutes.
    qint64 at = 0;
    for (const qint64 expected : {5'000, 10'000, 20'000, 40'000, 80'000, 160'000, 300'000, 300'000}) {
        at += 2'000;
        QCOMPARE(backoff.waitBeforeRequest(t0.addMSecs(at)), expected);
        at += expected;
        backoff.noteRequest(t0.addMSecs(at));
    }
    // A change after a quiet spell goes at once again, and so does the next quick one's first wait.
    at += Backoff::kQuickReturnMs;
    QCOMPARE(backoff.waitBeforeRequest(t0.addMSecs(at)), 0);
    backoff.noteRequest(t0.addMSecs(at));
    QCOMPARE(backoff.waitBeforeRequest(t0.addMSecs(at + 1)), 5'000);
    // A clock that went backwards is no quick return.
    QCOMPARE(backoff.waitBeforeRequest(t0), 0);
}

void HelperTest::unreachableMeansNobodyCanAnswer() {
    const QList<std::pair<QDBusError::ErrorType, bool>> types = {
        {QDBusError::ServiceUnknown, true}, {QDBusError::Disconnected, true},   {QDBusError::NoReply, false},
        {QDBusError::Timeout, false},       {QDBusError::UnknownMethod, false}, {QDBusError::AccessDenied, false}};
    for (const auto& [type, unreachable] : types)
        QCOMPARE(isServiceUnreachable(QDBusError(type, QString())), unreachable);
    QVERIFY(isServiceUnreachable(namedError("org.freedesktop.DBus.Error.NameHasNoOwner")));
    QVERIFY(isServiceUnreachable(namedError("org.freedesktop.DBus.Error.Spawn.ChildExited")));
    QVERIFY(!isServiceUnreachable(namedError("com.marrowfen.Orvane.Error.Busy")));
}

void HelperTest::sortsByItselfWithoutTheServiceAndReportsFailures() {
    ScratchHome home;
    const QString file = home.putSampleBookmarks();
    Settings::setBookmarksFilename(file);
    Settings::setBookmarksUpdateLatency(0.05);
    Settings::setApplicationFolder(home.path("Folder"));
    QDateTime now(QDate(2026, 11, 23), QTime(9, 0), Qt::UTC);
    {
        Helper helper(noBus());
        helper.setClock([&] { return now; });
        QVERIFY(helper.start());
        QSignalSpy finished(&helper, &Helper::sortRequestFinished);
        ScratchHome::saveSampleOver(file);
        QVERIFY(finished.wait(10'000));
        // Sorted here, with the backup in the folder Orvane named; its own write is no new change.
        QVERIFY(QFile::exists(home.path("Folder/Bookmarks (Initial Copy).plist")));
        QVERIFY(!finished.wait(500));
        QVERIFY(!Settings::lastHelperError());

        // A failure is left for Orvane's next launch.
        now = now.addSecs(60);
        writeFile(file.toStdString(), "bplist00 not really");
        QVERIFY(finished.wait(10'000));
        QCOMPARE(Settings::lastHelperError(), 5u);
    }
    // The next helper (a new process after each sort) remembers the last request, so a change
    // right after it waits.
    now = now.addSecs(2);
    Helper next(noBus());
    next.setClock([&] { return now; });
    QVERIFY(next.start());
    ZELEvents events(file, nullptr);
    next.incomingEvent(events, 0, 0);
    QCOMPARE(next.backoff().waitMs, Backoff::kFirstWaitMs);
}

void HelperTest::reportsAFileItCannotWatch() {
    ScratchHome home;
    Settings::setBookmarksFilename(home.path("no such folder/Bookmarks.plist"));
    Helper helper(noBus());
    QVERIFY(!helper.start());
    QCOMPARE(Settings::lastHelperError(), kHelperCannotWatch);
}

void HelperTest::backsUpAProfileInTheFolderOrvaneNamed() {
    ScratchHome home;
    const QString safari = home.putSampleBookmarks();
    const QString work = home.putChromiumProfile("google-chrome", "Profile 1", "Work");
    Settings::setApplicationFolder(home.path("Folder"));
    QCOMPARE(initialBackupFromSettings(safari.toStdString()),
             home.path("Folder/Bookmarks (Initial Copy).plist").toStdString());
    const std::filesystem::path backup = initialBackupFromSettings(work.toStdString());
    QCOMPARE(backup.parent_path(), home.path("Folder/Initial Copies").toStdString());
    QCOMPARE(backup.filename(), defaultBackupFor(work.toStdString()).filename());
}

namespace {

// Whether the file is in the order a sort gives it: a dry run would write nothing.
bool isSorted(const QString& file) {
    const RunResult result = run({cliPath(), "sort", "--dry-run", "--no-backup", file.toStdString()});
    return result.exitCode == 0 && result.out.find("file written: no") != std::string::npos;
}

// A copy of the unsorted Chromium file renamed over `target`, as the browser saves.
void saveChromiumOver(const QString& target) {
    QFile::remove(target + ".new");
    QFile::copy(sampleChromiumBookmarks(), target + ".new");
    QFile::setPermissions(target + ".new", QFile::ReadOwner | QFile::WriteOwner);
    QFile::remove(target);
    QFile::rename(target + ".new", target);
}

}  // namespace

void HelperTest::waitsForTheBrowserToQuitThenSortsOnce() {
    ScratchHome home;
    const QString file = home.putChromiumProfile("chromium", "Default", "Person 1");
    Settings::setBookmarksFilename(file);
    Settings::setBookmarksUpdateLatency(0.05);
    FakeBrowser chromium(home.path(".config/chromium"));
    QVERIFY(chromium.start());
    QCOMPARE(ProfileRelease::runningHolder(file), QStringLiteral("Chromium (process %1)").arg(chromium.processId()));

    Helper helper(noBus());
    QVERIFY(helper.start());
    QSignalSpy finished(&helper, &Helper::sortRequestFinished);
    // A change while the browser runs is left alone: the helper has decided once it waits.
    saveChromiumOver(file);
    QTRY_VERIFY(helper.waitsForBrowser());
    QCOMPARE(finished.count(), 0);
    QCOMPARE(contents(file), contents(sampleChromiumBookmarks()));
    QVERIFY(!Settings::lastHelperError());

    // The browser quits: one sort, at once.
    chromium.quit();
    QVERIFY(finished.wait(10'000));
    QVERIFY(isSorted(file));
    QCOMPARE(finished.count(), 1);
    QVERIFY(!helper.waitsForBrowser());
    QVERIFY(!Settings::lastHelperError());
}

void HelperTest::aBrowserThatWasKilledHoldsNothing() {
    ScratchHome home;
    const QString file = home.putChromiumProfile("chromium", "Default", "Person 1");
    Settings::setBookmarksFilename(file);
    Settings::setBookmarksUpdateLatency(0.05);
    FakeBrowser chromium(home.path(".config/chromium"));
    QVERIFY(chromium.start());
    Helper helper(noBus());
    QVERIFY(helper.start());
    QSignalSpy finished(&helper, &Helper::sortRequestFinished);
    saveChromiumOver(file);
    QTRY_VERIFY(helper.waitsForBrowser());
    // Its lock stays behind, naming a process that is gone: the process's end wakes the wait.
    chromium.kill();
    QVERIFY(QFileInfo(chromium.lock()).isSymLink());
    QVERIFY(finished.wait(10'000));
    QVERIFY(isSorted(file));
}

void HelperTest::looksAgainWhenTheBrowserItFoundAtStartQuits() {
    for (const bool unsorted : {true, false}) {
        ScratchHome home;
        const QString file = home.putChromiumProfile("chromium", "Default", "Person 1");
        if (!unsorted) QCOMPARE(sortBookmarks(JobRequest(file.toStdString())).code, OVErrorSuccess);
        const QByteArray before = contents(file);
        Settings::setBookmarksFilename(file);
        FakeBrowser chromium(home.path(".config/chromium"));
        QVERIFY(chromium.start());
        Helper helper(noBus());
        QSignalSpy finished(&helper, &Helper::sortRequestFinished);
        QVERIFY(helper.start());
        QVERIFY(helper.waitsForBrowser());
        chromium.quit();
        // The decision is made as the wait ends: a sort when one would change the file, else nothing.
        QTRY_VERIFY(!helper.waitsForBrowser());
        QCOMPARE(finished.count(), unsorted ? 1 : 0);
        QVERIFY(isSorted(file));
        if (!unsorted) QCOMPARE(contents(file), before);
    }
}

QTEST_MAIN(HelperTest)
#include "helper_test.moc"
