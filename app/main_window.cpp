#include "main_window.h"

#include <QCloseEvent>

#include "ui_MainWindow.h"

namespace orvane {

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent), ui_(std::make_unique<Ui::MainWindow>()) {
    ui_->setupUi(this);
    ui_->sortButtonArea->installEventFilter(this);
}

MainWindow::~MainWindow() = default;

QPoint MainWindow::centredSortButtonPosition(int width) const {
    const QWidget* area = ui_->sortButtonArea;
    // Centred in the window's frame, then expressed in the area's coordinates.
    const int windowX = static_cast<int>((frameGeometry().width() - width) * 0.5);
    const int frameLeft = geometry().x() - frameGeometry().x();
    return {windowX - frameLeft - area->mapTo(this, QPoint(0, 0)).x(), 0};
}

void MainWindow::reserveSortButtonSpace(QSize widest) { ui_->sortButtonArea->setMinimumSize(widest); }

void MainWindow::closeEvent(QCloseEvent* event) {
    if (closeHandler_ && !closeHandler_())
        event->ignore();
    else
        event->accept();
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == ui_->sortButtonArea && event->type() == QEvent::Resize && !sortButtonAnimating_) {
        QPushButton* button = ui_->sortBookmarksButton;
        button->move(centredSortButtonPosition(button->width()));
    }
    return QMainWindow::eventFilter(watched, event);
}

}  // namespace orvane
