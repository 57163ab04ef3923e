// The window never freezes and there is one of it: the engine's jobs run off the GUI thread with
// the window locked as before, closing waits for a write and cuts a lock's wait short, a failure
// says why in the alert's details, the sort service answers when its sort is over, and a second
// launch brings the first window forward. Runs on a session bus of its own.
#include <QAbstractButton>
#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QtTest>

#include <sys/resource.h>
#include <atomic>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <mutex>

#include "app_fakes.h"
#include "bookmarks_files.h"
#include "bus_names.h"
#include "dbus_services.h"
#include "job_runner.h"
#include "main_window.h"
#include "platform_linux.h"
#include "settings.h"
#include "support/log.h"
#include "test_support.h"

using namespace orvane;
using namespace orvane::test;

namespace {

const QString kSortFailed = QStringLiteral("The bookmarks could not be sorted");

// Whether the file is in the order a sort gives it: a dry run would write nothing.
bool isSorted(const QString& file) {
    const RunResult result = run({cliPath(), "sort", "--dry-run", "--no-backup", file.toStdString()});
    return result.exitCode == 0 && result.out.find("file written: no") != std::string::npos;
}

// Safari's "lock" item beside its bookmarks file, as Safari leaves it while it writes.
QString putSafariLock(const QString& bookmarksFile) {
    const QString lock = QFileInfo(bookmarksFile).path() + QStringLiteral("/lock");
    writeFile(lock.toStdString(), "");
    return lock;
}

// Runs `probe` every 50 ms on the GUI thread, and measures the longest time between two runs.
class Heartbeat {
public:
    explicit Heartbeat(std::function<void()> probe = {}) : probe_(std::move(probe)) {
        timer_.setInterval(50);
        QObject::connect(&timer_, &QTimer::timeout, [this] {
            if (clock_.isValid())
                longest_ = std::max(longest_, clock_.restart());
            else
                clock_.start();
            ++beats_;
            if (probe_) probe_();
        });
        timer_.start();
    }
    qint64 longestGapMs() const { return longest_; }
    int beats() const { return beats_; }

private:
    std::function<void()> probe_;
    QTimer timer_;
    QElapsedTimer clock_;
    qint64 longest_ = 0;
    int beats_ = 0;
};

// A limit on the size of the files this process writes: the kernel refuses to grow one beyond it
// (EFBIG), also for root, whom permissions do not stop.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        ::getrlimit(RLIMIT_FSIZE, &previous_);
        // The refusal also raises SIGXFSZ, which would end the test.
        previousHandler_ = std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit = previous_;
        limit.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &previous_);
        std::signal(SIGXFSZ, previousHandler_);
    }

private:
    rlimit previous_;
    void (*previousHandler_)(int);
};

}  // namespace

class AppJobsTest : public QObject {
    Q_OBJECT
private slots:
    void theWindowLivesWhileAJobWaitsForALock();
    void closingCutsALocksWaitShort();
    void closingWhileTheFileIsWrittenLeavesAWholeFile();
    void aWriteTheSystemRefusesSaysWhyInTheDetails();
    void aBackupThatCannotBeMadeSaysWhy();
    void theServiceAnswersWhenItsSortIsOver();
    void aSecondLaunchBringsTheFirstWindowForward();
};

void AppJobsTest::theWindowLivesWhileAJobWaitsForALock() {
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    const QString file = rig.home.putSampleBookmarks();
    putSafariLock(file);
    c.applicationDidFinishLaunching();
    QVERIFY(QTest::qWaitForWindowExposed(c.window()));
    QPushButton* button = c.windowBinding().sortBookmarksButton();

    bool lockedThroughout = true, busyPointer = true, indicatorShown = false, waited = false;
    QElapsedTimer running;
    Heartbeat heartbeat([&] {
        if (!c.jobRunner().isRunning()) return;
        if (!running.isValid()) running.start();
        waited = waited || c.jobRunner().isWaitingForLock();
        lockedThroughout = lockedThroughout && !button->isEnabled();
        busyPointer =
            busyPointer && QApplication::overrideCursor() && QApplication::overrideCursor()->shape() == Qt::WaitCursor;
        // The indicator comes after half a second, not before.
        if (c.windowBinding().busyIndicator()->isVisible()) {
            indicatorShown = true;
            QVERIFY(running.elapsed() >= 400);
        }
    });
    c.sortBookmarks();
    // Safari kept its lock for all ten passes: the job gave up as it always has, after about 3 s.
    QVERIFY(waited);
    // A window frozen by the wait would miss one beat of three seconds; the bounds leave a loaded
    // machine room and still tell the two apart.
    QVERIFY2(heartbeat.beats() >= 20, qPrintable(QString::number(heartbeat.beats())));
    QVERIFY2(heartbeat.longestGapMs() <= 1000, qPrintable(QString::number(heartbeat.longestGapMs())));
    QVERIFY(lockedThroughout);
    QVERIFY(busyPointer);
    QVERIFY(indicatorShown);
    QCOMPARE(rig.alerts.shown.size(), 1);
    QCOMPARE(rig.alerts.shown[0].title, kSortFailed);
    QCOMPARE(rig.alerts.shown[0].message,
             QStringLiteral("Safari is currently using the bookmarks file, please wait a while before sorting."));
    QVERIFY(rig.alerts.shown[0].details.contains(QStringLiteral("“lock” item stayed at")));
    QVERIFY(button->isEnabled());
    QVERIFY(!QApplication::overrideCursor());
    QVERIFY(!c.windowBinding().busyIndicator()->isVisible());
}

