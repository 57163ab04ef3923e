#include "bookmarks_chooser.h"

#include <QAbstractItemView>
#include <QAccessibleWidget>
#include <QComboBox>
#include <QDir>
#include <QFileInfo>
#include <QSignalBlocker>
#include <QStyleOptionComboBox>
#include <QStylePainter>

#include <algorithm>

#include "bookmarks_files.h"
#include "files/paths.h"
#include "settings.h"
#include "stores/safari/default_file.h"

namespace orvane {
namespace {

// The items' roles: the file an item stands for, and whether it is "Other file…".
constexpr int kFileRole = Qt::UserRole;
constexpr int kOtherRole = Qt::UserRole + 1;

QString safariFile() { return QString::fromStdString(expandTilde(safari::kDefaultBookmarksFile).string()); }

QString fromPath(const std::filesystem::path& path) { return QString::fromStdString(path.string()); }

// Two names of one file are one choice.
bool sameFile(const QString& a, const QString& b) {
    if (a == b) return true;
    const QString ca = QFileInfo(a).canonicalFilePath(), cb = QFileInfo(b).canonicalFilePath();
    return !ca.isEmpty() && ca == cb;
}

// A file that no profile names, shown by its path with the home folder as "~".
QString pathLabel(const QString& file) {
    const QString home = QDir::homePath();
    QString shown = QDir::toNativeSeparators(file);
    if (shown.startsWith(home + QLatin1Char('/'))) shown.replace(0, home.size(), QStringLiteral("~"));
    return shown;
}

// Name, role, the list as its one child, and the actions that open it: what a combo box offers
// assistive technology, with its accessible name as the name and the chosen item as the value.
class ChooserAccessible final : public QAccessibleWidget {
public:
    explicit ChooserAccessible(QComboBox* box) : QAccessibleWidget(box, QAccessible::ComboBox) {}

    QString text(QAccessible::Text t) const override {
        return t == QAccessible::Value ? box()->currentText() : QAccessibleWidget::text(t);
    }
    int childCount() const override { return 1; }
    QAccessibleInterface* child(int index) const override {
        return index == 0 ? QAccessible::queryAccessibleInterface(box()->view()) : nullptr;
    }
    int indexOfChild(const QAccessibleInterface* child) const override {
        return child && child->object() == box()->view() ? 0 : -1;
    }
    QStringList actionNames() const override {
        return QStringList{showMenuAction(), pressAction()} + QAccessibleWidget::actionNames();
    }
    void doAction(const QString& action) override {
        if (action == showMenuAction() || action == pressAction())
            box()->showPopup();
        else
            QAccessibleWidget::doAction(action);
    }

private:
    QComboBox* box() const { return static_cast<QComboBox*>(widget()); }
};

QAccessibleInterface* chooserAccessible(const QString& className, QObject* object) {
    if (className != QLatin1StringView(BookmarksComboBox::staticMetaObject.className()) || !object ||
        !object->isWidgetType())
        return nullptr;
    return new ChooserAccessible(static_cast<QComboBox*>(object));
}

}  // namespace

BookmarksComboBox::BookmarksComboBox(QWidget* parent) : QComboBox(parent) {
    static const bool installed = (QAccessible::installFactory(chooserAccessible), true);
    Q_UNUSED(installed);
}

QString BookmarksComboBox::shownText() const {
    QStyleOptionComboBox option;
    initStyleOption(&option);
    return shownText(option);
}

QString BookmarksComboBox::shownText(const QStyleOptionComboBox& option) const {
    const QString text = currentIndex() < 0 && !placeholderText().isEmpty() ? placeholderText() : option.currentText;
    // The style draws the label inside the edit field, a pixel in from either side.
    const QRect field = style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, this);
    int width = field.width() - 2;
    if (!option.currentIcon.isNull()) width -= option.iconSize.width() + 4;
    const QFontMetrics& metrics = option.fontMetrics;
    if (metrics.horizontalAdvance(text) <= width) return text;
    // A path gives up its folders before its file name, which tells one file from another.
    const qsizetype slash = text.lastIndexOf(QLatin1Char('/'));
    if (slash > 0 && (text.startsWith(QLatin1Char('/')) || text.startsWith(QStringLiteral("~/")))) {
        const QString name = text.mid(slash);
        const int folderWidth = width - metrics.horizontalAdvance(name);
        const QString folder = metrics.elidedText(text.left(slash), Qt::ElideRight, folderWidth);
        if (folderWidth > 0 && folder.size() > 1) return folder + name;
    }
    return metrics.elidedText(text, Qt::ElideMiddle, std::max(width, 0));
}

