// The sort service on the session bus: orvane owns "com.marrowfen.Orvane" and answers
// SortBookmarks(s userData) -> (s error), Activate() and Quit() on "/com/marrowfen/Orvane". The
// name also keeps Orvane to one instance: a second launch finds it owned, asks the owner to come
// forward and ends.
#pragma once

#include <QDBusContext>
#include <QObject>
#include <memory>

#include "platform.h"

namespace orvane {

class SortServiceObject;

class DBusServicesProvider final : public ServicesProvider {
public:
    DBusServicesProvider();
    ~DBusServicesProvider() override;
    ServiceOffer provideServices(AppDelegate& controller) override;

private:
    std::unique_ptr<SortServiceObject> object_;
};

// When Orvane runs already on this session's bus, asks it to bring its window forward and
// answers true; false when none runs (or there is no bus), and this launch goes on.
bool activateRunningOrvane();

// What a bus call sees. SortBookmarks is answered once the sort it asks for has ended, always
// with an empty error: the sort's outcome is the Sort command's to show. Activate and Quit are
// answered at once; the quit follows when no alert or command is open.
class SortServiceObject final : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.marrowfen.Orvane")
public:
    explicit SortServiceObject(AppDelegate& controller) : controller_(controller) {}

public slots:
    Q_SCRIPTABLE QString SortBookmarks(const QString& userData);
    Q_SCRIPTABLE void Activate();
    Q_SCRIPTABLE void Quit();

private:
    AppDelegate& controller_;
};

}  // namespace orvane
