#include "dbus_services.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>

#include "app_delegate.h"
#include "bus_names.h"
#include "support/log.h"

namespace orvane {

DBusServicesProvider::DBusServicesProvider() = default;
DBusServicesProvider::~DBusServicesProvider() = default;

bool DBusServicesProvider::provideServices(AppDelegate& controller) {
    constexpr char kFunction[] = "-[DBusServicesProvider provideServices:]";
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        logLine(kFunction,
                "No session bus: the sort service is not offered. " + bus.lastError().message().toStdString());
        return false;
    }
    object_ = std::make_unique<SortServiceObject>(controller);
    if (!bus.registerObject(QString::fromLatin1(kOrvaneObjectPath), object_.get(),
                            QDBusConnection::ExportScriptableSlots)) {
        logLine(kFunction, "Could not offer the sort service at " + std::string(kOrvaneObjectPath) + ".");
        object_.reset();
        return false;
    }
    if (!bus.registerService(QString::fromLatin1(kOrvaneBusName))) {
        logLine(kFunction, std::string(kOrvaneBusName) + " is owned by another program (is Orvane running twice?): " +
                               bus.lastError().message().toStdString());
        bus.unregisterObject(QString::fromLatin1(kOrvaneObjectPath));
        object_.reset();
        return false;
    }
    return true;
}

QString SortServiceObject::SortBookmarks(const QString&) {
    controller_.serviceCalled();
    controller_.sortWhenIdle();
    return {};  // the sort's outcome is the Sort command's to show, never the caller's
}

void SortServiceObject::Quit() { controller_.terminateWhenIdle(); }

}  // namespace orvane
