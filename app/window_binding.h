// The main window and what it shows: the check boxes tied to their settings, the Sort button's
// title for the mode (retitled with a short slide), the window's frame from one run to the next,
// the About panel and the maker's site. It decides nothing: the commands and the rules for
// quitting are the controller's parts, which connect themselves to the window's controls.
#pragma once

#include <QCoreApplication>
#include <QPointer>
#include <QString>
#include <memory>

class QCheckBox;
class QParallelAnimationGroup;
class QPushButton;
class QTimer;
class QWidget;

namespace orvane {

class AboutController;
class MainWindow;
class Workspace;

class WindowBinding {
    // The texts stay in the context under which the catalogues have always translated them.
    Q_DECLARE_TR_FUNCTIONS(orvane::AppDelegate)
public:
    explicit WindowBinding(Workspace& workspace);
    ~WindowBinding();
    WindowBinding(const WindowBinding&) = delete;
    WindowBinding& operator=(const WindowBinding&) = delete;

    MainWindow& window() const { return *window_; }
    QPushButton* sortBookmarksButton() const;
    QCheckBox* autoSortModeCheckBox() const;

    // Shows the window centred on the screen the first time, and where it was when Orvane last
    // quit afterwards.
    void openWindow();
    void bringForward();
    void saveFrame();

    // Gives the Sort button the title for the current mode: the button slides and stretches,
    // empty, to its new centred size for a tenth of a second, then shows the title.
    void updateSortBookmarksButtonTitle();
    // Only the Sort button is locked.
    void lockGUI(bool lock);

    // The window while a job runs: the Sort button locked (for a sort), the busy pointer, and
    // after half a second the busy indicator; afterwards the keyboard focus is back on the Sort
    // button if the job took it from there.
    class BusyWindow {
    public:
        BusyWindow(WindowBinding& window, bool lockSortButton);
        ~BusyWindow();
        BusyWindow(const BusyWindow&) = delete;
        BusyWindow& operator=(const BusyWindow&) = delete;

    private:
        WindowBinding& window_;
        bool locked_;
        QPointer<QWidget> movedFocusTo_;  // where the focus went when the button was disabled
    };
    QWidget* busyIndicator() const;
    void showAboutPanel();
    void gotoMarrowfenURL();

private:
    QString sortBookmarksButtonTitle() const;
    // Where each animation ends: the title for the mode as it is now, centred.
    void showSortBookmarksButtonTitle();
    void giveSortButtonKey(const QString& title);

    Workspace& workspace_;
    std::unique_ptr<MainWindow> window_;
    std::unique_ptr<AboutController> aboutController_;
    QPointer<QParallelAnimationGroup> buttonAnimation_;
    QTimer* busyDelay_;
};

}  // namespace orvane
