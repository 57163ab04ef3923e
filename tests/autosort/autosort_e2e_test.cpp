// The automatic mode from end to end, with the real programs on a private session bus of their
// own: a call of the sort service starts Orvane, which sorts and quits; the helper hears a change,
// Orvane sorts it, quits and starts the helper again, and its own write starts no new round.
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QtTest>
#include <csignal>

#include "bus_names.h"
#include "scratch_home.h"
#include "settings.h"
#include "test_support.h"

using namespace orvane;
using namespace orvane::test;

namespace {

constexpr int kDeadlineMs = 20'000;

// One test's world: a scratch home with the sample bookmarks, Orvane's settings and a stand-in
// Safari (so that no alert waits for a person), and a dbus-daemon of its own that starts Orvane
// from the build tree's activation file, with that home in the environment of all it starts.
class PrivateSession {
public:
    explicit PrivateSession(bool automaticMode) : file(home.putSampleBookmarks()) {
        home.putSafari("17.1");
        Settings::setBookmarksFilename(file);
        Settings::setAutoSortMode(automaticMode);
        Settings::setBookmarksUpdateLatency(0.2);

        const QString config = home.path("bus.conf");
        QFile file(config);
        file.open(QIODevice::WriteOnly);
        file.write(QStringLiteral("<busconfig><type>session</type><listen>unix:tmpdir=%1</listen><auth>EXTERNAL</auth>"
                                  "<servicedir>" ORVANE_BUILD_DIR "/share/dbus-1/services</servicedir>"
                                  "<policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
                                  "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>")
                       .arg(home.path())
                       .toUtf8());
        file.close();
        environment_ = QProcessEnvironment::systemEnvironment();
        environment_.insert("QT_QPA_PLATFORM", "offscreen");
        daemon_.setProcessEnvironment(environment_);
        daemon_.setProcessChannelMode(QProcess::SeparateChannels);
        daemon_.start("dbus-daemon", {"--nofork", "--print-address", "--config-file=" + config});
        if (daemon_.waitForReadyRead(5000)) address_ = QString::fromUtf8(daemon_.readLine()).trimmed();
        environment_.insert("DBUS_SESSION_BUS_ADDRESS", address_);
        bus_ = std::make_unique<QDBusConnection>(QDBusConnection::connectToBus(address_, "test-" + home.path()));
    }
    ~PrivateSession() {
        for (const char* name : {kOrvaneBusName, kHelperBusName}) stop(name);
        for (QProcess* helper : daemon_.findChildren<QProcess*>()) helper->waitForFinished(5000);
        const QString name = bus_->name();
        bus_.reset();
        QDBusConnection::disconnectFromBus(name);
        daemon_.terminate();
        daemon_.waitForFinished();
    }
    ScratchHome home;
    const QString file;

    QDBusConnection& bus() { return *bus_; }
    // How often the bus has started Orvane so far, as its log says.
    int orvaneStarts() {
        log_ += QString::fromUtf8(daemon_.readAllStandardError());
        return log_.count(QStringLiteral("Activating service name='com.marrowfen.Orvane'"));
    }
    bool ok() const { return !address_.isEmpty() && bus_->isConnected(); }

    // The unique name that owns `name` now; empty when nobody does.
    QString owner(const char* name) {
        const QDBusReply<QString> reply = bus_->interface()->serviceOwner(QString::fromLatin1(name));
        return reply.isValid() ? reply.value() : QString();
    }
    void startHelper() {
        auto* helper = new QProcess(&daemon_);
        helper->setProcessEnvironment(environment_);
        helper->setProcessChannelMode(QProcess::ForwardedOutputChannel);
        helper->start(ORVANE_BUILD_DIR "/bin/orvane-helper", {});
    }
    // What the helpers started here have logged so far.
    QString helperLog() {
        for (QProcess* helper : daemon_.findChildren<QProcess*>())
            helperLog_ += QString::fromUtf8(helper->readAllStandardError());
        return helperLog_;
    }

private:
    void stop(const char* name) {
        const QDBusReply<uint> pid = bus_->interface()->servicePid(QString::fromLatin1(name));
        if (pid.isValid()) ::kill(static_cast<pid_t>(pid.value()), SIGTERM);
    }

