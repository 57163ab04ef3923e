#include "window_binding.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QGuiApplication>
#include <QLabel>
#include <QLayout>
#include <QMenuBar>
#include <QParallelAnimationGroup>
#include <QPropertyAnimation>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QTimer>

#include "about_controller.h"
#include "main_window.h"
#include "mnemonics.h"
#include "platform_linux.h"
#include "settings.h"
#include "ui_MainWindow.h"

namespace orvane {
namespace {

constexpr int kButtonAnimationMilliseconds = 100;
constexpr int kBusyIndicatorDelayMilliseconds = 500;

// Each check box shows its setting and changes it when clicked; the code reads the settings.
void bindCheckBox(QCheckBox* box, bool on, void (*store)(bool)) {
    box->setChecked(on);
    QObject::connect(box, &QCheckBox::toggled, box, store);
}

// Screen readers announce a control by its accessible name: the label a sighted person reads.
void nameForScreenReaders(QAbstractButton* control) {
    control->setAccessibleName(QString(control->text()).remove(QLatin1Char('&')));
}

void centre(QWidget& window) {
    const QScreen* screen = window.screen() ? window.screen() : QGuiApplication::primaryScreen();
    if (!screen) return;
    QRect frame = window.frameGeometry();
    frame.moveCenter(screen->availableGeometry().center());
    window.move(frame.topLeft());
}

}  // namespace

WindowBinding::WindowBinding(Workspace& workspace) : workspace_(workspace), window_(std::make_unique<MainWindow>()) {
    Ui::MainWindow& ui = window_->ui();
    const SortOptions options = Settings::sortOptions();
    bindCheckBox(ui.arrangeFoldersAtTopCheckBox, options.foldersAtTop, &Settings::setFoldersAtTop);
    bindCheckBox(ui.removeDuplicatesCheckBox, options.removeDuplicates, &Settings::setRemoveDuplicates);
    bindCheckBox(ui.renameSamenamedCheckBox, options.renameSamenamed, &Settings::setRenameSamenamed);
    bindCheckBox(ui.sortBookmarksBarCheckBox, options.sortBookmarksBar, &Settings::setSortBookmarksBar);
    bindCheckBox(ui.autoSortModeCheckBox, Settings::autoSortMode(), &Settings::setAutoSortMode);
    for (QAbstractButton* control : window_->findChildren<QAbstractButton*>()) nameForScreenReaders(control);
    QObject::connect(ui.gotoMarrowfenMenuItem, &QAction::triggered, window_.get(), [this] { gotoMarrowfenURL(); });
    QObject::connect(ui.aboutMenuItem, &QAction::triggered, window_.get(), [this] { showAboutPanel(); });
    // Closing the window as desktops close windows from the keyboard; closing it quits.
    auto* close = new QShortcut(QKeySequence::Close, window_.get());
    QObject::connect(close, &QShortcut::activated, window_.get(), &QWidget::close);

    // Shown when a job has run for half a second; its place is kept, so the window never jumps.
    QSizePolicy keepPlace = ui.busyIndicator->sizePolicy();
    keepPlace.setRetainSizeWhenHidden(true);
    ui.busyIndicator->setSizePolicy(keepPlace);
    ui.busyIndicator->hide();
    ui.busyIndicator->setAccessibleName(tr("Working…"));
    busyDelay_ = new QTimer(window_.get());
    busyDelay_->setSingleShot(true);
    busyDelay_->setInterval(kBusyIndicatorDelayMilliseconds);
    QObject::connect(busyDelay_, &QTimer::timeout, ui.busyIndicator, &QWidget::show);

    // Room for the longer of the two titles, so that retitling never changes the window's size.
    QPushButton* button = ui.sortBookmarksButton;
    QSize widest;
    for (const QString& candidate : {tr("Sort Bookmarks"), tr("Begin Sorting Bookmarks")}) {
        button->setText(candidate);
        widest = widest.expandedTo(button->sizeHint());
    }
    showSortBookmarksButtonTitle();  // the title for the mode, until the launch retitles it with its animation
    button->resize(button->sizeHint());
    window_->reserveSortButtonSpace(widest);
    // The window's final size from the start, so that the button is centred in it before it shows.
    window_->centralWidget()->layout()->activate();
    window_->adjustSize();
}

WindowBinding::~WindowBinding() {
    // A slide still under way ends when the window deletes it with the button; its end must not
    // retitle a button that is already gone.
    if (buttonAnimation_) QObject::disconnect(buttonAnimation_, nullptr, window_.get(), nullptr);
}

QPushButton* WindowBinding::sortBookmarksButton() const { return window_->ui().sortBookmarksButton; }
QCheckBox* WindowBinding::autoSortModeCheckBox() const { return window_->ui().autoSortModeCheckBox; }

void WindowBinding::openWindow() {
    window_->adjustSize();
    centre(*window_);
    // A frame saved under the autosave name replaces the centred one, so the window opens
    // centred only the first time.
    if (const std::optional<QByteArray> frame = Settings::mainWindowFrame()) window_->restoreGeometry(*frame);
    bringForward();
}

void WindowBinding::bringForward() {
    // A window the user minimised comes back too.
    window_->setWindowState(window_->windowState() & ~Qt::WindowMinimized);
    window_->show();
    window_->raise();
    window_->activateWindow();
}

void WindowBinding::saveFrame() { Settings::setMainWindowFrame(window_->saveGeometry()); }

QString WindowBinding::sortBookmarksButtonTitle() const {
    return Settings::autoSortMode() ? tr("Begin Sorting Bookmarks") : tr("Sort Bookmarks");
}

void WindowBinding::updateSortBookmarksButtonTitle() {
    QPushButton* button = sortBookmarksButton();
    if (buttonAnimation_) buttonAnimation_->stop();  // its end sets the title it was heading for

    const QString title = sortBookmarksButtonTitle();
    const QRect oldFrame = button->geometry();
    button->setText(title);
    const QSize newSize = button->sizeHint();
    button->setText(QString());
    button->setAccessibleName(title);
    // Setting a text drops a button's key; the button is pressed by it while it slides too.
    giveSortButtonKey(title);
    const QPoint newOrigin(window_->centredSortButtonPosition(newSize.width()).x(), oldFrame.y());

    auto* group = new QParallelAnimationGroup(window_.get());
    auto* origin = new QPropertyAnimation(button, "pos", group);
    origin->setDuration(kButtonAnimationMilliseconds);
    origin->setStartValue(oldFrame.topLeft());
    origin->setEndValue(newOrigin);
    auto* size = new QPropertyAnimation(button, "size", group);
    size->setDuration(kButtonAnimationMilliseconds);
    size->setStartValue(oldFrame.size());
    size->setEndValue(newSize);
    group->addAnimation(origin);
    group->addAnimation(size);
    QObject::connect(group, &QAbstractAnimation::stateChanged, window_.get(),
                     [this, group](QAbstractAnimation::State now) {
                         if (now != QAbstractAnimation::Stopped) return;
                         window_->setSortButtonAnimating(false);
                         // Finished or cut short, the title is the one for the mode as it is now.
                         showSortBookmarksButtonTitle();
                         group->deleteLater();
                     });
    buttonAnimation_ = group;
    window_->setSortButtonAnimating(true);
    group->start();
}

void WindowBinding::showSortBookmarksButtonTitle() {
    const QString title = sortBookmarksButtonTitle();
    QPushButton* button = sortBookmarksButton();
    button->setText(title);
    button->setAccessibleName(title);
    giveSortButtonKey(title);
    // The window may have changed size while the button moved.
    button->move(window_->centredSortButtonPosition(button->width()).x(), button->y());
}

void WindowBinding::giveSortButtonKey(const QString& title) {
    // Its title is a fixed text that carries no mnemonic, so Alt and the letter a mnemonic would
    // have marked reach it, one that no other control of the window has. An alert open on the
    // window is a child of it too, but a window of its own whose keys come and go with it: counted,
    // its "Show Details…" would take the S for good.
    QPushButton* button = sortBookmarksButton();
    const auto inWindow = [this](const QWidget* widget) { return widget->window() == window_.get(); };
    QStringList taken;
    for (const QAbstractButton* other : window_->findChildren<QAbstractButton*>())
        if (other != button && inWindow(other)) taken.append(other->text());
    for (const QLabel* label : window_->findChildren<QLabel*>())
        if (label->buddy() && inWindow(label)) taken.append(label->text());
    for (const QAction* menu : window_->menuBar()->actions()) taken.append(menu->text());
    const std::optional<QChar> letter = mnemonicOf(withMnemonics({title}, taken).constFirst());
    button->setShortcut(letter ? QKeySequence(QStringLiteral("Alt+") + letter->toUpper()) : QKeySequence());
}

void WindowBinding::lockGUI(bool lock) { sortBookmarksButton()->setEnabled(!lock); }

QWidget* WindowBinding::busyIndicator() const { return window_->ui().busyIndicator; }

WindowBinding::BusyWindow::BusyWindow(WindowBinding& window, bool lockSortButton)
    : window_(window), locked_(lockSortButton) {
    QPushButton* button = window_.sortBookmarksButton();
    const bool hadFocus = button->hasFocus();
    if (locked_) window_.lockGUI(true);
    if (hadFocus) movedFocusTo_ = QApplication::focusWidget();
    QApplication::setOverrideCursor(Qt::WaitCursor);
    // Quick jobs finish before anything flickers.
    window_.busyDelay_->start();
}

WindowBinding::BusyWindow::~BusyWindow() {
    window_.busyDelay_->stop();
    window_.busyIndicator()->hide();
    QApplication::restoreOverrideCursor();
    if (!locked_) return;
    QPushButton* button = window_.sortBookmarksButton();
    window_.lockGUI(false);
    // Disabling the button moved the focus on; unless the user has moved it since, it goes back.
    if (movedFocusTo_ && QApplication::focusWidget() == movedFocusTo_) button->setFocus(Qt::OtherFocusReason);
}

void WindowBinding::showAboutPanel() {
    if (!aboutController_) aboutController_ = std::make_unique<AboutController>();
    aboutController_->showWindow(window_.get());
}

void WindowBinding::gotoMarrowfenURL() { workspace_.openURL(QString::fromLatin1(kMarrowfenURL)); }

}  // namespace orvane
