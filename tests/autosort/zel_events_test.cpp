// The watcher on real inotify in a scratch folder, driven by the event loop.
#include <QtTest>

#include <sys/inotify.h>

#include "test_support.h"
#include "zel_events.h"

using namespace orvane;
namespace fs = std::filesystem;

namespace {

constexpr double kLatency = 0.05;
constexpr int kDeadline = 10000, kQuiet = 500;  // kQuiet: how long to wait to see that nothing more comes

// A watcher of "Bookmarks.plist" in a scratch folder; its delegate writes each call down as "IN_CREATE 3".
struct Watched : ZELEventsDelegate {
    test::TempDir dir;
    fs::path file = dir / "Bookmarks.plist";
    QStringList calls;
    std::function<void(ZELEvents&)> then;
    ZELEvents events{QString::fromStdString(file.string()), this};

    void incomingEvent(ZELEvents& e, std::uint32_t flags, std::uint64_t eventId) override {
        const std::map<std::uint32_t, QString> names{{IN_CLOSE_WRITE, "IN_CLOSE_WRITE"},
                                                     {IN_MOVED_TO, "IN_MOVED_TO"},
                                                     {IN_CREATE, "IN_CREATE"},
                                                     {IN_DELETE, "IN_DELETE"}};
        calls << (names.count(flags) ? names.at(flags) : QString::number(flags, 16)) + " " + QString::number(eventId);
        if (then) then(e);
    }
};

// Replaces a file as a browser saves it: a new file renamed over it.
void replace(const fs::path& file, std::string_view text) {
    test::writeFile(file.string() + ".tmp", text);
    fs::rename(file.string() + ".tmp", file);
}

}  // namespace

class ZELEventsTest : public QObject {
    Q_OBJECT

private slots:
    // Through a link to the file, as the engine writes through one; the temporary files of the
    // replacements and the lock item beside the file are not reported.
    void deliversABatchCoalescedOrEventByEvent() {
        Watched w;
        fs::create_directory(w.dir / "real");
        const fs::path real = w.dir / "real" / "Bookmarks.plist";
        fs::create_symlink(real, w.file);
        QVERIFY(w.events.startWithLatency(kLatency));
        // Changes made before the event loop runs again are read together, as one batch.
        const auto fiveChanges = [&] {
            test::writeFile(real, "1"), replace(real, "2"), test::writeFile(w.dir / "real" / "lock", "");
            fs::remove(real), test::writeFile(real, "3");
        };
        fiveChanges();
        QTRY_COMPARE_WITH_TIMEOUT(w.calls, QStringList{"IN_CREATE 1"}, kDeadline);
        w.events.setCoaleseSimultaneousEvents(false);
        fiveChanges();
        QTRY_COMPARE_WITH_TIMEOUT(w.calls.size(), 6, kDeadline);
        QTest::qWait(kQuiet);
        QCOMPARE(w.calls, (QStringList{"IN_CREATE 1", "IN_CLOSE_WRITE 7", "IN_MOVED_TO 8", "IN_DELETE 9",
                                       "IN_CREATE 10", "IN_CLOSE_WRITE 11"}));
    }

    void pauseUnPauseAndStopKeepTheirStates() {
        Watched w;
        test::writeFile(w.file, "0");
        w.events.pause();
        QVERIFY(!w.events.isPaused());
        w.events.unPause(), w.events.stop();
        QVERIFY(!w.events.isPaused() && !w.events.isActive());

        // A batch still gathering at pause, and changes while paused, are dropped.
        QVERIFY(w.events.start());
        fs::remove(w.file);
        QCoreApplication::processEvents();
        w.events.pause();
        QVERIFY(w.events.isPaused() && w.events.isActive());
        test::writeFile(w.file, "while paused");
        QTest::qWait(kQuiet);
        w.events.unPause();
        QVERIFY(!w.events.isPaused());
        replace(w.file, "after");
        QTRY_COMPARE_WITH_TIMEOUT(w.calls.size(), 1, kDeadline);
        QVERIFY2(w.calls[0].startsWith("IN_MOVED_TO "), qPrintable(w.calls[0]));

        w.events.pause(), w.events.stop();
        QVERIFY(!w.events.isPaused() && !w.events.isActive());
        // A delegate that stops the watcher gets no more of the batch.
        QVERIFY(w.events.startWithLatency(kLatency));
        w.events.setCoaleseSimultaneousEvents(false);
        w.then = [](ZELEvents& e) { e.stop(); };
        fs::remove(w.file), test::writeFile(w.file, "1");
        QTRY_COMPARE_WITH_TIMEOUT(w.calls.size(), 2, kDeadline);
        test::writeFile(w.file, "2");
        QTest::qWait(kQuiet);
        QCOMPARE(w.calls.size(), 2);
    }

    void startTwiceWatchesOnceAndAnUnwatchableFolderFails() {
        Watched w;
        QVERIFY(w.events.startWithLatency(kLatency) && w.events.startWithLatency(kLatency));
        test::writeFile(w.file, "new");
        QTRY_COMPARE_WITH_TIMEOUT(w.calls.size(), 1, kDeadline);
        QTest::qWait(kQuiet);
        QCOMPARE(w.calls, QStringList{"IN_CREATE 1"});

        for (const fs::path& path :
             {w.dir / "missing" / "Bookmarks.plist", w.file / "below-a-file", fs::path("/"), fs::path()}) {
            w.events.setPath(QString::fromStdString(w.file.string()));
            QVERIFY(w.events.startWithLatency(kLatency));
            w.events.setPath(QString::fromStdString(path.string()));
            QVERIFY2(!w.events.startWithLatency(kLatency) && !w.events.isActive(), path.c_str());
        }
    }
};

QTEST_GUILESS_MAIN(ZELEventsTest)
#include "zel_events_test.moc"
