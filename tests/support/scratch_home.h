// A scratch home for each test of the Qt programs: settings, data folder and Safari's folder in a
// temporary folder of their own. Qt Core only, so that tests of the helper need no widgets.
#pragma once

#include <QByteArray>
#include <QList>
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
    // A copy of the sample file renamed over `path`, as a browser saves.
    static void saveSampleOver(const QString& path);
    QString settingsText() const;

private:
    QTemporaryDir dir_;
    QList<std::pair<const char*, QByteArray>> saved_;
};

// The path of the sample bookmarks file in the source tree.
QString sampleBookmarks();
QByteArray contents(const QString& path);

}  // namespace orvane::test
