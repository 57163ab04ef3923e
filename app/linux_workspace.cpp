#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDesktopServices>
#include <QProcess>
#include <QUrl>

#include "platform_linux.h"

namespace orvane {

bool LinuxWorkspace::launchApplication(const QString& path, QString* errorDescription) {
    QProcess process;
    process.setProgram(path);
    process.setStandardInputFile(QProcess::nullDevice());
    if (process.startDetached()) return true;
    if (errorDescription) *errorDescription = process.errorString();
    return false;
}

bool LinuxWorkspace::quitApplication(const QString& busName) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.interface()->isServiceRegistered(busName).value()) return false;
    // "com.example.Name" offers Quit() on "/com/example/Name", in the interface of its own name.
    const QString objectPath = QLatin1Char('/') + QString(busName).replace(QLatin1Char('.'), QLatin1Char('/'));
    QDBusMessage quit = QDBusMessage::createMethodCall(busName, objectPath, busName, QStringLiteral("Quit"));
    // Asking a program that is not running must not start it through bus activation.
    quit.setAutoStartService(false);
    return bus.send(quit);
}

bool LinuxWorkspace::openURL(const QString& url) { return QDesktopServices::openUrl(QUrl(url)); }

void PackageManagerUpdater::checkForUpdates() { workspace_.openURL(QString::fromLatin1(kDownloadURL)); }

}  // namespace orvane
