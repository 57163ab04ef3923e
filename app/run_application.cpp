// The desktop program's life: the application object, the real services, the controller, and
// the event loop until the controller agrees to quit.
#include "run_application.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QTimer>

#include "about_controller.h"
#include "app_delegate.h"
#include "dbus_services.h"
#include "desktop_log.h"
#include "platform_linux.h"
#include "settings.h"
#include "translations.h"

namespace orvane {

int runApplication(int argc, char** argv, const char* version) {
    QApplication application(argc, argv);
    QApplication::setOrganizationName(QString::fromLatin1(kOrganizationName));
    QApplication::setApplicationName(QString::fromLatin1(kApplicationName));
    QApplication::setApplicationDisplayName(QStringLiteral("Orvane"));
    QApplication::setApplicationVersion(QString::fromLatin1(version));
    QApplication::setDesktopFileName(QStringLiteral("com.marrowfen.Orvane"));
    QApplication::setWindowIcon(applicationIcon());
    // Closing the main window asks the controller, which may refuse to quit.
    QApplication::setQuitOnLastWindowClosed(false);
    logToDesktop("Orvane");
    installTranslations(application);

    QCommandLineParser options;
    options.setApplicationDescription(
        QApplication::translate("orvane", "Sorts Safari’s bookmarks. Settings: %1").arg(Settings::fileName()));
    options.addHelpOption();
    options.addVersionOption();
    options.process(application);
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
