// The window from the keyboard alone: Tab walks every control in order, the focus stays on the Sort
// button after a sort and its alert, every menu and button has a key of its own in every shipped
// translation, dialogs close with Escape (and Ctrl+W where a window would), sit on the main window,
// and the window opens where it was left.
#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDir>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QTranslator>
#include <QtTest>

#include "about_controller.h"
#include "app_fakes.h"
#include "main_window.h"
#include "mnemonics.h"
#include "platform_linux.h"
#include "settings.h"
#include "when_shown.h"

using namespace orvane;
using namespace orvane::test;

namespace {

// The letter of the key that reaches a control: its mnemonic, or for a fixed text its Alt key.
std::optional<QChar> keyOf(const QAbstractButton& button) {
    if (const std::optional<QChar> letter = mnemonicOf(button.text())) return letter;
    const QString key = button.shortcut().toString(QKeySequence::PortableText);
    if (key.startsWith(QLatin1StringView("Alt+")) && key.size() == 5) return key.back().toLower();
    return std::nullopt;
}

// A control of the main window by its name in the interface file.
template <class T = QWidget>
T* control(MainWindow* window, const char* name) {
    return window->findChild<T*>(QLatin1StringView(name));
}

// Fails the test when two of `keys` (each named by its label) are the same letter or one has none.
void expectDistinct(const QList<std::pair<QString, std::optional<QChar>>>& keys, const QString& where) {
    QMap<QChar, QString> seen;
    for (const auto& [label, key] : keys) {
        QVERIFY2(key, qPrintable(where + ": no key for " + label));
        QVERIFY2(!seen.contains(*key),
                 qPrintable(where + ": " + label + " and " + seen.value(*key) + " share Alt+" + QString(*key)));
        seen.insert(*key, label);
    }
}

}  // namespace

class AppKeyboardTest : public QObject {
    Q_OBJECT
private slots:
    void mnemonicsAreFoundAndGiven();
    void tabWalksEveryControlInOrder();
    void theFocusStaysOnTheSortButtonAfterASort();
    void noTwoKeysClashInAnyTranslation();
    void dialogsSitOnTheWindowAndCloseFromTheKeyboard();
    void theWindowOpensWhereItWasLeft();
};

void AppKeyboardTest::mnemonicsAreFoundAndGiven() {
    QCOMPARE(mnemonicOf("&File").value_or(QChar()), QChar('f'));
    QCOMPARE(mnemonicOf("Orvane &Web Site").value_or(QChar()), QChar('w'));
    QCOMPARE(mnemonicOf("Ü&ber Orvane").value_or(QChar()), QChar('b'));
    QVERIFY(!mnemonicOf("Fish && Chips"));
    QCOMPARE(mnemonicOf("Fish && &Chips").value_or(QChar()), QChar('c'));
    QVERIFY(!mnemonicOf("No key"));
    // Word starts first, then any letter; a label that has one keeps it; taken letters are avoided.
    QCOMPARE(withMnemonics({"Cancel", "OK"}), (QStringList{"&Cancel", "&OK"}));
    QCOMPARE(withMnemonics({"Sort Bookmarks"}, {"&Save", "&Bookmarks of:"}), QStringList{"S&ort Bookmarks"});
    QCOMPARE(withMnemonics({"Abbrechen", "Annuler"}), (QStringList{"&Abbrechen", "A&nnuler"}));
    QCOMPARE(withMnemonics({"&Quit", "Quick"}), (QStringList{"&Quit", "Q&uick"}));
    QCOMPARE(withMnemonics({"ab"}, {"&a", "&b"}), QStringList{"ab"});
}

void AppKeyboardTest::tabWalksEveryControlInOrder() {
    ControllerRig rig;
    AppDelegate& c = *rig.controller;
    rig.home.putSampleBookmarks();
    c.applicationDidFinishLaunching();
    QVERIFY(QTest::qWaitForWindowExposed(c.window()));
    QTRY_VERIFY(c.window()->isActiveWindow());
    MainWindow* w = c.window();
    // The window opens with the keyboard on its action.
    QCOMPARE(QApplication::focusWidget(), control(w, "sortBookmarksButton"));
    const QList<QWidget*> order = {control(w, "arrangeFoldersAtTopCheckBox"), control(w, "removeDuplicatesCheckBox"),
                                   control(w, "renameSamenamedCheckBox"),     control(w, "sortBookmarksBarCheckBox"),
                                   control(w, "autoSortModeCheckBox"),        control(w, "bookmarksChooser"),
                                   control(w, "sortBookmarksButton")};
    for (QWidget* next : order) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), next);
    }
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Backtab);
    QCOMPARE(QApplication::focusWidget(), control(w, "bookmarksChooser"));

    // Space changes a box; Alt and a box's letter reach it from anywhere in the window.
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), control(w, "arrangeFoldersAtTopCheckBox"));
    QVERIFY(Settings::sortOptions().foldersAtTop);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space);
    QVERIFY(!Settings::sortOptions().foldersAtTop);
    QVERIFY(!Settings::sortOptions().sortBookmarksBar);
    QTest::keyClick(c.window(), Qt::Key_T, Qt::AltModifier);
    QTRY_VERIFY(Settings::sortOptions().sortBookmarksBar);  // a box clicks a moment after its key
    QTest::keyClick(c.window(), Qt::Key_B, Qt::AltModifier);
    QCOMPARE(QApplication::focusWidget(), control(w, "bookmarksChooser"));
}