void AppJobsTest::closingCutsALocksWaitShort() {
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    const QString file = rig.home.putSampleBookmarks();
    const QByteArray unsorted = contents(file);
    putSafariLock(file);
    c.applicationDidFinishLaunching();
    QVERIFY(QTest::qWaitForWindowExposed(c.window()));

    QStringList log;
    ScopedLogSink sink([&](std::string_view line) { log.append(QString::fromUtf8(line.data(), line.size())); });
    QElapsedTimer sinceClose;
    bool closedAtOnce = true;
    Heartbeat heartbeat([&] {
        if (!c.jobRunner().isWaitingForLock() || sinceClose.isValid()) return;
        sinceClose.start();
        // The window stays until the job has ended, then the program quits.
        closedAtOnce = c.window()->close();
    });
    c.sortBookmarks();
    QVERIFY(sinceClose.isValid());
    QVERIFY(!closedAtOnce);
    // The lock's wait had about three seconds to go.
    QVERIFY2(sinceClose.elapsed() < 1500, qPrintable(QString::number(sinceClose.elapsed())));
    QCOMPARE(rig.terminations, 1);
    QVERIFY(rig.alerts.shown.isEmpty());  // the user has gone; nobody reads an alert
    QCOMPARE(contents(file), unsorted);
    const QStringList ours = log.filter(QStringLiteral("-[AppDelegate sortBookmarks:]"));
    QVERIFY2(ours.size() == 1 && ours[0].contains(" stopped when Orvane was closed, with code 8: "),
             qPrintable(log.join("\n")));
}

void AppJobsTest::closingWhileTheFileIsWrittenLeavesAWholeFile() {
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    const QString file = rig.home.putSampleBookmarks();
    c.applicationDidFinishLaunching();
    QVERIFY(QTest::qWaitForWindowExposed(c.window()));

    // The job stops in the middle of its write until the window has been closed.
    std::mutex mutex;
    std::condition_variable changed;
    bool writing = false, closed = false;
    JobHooks hooks;
    hooks.replace.beforeSwap = [&] {
        std::unique_lock lock(mutex);
        writing = true;
        changed.wait(lock, [&] { return closed; });
    };
    c.jobRunner().setTestHooks(hooks);
    bool closedAtOnce = true;
    Heartbeat heartbeat([&] {
        std::lock_guard lock(mutex);
        if (!writing || closed) return;
        closedAtOnce = c.window()->close();
        closed = true;
        changed.notify_all();
    });
    c.sortBookmarks();
    QVERIFY(closed);
    QVERIFY(!closedAtOnce);
    QCOMPARE(rig.terminations, 1);
    // The write went to its end: the whole file, sorted, and its backup.
    QVERIFY(isSorted(file));
    QVERIFY(QFileInfo::exists(initialBackupPathFor(file)));
}

void AppJobsTest::aWriteTheSystemRefusesSaysWhyInTheDetails() {
    ScratchHome home;
    const QString file = home.putSampleBookmarks();
    home.putSafari("17.1");
    // The backup is there already; the file itself may not grow past a few bytes.
    QDir().mkpath(QFileInfo(initialBackupPathFor(file)).path());
    QFile::copy(file, initialBackupPathFor(file));
    WindowRig rig;
    AppDelegate& controller = rig.controller;
    controller.applicationDidFinishLaunching();
    QVERIFY(QTest::qWaitForWindowExposed(controller.window()));
    QStringList log;
    ScopedLogSink sink([&](std::string_view line) { log.append(QString::fromUtf8(line.data(), line.size())); });

    QString title, message, details;
    // The alert, once it is up: read it, then dismiss it with Escape as a person would.
    Heartbeat heartbeat([&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box || !title.isEmpty()) return;
        title = box->text();
        message = box->informativeText();
        details = box->detailedText();
        QTest::keyClick(box, Qt::Key_Escape);
    });
    {
        const FileSizeLimit limit(4096);
        controller.sortBookmarks();
    }
    QCOMPARE(title, kSortFailed);
    QCOMPARE(message, "The bookmarks file “" + file +
                          "” could not be saved. Please verify that you have read and write access to the file.");
    const QString reason = QString::fromLocal8Bit(std::strerror(EFBIG));
    QVERIFY2(details.contains(reason) && details.contains(QFileInfo(file).path()), qPrintable(details));
    // The log has the same reason, once.
    const QStringList ours = log.filter(QStringLiteral("-[AppDelegate sortBookmarks:]"));
    QVERIFY2(ours.size() == 1, qPrintable(log.join("\n")));
    QVERIFY2(ours[0].startsWith("-[AppDelegate sortBookmarks:] The sort of " + file + " failed with code 6: ") &&
                 ours[0].contains(reason),
             qPrintable(ours[0]));
    QVERIFY(!isSorted(file));
}

