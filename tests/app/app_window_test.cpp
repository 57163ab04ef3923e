// The real window and the real dialogs, offscreen, driven as a person would: press Sort, read
// the alert and dismiss it; open the restore panel and press Return.
#include <QAbstractButton>
#include <QAccessible>
#include <QAction>
#include <QComboBox>
#include <QMessageBox>
#include <QPushButton>
#include <QtTest>
#include <functional>

#include "app_fakes.h"
#include "bookmarks_chooser.h"
#include "main_window.h"
#include "platform_linux.h"
#include "settings.h"
#include "test_support.h"
#include "when_shown.h"

using namespace orvane;
using namespace orvane::test;

namespace {

struct SeenBox {
    QString text, informativeText, defaultButton;
};

QWidget* visibleMessageBox() {
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (auto* box = qobject_cast<QMessageBox*>(widget); box && box->isVisible()) return box;
    return nullptr;
}

// Answers the next message box that opens with `answer`, remembering what it said, while the
// answer it gives lives.
WhenShown answerNextMessageBox(SeenBox& seen, std::function<void(QMessageBox&)> answer) {
    return WhenShown(visibleMessageBox, [&seen, answer](QWidget& widget) {
        auto& box = static_cast<QMessageBox&>(widget);
        seen = {box.text(), box.informativeText(), box.defaultButton() ? box.defaultButton()->text() : QString()};
        answer(box);
    });
}

// The file's tree as orvane-cli prints it, without the heading that names the file; empty when
// it cannot be printed.
std::string outline(const QString& file) {
    const RunResult result = run({cliPath(), "print", file.toStdString()});
    const std::size_t heading = result.out.find('\n');
    return result.exitCode == 0 && heading != std::string::npos ? result.out.substr(heading + 1) : std::string();
}

// The control a screen reader announces under `name`, found as a screen reader finds it: through
// the accessibility tree below `root`.
QAccessibleInterface* findByAccessibleName(QAccessibleInterface* root, const QString& name) {
    if (!root) return nullptr;
    if (root->text(QAccessible::Name) == name) return root;
    for (int i = 0; i < root->childCount(); ++i)
        if (QAccessibleInterface* found = findByAccessibleName(root->child(i), name)) return found;
    return nullptr;
}

}  // namespace

class AppWindowTest : public QObject {
    Q_OBJECT
private slots:
    void sortButtonSortsAsTheCommandLineDoes();
    void bookmarksOfChoosesWhoseBookmarksAreSorted();
};

void AppWindowTest::sortButtonSortsAsTheCommandLineDoes() {
    ScratchHome home;
    const QString file = home.putSampleBookmarks();
    const QString cliCopy = home.path("cli.plist");
    ScratchHome::saveSampleOver(cliCopy);
    home.putSafari("17.1");

    QtAlertPresenter alerts;
    QtFileChooser files;
    LinuxSafari safari;
    LinuxWorkspace workspace;
    PackageManagerUpdater updater(workspace);
    FakeServices services;
    SystemClock clock;
    AppDelegate controller({alerts, files, safari, workspace, updater, services, clock});
    controller.applicationDidFinishLaunching();
    QVERIFY(QTest::qWaitForWindowExposed(controller.window()));
    QPushButton* sortButton = controller.windowBinding().sortBookmarksButton();

    SeenBox seen;
    const WhenShown answering =
        answerNextMessageBox(seen, [](QMessageBox& box) { box.button(QMessageBox::Ok)->click(); });
    QTest::mouseClick(sortButton, Qt::LeftButton);
    QCOMPARE(seen.text, QStringLiteral("The bookmarks are now sorted"));
    QCOMPARE(seen.informativeText, QStringLiteral("The bookmarks file was opened, sorted and saved."));
    QVERIFY(sortButton->isEnabled());

    const RunResult cli =
        run({cliPath(), "sort", "--backup", home.path("cli-backup.plist").toStdString(), cliCopy.toStdString()});
    QCOMPARE(cli.exitCode, 0);
    const std::string sorted = outline(file);
    QVERIFY(!sorted.empty());
    QVERIFY(sorted != outline(sampleBookmarks()));
    QCOMPARE(sorted, outline(cliCopy));

    // The restore panel's default button is Cancel: Return keeps the backup where it is.
    const WhenShown cancelling =
        answerNextMessageBox(seen, [](QMessageBox& box) { QTest::keyClick(&box, Qt::Key_Return); });
    QAction* restore = controller.window()->findChild<QAction*>(QStringLiteral("restoreInitialBackupMenuItem"));
    restore->setEnabled(true);
    restore->trigger();
    QCOMPARE(seen.text, QStringLiteral("You are about to restore the initial backup of your bookmarks"));
    QCOMPARE(seen.defaultButton, QStringLiteral("Cancel"));
    QVERIFY(controller.restoreCommand().canRestoreInitialBackup());
    QCOMPARE(outline(file), sorted);
}

