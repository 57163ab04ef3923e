// Alerts and the open panel as Qt dialogs.
#include <QApplication>
#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>

#include "mnemonics.h"

#include "platform_linux.h"

namespace orvane {
namespace {

// An alert's title stands out in bold, as people know alerts from other desktops; the texts
// themselves stay plain, for screen readers and tests.
void boldTitle(QMessageBox& box) { box.setStyleSheet(QStringLiteral("QLabel#qt_msgbox_label { font-weight: bold; }")); }

// Every button of the box gets a key of its own (Alt and a letter of its label), as the keyboard
// expects; a label that has one keeps it. The details button names itself anew each time it is
// pressed, so it is given its key again then.
void giveMnemonics(QMessageBox& box) {
    const auto apply = [&box] {
        QList<QAbstractButton*> without;
        QStringList labels, taken;
        for (QAbstractButton* button : box.findChildren<QAbstractButton*>()) {
            if (button->text().isEmpty()) continue;
            if (mnemonicOf(button->text())) {
                taken.append(button->text());
            } else {
                without.append(button);
                labels.append(button->text());
            }
        }
        const QStringList marked = withMnemonics(labels, taken);
        for (qsizetype i = 0; i < without.size(); ++i) without[i]->setText(marked[i]);
    };
    apply();
    // Queued: the box names its details button anew only after the click's other handlers.
    for (QAbstractButton* button : box.findChildren<QAbstractButton*>())
        QObject::connect(button, &QAbstractButton::clicked, &box, apply, Qt::QueuedConnection);
}

// The same keys for buttons whose labels are the program's fixed texts and stay exactly as they
// are: Alt and the letter that a mnemonic would have underlined.
void giveKeys(const QList<QAbstractButton*>& buttons) {
    QStringList labels;
    for (const QAbstractButton* button : buttons) labels.append(button->text());
    const QStringList marked = withMnemonics(labels);
    for (qsizetype i = 0; i < buttons.size(); ++i)
        if (const std::optional<QChar> letter = mnemonicOf(marked[i]))
            buttons[i]->setShortcut(QKeySequence(QStringLiteral("Alt+") + letter->toUpper()));
}

}  // namespace

int QtAlertPresenter::showAlert(QWidget* window, const QString& title, const QString& message, const QString& details) {
    QMessageBox box(window);
    boldTitle(box);
    // The application's icon, where Qt would show none.
    if (const QIcon icon = QApplication::windowIcon(); !icon.isNull()) box.setIconPixmap(icon.pixmap(64, 64));
    box.setWindowTitle(QApplication::applicationDisplayName());
    box.setText(title);
    box.setInformativeText(message);
    box.setStandardButtons(QMessageBox::Ok);
    box.setEscapeButton(QMessageBox::Ok);
    if (!details.isEmpty()) box.setDetailedText(details);
    box.setWindowModality(window ? Qt::WindowModal : Qt::ApplicationModal);
    giveMnemonics(box);
    return box.exec();
}

bool QtAlertPresenter::confirmCritical(QWidget* window, const QString& title, const QString& message,
                                       const QString& defaultButton, const QString& alternateButton) {
    // On the main window and centred on it, but modal for the whole program: a question, not a sheet.
    QMessageBox box(QMessageBox::Critical, QApplication::applicationDisplayName(), title, QMessageBox::NoButton,
                    window);
    boldTitle(box);
    box.setInformativeText(message);
    QPushButton* cancel = box.addButton(defaultButton, QMessageBox::RejectRole);
    QPushButton* accept = box.addButton(alternateButton, QMessageBox::AcceptRole);
    box.setDefaultButton(cancel);
    box.setEscapeButton(cancel);
    box.setWindowModality(Qt::ApplicationModal);
    giveKeys({cancel, accept});
    box.exec();
    return box.clickedButton() == accept;
}

std::optional<QString> QtFileChooser::chooseFile(QWidget* window, const QString& startFolder,
                                                 const QString& nameFilter) {
    QFileDialog dialog(window, QString(), startFolder, nameFilter);
    dialog.setFileMode(QFileDialog::ExistingFile);
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setWindowModality(Qt::WindowModal);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return std::nullopt;
    return dialog.selectedFiles().constFirst();
}

}  // namespace orvane
