// The watcher on real inotify in a scratch folder, driven by the event loop.
#include <QtTest>

#include <sys/inotify.h>

#include "test_support.h"
#include "zel_events.h"

using namespace orvane;
namespace fs = std::filesystem;

namespace {

constexpr double kLatency = 0.05;
constexpr int kDeadline = 10000;
// How long a test waits to see that nothing more arrives.
constexpr int kQuiet = 500;

// Writes down every call as "IN_CLOSE_WRITE 3", and then does what the test asks.
struct Recorder : ZELEventsDelegate {
    QStringList calls;
    std::function<void(ZELEvents&)> then;
    void incomingEvent(ZELEvents& events, std::uint32_t flags, std::uint64_t eventId) override {
        static const std::map<std::uint32_t, QString> names{{IN_CLOSE_WRITE, "IN_CLOSE_WRITE"}, {IN_MOVED_TO, "IN_MOVED_TO"},
                                                            {IN_CREATE, "IN_CREATE"}, {IN_DELETE, "IN_DELETE"}};
        calls << (names.count(flags) ? names.at(flags) : QString::number(flags, 16)) + " " + QString::number(eventId);
        if (then) then(events);
    }
};

QString qPath(const fs::path& path) { return QString::fromStdString(path.string()); }

// Replaces the file as a browser saves it: a new file renamed over it.
void replace(const fs::path& file, std::string_view text) {
    test::writeFile(file.string() + ".tmp", text);
    fs::rename(file.string() + ".tmp", file);
}

}  // namespace

class ZELEventsTest : public QObject {
    Q_OBJECT

private slots:
    void deliversABatchCoalescedOrEventByEvent() {
        test::TempDir dir;
        const fs::path file = dir / "Bookmarks.plist";
        test::writeFile(file, "0");
        Recorder recorder;
        ZELEvents events(qPath(file), &recorder);
        QVERIFY(events.startWithLatency(kLatency));
        // Changes made before the event loop runs again are read together, as one batch.
        const auto fiveChanges = [&] {
            fs::remove(file);
            test::writeFile(file, "1");
            replace(file, "2");
            test::writeFile(file, "3");
        };
        fiveChanges();
        QTRY_COMPARE_WITH_TIMEOUT(recorder.calls.size(), 1, kDeadline);
        QTest::qWait(kQuiet);
        QCOMPARE(recorder.calls, QStringList{"IN_DELETE 1"});

        events.setCoaleseSimultaneousEvents(false);
        fiveChanges();
        QTRY_COMPARE_WITH_TIMEOUT(recorder.calls.size(), 6, kDeadline);
        QTest::qWait(kQuiet);
        QCOMPARE(recorder.calls, (QStringList{"IN_DELETE 1", "IN_DELETE 6", "IN_CREATE 7", "IN_CLOSE_WRITE 8", "IN_MOVED_TO 9", "IN_CLOSE_WRITE 10"}));
    }

    void pauseUnPauseAndStopKeepTheirStates() {
        test::TempDir dir;
        const fs::path file = dir / "Bookmarks.plist";
        test::writeFile(file, "0");
        Recorder recorder;
        ZELEvents events(qPath(file), &recorder);
        events.pause();
        QVERIFY(!events.isPaused());
        events.unPause();
        events.stop();
        QVERIFY(!events.isPaused() && !events.isActive());

        // Changes while paused, and a batch still gathering at pause, are dropped.
        QVERIFY(events.start());
        fs::remove(file);
        QCoreApplication::processEvents();
        events.pause();
        QVERIFY(events.isPaused() && events.isActive());
        test::writeFile(file, "while paused");
        QTest::qWait(kQuiet);
        events.unPause();
        QVERIFY(!events.isPaused());
        replace(file, "after");
        QTRY_COMPARE_WITH_TIMEOUT(recorder.calls.size(), 1, kDeadline);
        QVERIFY2(recorder.calls[0].startsWith("IN_MOVED_TO "), qPrintable(recorder.calls[0]));

        events.pause();
        events.stop();
        QVERIFY(!events.isPaused() && !events.isActive());
        QVERIFY(events.startWithLatency(kLatency));
        QVERIFY(!events.isPaused());

        // A delegate that stops the watcher gets no more of the batch.
        events.setCoaleseSimultaneousEvents(false);
        recorder.then = [](ZELEvents& e) { e.stop(); };
        fs::remove(file);
        test::writeFile(file, "1");
        QTRY_COMPARE_WITH_TIMEOUT(recorder.calls.size(), 2, kDeadline);
        test::writeFile(file, "2");
        QTest::qWait(kQuiet);
        QCOMPARE(recorder.calls.size(), 2);
        QVERIFY(!events.isActive());
    }

    // The file is reached through a link, as the engine writes through one.
    void followsTheFileAcrossReplacementsAndIgnoresOtherNames() {
        test::TempDir dir;
        fs::create_directory(dir / "real");
        const fs::path file = dir / "real" / "Bookmarks.plist";
        test::writeFile(file, "0");
        fs::create_symlink(file, dir / "Bookmarks.plist");
        Recorder recorder;
        ZELEvents events(qPath(dir / "Bookmarks.plist"), &recorder);
        events.setCoaleseSimultaneousEvents(false);
        QVERIFY(events.startWithLatency(kLatency));
        replace(file, "1");
        test::writeFile(dir / "real" / "lock", "");
        test::writeFile(dir / "real" / "Bookmarks.plist.bak", "");
        QTRY_COMPARE_WITH_TIMEOUT(recorder.calls.size(), 1, kDeadline);
        replace(file, "2");
        QTRY_COMPARE_WITH_TIMEOUT(recorder.calls.size(), 2, kDeadline);
        fs::remove(dir / "real" / "lock");
        QTest::qWait(kQuiet);
        QCOMPARE(recorder.calls, (QStringList{"IN_MOVED_TO 1", "IN_MOVED_TO 2"}));
    }

    void startTwiceWatchesOnceAndAnUnwatchableFolderFails() {
        test::TempDir dir;
        const fs::path file = dir / "Bookmarks.plist";
        Recorder recorder;
        ZELEvents events(qPath(file), &recorder);
        QVERIFY(events.startWithLatency(kLatency));
        QVERIFY(events.startWithLatency(kLatency));
        test::writeFile(file, "new");
        QTRY_COMPARE_WITH_TIMEOUT(recorder.calls.size(), 1, kDeadline);
        QTest::qWait(kQuiet);
        QCOMPARE(recorder.calls, QStringList{"IN_CREATE 1"});

        for (const QString& path : {qPath(dir / "missing" / "Bookmarks.plist"), qPath(file / "below-a-file"), QString("/"), QString()}) {
            QVERIFY(events.startWithLatency(kLatency));
            events.setPath(path);
            QVERIFY2(!events.startWithLatency(kLatency), qPrintable(path));
            QVERIFY(!events.isActive());
            events.setPath(qPath(file));
        }
    }
};

QTEST_GUILESS_MAIN(ZELEventsTest)
#include "zel_events_test.moc"
