#include "about_controller.h"

#include <QCoreApplication>
#include <QDialog>
#include <QDir>
#include <QShortcut>

#include "ui_About.h"

namespace orvane {

qsizetype widestRepresentation(const QList<QSize>& sizes) {
    qsizetype best = -1;
    int bestWidth = 0;
    for (qsizetype i = 0; i < sizes.size(); ++i)
        if (sizes[i].width() > bestWidth) best = i, bestWidth = sizes[i].width();
    return best;
}

QIcon applicationIcon() {
    QIcon icon;
    // Every size there is, smallest first, as the icon theme installs them.
    const QDir folder(QStringLiteral(":/icons"));
    QList<std::pair<int, QString>> files;
    for (const QString& name : folder.entryList({QStringLiteral("orvane-*.png")}, QDir::Files))
        files.append(
            {name.section(QLatin1Char('-'), 1).section(QLatin1Char('.'), 0, 0).toInt(), folder.filePath(name)});
    std::sort(files.begin(), files.end());
    for (const auto& [size, path] : files) icon.addFile(path, QSize(size, size));
    return icon;
}

AboutController::AboutController() = default;
AboutController::~AboutController() = default;

QLabel* AboutController::imageView() const { return ui_ ? ui_->imageView : nullptr; }
QLabel* AboutController::versionLabel() const { return ui_ ? ui_->versionLabel : nullptr; }

void AboutController::showWindow(QWidget* sender) {
    if (!window_) {
        window_ = std::make_unique<QDialog>(sender);
        ui_ = std::make_unique<Ui::About>();
        ui_->setupUi(window_.get());
        // Escape closes it as a dialog; the keys that close a window close it too.
        auto* close = new QShortcut(QKeySequence::Close, window_.get());
        QObject::connect(close, &QShortcut::activated, window_.get(), &QDialog::close);
        windowDidLoad();
    }
    window_->show();
    window_->raise();
    window_->activateWindow();
}

void AboutController::windowDidLoad() {
    setAppVersion();
    setAppImage();
    // The labels are what a screen reader reads out for the panel.
    for (QLabel* label : window_->findChildren<QLabel*>())
        if (!label->text().isEmpty()) label->setAccessibleName(label->text());
    ui_->imageView->setAccessibleName(QCoreApplication::translate("About", "Orvane icon"));
}

void AboutController::setAppVersion() {
    ui_->versionLabel->setText(
        QStringLiteral("%1 %2").arg(QStringLiteral("Orvane"), QCoreApplication::applicationVersion()));
}

void AboutController::setAppImage(const QIcon& icon) {
    const QList<QSize> sizes = icon.availableSizes();
    const qsizetype widest = widestRepresentation(sizes);
    if (icon.isNull()) return;
    QLabel* view = ui_->imageView;
    // The largest drawing, scaled down to the view, rather than whichever size the icon would pick.
    QPixmap pixmap = widest >= 0 ? icon.pixmap(sizes[widest]) : icon.pixmap(view->size());
    const qreal ratio = view->devicePixelRatioF();
    pixmap = pixmap.scaled(view->size() * ratio, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    pixmap.setDevicePixelRatio(ratio);
    view->setPixmap(pixmap);
}

}  // namespace orvane
