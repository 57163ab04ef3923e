// The controller's window, settings, alerts and the Sort button's title.
#include "app_delegate.h"

#include <QAction>
#include <QCheckBox>
#include <QLayout>
#include <QMenu>
#include <QParallelAnimationGroup>
#include <QPropertyAnimation>
#include <QPushButton>

#include "about_controller.h"
#include "application_folder.h"
#include "main_window.h"
#include "message_format.h"
#include "platform_linux.h"
#include "settings.h"
#include "ui_MainWindow.h"

namespace orvane {
namespace {

constexpr int kButtonAnimationMilliseconds = 100;

// Each check box shows its setting and changes it when clicked; the code reads the settings.
void bindCheckBox(QCheckBox* box, const char* key) {
    box->setChecked(Settings::boolForKey(key));
    QObject::connect(box, &QCheckBox::toggled, box, [key](bool on) { Settings::setBool(key, on); });
}

// Screen readers announce a control by its accessible name: the label a sighted person reads.
void nameForScreenReaders(QAbstractButton* control) {
    control->setAccessibleName(QString(control->text()).remove(QLatin1Char('&')));
}

}  // namespace

AppDelegate::AppDelegate(Platform platform, QObject* parent)
    : QObject(parent), platform_(platform), window_(std::make_unique<MainWindow>()) {
    connectWindow();
}

AppDelegate::~AppDelegate() = default;

void AppDelegate::connectWindow() {
    Ui::MainWindow& ui = window_->ui();
    bindCheckBox(ui.arrangeFoldersAtTopCheckBox, keys::FoldersAtTop);
    bindCheckBox(ui.removeDuplicatesCheckBox, keys::RemoveDuplicates);
    bindCheckBox(ui.renameSamenamedCheckBox, keys::RenameSamenamed);
    bindCheckBox(ui.sortBookmarksBarCheckBox, keys::SortBookmarksBar);
    bindCheckBox(ui.autoSortModeCheckBox, keys::AutoSortMode);
    for (QAbstractButton* control : window_->findChildren<QAbstractButton*>()) nameForScreenReaders(control);
    // The check box's own action, after its setting is stored (toggled is connected first).
    connect(ui.autoSortModeCheckBox, &QCheckBox::clicked, this, [this] { toggleAutoSortMode(autoSortModeCheckBox()); });

    connect(ui.sortBookmarksButton, &QPushButton::clicked, this, qOverload<>(&AppDelegate::sortBookmarks));
    connect(ui.sortBookmarksMenuItem, &QAction::triggered, this, qOverload<>(&AppDelegate::sortBookmarks));
    connect(ui.restoreInitialBackupMenuItem, &QAction::triggered, this, &AppDelegate::restoreInitialBackup);
    connect(ui.gotoMarrowfenMenuItem, &QAction::triggered, this, &AppDelegate::gotoMarrowfenURL);
    connect(ui.aboutMenuItem, &QAction::triggered, this, &AppDelegate::showAboutPanel);
    connect(ui.quitMenuItem, &QAction::triggered, this, &AppDelegate::terminate);
    for (QMenu* menu : {ui.fileMenu, ui.helpMenu})
        connect(menu, &QMenu::aboutToShow, this, [this, menu] { menuNeedsUpdate(menu); });
    window_->setCloseHandler([this] { return terminate(); });

    // Room for the longer of the two titles, so that retitling never changes the window's size.
    QPushButton* button = ui.sortBookmarksButton;
    QSize widest;
    for (const QString& candidate : {tr("Sort Bookmarks"), tr("Begin Sorting Bookmarks")}) {
        button->setText(candidate);
        widest = widest.expandedTo(button->sizeHint());
    }
    animationDidStop(true);  // the title for the mode, until the launch retitles it with its animation
    button->resize(button->sizeHint());
    window_->reserveSortButtonSpace(widest);
    // The window's final size from the start, so that the button is centred in it before it shows.
    window_->centralWidget()->layout()->activate();
    window_->adjustSize();
}

QPushButton* AppDelegate::sortBookmarksButton() const { return window_->ui().sortBookmarksButton; }
QCheckBox* AppDelegate::arrangeFoldersAtTopCheckBox() const { return window_->ui().arrangeFoldersAtTopCheckBox; }
QCheckBox* AppDelegate::removeDuplicatesCheckBox() const { return window_->ui().removeDuplicatesCheckBox; }
QCheckBox* AppDelegate::renameSamenamedCheckBox() const { return window_->ui().renameSamenamedCheckBox; }
QCheckBox* AppDelegate::sortBookmarksBarCheckBox() const { return window_->ui().sortBookmarksBarCheckBox; }
QCheckBox* AppDelegate::autoSortModeCheckBox() const { return window_->ui().autoSortModeCheckBox; }
QAction* AppDelegate::restoreInitialBackupMenuItem() const { return window_->ui().restoreInitialBackupMenuItem; }

// --- Settings ------------------------------------------------------------------------------------

bool AppDelegate::arrangeFoldersAtTop() const { return Settings::boolForKey(keys::FoldersAtTop); }
void AppDelegate::setArrangeFoldersAtTop(bool on) { Settings::setBool(keys::FoldersAtTop, on); }
bool AppDelegate::removeDuplicates() const { return Settings::boolForKey(keys::RemoveDuplicates); }
void AppDelegate::setRemoveDuplicates(bool on) { Settings::setBool(keys::RemoveDuplicates, on); }
bool AppDelegate::renameSamenamed() const { return Settings::boolForKey(keys::RenameSamenamed); }
void AppDelegate::setRenameSamenamed(bool on) { Settings::setBool(keys::RenameSamenamed, on); }
bool AppDelegate::sortBookmarksBar() const { return Settings::boolForKey(keys::SortBookmarksBar); }
void AppDelegate::setSortBookmarksBar(bool on) { Settings::setBool(keys::SortBookmarksBar, on); }
bool AppDelegate::autoSortMode() const { return Settings::boolForKey(keys::AutoSortMode); }
void AppDelegate::setAutoSortMode(bool on) { Settings::setBool(keys::AutoSortMode, on); }

QString AppDelegate::bookmarksFilename() const { return Settings::stringForKey(keys::BookmarksFilename); }

void AppDelegate::setBookmarksFilename(const QString& filename) {
    setBackupFilename(std::nullopt);
    Settings::setObject(keys::BookmarksFilename, filename);
}

QString AppDelegate::applicationFolder() const { return QString::fromStdString(orvane::applicationFolder().string()); }

QString AppDelegate::backupFilename() {
    if (!backupFilename_) backupFilename_ = QString::fromStdString(initialBackupFilename().string());
    return *backupFilename_;
}

// --- Alerts and the Sort button --------------------------------------------------------------------

int AppDelegate::showAlertSheetWithTitle(const QString& title, const QString& format, const QStringList& arguments) {
    BusyScope busy(*this);
    return platform_.alerts.showAlert(window_.get(), title, formatMessage(format, arguments));
}

QString AppDelegate::sortBookmarksButtonTitle() const {
    return autoSortMode() ? tr("Begin Sorting Bookmarks") : tr("Sort Bookmarks");
}

void AppDelegate::updateSortBookmarksButtonTitle() {
    QPushButton* button = sortBookmarksButton();
    if (buttonAnimation_) buttonAnimation_->stop();  // its end sets the title it was heading for

    const QString title = sortBookmarksButtonTitle();
    const QRect oldFrame = button->geometry();
    button->setText(title);
    const QSize newSize = button->sizeHint();
    button->setText(QString());
    button->setAccessibleName(title);
    const QPoint newOrigin(window_->centredSortButtonPosition(newSize.width()).x(), oldFrame.y());

    auto* group = new QParallelAnimationGroup(this);
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
    connect(group, &QAbstractAnimation::stateChanged, this, [this, group, size](QAbstractAnimation::State now) {
        if (now != QAbstractAnimation::Stopped) return;
        window_->setSortButtonAnimating(false);
        animationDidStop(size->currentTime() >= size->duration());
        group->deleteLater();
    });
    buttonAnimation_ = group;
    window_->setSortButtonAnimating(true);
    group->start();
}

void AppDelegate::animationDidStop(bool) {
    const QString title = sortBookmarksButtonTitle();
    QPushButton* button = sortBookmarksButton();
    button->setText(title);
    button->setAccessibleName(title);
    // The window may have changed size while the button moved.
    button->move(window_->centredSortButtonPosition(button->width()).x(), button->y());
}

void AppDelegate::lockGUI(bool lock) { sortBookmarksButton()->setEnabled(!lock); }

// --- About and the maker's site --------------------------------------------------------------------

void AppDelegate::showAboutPanel() {
    if (!aboutController_) aboutController_ = std::make_unique<AboutController>();
    aboutController_->showWindow(window_.get());
}

void AppDelegate::gotoMarrowfenURL() { platform_.workspace.openURL(QString::fromLatin1(kMarrowfenURL)); }

}  // namespace orvane
