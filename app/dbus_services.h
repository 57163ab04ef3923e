// The sort service on the session bus: orvane owns "com.marrowfen.Orvane" and answers
// SortBookmarks(s userData) -> (s error) and Quit() on "/com/marrowfen/Orvane".
#pragma once

#include <QObject>
#include <memory>

#include "platform.h"

namespace orvane {

class SortServiceObject;

class DBusServicesProvider final : public ServicesProvider {
public:
    DBusServicesProvider();
    ~DBusServicesProvider() override;
    bool provideServices(AppDelegate& controller) override;

private:
    std::unique_ptr<SortServiceObject> object_;
};

// What a bus call sees. Each call is answered at once; the work it asks for runs afterwards on
// the event loop, so the caller never waits on a sort or on a person reading an alert.
class SortServiceObject final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.marrowfen.Orvane")
public:
    explicit SortServiceObject(AppDelegate& controller) : controller_(controller) {}

public slots:
    Q_SCRIPTABLE QString SortBookmarks(const QString& userData);
    Q_SCRIPTABLE void Quit();

private:
    AppDelegate& controller_;
};

}  // namespace orvane
