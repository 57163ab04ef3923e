// orvane-helper's own decisions: when to hold back, which bus errors mean that Orvane cannot be
// reached, the sort it runs itself, and what it leaves for Orvane when that fails.
#include <QDBusError>
#include <QDBusMessage>
#include <QFile>
#include <QSignalSpy>
#include <QtTest>

#include "helper.h"
#include "helper_codes.h"
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

QTEST_MAIN(HelperTest)
#include "helper_test.moc"
