// The two files the commands work on: Safari's bookmarks file, which the user is asked to find
// when it is not where the settings say, and the initial backup in the application folder.
#pragma once

#include <QCoreApplication>
#include <QString>
#include <optional>

class QWidget;

namespace orvane {

class AlertSheet;
class FileChooser;

// "Bookmarks (Initial Copy).plist" in the application folder: what a sort backs the file up to
// once, and what a restore puts back.
QString initialBackupPath();

class BookmarksFileLocator {
    // The texts stay in the context under which the catalogues have always translated them.
    Q_DECLARE_TR_FUNCTIONS(orvane::AppDelegate)
public:
    BookmarksFileLocator(AlertSheet& alerts, FileChooser& files, QWidget& window);

    // The stored file when something exists at its path, else the one the user picks (which is
    // stored); nothing when they cancel.
    std::optional<QString> filenameToUse();

private:
    AlertSheet& alerts_;
    FileChooser& files_;
    QWidget& window_;
};

}  // namespace orvane
