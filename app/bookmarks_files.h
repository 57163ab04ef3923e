// The two files the commands work on: the bookmarks file, which the user is asked to find when it
// is not where the settings say, and its initial backup in the application folder.
#pragma once

#include <QCoreApplication>
#include <QString>
#include <optional>

class QWidget;

namespace orvane {

class AlertSheet;
class FileChooser;

// What a sort backs `bookmarksFile` up to once, and what a restore puts back: for Safari's file
// "Bookmarks (Initial Copy).plist" in the application folder, for a browser profile a file of its
// own, so that two profiles never share one backup.
QString initialBackupPathFor(const QString& bookmarksFile);

// The browser whose bookmarks `bookmarksFile` holds, as people know it: "Google Chrome", "Firefox"
// for a browser profile's file (also one that is gone, told by where it was), "Safari" for every
// other file and for none at all, since the user is then asked for Safari's.
QString browserNameFor(const QString& bookmarksFile);
// Whether the file is Safari's, so that Safari's own checks concern it.
bool isSafariFile(const QString& bookmarksFile);

// The name filter of the open panel for any browser's bookmarks file.
QString bookmarksFilesFilter();

class BookmarksFileLocator {
    // The texts stay in the context under which the catalogues have always translated them.
    Q_DECLARE_TR_FUNCTIONS(orvane::AppDelegate)
public:
    BookmarksFileLocator(AlertSheet& alerts, FileChooser& files, QWidget& window);

    // The stored file when something exists at its path, else the one the user picks (which is
    // stored); nothing when they cancel.
    std::optional<QString> filenameToUse();
    // The open panel alone, in `startFolder`, for any browser's file; nothing when cancelled.
    std::optional<QString> chooseFile(const QString& startFolder);

private:
    AlertSheet& alerts_;
    FileChooser& files_;
    QWidget& window_;
};

}  // namespace orvane
