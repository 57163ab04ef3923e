// orvane-helper: the automatic mode's background program. It owns the bus name through which
// Orvane asks it to quit, watches the bookmarks file, and has it sorted after each change.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusServiceWatcher>

#include "bus_names.h"
#include "desktop_log.h"
#include "helper.h"
#include "settings.h"
#include "support/log.h"

namespace {

// What Orvane calls to end the helper.
class HelperBusObject final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.marrowfen.OrvaneHelper")
public:
    explicit HelperBusObject(orvane::Helper& helper) : helper_(helper) {}
public slots:
    Q_SCRIPTABLE void Quit() { helper_.quitWhenAnswered(); }

private:
    orvane::Helper& helper_;
};

}  // namespace

int main(int argc, char** argv) {
    using namespace orvane;
    QCoreApplication application(argc, argv);
    QCoreApplication::setOrganizationName(QString::fromLatin1(kOrganizationName));
    QCoreApplication::setApplicationName(QStringLiteral("OrvaneHelper"));
    logToDesktop("OrvaneHelper");

    QDBusConnection bus = QDBusConnection::sessionBus();
    Helper helper(bus);
    HelperBusObject busObject(helper);
    if (bus.isConnected()) {
        bus.registerObject(QString::fromLatin1(kHelperObjectPath), &busObject, QDBusConnection::ExportScriptableSlots);
        // The newest helper takes over, and one that loses its name quits: two helpers would
        // sort every change twice, and Orvane could stop only one of them.
        const auto reply = bus.interface()->registerService(QString::fromLatin1(kHelperBusName),
                                                            QDBusConnectionInterface::ReplaceExistingService,
                                                            QDBusConnectionInterface::AllowReplacement);
        if (reply.value() != QDBusConnectionInterface::ServiceRegistered)
            logLine("int main(int, char **)",
                    "Could not own " + std::string(kHelperBusName) + "; Orvane will not be able to stop this helper.");
        auto* watcher = new QDBusServiceWatcher(QString::fromLatin1(kHelperBusName), bus,
                                                QDBusServiceWatcher::WatchForOwnerChange, &application);
        QObject::connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, &application,
                         [self = bus.baseService()](const QString&, const QString& oldOwner, const QString&) {
                             if (oldOwner == self) QCoreApplication::quit();
                         });
    } else {
        logLine("int main(int, char **)",
                "No session bus: Orvane cannot be asked to sort, so this helper sorts by itself.");
    }

    if (!helper.start()) return 1;
    return QCoreApplication::exec();
}

#include "main.moc"
