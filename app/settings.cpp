#include "settings.h"

#include <QSettings>

#include "orvane.h"

namespace orvane {
namespace {

// Only what the application registers: "ApplicationFolder" and "LastHelperError" have no default.
QVariant registeredDefault(const char* key) {
    const QLatin1StringView k(key);
    if (k == QLatin1StringView(keys::FoldersAtTop) || k == QLatin1StringView(keys::RemoveDuplicates) ||
        k == QLatin1StringView(keys::RenameSamenamed))
        return true;
    if (k == QLatin1StringView(keys::SortBookmarksBar) || k == QLatin1StringView(keys::AutoSortMode)) return false;
    if (k == QLatin1StringView(keys::BookmarksFilename))
        return QString::fromStdString(expandTilde(kDefaultBookmarksFilename).string());
    return {};
}

// A fresh object each time: QSettings re-reads the file when another process has changed it.
QSettings open() {
    return QSettings(QSettings::NativeFormat, QSettings::UserScope, kOrganizationName, kApplicationName);
}

}  // namespace

std::optional<QVariant> Settings::storedObjectForKey(const char* key) {
    QSettings settings = open();
    settings.sync();
    QVariant value = settings.value(QLatin1StringView(key));
    if (!value.isValid()) return std::nullopt;
    return value;
}

QVariant Settings::objectForKey(const char* key) {
    if (std::optional<QVariant> stored = storedObjectForKey(key)) return *stored;
    return registeredDefault(key);
}

bool Settings::boolForKey(const char* key) {
    const QVariant value = objectForKey(key);
    // The file stores text; "true"/"false" and numbers both read the way a person wrote them.
    if (value.typeId() == QMetaType::QString) {
        const QString text = value.toString().trimmed().toLower();
        if (text == QLatin1StringView("true") || text == QLatin1StringView("yes")) return true;
        bool isNumber = false;
        const long long n = text.toLongLong(&isNumber);
        return isNumber && n != 0;
    }
    return value.toBool();
}

QString Settings::stringForKey(const char* key) { return objectForKey(key).toString(); }

void Settings::setObject(const char* key, const QVariant& value) {
    QSettings settings = open();
    settings.setValue(QLatin1StringView(key), value);
    settings.sync();
}

void Settings::removeObject(const char* key) {
    QSettings settings = open();
    settings.remove(QLatin1StringView(key));
    settings.sync();
}

QString Settings::fileName() { return open().fileName(); }

void Settings::applySortOptions(Orvane& job) {
    job.setArrangeFoldersAtTop(boolForKey(keys::FoldersAtTop));
    job.setRemoveDuplicates(boolForKey(keys::RemoveDuplicates));
    job.setRenameSamenamed(boolForKey(keys::RenameSamenamed));
    job.setSortBookmarksBar(boolForKey(keys::SortBookmarksBar));
}

}  // namespace orvane
