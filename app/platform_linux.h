// The real services behind the controller's interfaces (platform.h) on a Linux desktop.
#pragma once

#include <optional>

#include "platform.h"

namespace orvane {

// Window-modal message boxes run with exec(), so the caller waits for the answer.
class QtAlertPresenter final : public AlertPresenter {
public:
    int showAlert(QWidget* window, const QString& title, const QString& message, const QString& details) override;
    bool confirmCritical(QWidget* window, const QString& title, const QString& message, const QString& defaultButton,
                         const QString& alternateButton) override;
};

class QtFileChooser final : public FileChooser {
public:
    std::optional<QString> chooseFile(QWidget* window, const QString& startFolder, const QString& nameFilter) override;
};

// Safari's files where ORVANE_SAFARI_APP and ORVANE_SAFARI_PREFERENCES say, else where macOS keeps
// them. No Safari runs here, so nothing is ever running or activated.
class LinuxSafari final : public SafariWorld {
public:
    // Read once: the answer stands for the whole life of the program.
    std::optional<QString> bundleShortVersion() override;
    QString preferencesFilename() override;
    QList<RunningApplication> runningApplicationsWithBundleIdentifier(const QString&) override { return {}; }
    void activate(const RunningApplication&) override {}
    void activateCurrentApplication() override {}
    void sleepForTimeInterval(double seconds) override;

    // The folder of Safari's bundle.
    static QString bundleFolder();

private:
    std::optional<std::optional<QString>> version_;
};

// Programs are started detached and asked to quit through the session bus: each owns its bundle
// identifier as a bus name and offers Quit() on the object path made from that name.
class LinuxWorkspace final : public Workspace {
public:
    bool launchApplication(const QString& path, QString* errorDescription) override;
    bool quitApplication(const QString& busName) override;
    bool openURL(const QString& url) override;
};

// Updates come from the package manager: none is ever in progress here, and a check opens the
// maker's download page.
class PackageManagerUpdater final : public Updater {
public:
    explicit PackageManagerUpdater(Workspace& workspace) : workspace_(workspace) {}
    bool updateInProgress() override { return false; }
    void checkForUpdates() override;

private:
    Workspace& workspace_;
};

class SystemClock final : public Clock {
public:
    QDateTime now() override { return QDateTime::currentDateTimeUtc(); }
};

// The maker's pages.
inline constexpr char kMarrowfenURL[] = "https://www.marrowfen.com/orvane/";
inline constexpr char kDownloadURL[] = "https://www.marrowfen.com/orvane/download/";

}  // namespace orvane
