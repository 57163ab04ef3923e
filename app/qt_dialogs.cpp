// Alerts and the open panel as Qt dialogs.
#include <QApplication>
#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>

#include "platform_linux.h"

namespace orvane {
namespace {

// An alert's title stands out in bold, as people know alerts from other desktops; the texts
// themselves stay plain, for screen readers and tests.
void boldTitle(QMessageBox& box) { box.setStyleSheet(QStringLiteral("QLabel#qt_msgbox_label { font-weight: bold; }")); }

}  // namespace

int QtAlertPresenter::showAlert(QWidget* window, const QString& title, const QString& message) {
    QMessageBox box(window);
    boldTitle(box);
    // The application's icon, where Qt would show none.
    if (const QIcon icon = QApplication::windowIcon(); !icon.isNull()) box.setIconPixmap(icon.pixmap(64, 64));
    box.setWindowTitle(QApplication::applicationDisplayName());
    box.setText(title);
    box.setInformativeText(message);
    box.setStandardButtons(QMessageBox::Ok);
    box.setWindowModality(window ? Qt::WindowModal : Qt::ApplicationModal);
    return box.exec();
}

bool QtAlertPresenter::confirmCritical(const QString& title, const QString& message, const QString& defaultButton,
                                       const QString& alternateButton) {
    QMessageBox box(QMessageBox::Critical, QApplication::applicationDisplayName(), title);
    boldTitle(box);
    box.setInformativeText(message);
    QPushButton* cancel = box.addButton(defaultButton, QMessageBox::RejectRole);
    QPushButton* accept = box.addButton(alternateButton, QMessageBox::AcceptRole);
    box.setDefaultButton(cancel);
    box.setEscapeButton(cancel);
    box.setWindowModality(Qt::ApplicationModal);
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
