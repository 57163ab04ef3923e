#include "scratch_home.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QSysInfo>
#include <cstdio>

#include "test_support.h"

namespace orvane::test {

ScratchHome::ScratchHome() {
    for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "ORVANE_SAFARI_APP"})
        saved_.append({name, qgetenv(name)});
    qputenv("HOME", dir_.path().toUtf8());
    qputenv("XDG_CONFIG_HOME", dir_.filePath(".config").toUtf8());
    qputenv("XDG_DATA_HOME", dir_.filePath(".local/share").toUtf8());
    // QSettings reads XDG_CONFIG_HOME once per process.
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, dir_.filePath(".config"));
}

ScratchHome::~ScratchHome() {
    for (const auto& [name, value] : saved_) qputenv(name, value);
}

QString ScratchHome::putSampleBookmarks() {
    const QString target = path("Library/Safari/Bookmarks.plist");
    QDir().mkpath(path("Library/Safari"));
    saveSampleOver(target);
    return target;
}

void ScratchHome::putSafari(const char* version) {
    QDir().mkpath(path("Safari.app/Contents"));
    writeFile(path("Safari.app/Contents/Info.plist").toStdString(),
              toXml(D({{"CFBundleShortVersionString", S(version)}})));
    qputenv("ORVANE_SAFARI_APP", path("Safari.app").toUtf8());
}

void ScratchHome::saveSampleOver(const QString& target) {
    const QString fresh = target + QStringLiteral(".new");
    QFile::remove(fresh);
    QFile::copy(sampleBookmarks(), fresh);
    QFile::setPermissions(fresh, QFile::ReadOwner | QFile::WriteOwner);
    ::rename(QFile::encodeName(fresh).constData(), QFile::encodeName(target).constData());
}

QString ScratchHome::putChromiumProfile(const QString& configFolder, const QString& folder, const QString& name) {
    const QString root = path(".config/" + configFolder);
    QDir().mkpath(root + "/" + folder);
    const QString file = root + "/" + folder + "/Bookmarks";
    QFile::remove(file);
    QFile::copy(sampleChromiumBookmarks(), file);
    QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner);
    // Every profile of the folder keeps its name in the one "Local State".
    chromiumNames_[configFolder].append({folder, name});
    QStringList entries;
    for (const auto& [each, named] : chromiumNames_[configFolder])
        entries.append("\"" + each + "\": {\"name\": \"" + named + "\"}");
    writeFile((root + "/Local State").toStdString(),
              ("{\"profile\": {\"info_cache\": {" + entries.join(", ") + "}}}").toStdString());
    return file;
}

QString ScratchHome::putFirefoxProfile(const QString& name, bool isDefault) {
    const QString root = path(".mozilla/firefox");
    const QString folder = "abcd1234." + name;
    QDir().mkpath(root + "/" + folder);
    QFile ini(root + "/profiles.ini");
    const bool fresh = !ini.exists();
    ini.open(QIODevice::Append);
    if (fresh) ini.write("[General]\nStartWithLastProfile=1\nVersion=2\n");
    ini.write(QStringLiteral("\n[Profile%1]\nName=%2\nIsRelative=1\nPath=%3\n%4")
                  .arg(firefoxProfiles_++)
                  .arg(name, folder, isDefault ? QStringLiteral("Default=1\n") : QString())
                  .toUtf8());
    const QString file = root + "/" + folder + "/places.sqlite";
    writeFile(file.toStdString(), std::string("SQLite format 3\0", 16) + std::string(84, '\0'));
    return file;
}

QString ScratchHome::settingsText() const {
    QFile file(path(".config/Marrowfen/Orvane.conf"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

FakeBrowser::FakeBrowser(QString userDataFolder) : folder_(std::move(userDataFolder)) {}

FakeBrowser::~FakeBrowser() { quit(); }

bool FakeBrowser::start() {
    // "HOSTNAME-PID", the shell's own number being the process's.
    process_.start(QStringLiteral("sh"),
                   {QStringLiteral("-c"),
                    QStringLiteral("exec 3<\"$1/Local State\" && ln -s \"$2-$$\" \"$1/SingletonLock\" && echo held && "
                                   "read line; rm -f \"$1/SingletonLock\""),
                    QStringLiteral("fake-browser"), folder_, QSysInfo::machineHostName()});
    if (!process_.waitForStarted(5000)) return false;
    while (!process_.canReadLine())
        if (!process_.waitForReadyRead(5000)) return false;
    return process_.readLine().trimmed() == "held";
}

void FakeBrowser::quit() {
    if (process_.state() == QProcess::NotRunning) return;
    process_.closeWriteChannel();
    process_.waitForFinished(5000);
}

void FakeBrowser::kill() {
    process_.kill();
    process_.waitForFinished(5000);
}

QString sampleBookmarks() { return QStringLiteral(ORVANE_SOURCE_DIR "/examples/Bookmarks.plist"); }

QString sampleChromiumBookmarks() {
    return QStringLiteral(ORVANE_SOURCE_DIR "/tests/data/chromium/written-by-chromium.json");
}

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

}  // namespace orvane::test