void AppWindowTest::bookmarksOfChoosesWhoseBookmarksAreSorted() {
    ControllerRig rig;
    ScratchHome& home = rig.home;
    const QString safari = home.putSampleBookmarks();
    const QByteArray safariBefore = contents(safari);
    const QString firefox = home.putFirefoxProfile("default-release", true);
    const QString work = home.putChromiumProfile("google-chrome", "Profile 1", "Work");
    const QByteArray workBefore = contents(work);
    AppDelegate& controller = *rig.controller;
    controller.applicationDidFinishLaunching();
    QVERIFY(QTest::qWaitForWindowExposed(controller.window()));

    QAccessibleInterface* chooser =
        findByAccessibleName(QAccessible::queryAccessibleInterface(controller.window()), "Bookmarks of");
    QVERIFY(chooser);
    QCOMPARE(chooser->role(), QAccessible::ComboBox);
    auto* box = qobject_cast<QComboBox*>(chooser->object());
    QVERIFY(box);
    QStringList items;
    for (int i = 0; i < box->count(); ++i) items.append(box->itemText(i));
    QCOMPARE(items, (QStringList{"Safari", "Firefox — default-release", "Google Chrome — Work", "", "Other file…"}));
    QCOMPARE(chooser->text(QAccessible::Value), QStringLiteral("Safari"));

    // The keyboard picks the next file, and the setting follows: the Sort command sorts it.
    box->setFocus();
    QTest::keyClick(box, Qt::Key_Down);
    QCOMPARE(chooser->text(QAccessible::Value), QStringLiteral("Firefox — default-release"));
    QCOMPARE(Settings::bookmarksFilename(), firefox);
    QTest::keyClick(box, Qt::Key_Down);
    QCOMPARE(chooser->text(QAccessible::Value), QStringLiteral("Google Chrome — Work"));
    QCOMPARE(Settings::bookmarksFilename(), work);
    controller.sortBookmarks();
    QCOMPARE(rig.alerts.shown.last().title, QStringLiteral("The bookmarks are now sorted"));
    QVERIFY(contents(work) != workBefore);
    QCOMPARE(contents(safari), safariBefore);

    // "Other file…" asks for a file; cancelled, the choice stays as it was.
    QTest::keyClick(box, Qt::Key_Down);  // past the separator
    QCOMPARE(rig.files.asked.size(), 1);
    QCOMPARE(rig.files.asked[0][0], home.path(".config/google-chrome/Profile 1"));
    QCOMPARE(chooser->text(QAccessible::Value), QStringLiteral("Google Chrome — Work"));
    QCOMPARE(Settings::bookmarksFilename(), work);
    // Picked, the file is the choice and the list shows it by its path.
    const QString other = home.path("Elsewhere.plist");
    ScratchHome::saveSampleOver(other);
    rig.files.answer = other;
    QTest::keyClick(box, Qt::Key_End);
    QCOMPARE(Settings::bookmarksFilename(), other);
    QCOMPARE(chooser->text(QAccessible::Value), QStringLiteral("~/Elsewhere.plist"));
    QCOMPARE(box->itemText(box->count() - 1), QStringLiteral("Other file…"));
    auto* shown = qobject_cast<BookmarksComboBox*>(box);
    QVERIFY(shown);
    QCOMPARE(shown->shownText(), QStringLiteral("~/Elsewhere.plist"));
    // A path wider than the box keeps its file name in sight; screen readers still get all of it.
    const QString folder = home.path("Some rather long folder name for exported bookmarks/November backup copies");
    QDir().mkpath(folder);
    const QString far = folder + "/Old laptop.plist";
    ScratchHome::saveSampleOver(far);
    rig.files.answer = far;
    QTest::keyClick(box, Qt::Key_End);
    QCOMPARE(Settings::bookmarksFilename(), far);
    const QString full = "~/" + QDir(home.path()).relativeFilePath(far);
    QCOMPARE(chooser->text(QAccessible::Value), full);
    QVERIFY2(box->fontMetrics().horizontalAdvance(full) > box->width(), qPrintable(QString::number(box->width())));
    QVERIFY2(shown->shownText().endsWith(QStringLiteral("…/Old laptop.plist")) &&
                 shown->shownText().startsWith(QStringLiteral("~/")) && shown->shownText().contains(QChar(0x2026)),
             qPrintable(shown->shownText()));
    QVERIFY(box->fontMetrics().horizontalAdvance(shown->shownText()) < box->width());
    QTest::keyClick(box, Qt::Key_Home);
    QCOMPARE(Settings::bookmarksFilename(), safari);
}

QTEST_MAIN(AppWindowTest)
#include "app_window_test.moc"