void AppJobsTest::aBackupThatCannotBeMadeSaysWhy() {
    ControllerRig rig;
    const QString file = rig.home.putSampleBookmarks();
    // The application folder would have to be made inside a file.
    writeFile(rig.home.path("not a folder").toStdString(), "");
    qputenv("XDG_DATA_HOME", rig.home.path("not a folder/share").toUtf8());
    rig.controller->sortBookmarks();
    QCOMPARE(rig.alerts.shown.size(), 1);
    QCOMPARE(rig.alerts.shown[0].title, kSortFailed);
    QCOMPARE(rig.alerts.shown[0].message,
             "A backup for the bookmarks file “" + initialBackupPathFor(file) +
                 "” could not be created. Please verify that you have read and write access to the file’s directory.");
    QVERIFY2(rig.alerts.shown[0].details.contains(QString::fromLocal8Bit(std::strerror(ENOTDIR))),
             qPrintable(rig.alerts.shown[0].details));
    QVERIFY(!isSorted(file));
}

void AppJobsTest::theServiceAnswersWhenItsSortIsOver() {
    DBusServicesProvider services;
    ControllerRig rig(&services);
    AppDelegate& c = *rig.controller;
    const QString file = rig.home.putSampleBookmarks();
    const QString lock = putSafariLock(file);
    c.applicationDidFinishLaunching();

    QDBusMessage call =
        QDBusMessage::createMethodCall(kOrvaneBusName, kOrvaneObjectPath, kOrvaneInterface, "SortBookmarks");
    call << QString();
    // Another connection, as another program calls: the bus carries the answer.
    QDBusConnection caller = QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("caller"));
    QDBusPendingCallWatcher watcher(caller.asyncCall(call, 60'000));
    bool answeredEarly = false;
    QElapsedTimer waiting;
    Heartbeat heartbeat([&] {
        if (!c.jobRunner().isRunning()) return;
        answeredEarly = answeredEarly || watcher.isFinished();
        // Safari lets go of the file after a while; the job then sorts it.
        if (!waiting.isValid()) waiting.start();
        if (waiting.elapsed() > 600) QFile::remove(lock);
    });
    QTRY_VERIFY_WITH_TIMEOUT(watcher.isFinished(), 20'000);
    QVERIFY(waiting.isValid());
    QVERIFY(!answeredEarly);
    QVERIFY2(!watcher.isError(), qPrintable(watcher.error().message()));
    QCOMPARE(watcher.reply().arguments().value(0).toString(), QString());
    QVERIFY(isSorted(file));
    // A run started by the call quits after its sort.
    QTRY_COMPARE(rig.terminations, 1);
}

void AppJobsTest::aSecondLaunchBringsTheFirstWindowForward() {
    DBusServicesProvider services;
    ControllerRig rig(&services);
    AppDelegate& c = *rig.controller;
    rig.home.putSampleBookmarks();
    rig.home.putSafari("17.1");
    c.applicationDidFinishLaunching();
    QVERIFY(QTest::qWaitForWindowExposed(c.window()));
    QWidget other;
    other.show();
    other.activateWindow();
    QTRY_VERIFY(other.isActiveWindow());
    QVERIFY(!c.window()->isActiveWindow());
    c.window()->showMinimized();

    QProcess second;
    second.setProcessChannelMode(QProcess::ForwardedChannels);
    QElapsedTimer clock;
    clock.start();
    second.start(ORVANE_BUILD_DIR "/bin/orvane", {});
    // Not waitForFinished(): this process must answer the second one meanwhile.
    QTRY_VERIFY_WITH_TIMEOUT(second.state() == QProcess::NotRunning, 10'000);
    QCOMPARE(second.exitStatus(), QProcess::NormalExit);
    QCOMPARE(second.exitCode(), 0);
    // Answered, not given up on: the second launch waits 5 s for an answer.
    QVERIFY2(clock.elapsed() < 4000, qPrintable(QString::number(clock.elapsed())));
    QTRY_VERIFY(c.window()->isActiveWindow());
    QVERIFY(!c.window()->isMinimized());
    QCOMPARE(rig.terminations, 0);
}

QTEST_MAIN(AppJobsTest)
#include "app_jobs_test.moc"
