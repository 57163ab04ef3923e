#include "bookmarks_files.h"

#include <QFileInfo>

#include "alert_sheet.h"
#include "files/paths.h"
#include "platform.h"
#include "settings.h"
#include "stores/bookmark_store.h"
#include "stores/safari/safari_store.h"

namespace orvane {

QString initialBackupPathFor(const QString& bookmarksFile) {
    return QString::fromStdString(defaultBackupFor(bookmarksFile.toStdString()).string());
}

BookmarksFileLocator::BookmarksFileLocator(AlertSheet& alerts, FileChooser& files, QWidget& window)
    : alerts_(alerts), files_(files), window_(window) {}

std::optional<QString> BookmarksFileLocator::filenameToUse() {
    const QString stored = Settings::bookmarksFilename();
    // Anything at the path counts, as the job's own check does: a folder there is refused later
    // with a message that names it, rather than by asking the user again.
    if (QFileInfo::exists(stored)) return stored;

    alerts_.show(tr("Cannot locate the bookmarks file"),
                 tr("The bookmarks file is not located in its usual place.\n\nPlease locate and select Safari’s "
                    "bookmarks file in the next dialog (it’s usually named: Bookmarks.plist.)"));
    const QString start = QFileInfo(QString::fromStdString(expandTilde(safari::kDefaultBookmarksFile).string())).path();
    const std::optional<QString> chosen = files_.chooseFile(&window_, start, tr("Property lists (*.plist)"));
    if (!chosen) return std::nullopt;
    Settings::setBookmarksFilename(*chosen);
    return chosen;
}

}  // namespace orvane
