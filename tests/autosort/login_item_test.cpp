// Login items as desktop entries in a scratch XDG_CONFIG_HOME.
#include <QtTest>

#include <optional>

#include "login_item.h"
#include "test_support.h"

using namespace orvane;
namespace fs = std::filesystem;

class LoginItemTest : public QObject {
    Q_OBJECT

    std::optional<test::TempDir> dir_;
    std::map<const char*, std::optional<QByteArray>> savedEnvironment_;

    fs::path autostart() const { return *dir_ / "config" / "autostart"; }

    // A program file in the scratch folder.
    QString program(const std::string& name) {
        fs::create_directories(*dir_ / "bin");
        test::writeFile(*dir_ / "bin" / name, "#!/bin/sh\n");
        return QString::fromStdString((*dir_ / "bin" / name).string());
    }

    // Every entry file of a folder, "name: contents", in file-name order.
    static QStringList listing(const fs::path& folder) {
        QStringList files;
        if (fs::exists(folder))
            for (const auto& entry : fs::directory_iterator(folder))
                files << QString::fromStdString(entry.path().filename().string() + ": " + test::readText(entry.path()));
        files.sort();
        return files;
    }

    // The X-Orvane-Hidden values of the list, in its order.
    QStringList hiddenFlags() const {
        QStringList flags;
        for (const QString& file : listing(autostart()))
            flags << QRegularExpression("\nX-Orvane-Hidden=(\\w+)\n").match(file).captured(1);
        return flags;
    }

private slots:
    void init() {
        dir_.emplace();
        for (const char* name : {"XDG_CONFIG_HOME", "HOME"})
            savedEnvironment_[name] = qEnvironmentVariableIsSet(name) ? std::optional(qgetenv(name)) : std::nullopt;
        qputenv("XDG_CONFIG_HOME", QByteArray::fromStdString((*dir_ / "config").string()));
    }

    void cleanup() {
        for (const auto& [name, value] : savedEnvironment_) value ? qputenv(name, *value) : qunsetenv(name);
        dir_.reset();
    }

    void addsAtTheEndAndRemovesTheFirstMatch() {
        const QString helper = program("orvane-helper");
        QVERIFY(!LoginItem::isLoginItemWithPath(helper, false));
        QVERIFY(!LoginItem::removeLoginItemWithPath(helper));
        QVERIFY(LoginItem::addLoginItemWithPath(helper, true));
        QVERIFY(LoginItem::addLoginItemWithPath(helper, false));
        QCOMPARE(hiddenFlags(), (QStringList{"true", "false"}));
        QVERIFY(LoginItem::removeLoginItemWithPath(helper));
        QCOMPARE(hiddenFlags(), QStringList{"false"});
        // A new entry goes after the remaining one, so that one is removed next.
        QVERIFY(LoginItem::addLoginItemWithPath(helper, true));
        QVERIFY(LoginItem::removeLoginItemWithPath(helper));
        QCOMPARE(hiddenFlags(), QStringList{"true"});
        QVERIFY(LoginItem::removeLoginItemWithPath(helper));
        QVERIFY(!LoginItem::isLoginItemWithPath(helper, true));
        QCOMPARE(hiddenFlags(), QStringList());
        QVERIFY(!LoginItem::addLoginItemWithPath("relative/orvane-helper", false));
    }

    void matchesResolvedPathsByPrefixAndSkipsTheRest() {
        const QString gone = program("gone"), extra = program("orvane-helper-extra");
        const std::string extraPath = extra.toStdString();
        QVERIFY(LoginItem::addLoginItemWithPath(gone, false));
        fs::remove(gone.toStdString());
        test::writeFile(autostart() / "a.desktop",
                        "[Desktop Entry]\nType=Application\nName=x\nExec=" + extraPath + "\nHidden=true\n");
        test::writeFile(autostart() / "b.desktop", "[Desktop Entry]\nExec=orvane-helper-extra\n");
        test::writeFile(autostart() / "c.desktop", "[Other]\nExec=" + extraPath + "\n");
        const QStringList before = listing(autostart());
        QVERIFY(!LoginItem::isLoginItemWithPath(gone, false));
        QVERIFY(!LoginItem::removeLoginItemWithPath(gone));
        QVERIFY(!LoginItem::removeLoginItemWithPath(extra));
        QCOMPARE(listing(autostart()), before);

        // Written by hand: quoted, escaped and followed by arguments.
        test::writeFile(autostart() / "d.desktop", "[Desktop Entry]\nExec = \"" + extraPath + "\" --flag \\\\$x %U\n");
        QVERIFY(LoginItem::isLoginItemWithPath(program("orvane-helper"), false));
        QVERIFY(!LoginItem::isLoginItemWithPath(program("Orvane-helper"), false));
        QVERIFY(LoginItem::removeLoginItemWithPath(extra.chopped(6)));
        QCOMPARE(listing(autostart()), before);
    }

    void toggleTwiceRestoresTheList() {
        // A relative XDG_CONFIG_HOME is ignored.
        qputenv("XDG_CONFIG_HOME", "config");
        qputenv("HOME", QByteArray::fromStdString((*dir_ / "home").string()));
        const fs::path folder = *dir_ / "home" / ".config" / "autostart";
        QVERIFY(LoginItem::addLoginItemWithPath(program("other"), false));
        const QStringList before = listing(folder);
        QVERIFY(LoginItem::toggleLoginItemAsHidden(true));
        QVERIFY(LoginItem::isLoginItem());
        QCOMPARE(listing(folder).size(), 2);
        QVERIFY(listing(folder).last().endsWith("\nX-Orvane-Hidden=true\n"));
        QVERIFY(LoginItem::toggleLoginItemAsHidden(true));
        QCOMPARE(listing(folder), before);
    }

    void writesEntriesThatValidateForAnyPath() {
        const char* validator = "/usr/bin/desktop-file-validate";
        if (!QFileInfo::exists(validator)) QSKIP("desktop-file-validate is not installed");
        const QString odd = program("with blank, $HOME \"quote\" `tick` back\\slash 100% done");
        QVERIFY(LoginItem::addLoginItemWithPath(odd, false));
        QVERIFY(LoginItem::isLoginItemWithPath(odd, false));
        QVERIFY(LoginItem::addLoginItemWithPath(program("orvane-helper"), true));
        for (const auto& entry : fs::directory_iterator(autostart())) {
            QProcess validate;
            validate.start(validator, {QString::fromStdString(entry.path().string())});
            QVERIFY(validate.waitForFinished(60000));
            const QByteArray said = validate.readAllStandardOutput() + validate.readAllStandardError();
            QVERIFY2(validate.exitCode() == 0 && said.isEmpty(), said.constData());
        }
    }
};

QTEST_GUILESS_MAIN(LoginItemTest)
#include "login_item_test.moc"