void AppKeyboardTest::theFocusStaysOnTheSortButtonAfterASort() {
    ScratchHome home;
    home.putSampleBookmarks();
    home.putSafari("17.1");
    WindowRig rig;
    AppDelegate& controller = rig.controller;
    controller.applicationDidFinishLaunching();
    QVERIFY(QTest::qWaitForWindowExposed(controller.window()));
    QTRY_VERIFY(controller.window()->isActiveWindow());
    QPushButton* button = controller.windowBinding().sortBookmarksButton();
    QCOMPARE(QApplication::focusWidget(), button);

    for (const Qt::Key press : {Qt::Key_Space, Qt::Key_Return}) {
        QString seen;
        const WhenShown answer(activeModal, [&](QWidget& alert) {
            seen = static_cast<QMessageBox&>(alert).text();
            QTest::keyClick(&alert, Qt::Key_Escape);
        });
        QTest::keyClick(button, press);
        QTRY_COMPARE(seen, QStringLiteral("The bookmarks are now sorted"));
        QTRY_VERIFY(!QApplication::activeModalWidget());
        // Where the window's focus is when it is active again (as a desktop makes it once its
        // alert has gone; the offscreen platform leaves that to the test).
        QCOMPARE(controller.window()->focusWidget(), button);
        controller.window()->activateWindow();
        QTRY_COMPARE(QApplication::focusWidget(), button);
    }
    // Alt and the letter of its title reach the button too, also when the button was last
    // retitled while an alert with keys of its own was open (as when the launch's slide ends
    // under an alert): the alert's keys go with it.
    QString seen;
    const WhenShown retitledUnderAlert(activeModal, [&](QWidget& alert) {
        controller.windowBinding().updateSortBookmarksButtonTitle();
        QTRY_VERIFY(!button->text().isEmpty());  // the slide has ended and given the key
        QTest::keyClick(&alert, Qt::Key_Escape);
    });
    controller.windowBinding().sortBookmarksButton()->click();
    QTRY_VERIFY(!QApplication::activeModalWidget());
    controller.window()->activateWindow();
    QTRY_VERIFY(controller.window()->isActiveWindow());
    const WhenShown answer(activeModal, [&](QWidget& alert) {
        seen = static_cast<QMessageBox&>(alert).text();
        QTest::keyClick(&alert, Qt::Key_Escape);
    });
    control(controller.window(), "removeDuplicatesCheckBox")->setFocus();
    QTest::keyClick(controller.window(), Qt::Key_S, Qt::AltModifier);
    QTRY_COMPARE(seen, QStringLiteral("The bookmarks are now sorted"));
}

void AppKeyboardTest::noTwoKeysClashInAnyTranslation() {
    // Every catalogue that ships, and English, which needs none.
    QStringList catalogues{QString()};
    for (const QString& name : QDir(QStringLiteral(":/i18n")).entryList({QStringLiteral("orvane_*.qm")}))
        catalogues.append(QStringLiteral(":/i18n/") + name);
    QVERIFY(catalogues.size() >= 3);
    for (const QString& catalogue : catalogues) {
        QTranslator translator;
        if (!catalogue.isEmpty()) {
            QVERIFY(translator.load(catalogue));
            QCoreApplication::installTranslator(&translator);
        }
        const QString where = catalogue.isEmpty() ? QStringLiteral("English") : catalogue;
        for (const bool automaticMode : {false, true}) {
            ControllerRig rig;
            Settings::setAutoSortMode(automaticMode);
            AppDelegate& c = *rig.controller;
            c.windowBinding().updateSortBookmarksButtonTitle();
            QTRY_VERIFY(!c.windowBinding().sortBookmarksButton()->text().isEmpty());
            MainWindow& window = *c.window();
            // The window: its menus' titles, the list's label, its boxes and its button.
            QList<std::pair<QString, std::optional<QChar>>> keys;
            for (const QAction* menu : window.menuBar()->actions())
                keys.append({menu->text(), mnemonicOf(menu->text())});
            const QString label = control<QLabel>(&window, "bookmarksChooserLabel")->text();
            keys.append({label, mnemonicOf(label)});
            for (const QAbstractButton* button : window.findChildren<QAbstractButton*>())
                if (!button->text().isEmpty()) keys.append({button->text(), keyOf(*button)});
            expectDistinct(keys, where);
            // Each menu on its own.
            for (const QMenu* menu : window.findChildren<QMenu*>()) {
                QList<std::pair<QString, std::optional<QChar>>> items;
                for (const QAction* item : menu->actions())
                    if (!item->isSeparator()) items.append({item->text(), mnemonicOf(item->text())});
                expectDistinct(items, where + " " + menu->title());
            }
        }
        // The restore's question, whose buttons are fixed texts with keys of their own.
        const QString cancel = QCoreApplication::translate("orvane::AppDelegate", "Cancel");
        const QString ok = QCoreApplication::translate("orvane::AppDelegate", "OK");
        const QStringList marked = withMnemonics({cancel, ok});
        expectDistinct({{cancel, mnemonicOf(marked[0])}, {ok, mnemonicOf(marked[1])}}, where);
        QCoreApplication::removeTranslator(&translator);
    }
}