void BookmarksComboBox::paintEvent(QPaintEvent*) {
    // As QComboBox paints itself, with the label shortened to fit.
    QStylePainter painter(this);
    painter.setPen(palette().color(QPalette::Text));
    QStyleOptionComboBox option;
    initStyleOption(&option);
    painter.drawComplexControl(QStyle::CC_ComboBox, option);
    if (currentIndex() < 0 && !placeholderText().isEmpty())
        option.palette.setBrush(QPalette::ButtonText, option.palette.placeholderText());
    option.currentText = shownText(option);
    painter.drawControl(QStyle::CE_ComboBoxLabel, option);
}

BookmarksChooser::BookmarksChooser(QComboBox& box, BookmarksFileLocator& locator) : box_(box), locator_(locator) {
    box_.setAccessibleName(tr("Bookmarks of"));
    box_.setPlaceholderText(tr("No file chosen"));
    // Only what a person picks, not what the program shows.
    QObject::connect(&box_, &QComboBox::activated, &box_, [this](int index) { chosen(index); });
}

QString BookmarksChooser::label(const BrowserProfile& profile) {
    if (profile.browser == "safari") return QStringLiteral("Safari");
    return QString::fromStdString(profile.browserName) + QStringLiteral(" \u2014 ") +
           QString::fromStdString(profile.name);
}

QString BookmarksChooser::firstChoice(const Discovery& found, const QString& safari) {
    std::vector<const BrowserProfile*> others;
    for (const BrowserProfile& profile : found.profiles)
        if (profile.browser != "safari") others.push_back(&profile);
    if (QFileInfo::exists(safari) || others.empty()) return safari;
    // Discovery lists Firefox's family first, then Chromium's.
    for (const BrowserProfile* profile : others)
        if (profile->browser == others.front()->browser && profile->isDefault) return fromPath(profile->bookmarksFile);
    return fromPath(others.front()->bookmarksFile);
}

void BookmarksChooser::refresh() {
    const Discovery found = discoverProfiles();
    if (!Settings::bookmarksFilenameChosen()) {
        const QString first = firstChoice(found, safariFile());
        if (first != Settings::bookmarksFilename()) Settings::setBookmarksFilename(first);
    }

    const QSignalBlocker quiet(box_);
    box_.clear();
    box_.addItem(QStringLiteral("Safari"), safariFile());
    for (const BrowserProfile& profile : found.profiles)
        if (profile.browser != "safari") box_.addItem(label(profile), fromPath(profile.bookmarksFile));
    show(Settings::bookmarksFilename());
}

void BookmarksChooser::show(const QString& file) {
    const QSignalBlocker quiet(box_);
    // "Other file…" is always the last item: it goes while the list changes.
    for (int i = box_.count() - 1; i >= 0; --i)
        if (box_.itemData(i, kOtherRole).toBool() || box_.itemText(i).isEmpty()) box_.removeItem(i);
    int current = -1;
    for (int i = 0; i < box_.count() && !file.isEmpty(); ++i)
        if (sameFile(box_.itemData(i, kFileRole).toString(), file)) current = i;
    if (current < 0 && !file.isEmpty()) {
        box_.addItem(pathLabel(file), file);
        current = box_.count() - 1;
    }
    for (int i = 0; i < box_.count(); ++i)
        box_.setItemData(i, QDir::toNativeSeparators(box_.itemData(i, kFileRole).toString()), Qt::ToolTipRole);
    box_.insertSeparator(box_.count());
    box_.addItem(tr("Other file…"));
    box_.setItemData(box_.count() - 1, true, kOtherRole);
    box_.setCurrentIndex(current);
}

void BookmarksChooser::chosen(int index) {
    if (!box_.itemData(index, kOtherRole).toBool()) {
        Settings::setBookmarksFilename(box_.itemData(index, kFileRole).toString());
        return;
    }
    const QString current = Settings::bookmarksFilename();
    const QString start = current.isEmpty() ? QDir::homePath() : QFileInfo(current).absolutePath();
    if (const std::optional<QString> file = locator_.chooseFile(start)) Settings::setBookmarksFilename(*file);
    // Cancelled, the box shows the file chosen before.
    show(Settings::bookmarksFilename());
}

}  // namespace orvane
