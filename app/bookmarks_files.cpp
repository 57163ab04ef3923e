#include "bookmarks_files.h"

#include <QDir>
#include <QFileInfo>

#include "alert_sheet.h"
#include "files/paths.h"
#include "platform.h"
#include "profiles/discovery.h"
#include "settings.h"
#include "stores/bookmark_store.h"
#include "stores/chromium/chromium_browsers.h"
#include "stores/safari/default_file.h"

namespace orvane {

namespace {

constexpr char kSafari[] = "Safari";

// The nearest folder above `file` that exists, so that the open panel starts as near it as it can.
QString nearestFolder(const QString& file) {
    QDir folder = QFileInfo(file).absoluteDir();
    while (!folder.exists() && folder.cdUp()) {}
    return folder.exists() ? folder.path() : QDir::homePath();
}

}  // namespace

QString initialBackupPathFor(const QString& bookmarksFile) {
    return QString::fromStdString(defaultBackupFor(bookmarksFile.toStdString()).string());
}

QString browserNameFor(const QString& bookmarksFile) {
    if (bookmarksFile.isEmpty()) return QString::fromLatin1(kSafari);
    const std::filesystem::path path = QFile::encodeName(bookmarksFile).toStdString();
    const BookmarksFormat format = detectFormat(path);
    const std::string name = path.filename().string();
    const std::optional<chromium::Browser> owner = chromium::browserOwning(path);
    if (format == BookmarksFormat::Chromium || (owner && name == "Bookmarks"))
        return QString::fromUtf8(owner ? owner->name : chromium::browsers().front().name);
    if (format == BookmarksFormat::Firefox || name == "places.sqlite") {
        // Firefox's family tells its members apart only by where their profiles lie.
        std::error_code error;
        for (const BrowserProfile& profile : discoverProfiles().profiles)
            if (std::filesystem::equivalent(profile.bookmarksFile, path, error))
                return QString::fromStdString(profile.browserName);
        return QStringLiteral("Firefox");
    }
    return QString::fromLatin1(kSafari);
}

bool isSafariFile(const QString& bookmarksFile) { return browserNameFor(bookmarksFile) == QLatin1StringView(kSafari); }

QString bookmarksFilesFilter() {
    return BookmarksFileLocator::tr("Bookmarks files (*.plist Bookmarks places.sqlite)") + QStringLiteral(";;") +
           BookmarksFileLocator::tr("All files (*)");
}

BookmarksFileLocator::BookmarksFileLocator(AlertSheet& alerts, FileChooser& files, QWidget& window)
    : alerts_(alerts), files_(files), window_(window) {}

std::optional<QString> BookmarksFileLocator::filenameToUse() {
    const QString stored = Settings::bookmarksFilename();
    // Anything at the path counts, as the job's own check does: a folder there is refused later
    // with a message that names it, rather than by asking the user again.
    if (QFileInfo::exists(stored)) return stored;

    const QString browser = browserNameFor(stored);
    std::optional<QString> chosen;
    if (browser == QLatin1StringView(kSafari)) {
        alerts_.show(tr("Cannot locate the bookmarks file"),
                     tr("The bookmarks file is not located in its usual place.\n\nPlease locate and select Safari’s "
                        "bookmarks file in the next dialog (it’s usually named: Bookmarks.plist.)"));
        const QString start =
            QFileInfo(QString::fromStdString(expandTilde(safari::kDefaultBookmarksFile).string())).path();
        chosen = files_.chooseFile(&window_, start, tr("Property lists (*.plist)"));
    } else {
        // A browser profile that went away: the same alert, naming that browser and its file.
        alerts_.show(tr("Cannot locate the bookmarks file"),
                     tr("The bookmarks file is not located in its usual place.\n\nPlease locate and select %@’s "
                        "bookmarks file in the next dialog (it’s usually named: %@.)"),
                     {browser, QFileInfo(stored).fileName()});
        chosen = chooseFile(nearestFolder(stored));
    }
    if (!chosen) return std::nullopt;
    Settings::setBookmarksFilename(*chosen);
    return chosen;
}

std::optional<QString> BookmarksFileLocator::chooseFile(const QString& startFolder) {
    return files_.chooseFile(&window_, startFolder, bookmarksFilesFilter());
}

}  // namespace orvane
