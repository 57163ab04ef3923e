// The real window and the real dialogs, offscreen, driven as a person would: press Sort, read
// the alert and dismiss it; open the restore panel and press Return.
#include <QAbstractButton>
#include <QAction>
#include <QMessageBox>
#include <QPushButton>
#include <QtTest>
#include <functional>

#include "app_fakes.h"
#include "main_window.h"
#include "platform_linux.h"
#include "test_support.h"

using namespace orvane;
using namespace orvane::test;

namespace {

struct SeenBox {
    QString text, informativeText, defaultButton;
};

// Answers the next message box that opens with `answer`, remembering what it said.
void answerNextMessageBox(SeenBox& seen, std::function<void(QMessageBox&)> answer) {
    QTimer::singleShot(50, [&seen, answer] {
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (auto* box = qobject_cast<QMessageBox*>(widget); box && box->isVisible()) {
                seen = {box->text(), box->informativeText(),
                        box->defaultButton() ? box->defaultButton()->text() : QString()};
                answer(*box);
                return;
            }
        answerNextMessageBox(seen, answer);
    });
}

// The file's tree as orvane-cli prints it, without the heading that names the file; empty when
// it cannot be printed.
std::string outline(const QString& file) {
    const RunResult result = run({cliPath(), "print", file.toStdString()});
    const std::size_t heading = result.out.find('\n');
    return result.exitCode == 0 && heading != std::string::npos ? result.out.substr(heading + 1) : std::string();
}

}  // namespace

class AppWindowTest : public QObject {
    Q_OBJECT
private slots:
    void sortButtonSortsAsTheCommandLineDoes();
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
    answerNextMessageBox(seen, [](QMessageBox& box) { QTest::keyClick(&box, Qt::Key_Return); });
    QAction* restore = controller.window()->findChild<QAction*>(QStringLiteral("restoreInitialBackupMenuItem"));
    restore->setEnabled(true);
    restore->trigger();
    QCOMPARE(seen.text, QStringLiteral("You are about to restore the initial backup of your bookmarks"));
    QCOMPARE(seen.defaultButton, QStringLiteral("Cancel"));
    QVERIFY(controller.restoreCommand().canRestoreInitialBackup());
    QCOMPARE(outline(file), sorted);
}

QTEST_MAIN(AppWindowTest)
#include "app_window_test.moc"
