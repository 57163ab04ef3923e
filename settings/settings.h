// Orvane's settings: the values that orvane and orvane-helper share, each with a typed accessor.
// Every read asks the settings file afresh, so that a value written by the other program
// (orvane-helper, or orvane while the helper runs) is seen at once; every write reaches the file
// before it returns.
//
// The file is QSettings' native one for organisation "Marrowfen", application "Orvane":
// $XDG_CONFIG_HOME/Marrowfen/Orvane.conf, keys in its [General] group. A key that is not in the
// file reads as its registered default, a fallback kept in code that reading never writes into
// the file: "FoldersAtTop", "RemoveDuplicates", "RenameSamenamed" and "SortBookmarksBar" default
// to SortOptions{}, "AutoSortMode" to off, "BookmarksFilename" to where Safari keeps its
// bookmarks. "ApplicationFolder", "LastHelperError", "BookmarksUpdateLatency" and "MainWindow"
// have no registered default.
#pragma once

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <optional>

#include "tree/sort_options.h"

namespace orvane {

inline constexpr char kOrganizationName[] = "Marrowfen";
inline constexpr char kApplicationName[] = "Orvane";

class Settings {
public:
    Settings() = delete;

    // The four options in one read.
    static SortOptions sortOptions();
    static void setFoldersAtTop(bool on);
    static void setRemoveDuplicates(bool on);
    static void setRenameSamenamed(bool on);
    static void setSortBookmarksBar(bool on);

    static bool autoSortMode();
    static void setAutoSortMode(bool on);

    // Empty after an error cleared it, so that the next Sort asks for the file.
    static QString bookmarksFilename();
    // Whether a file was ever stored, as opposed to the registered default being read.
    static bool bookmarksFilenameChosen();
    static void setBookmarksFilename(const QString& filename);

    // The application folder as orvane last stored it for the helper; empty until orvane first
    // launched.
    static QString applicationFolder();
    static void setApplicationFolder(const QString& folder);

    // The code that orvane-helper left for orvane's next launch (text is read by its leading
    // number); nothing when none is stored.
    static std::optional<std::uint32_t> lastHelperError();
    static void setLastHelperError(std::uint32_t code);
    static void clearLastHelperError();

    // How long orvane-helper gathers changes before it asks for a sort, in seconds: 1.0 unless a
    // number of 0 or more is stored.
    static double bookmarksUpdateLatency();
    static void setBookmarksUpdateLatency(double seconds);

    // The main window's geometry as QWidget::saveGeometry() gives it; nothing before the first quit.
    static std::optional<QByteArray> mainWindowFrame();
    static void setMainWindowFrame(const QByteArray& geometry);

    // Where the settings live, for people reading the documentation and for tests.
    static QString fileName();
};

}  // namespace orvane
