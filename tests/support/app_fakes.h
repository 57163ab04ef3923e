// Fakes of the services the application controller asks of the world.
#pragma once

#include <QDateTime>
#include <QStringList>
#include <functional>
#include <memory>
#include <optional>

#include "app_delegate.h"
#include "platform.h"
#include "platform_linux.h"
#include "scratch_home.h"

namespace orvane::test {

struct Alert {
    QString title, message, details;
};

class FakeAlerts final : public AlertPresenter {
public:
    int showAlert(QWidget*, const QString& title, const QString& message, const QString& details) override {
        shown.append({title, message, details});
        if (onShow) onShow(shown.last());
        return 1;
    }
    bool confirmCritical(QWidget*, const QString& title, const QString& message, const QString& defaultButton,
                         const QString& alternateButton) override {
        confirmations.append({title, message, {}});
        buttons = {defaultButton, alternateButton};
        return confirm;
    }
    QList<Alert> shown, confirmations;
    QStringList buttons;
    bool confirm = false;
    std::function<void(const Alert&)> onShow;
};

class FakeFiles final : public FileChooser {
public:
    std::optional<QString> chooseFile(QWidget*, const QString& start, const QString& filter) override {
        asked.append({start, filter});
        return answer;
    }
    QList<QStringList> asked;
    std::optional<QString> answer;
};

class FakeSafari final : public SafariWorld {
public:
    std::optional<QString> bundleShortVersion() override { return version; }
    QString preferencesFilename() override { return preferences; }
    QList<RunningApplication> runningApplicationsWithBundleIdentifier(const QString& identifier) override {
        askedFor.append(identifier);
        return running;
    }
    void activate(const RunningApplication& application) override {
        events.append("activate " + application.bundleIdentifier);
    }
    void activateCurrentApplication() override { events.append("activate self"); }
    void sleepForTimeInterval(double seconds) override { events.append("sleep " + QString::number(seconds)); }
    std::optional<QString> version = QStringLiteral("15.6");
    QString preferences;
    QList<RunningApplication> running;
    QStringList askedFor, events;
};

class FakeWorkspace final : public Workspace {
public:
    bool launchApplication(const QString& path, QString* error) override {
        launched.append(path);
        if (error) *error = launchError;
        return launchError.isNull();
    }
    bool quitApplication(const QString& busName) override { return quitAsked.append(busName), false; }
    bool openURL(const QString& url) override { return opened.append(url), true; }
    QStringList launched, quitAsked, opened;
    QString launchError;  // null: launches succeed
};

class FakeUpdater final : public Updater {
public:
    bool updateInProgress() override { return inProgress; }
    void checkForUpdates() override { ++checks; }
    bool inProgress = false;
    int checks = 0;
};

class FakeServices final : public ServicesProvider {
public:
    ServiceOffer provideServices(AppDelegate&) override {
        ++provided;
        return offer;
    }
    ServiceOffer offer = ServiceOffer::Offered;
    int provided = 0;
};

class FakeClock final : public Clock {
public:
    QDateTime now() override { return time; }
    QDateTime time = QDateTime(QDate(2026, 11, 23), QTime(12, 0), Qt::UTC);
};

// The controller over fakes, in a scratch home; `services` replaces the fake sort service.
struct ControllerRig {
    explicit ControllerRig(ServicesProvider* services = nullptr);
    ScratchHome home;
    FakeAlerts alerts;
    FakeFiles files;
    FakeSafari safari;
    FakeWorkspace workspace;
    FakeUpdater updater;
    FakeServices services;
    FakeClock clock;
    std::unique_ptr<AppDelegate> controller;
    int terminations = 0;
};

// The controller with the real alerts and Safari's real files, for tests that drive the window
// the way a person does; the rest is faked.
struct WindowRig {
    WindowRig() : controller({alerts, files, safari, workspace, updater, services, clock}) {}
    QtAlertPresenter alerts;
    FakeFiles files;
    LinuxSafari safari;
    FakeWorkspace workspace;
    FakeUpdater updater;
    FakeServices services;
    FakeClock clock;
    AppDelegate controller;
};

}  // namespace orvane::test
