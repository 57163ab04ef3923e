// The About panel: the application's icon at its largest size, and its name and version. Made
// on first use and kept, so that every later call shows the same window.
#pragma once

#include <QIcon>
#include <QList>
#include <QSize>
#include <memory>

class QDialog;
class QLabel;
class QWidget;

namespace Ui {
class About;
}

namespace orvane {

// The widest of the sizes (the first of equal widths; width 0 never), or -1 when none has a width.
qsizetype widestRepresentation(const QList<QSize>& sizes);

// Orvane's icon in every size it is drawn at.
QIcon applicationIcon();

class AboutController {
public:
    AboutController();
    ~AboutController();

    void showWindow(QWidget* sender);
    QDialog* window() const { return window_.get(); }
    QLabel* imageView() const;
    QLabel* versionLabel() const;

    void setAppVersion();
    // Shows `icon`'s widest representation; a null icon leaves the image view as designed.
    void setAppImage(const QIcon& icon = applicationIcon());

private:
    void windowDidLoad();

    std::unique_ptr<QDialog> window_;
    std::unique_ptr<Ui::About> ui_;
};

}  // namespace orvane