    QProcess daemon_;
    QProcessEnvironment environment_;
    QString address_;
    QString log_, helperLog_;
    std::unique_ptr<QDBusConnection> bus_;
};

// Whether the file is in the order a sort gives it: a dry run would write nothing.
bool isSorted(const QString& file) {
    const RunResult result = run({cliPath(), "sort", "--dry-run", "--no-backup", file.toStdString()});
    return result.exitCode == 0 && result.out.find("file written: no") != std::string::npos;
}

}  // namespace

class AutosortEndToEndTest : public QObject {
    Q_OBJECT
private slots:
    void serviceCallStartsOrvaneWhichSortsAndQuits();
    void helperHasChangesSortedAndComesBack();
    void aProfileIsSortedOnlyOnceItsBrowserHasQuit();
    void logLinesAreKeptWithoutAJournal();
};

void AutosortEndToEndTest::serviceCallStartsOrvaneWhichSortsAndQuits() {
    PrivateSession bus(false);
    const QString& file = bus.file;
    QVERIFY(bus.ok());
    QVERIFY(!isSorted(file));

    QDBusMessage call =
        QDBusMessage::createMethodCall(kOrvaneBusName, kOrvaneObjectPath, kOrvaneInterface, "SortBookmarks");
    call << QStringLiteral("from the test");
    const QDBusReply<QString> reply = bus.bus().call(call, QDBus::Block, kDeadlineMs);
    QVERIFY2(reply.isValid(), qPrintable(reply.error().message()));
    QCOMPARE(reply.value(), QString());  // the service always answers without an error
    QTRY_VERIFY_WITH_TIMEOUT(isSorted(file), kDeadlineMs);
    QTRY_VERIFY_WITH_TIMEOUT(bus.owner(kOrvaneBusName).isEmpty(), kDeadlineMs);  // it quit
    QVERIFY(bus.owner(kHelperBusName).isEmpty());  // and, the automatic mode being off, started no helper
    QVERIFY(QFile::exists(bus.home.path(".local/share/Orvane/Bookmarks (Initial Copy).plist")));
}

void AutosortEndToEndTest::helperHasChangesSortedAndComesBack() {
    PrivateSession bus(true);
    const QString& file = bus.file;
    QVERIFY(bus.ok());
    bus.startHelper();
    QTRY_VERIFY_WITH_TIMEOUT(!bus.owner(kHelperBusName).isEmpty(), kDeadlineMs);
    const QString firstHelper = bus.owner(kHelperBusName);

    ScratchHome::saveSampleOver(file);  // as a browser saves

    QTRY_VERIFY_WITH_TIMEOUT(isSorted(file), kDeadlineMs);
    QTRY_VERIFY_WITH_TIMEOUT(bus.owner(kOrvaneBusName).isEmpty(), kDeadlineMs);
    QTRY_VERIFY_WITH_TIMEOUT(!bus.owner(kHelperBusName).isEmpty() && bus.owner(kHelperBusName) != firstHelper,
                             kDeadlineMs);
    QCOMPARE(bus.orvaneStarts(), 1);

    // Orvane's own write is not a change to sort: no second start follows.
    QTest::qWait(2000);
    QCOMPARE(bus.orvaneStarts(), 1);
    QVERIFY(bus.owner(kOrvaneBusName).isEmpty());
    QVERIFY(!Settings::lastHelperError());
}

