// What the application controller and its parts ask of the world, one small interface per
// service; each part holds only the ones it uses. The program plugs in the real ones
// (platform_linux.h, with the Qt dialogs in qt_dialogs.cpp, Safari's files in linux_safari.cpp
// and the session bus and processes in linux_workspace.cpp; the sort service is dbus_services.h);
// tests plug in fakes, so that the Sort command, the launch sequence and the quit rules run with
// no display, no bus and nobody to click.
#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <optional>

class QWidget;

namespace orvane {

class AppDelegate;

// The modal alert and the confirmation panel.
class AlertPresenter {
public:
    virtual ~AlertPresenter() = default;
    // One OK button; the call returns when the user has dismissed the alert. `details`, when
    // there are any, say why for those who want to know, apart from the message.
    virtual int showAlert(QWidget* window, const QString& title, const QString& message,
                          const QString& details = {}) = 0;
    // A critical alert on `window` with two buttons, `defaultButton` taking Return. Answers true
    // only for the alternate button.
    virtual bool confirmCritical(QWidget* window, const QString& title, const QString& message,
                                 const QString& defaultButton, const QString& alternateButton) = 0;
};

// The open panel.
class FileChooser {
public:
    virtual ~FileChooser() = default;
    // The chosen file's path, or nothing when the user cancelled.
    virtual std::optional<QString> chooseFile(QWidget* window, const QString& startFolder,
                                              const QString& nameFilter) = 0;
};

// A program of Safari's that runs now.
struct RunningApplication {
    QString bundleIdentifier;
    qint64 processId = 0;
};

// Safari's installation, preferences and running copies.
class SafariWorld {
public:
    virtual ~SafariWorld() = default;
    // "CFBundleShortVersionString" of the installed Safari; nothing without a Safari or a version.
    virtual std::optional<QString> bundleShortVersion() = 0;
    virtual QString preferencesFilename() = 0;
    virtual QList<RunningApplication> runningApplicationsWithBundleIdentifier(const QString& identifier) = 0;
    virtual void activate(const RunningApplication& application) = 0;
    // Brings this program back to the front after the others were activated.
    virtual void activateCurrentApplication() = 0;
    virtual void sleepForTimeInterval(double seconds) = 0;
};

// Other programs and the web.
class Workspace {
public:
    virtual ~Workspace() = default;
    // Starts an executable detached from this process, without bringing it forward.
    virtual bool launchApplication(const QString& path, QString* errorDescription) = 0;
    // Asks the program that owns `busName` on the session bus to quit; false when nobody owns it.
    virtual bool quitApplication(const QString& busName) = 0;
    virtual bool openURL(const QString& url) = 0;
};

// Software updates.
class Updater {
public:
    virtual ~Updater() = default;
    virtual bool updateInProgress() = 0;
    virtual void checkForUpdates() = 0;
};

enum class ServiceOffer {
    Offered,
    NotOffered,              // no session bus, or the bus refused
    OfferedByAnotherOrvane,  // Orvane runs already and offers it; it has been asked to come forward
};

// The sort service that other programs call: the controller becomes its provider at launch.
class ServicesProvider {
public:
    virtual ~ServicesProvider() = default;
    virtual ServiceOffer provideServices(AppDelegate& controller) = 0;
};

class Clock {
public:
    virtual ~Clock() = default;
    virtual QDateTime now() = 0;
};

// The world as the controller sees it; every member outlives the controller.
struct Platform {
    AlertPresenter& alerts;
    FileChooser& files;
    SafariWorld& safari;
    Workspace& workspace;
    Updater& updater;
    ServicesProvider& services;
    Clock& clock;
};

}  // namespace orvane