void AppKeyboardTest::dialogsSitOnTheWindowAndCloseFromTheKeyboard() {
    ScratchHome home;
    home.putSampleBookmarks();
    home.putSafari("17.1");
    WindowRig rig;
    AppDelegate& controller = rig.controller;
    int terminations = 0;
    QObject::connect(&controller, &AppDelegate::terminated, [&] { ++terminations; });
    controller.applicationDidFinishLaunching();
    MainWindow* window = controller.window();
    QVERIFY(QTest::qWaitForWindowExposed(window));
    window->move(60, 40);

    // The restore's question: on the main window, centred on it, its buttons a key each; Escape
    // answers Cancel.
    QWidget* parent = nullptr;
    QPoint offCentre;
    QStringList keys;
    const WhenShown answer(activeModal, [&](QWidget& question) {
        parent = question.parentWidget();
        offCentre = question.frameGeometry().center() - window->frameGeometry().center();
        for (const QAbstractButton* button : question.findChildren<QAbstractButton*>())
            keys.append(button->text() + " " + button->shortcut().toString(QKeySequence::PortableText));
        QTest::keyClick(&question, Qt::Key_Escape);
    });
    controller.restoreCommand().restoreInitialBackup();
    QCOMPARE(parent, window);
    QVERIFY2(offCentre.manhattanLength() <= 4,
             qPrintable(QStringLiteral("%1,%2").arg(offCentre.x()).arg(offCentre.y())));
    keys.sort();
    QCOMPARE(keys, (QStringList{"Cancel Alt+C", "OK Alt+O"}));

    // The About window: Escape closes it, and so does Ctrl+W.
    QAction* about = window->findChild<QAction*>(QStringLiteral("aboutMenuItem"));
    for (const QKeySequence& close : {QKeySequence(Qt::Key_Escape), QKeySequence(QKeySequence::Close)}) {
        about->trigger();
        QDialog* panel = window->findChild<QDialog*>(QStringLiteral("About"));
        QVERIFY(panel);
        QCOMPARE(panel->parentWidget(), window);
        QVERIFY(QTest::qWaitForWindowActive(panel));
        QTest::keySequence(panel, close);
        QTRY_VERIFY(!panel->isVisible());
    }

    // Ctrl+W on the main window closes it, which quits.
    window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window));
    QTest::keySequence(window, QKeySequence::Close);
    QCOMPARE(terminations, 1);
}

void AppKeyboardTest::theWindowOpensWhereItWasLeft() {
    ControllerRig rig;
    rig.controller->applicationDidFinishLaunching();
    MainWindow* window = rig.controller->window();
    QVERIFY(QTest::qWaitForWindowExposed(window));
    const QRect first = window->geometry();
    window->setGeometry(QRect(first.topLeft() + QPoint(37, 23), first.size() + QSize(50, 40)));
    const QRect left = window->geometry();
    QVERIFY(left != first);
    QVERIFY(rig.controller->terminate());

    // The next run, with the same settings.
    rig.controller = std::make_unique<AppDelegate>(
        Platform{rig.alerts, rig.files, rig.safari, rig.workspace, rig.updater, rig.services, rig.clock});
    rig.controller->applicationDidFinishLaunching();
    QVERIFY(QTest::qWaitForWindowExposed(rig.controller->window()));
    QCOMPARE(rig.controller->window()->geometry(), left);
}

QTEST_MAIN(AppKeyboardTest)
#include "app_keyboard_test.moc"