void AutosortEndToEndTest::aProfileIsSortedOnlyOnceItsBrowserHasQuit() {
    PrivateSession bus(true);
    QVERIFY(bus.ok());
    const QString file = bus.home.putChromiumProfile("chromium", "Default", "Person 1");
    QVERIFY(!isSorted(file));
    Settings::setBookmarksFilename(file);
    FakeBrowser chromium(bus.home.path(".config/chromium"));
    QVERIFY(chromium.start());
    bus.startHelper();
    QTRY_VERIFY_WITH_TIMEOUT(!bus.owner(kHelperBusName).isEmpty(), kDeadlineMs);

    // Saved while the browser runs with the profile: the helper leaves it alone and Orvane is not
    // started, however long the browser runs.
    QFile::remove(file);
    QFile::copy(sampleChromiumBookmarks(), file);
    QTRY_VERIFY_WITH_TIMEOUT(bus.helperLog().contains("is running with the profile"), kDeadlineMs);
    QCOMPARE(bus.orvaneStarts(), 0);
    QCOMPARE(contents(file), contents(sampleChromiumBookmarks()));

    // The browser quits: sorted within seconds, by the Orvane the helper has started, which then
    // quits and hands the watching to a new helper.
    QElapsedTimer quit;
    quit.start();
    chromium.quit();
    QTRY_VERIFY_WITH_TIMEOUT(isSorted(file), kDeadlineMs);
    QVERIFY2(quit.elapsed() < 5000, qPrintable(QString::number(quit.elapsed())));
    QCOMPARE(bus.orvaneStarts(), 1);
    QTRY_VERIFY_WITH_TIMEOUT(bus.owner(kOrvaneBusName).isEmpty(), kDeadlineMs);
    QTRY_VERIFY_WITH_TIMEOUT(!bus.owner(kHelperBusName).isEmpty(), kDeadlineMs);
    QVERIFY(!Settings::lastHelperError());
}

void AutosortEndToEndTest::logLinesAreKeptWithoutAJournal() {
    PrivateSession bus(false);
    QVERIFY(bus.ok());
    const QString logFile = bus.home.path(".local/state/orvane/orvane.log");
    qputenv("XDG_STATE_HOME", bus.home.path(".local/state").toUtf8());

    // A helper started by hand: its lines on standard error and in the file, whatever the system
    // log does with them (this system may have none).
    Settings::setBookmarksFilename(bus.home.path("gone/Bookmarks.plist"));
    QProcess helper;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove("DBUS_SESSION_BUS_ADDRESS");
    helper.setProcessEnvironment(environment);
    helper.start(ORVANE_BUILD_DIR "/bin/orvane-helper", {});
    QVERIFY(helper.waitForFinished(kDeadlineMs));
    QCOMPARE(helper.exitCode(), 1);
    const QString line =
        "-[OrvaneHelper start] Could not begin watching " + bus.home.path("gone/Bookmarks.plist") + " for changes.";
    const QString standardError = QString::fromUtf8(helper.readAllStandardError());
    QVERIFY2(
        standardError.contains(QRegularExpression("OrvaneHelper\\[[0-9]+\\]: " + QRegularExpression::escape(line))),
        qPrintable(standardError));
    QVERIFY2(QString::fromUtf8(contents(logFile)).contains(line), contents(logFile).constData());

    // Orvane started by the bus, its standard error wherever the bus sends it: a sort that fails
    // leaves its reason in the file.
    QFile::resize(bus.file, 10);
    Settings::setBookmarksFilename(bus.file);
    Settings::clearLastHelperError();  // the helper's report would wait for a person at launch
    QDBusMessage call =
        QDBusMessage::createMethodCall(kOrvaneBusName, kOrvaneObjectPath, kOrvaneInterface, "SortBookmarks");
    call << QString();
    const QDBusReply<QString> reply = bus.bus().call(call, QDBus::Block, kDeadlineMs);
    QVERIFY2(reply.isValid(), qPrintable(reply.error().message()));
    QTRY_VERIFY_WITH_TIMEOUT(
        QString::fromUtf8(contents(logFile))
            .contains(QRegularExpression("Orvane\\[[0-9]+\\]: -\\[AppDelegate sortBookmarks:\\] The sort of " +
                                         QRegularExpression::escape(bus.file) + " failed with code 5: ")),
        kDeadlineMs);
}

QTEST_GUILESS_MAIN(AutosortEndToEndTest)
#include "autosort_e2e_test.moc"
