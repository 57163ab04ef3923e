// The application controller: the settings, the Sort command and its alerts, launch and quit,
// Safari's coordination, the sort service's entry, the helper program's control and the restore
// of the initial backup. It owns the main window and the About panel. Everything runs on the
// main thread; the sort job runs synchronously inside the command, with the window locked.
#pragma once

#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <cstdint>
#include <memory>
#include <optional>

#include "platform.h"

class QAction;
class QCheckBox;
class QMenu;
class QPushButton;
class QParallelAnimationGroup;

namespace orvane {

class AboutController;
class MainWindow;
class Orvane;

class AppDelegate final : public QObject {
    Q_OBJECT
public:
    enum TerminateReply { TerminateCancel = 0, TerminateNow = 1 };

    explicit AppDelegate(Platform platform, QObject* parent = nullptr);
    ~AppDelegate() override;

    // --- Outlets ---------------------------------------------------------------------------------
    MainWindow* window() const { return window_.get(); }
    QPushButton* sortBookmarksButton() const;
    QCheckBox* arrangeFoldersAtTopCheckBox() const;
    QCheckBox* removeDuplicatesCheckBox() const;
    QCheckBox* renameSamenamedCheckBox() const;
    QCheckBox* sortBookmarksBarCheckBox() const;
    QCheckBox* autoSortModeCheckBox() const;
    QAction* restoreInitialBackupMenuItem() const;

    // --- Settings (read afresh from the settings file on every call) ----------------------------
    bool arrangeFoldersAtTop() const;
    void setArrangeFoldersAtTop(bool on);
    bool removeDuplicates() const;
    void setRemoveDuplicates(bool on);
    bool renameSamenamed() const;
    void setRenameSamenamed(bool on);
    bool sortBookmarksBar() const;
    void setSortBookmarksBar(bool on);
    bool autoSortMode() const;
    void setAutoSortMode(bool on);
    // May be empty after an error cleared it.
    QString bookmarksFilename() const;
    // Also forgets the cached backup path.
    void setBookmarksFilename(const QString& filename);
    // "<data folder>/Orvane", made anew on every call.
    QString applicationFolder() const;
    // The initial copy in the application folder, cached until the bookmarks file name changes.
    QString backupFilename();
    void setBackupFilename(std::optional<QString> filename) { backupFilename_ = std::move(filename); }

    // --- Locating the bookmarks file ---------------------------------------------------------
    // The stored file when it exists, else the one the user picks; nothing when they cancel.
    std::optional<QString> filenameToUse();
    void setupOrvane(Orvane& job, const std::optional<QString>& filename);
    // False when the user cancelled locating the file; the job is then left untouched.
    bool setupOrvane(Orvane& job, bool askForFilenameIfNeeded);

    // --- Sort command, alerts, window state ----------------------------------------------------
    void lockGUI(bool lock);
    void showOrvaneError(std::uint32_t code);
    // Shows a modal alert on the main window and returns when the user dismisses it. The message
    // is a format (message_format.h) filled from `arguments`.
    int showAlertSheetWithTitle(const QString& title, const QString& format, const QStringList& arguments = {});
    void updateSortBookmarksButtonTitle();
    void animationDidStop(bool finished);

    // --- Launch and quit ----------------------------------------------------------------------
    void applicationDidFinishLaunching();
    void initialLaunchCheck();
    TerminateReply applicationShouldTerminate();
    void applicationWillTerminate();
    // Asks to quit: the application ends (terminated() is emitted) unless the controller refuses.
    // Answers whether it ended.
    bool terminate();
    bool quitApplicationWithBundleID(const QString& bundleIdentifier);
    bool launchApplicationWithPath(const QString& path, QString* errorDescription = nullptr);

    // --- Sort service ---------------------------------------------------------------------------
    // The service's entry: stamps the call and brings the window forward. It never fails.
    void sortBookmarks(const QString& userData, QString* error);
    bool wasServiceCall() const;
    // Runs the Sort command, or asks to quit, once the controller is idle: at once from the event
    // loop, or when the launch sequence, an open alert or a running command has finished, never
    // inside another alert. Requests made meanwhile give one sort; a quit comes after the sort.
    void sortWhenIdle();
    void terminateWhenIdle();

    // --- Helper program -----------------------------------------------------------------------
    // orvane-helper in the folder of this program's executable; nothing when it is not there.
    std::optional<QString> helperApplicationPath() const;
    bool startHelperApplication();
    bool stopHelperApplication();
    bool addHelperApplicationAsLoginItem();
    bool removeHelperApplicationFromLoginItems();
    void toggleAutoSortMode(QCheckBox* sender);
    void handleHelperApplicationError();
    // Where this program's executable is taken to lie, for tests that put a helper beside it.
    void setExecutableFolder(const QString& folder) { executableFolder_ = folder; }

    // --- Restore -----------------------------------------------------------------------------
    bool canRestoreInitialBackup();
    void menuNeedsUpdate(QMenu* menu);

public slots:
    // The Sort button's action.
    void sortBookmarks();
    void restoreInitialBackup();
    void showAboutPanel();
    void gotoMarrowfenURL();

signals:
    // The application has agreed to end; the program leaves its event loop.
    void terminated();

private:
    // Marks the controller busy (launching, showing an alert, running a command) for a scope.
    class BusyScope {
    public:
        explicit BusyScope(AppDelegate& controller) : controller_(controller) { ++controller_.busy_; }
        ~BusyScope();
        BusyScope(const BusyScope&) = delete;
        BusyScope& operator=(const BusyScope&) = delete;

    private:
        AppDelegate& controller_;
    };

    QString sortBookmarksButtonTitle() const;
    QString helperExecutablePath() const;
    void runRequestedWorkSoon();
    void connectWindow();

    Platform platform_;
    std::unique_ptr<MainWindow> window_;
    std::unique_ptr<AboutController> aboutController_;
    std::optional<QString> backupFilename_;
    std::optional<QDateTime> dateOnStartup_;
    std::optional<QDateTime> dateOnServiceCall_;
    QPointer<QParallelAnimationGroup> buttonAnimation_;
    QString executableFolder_;
    int busy_ = 0;
    bool sortRequested_ = false;
    bool terminateRequested_ = false;
    bool terminated_ = false;
};

}  // namespace orvane
