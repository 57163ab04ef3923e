// What a person waits for in the window: from pressing Sort on a large bookmarks file to the
// result alert (the job runs inside the command, with the window locked), and from creating the
// controller to its window being on screen. Runs the real controller and window; only the alert
// is a stand-in that notes the moment it is asked to show and returns at once.
//   window_bench BOOKMARKS.plist [RUNS]      (QT_QPA_PLATFORM=offscreen works without a display)
#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QPushButton>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <algorithm>
#include <cstdio>
#include <vector>

#include "app_delegate.h"
#include "main_window.h"
#include "platform_linux.h"
#include "settings.h"

using namespace orvane;

namespace {

class TimedAlerts final : public AlertPresenter {
public:
    int showAlert(QWidget*, const QString& title, const QString&, const QString&) override {
        shownAt = clock.nsecsElapsed();
        lastTitle = title;
        return 1;
    }
    bool confirmCritical(QWidget*, const QString&, const QString&, const QString&, const QString&) override {
        return false;
    }
    QElapsedTimer clock;
    qint64 shownAt = 0;
    QString lastTitle;
};

class NoFiles final : public FileChooser {
public:
    std::optional<QString> chooseFile(QWidget*, const QString&, const QString&) override { return std::nullopt; }
};

class NoServices final : public ServicesProvider {
public:
    ServiceOffer provideServices(AppDelegate&) override { return ServiceOffer::Offered; }
};

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: window_bench BOOKMARKS.plist [RUNS]\n");
        return 64;
    }
    const QString source = QString::fromLocal8Bit(argv[1]);
    const int runs = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5;
    QTemporaryDir scratch;
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, scratch.filePath("config"));
    qputenv("XDG_DATA_HOME", scratch.filePath("data").toUtf8());
    const QString file = scratch.filePath("Bookmarks.plist");
    Settings::setBookmarksFilename(file);

    TimedAlerts alerts;
    NoFiles files;
    LinuxSafari safari;
    LinuxWorkspace workspace;
    PackageManagerUpdater updater(workspace);
    NoServices services;
    SystemClock clock;
    std::vector<double> startup, sortToAlert;
    for (int run = 0; run < runs; ++run) {
        QFile::remove(file);
        QFile::remove(scratch.filePath("data/Orvane/Bookmarks (Initial Copy).plist"));
        QFile::copy(source, file);
        QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner);

        QElapsedTimer started;
        started.start();
        AppDelegate controller({alerts, files, safari, workspace, updater, services, clock});
        controller.applicationDidFinishLaunching();
        if (!QTest::qWaitForWindowExposed(controller.window())) return 1;
        startup.push_back(started.nsecsElapsed() / 1e6);

        alerts.clock.start();
        QTest::mouseClick(controller.windowBinding().sortBookmarksButton(), Qt::LeftButton);
        sortToAlert.push_back(alerts.shownAt / 1e6);
        if (alerts.lastTitle != QLatin1StringView("The bookmarks are now sorted")) {
            std::fprintf(stderr, "window_bench: the sort failed: %s\n", qPrintable(alerts.lastTitle));
            return 1;
        }
    }
    std::printf("controller and window on screen: median %.1f ms, best %.1f ms (%d runs, %s)\n", median(startup),
                *std::min_element(startup.begin(), startup.end()), runs, qPrintable(QGuiApplication::platformName()));
    std::printf("Sort pressed to result alert:    median %.1f ms, best %.1f ms\n", median(sortToAlert),
                *std::min_element(sortToAlert.begin(), sortToAlert.end()));
    return 0;
}
