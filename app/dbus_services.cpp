#include "dbus_services.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>

#include "app_delegate.h"
#include "bus_names.h"
#include "support/log.h"

namespace orvane {
namespace {

constexpr int kActivateTimeoutMs = 5000;

// Asks the program that owns Orvane's name to come forward; false when nobody answered.
bool askOwnerToActivate(QDBusConnection& bus) {
    QDBusMessage call =
        QDBusMessage::createMethodCall(QString::fromLatin1(kOrvaneBusName), QString::fromLatin1(kOrvaneObjectPath),
                                       QString::fromLatin1(kOrvaneInterface), QStringLiteral("Activate"));
    // A name with no owner must not start a new Orvane through bus activation.
    call.setAutoStartService(false);
    return bus.call(call, QDBus::Block, kActivateTimeoutMs).type() == QDBusMessage::ReplyMessage;
}

}  // namespace

DBusServicesProvider::DBusServicesProvider() = default;
DBusServicesProvider::~DBusServicesProvider() = default;

ServiceOffer DBusServicesProvider::provideServices(AppDelegate& controller) {
    constexpr char kFunction[] = "-[DBusServicesProvider provideServices:]";
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        logLine(kFunction,
                "No session bus: the sort service is not offered. " + bus.lastError().message().toStdString());
        return ServiceOffer::NotOffered;
    }
    object_ = std::make_unique<SortServiceObject>(controller);
    if (!bus.registerObject(QString::fromLatin1(kOrvaneObjectPath), object_.get(),
                            QDBusConnection::ExportScriptableSlots)) {
        logLine(kFunction, "Could not offer the sort service at " + std::string(kOrvaneObjectPath) + ".");
        object_.reset();
        return ServiceOffer::NotOffered;
    }
    if (!bus.registerService(QString::fromLatin1(kOrvaneBusName))) {
        const std::string why = bus.lastError().message().toStdString();
        bus.unregisterObject(QString::fromLatin1(kOrvaneObjectPath));
        object_.reset();
        // Two launches at the same moment both found the name free; the later one gives way.
        if (askOwnerToActivate(bus)) return ServiceOffer::OfferedByAnotherOrvane;
        logLine(kFunction,
                std::string(kOrvaneBusName) + " is owned by another program (is Orvane running twice?): " + why);
        return ServiceOffer::NotOffered;
    }
    return ServiceOffer::Offered;
}

bool activateRunningOrvane() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return false;
    const QDBusReply<bool> owned = bus.interface()->isServiceRegistered(QString::fromLatin1(kOrvaneBusName));
    return owned.isValid() && owned.value() && askOwnerToActivate(bus);
}

QString SortServiceObject::SortBookmarks(const QString&) {
    controller_.serviceCalled();
    // The caller hears back when its sort has ended.
    setDelayedReply(true);
    controller_.sortWhenIdle(
        [bus = connection(), reply = message().createReply(QString())]() mutable { bus.send(reply); });
    return {};  // never read: the reply above is the answer
}

void SortServiceObject::Activate() { controller_.activate(); }

void SortServiceObject::Quit() { controller_.terminateWhenIdle(); }

}  // namespace orvane
