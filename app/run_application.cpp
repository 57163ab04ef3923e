// The desktop program's life: the application object, the real services, the controller, and
// the event loop until the controller agrees to quit.
#include "run_application.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QTimer>
#include <string_view>

#include "about_controller.h"
#include "app_delegate.h"
#include "dbus_services.h"
#include "desktop_log.h"
#include "platform_linux.h"
#include "settings.h"
#include "translations.h"

namespace orvane {
namespace {

void nameApplication(const char* version) {
    QCoreApplication::setOrganizationName(QString::fromLatin1(kOrganizationName));
    QCoreApplication::setApplicationName(QString::fromLatin1(kApplicationName));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(version));
}

// Parses the command line; --help, --version and a wrong option print their answer and exit.
void processOptions(QCoreApplication& application) {
    QCommandLineParser options;
    options.setApplicationDescription(
        QCoreApplication::translate("orvane", "Sorts Safari’s bookmarks. Settings: %1").arg(Settings::fileName()) +
        QStringLiteral("\n\n") +
        QCoreApplication::translate(
            "orvane", "Exit status: 0 when Orvane quits, 1 when the command line holds an option it does not know."));
    options.addHelpOption();
    options.addVersionOption();
    options.process(application);
}

// A QApplication aborts where there is no display (a terminal over ssh, a package's check), so
// the answers that need no window come from a QCoreApplication. --help-all stays with the
// QApplication, which adds the options of Qt's window system to it.
bool asksOnlyForHelpOrVersion(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view a = argv[i];
        if (a == "--") break;
        if (a == "-h" || a == "--help" || a == "-?" || a == "-v" || a == "--version") return true;
    }
    return false;
}

}  // namespace

int runApplication(int argc, char** argv, const char* version) {
    nameApplication(version);
    if (asksOnlyForHelpOrVersion(argc, argv)) {
        QCoreApplication application(argc, argv);
        installTranslations(application);
        processOptions(application);
    }
    QApplication application(argc, argv);
    QApplication::setApplicationDisplayName(QStringLiteral("Orvane"));
    QApplication::setDesktopFileName(QStringLiteral("com.marrowfen.Orvane"));
    QApplication::setWindowIcon(applicationIcon());
    // Closing the main window asks the controller, which may refuse to quit.
    QApplication::setQuitOnLastWindowClosed(false);
    logToDesktop("Orvane");
    installTranslations(application);
    processOptions(application);
    // One Orvane per session: a second launch brings the first one's window forward and ends.
    if (activateRunningOrvane()) return 0;

    QtAlertPresenter alerts;
    QtFileChooser files;
    LinuxSafari safari;
    LinuxWorkspace workspace;
    PackageManagerUpdater updater(workspace);
    DBusServicesProvider services;
    SystemClock clock;
    AppDelegate controller({alerts, files, safari, workspace, updater, services, clock});
    QObject::connect(&controller, &AppDelegate::terminated, &application, &QCoreApplication::quit,
                     Qt::QueuedConnection);
    QObject::connect(&controller, &AppDelegate::runsElsewhere, &application, &QCoreApplication::quit,
                     Qt::QueuedConnection);
    QTimer::singleShot(0, &controller, &AppDelegate::applicationDidFinishLaunching);
    return QApplication::exec();
}

}  // namespace orvane
