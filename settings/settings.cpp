#include "settings.h"

#include <QSettings>

#include "files/paths.h"
#include "stores/safari/default_file.h"

namespace orvane {
namespace {

constexpr char kFoldersAtTop[] = "FoldersAtTop";
constexpr char kRemoveDuplicates[] = "RemoveDuplicates";
constexpr char kRenameSamenamed[] = "RenameSamenamed";
constexpr char kSortBookmarksBar[] = "SortBookmarksBar";
constexpr char kAutoSortMode[] = "AutoSortMode";
constexpr char kBookmarksFilename[] = "BookmarksFilename";
constexpr char kApplicationFolder[] = "ApplicationFolder";
constexpr char kLastHelperError[] = "LastHelperError";
constexpr char kBookmarksUpdateLatency[] = "BookmarksUpdateLatency";
// Window geometry saved under the autosave name.
constexpr char kMainWindowFrame[] = "MainWindow";

constexpr double kDefaultLatencySeconds = 1.0;

QSettings open() {
    return QSettings(QSettings::NativeFormat, QSettings::UserScope, kOrganizationName, kApplicationName);
}

// A fresh object for each read, synchronised first: QSettings re-reads the file when another
// process has changed it.
class FreshSettings {
public:
    FreshSettings() : settings_(open()) { settings_.sync(); }
    // What the file holds, without any registered default.
    std::optional<QVariant> stored(const char* key) {
        QVariant value = settings_.value(QLatin1StringView(key));
        if (!value.isValid()) return std::nullopt;
        return value;
    }
    bool boolean(const char* key, bool registeredDefault) {
        const std::optional<QVariant> value = stored(key);
        if (!value) return registeredDefault;
        // The file stores text; "true"/"false" and numbers both read the way a person wrote them.
        if (value->typeId() == QMetaType::QString) {
            const QString text = value->toString().trimmed().toLower();
            if (text == QLatin1StringView("true") || text == QLatin1StringView("yes")) return true;
            bool isNumber = false;
            const long long n = text.toLongLong(&isNumber);
            return isNumber && n != 0;
        }
        return value->toBool();
    }
    QString string(const char* key, const QString& registeredDefault = {}) {
        const std::optional<QVariant> value = stored(key);
        return value ? value->toString() : registeredDefault;
    }

private:
    QSettings settings_;
};

void write(const char* key, const QVariant& value) {
    QSettings settings = open();
    settings.setValue(QLatin1StringView(key), value);
    settings.sync();
}

void remove(const char* key) {
    QSettings settings = open();
    settings.remove(QLatin1StringView(key));
    settings.sync();
}

}  // namespace

SortOptions Settings::sortOptions() {
    FreshSettings settings;
    const SortOptions defaults;
    return {.foldersAtTop = settings.boolean(kFoldersAtTop, defaults.foldersAtTop),
            .removeDuplicates = settings.boolean(kRemoveDuplicates, defaults.removeDuplicates),
            .renameSamenamed = settings.boolean(kRenameSamenamed, defaults.renameSamenamed),
            .sortBookmarksBar = settings.boolean(kSortBookmarksBar, defaults.sortBookmarksBar)};
}

void Settings::setFoldersAtTop(bool on) { write(kFoldersAtTop, on); }
void Settings::setRemoveDuplicates(bool on) { write(kRemoveDuplicates, on); }
void Settings::setRenameSamenamed(bool on) { write(kRenameSamenamed, on); }
void Settings::setSortBookmarksBar(bool on) { write(kSortBookmarksBar, on); }

bool Settings::autoSortMode() { return FreshSettings().boolean(kAutoSortMode, false); }
void Settings::setAutoSortMode(bool on) { write(kAutoSortMode, on); }

QString Settings::bookmarksFilename() {
    // A path written by hand may begin with "~", as in a shell; the window, the helper's watch and
    // the job all need the one file it means.
    const QString stored = FreshSettings().string(kBookmarksFilename, QString::fromUtf8(safari::kDefaultBookmarksFile));
    return QString::fromStdString(expandTilde(stored.toStdString()).string());
}
bool Settings::bookmarksFilenameChosen() { return FreshSettings().stored(kBookmarksFilename).has_value(); }
void Settings::setBookmarksFilename(const QString& filename) { write(kBookmarksFilename, filename); }

QString Settings::applicationFolder() { return FreshSettings().string(kApplicationFolder); }
void Settings::setApplicationFolder(const QString& folder) { write(kApplicationFolder, folder); }

std::optional<std::uint32_t> Settings::lastHelperError() {
    const std::optional<QVariant> value = FreshSettings().stored(kLastHelperError);
    if (!value) return std::nullopt;
    return static_cast<std::uint32_t>(value->toLongLong());
}
void Settings::setLastHelperError(std::uint32_t code) { write(kLastHelperError, code); }
void Settings::clearLastHelperError() { remove(kLastHelperError); }

double Settings::bookmarksUpdateLatency() {
    const std::optional<QVariant> value = FreshSettings().stored(kBookmarksUpdateLatency);
    bool isNumber = false;
    const double seconds = value ? value->toDouble(&isNumber) : 0.0;
    return isNumber && seconds >= 0 ? seconds : kDefaultLatencySeconds;
}
void Settings::setBookmarksUpdateLatency(double seconds) { write(kBookmarksUpdateLatency, seconds); }

std::optional<QByteArray> Settings::mainWindowFrame() {
    const std::optional<QVariant> value = FreshSettings().stored(kMainWindowFrame);
    if (!value) return std::nullopt;
    return value->toByteArray();
}
void Settings::setMainWindowFrame(const QByteArray& geometry) { write(kMainWindowFrame, geometry); }

QString Settings::fileName() { return open().fileName(); }

}  // namespace orvane
