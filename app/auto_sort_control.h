// The automatic mode as orvane runs it: the helper program (where it lies, starting and stopping
// it, its login item), the failures it leaves behind for the next launch, the service calls that
// start a run, and the rule that quitting in the automatic mode hands the watching over to the
// helper, so that the application refuses to quit when the helper cannot be started.
#pragma once

#include <QCoreApplication>
#include <QDateTime>
#include <QString>
#include <optional>

namespace orvane {

class AlertSheet;
class Clock;
class Updater;
class WindowBinding;
class Workspace;

class AutoSortControl {
    // The texts stay in the context under which the catalogues have always translated them.
    Q_DECLARE_TR_FUNCTIONS(orvane::AppDelegate)
public:
    AutoSortControl(Workspace& workspace, Updater& updater, Clock& clock, AlertSheet& alerts, WindowBinding& window);

    // orvane-helper in the folder of this program's executable; nothing when it is not there.
    std::optional<QString> helperApplicationPath() const;
    bool startHelperApplication();
    bool stopHelperApplication();
    bool addHelperApplicationAsLoginItem();
    bool removeHelperApplicationFromLoginItems();
    // The automatic-mode check box's action, after the box has stored its setting.
    void toggleAutoSortMode(bool on);
    // Reports what the helper left in "LastHelperError", once.
    void handleHelperApplicationError();

    void noteLaunch();
    void noteServiceCall();
    // Whether a service call started this run: one that came within a second of the launch.
    bool wasServiceCall() const;

    // Whether the application may quit now. In the automatic mode it may only once the helper
    // has started (or while an update is being installed); otherwise the mode is switched off
    // and the application stays open.
    bool applicationShouldTerminate();

    // Where this program's executable is taken to lie, for tests that put a helper beside it.
    void setExecutableFolder(const QString& folder) { executableFolder_ = folder; }

private:
    QString helperExecutablePath() const;

    Workspace& workspace_;
    Updater& updater_;
    Clock& clock_;
    AlertSheet& alerts_;
    WindowBinding& window_;
    QString executableFolder_;
    std::optional<QDateTime> dateOnStartup_;
    std::optional<QDateTime> dateOnServiceCall_;
};

}  // namespace orvane
