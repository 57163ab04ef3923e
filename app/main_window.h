// The main window from resources/MainWindow.ui. It only shows things: every decision is the
// controller's (AppDelegate, through its WindowBinding), which it asks before it closes.
#pragma once

#include <QMainWindow>
#include <functional>
#include <memory>

namespace Ui {
class MainWindow;
}

namespace orvane {

class MainWindow final : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    Ui::MainWindow& ui() { return *ui_; }

    // Asked when the user closes the window; answering false keeps it open.
    void setCloseHandler(std::function<bool()> handler) { closeHandler_ = std::move(handler); }

    // The Sort button sits in an area of its own, outside the layout, so that it can slide and
    // stretch to a new title; the area keeps it centred in the window when nothing animates.
    void setSortButtonAnimating(bool animating) { sortButtonAnimating_ = animating; }
    // Where the Sort button of the given width sits, centred in the window's width.
    QPoint centredSortButtonPosition(int width) const;
    // Makes the area tall enough for the button and wide enough for its widest title.
    void reserveSortButtonSpace(QSize widest);

protected:
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    std::unique_ptr<Ui::MainWindow> ui_;
    std::function<bool()> closeHandler_;
    bool sortButtonAnimating_ = false;
};

}  // namespace orvane
