// A scratch home for each test of the Qt programs: settings, data folder and Safari's folder in a
// temporary folder of their own. Qt Core only, so that tests of the helper need no widgets.
#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <utility>

namespace orvane::test {

// A fresh HOME, XDG_CONFIG_HOME and XDG_DATA_HOME for one test, put back afterwards.
class ScratchHome {
public:
    ScratchHome();
    ~ScratchHome();
    QString path(const QString& relative = {}) const {
        return relative.isEmpty() ? dir_.path() : dir_.filePath(relative);
    }
    // Safari's bookmarks file where Orvane looks first, holding a copy of the sample file.
    QString putSampleBookmarks();
    // A stand-in for Safari's bundle with that version, named by ORVANE_SAFARI_APP.
    void putSafari(const char* version);
    // A profile of a browser of Chromium's family ("chromium", "google-chrome") in its
    // configuration folder, named in "Local State", holding an unsorted Bookmarks file that the
    // browser wrote; answers that file.
    QString putChromiumProfile(const QString& configFolder, const QString& folder, const QString& name);
    // A Firefox profile listed in profiles.ini (the default one when `isDefault`), whose
    // places.sqlite is only a database's header; answers that file.
    QString putFirefoxProfile(const QString& name, bool isDefault);
    // A copy of the sample file renamed over `path`, as a browser saves.
    static void saveSampleOver(const QString& path);
    QString settingsText() const;

private:
    QTemporaryDir dir_;
    QList<std::pair<const char*, QByteArray>> saved_;
    QMap<QString, QList<std::pair<QString, QString>>> chromiumNames_;  // folder and name, by browser
    int firefoxProfiles_ = 0;
};

// A stand-in for a browser of Chromium's family that holds a profile as the browser does: a live
// process that keeps a file of the user-data folder open and points the folder's "SingletonLock"
// at itself. Asked to quit, it removes the lock and exits; killed, it leaves the lock behind.
class FakeBrowser {
public:
    // Holds the user-data folder (the one with "Local State") once start() has answered true.
    explicit FakeBrowser(QString userDataFolder);
    ~FakeBrowser();
    FakeBrowser(const FakeBrowser&) = delete;
    FakeBrowser& operator=(const FakeBrowser&) = delete;
    bool start();
    void quit();
    void kill();
    qint64 processId() const { return process_.processId(); }
    QString lock() const { return folder_ + QStringLiteral("/SingletonLock"); }

private:
    QString folder_;
    QProcess process_;
};

// The path of the sample bookmarks file in the source tree.
QString sampleBookmarks();
// An unsorted Bookmarks file as Chromium writes it, in the source tree.
QString sampleChromiumBookmarks();
QByteArray contents(const QString& path);

}  // namespace orvane::test
