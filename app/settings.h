// Orvane's settings: the keys the programs share, their registered defaults, and typed access
// that asks the settings file afresh on every read, so that a value written by the other program
// (orvane-helper, or orvane while the helper runs) is seen at once.
//
// The file is QSettings' native one for organisation "Marrowfen", application "Orvane":
// $XDG_CONFIG_HOME/Marrowfen/Orvane.conf, keys in its [General] group. Registered defaults are
// fallbacks kept in code; reading never writes them into the file.
#pragma once

#include <QString>
#include <QVariant>
#include <optional>

namespace orvane {

class Orvane;

namespace keys {
inline constexpr char FoldersAtTop[] = "FoldersAtTop";
inline constexpr char RemoveDuplicates[] = "RemoveDuplicates";
inline constexpr char RenameSamenamed[] = "RenameSamenamed";
inline constexpr char SortBookmarksBar[] = "SortBookmarksBar";
inline constexpr char BookmarksFilename[] = "BookmarksFilename";
inline constexpr char AutoSortMode[] = "AutoSortMode";
inline constexpr char ApplicationFolder[] = "ApplicationFolder";
inline constexpr char LastHelperError[] = "LastHelperError";
// Read by orvane-helper only: how long it gathers changes before asking for a sort (seconds).
inline constexpr char BookmarksUpdateLatency[] = "BookmarksUpdateLatency";
// Window geometry saved under the autosave name.
inline constexpr char MainWindowFrame[] = "MainWindow";
}  // namespace keys

inline constexpr char kOrganizationName[] = "Marrowfen";
inline constexpr char kApplicationName[] = "Orvane";

class Settings {
public:
    // The stored value, else the registered default, else an invalid QVariant.
    static QVariant objectForKey(const char* key);
    static bool boolForKey(const char* key);
    static QString stringForKey(const char* key);
    static void setObject(const char* key, const QVariant& value);
    static void setBool(const char* key, bool value) { setObject(key, value); }
    static void removeObject(const char* key);
    // Only what is stored in the file, without the registered defaults.
    static std::optional<QVariant> storedObjectForKey(const char* key);
    // Where the settings live, for people reading the documentation and for tests.
    static QString fileName();
    // Gives a sort job the four options of the settings.
    static void applySortOptions(Orvane& job);
};

}  // namespace orvane
