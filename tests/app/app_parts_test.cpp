// The application's smaller pieces: Safari's checks, the About panel, alert formats and the
// translation catalogues.
#include <QDialog>
#include <QLabel>
#include <QTranslator>
#include <QtTest>

#include "about_controller.h"
#include "app_fakes.h"
#include "job/messages.h"
#include "message_format.h"
#include "safari_bug.h"
#include "support/log.h"
#include "support/translation.h"
#include "test_support.h"
#include "translations.h"
#include "tree/validation.h"

using namespace orvane;
using namespace orvane::test;

class AppPartsTest : public QObject {
    Q_OBJECT
private slots:
    void safariVersionThreshold();
    void bookmarksBarVisibility();
    void refreshActivatesOnlyAnOutdatedSafariShowingItsBar();
    void aboutPanelShowsTheWidestIconAndTheVersion();
    void alertFormats();
    void everyEngineTextIsInTheCatalogue();
    void germanAndFrenchCatalogues();
};

void AppPartsTest::safariVersionThreshold() {
    const QList<std::pair<std::optional<QString>, bool>> cases = {
        {std::nullopt, true}, {"", true},      {"4.1.3", true},   {"5", true},    {"5.0.6", true},
        {"5.1", true},        {"5.1.0", true}, {"5.1.1", false},  {"5.2", false}, {"6.0", false},
        {"15.6.1", false},    {"5.x.9", true}, {"5.1.1b", false},
    };
    for (const auto& [version, outdated] : cases) {
        QVERIFY2(isSafariVersionOutdated(version) == outdated, qPrintable(version.value_or("(none)")));
        FakeSafari safari;
        safari.version = version;
        QCOMPARE(safariBug_isSafariOutdated(safari), outdated);
    }
}

void AppPartsTest::bookmarksBarVisibility() {
    TempDir dir;
    FakeSafari safari;
    safari.preferences = QString::fromStdString((dir / "prefs.plist").string());
    QStringList log;
    ScopedLogSink sink([&](std::string_view line) { log.append(QString::fromUtf8(line.data(), line.size())); });
    QVERIFY(safariBug_isTheBookmarksBarVisisble(safari));  // no preferences file
    const plist::Value yes = plist::Value::boolean(true), no = plist::Value::boolean(false);
    for (const auto& [preferences, visible] : {std::pair{toXml(D({{"ShowFavoritesBar", no}})), false},
                                               {toBinary(D({{"ShowFavoritesBar", yes}})), true},
                                               {toXml(D({{"HomePage", S("x")}})), false},
                                               {std::string("bplist00 broken"), true}}) {
        writeFile(dir / "prefs.plist", preferences);
        QCOMPARE(safariBug_isTheBookmarksBarVisisble(safari), visible);
    }
    // Only the unreadable file is logged, with the reader's reason and the format it took.
    QCOMPARE(log.size(), 1);
    QVERIFY2(
        log[0].startsWith("BOOL safariBug_isTheBookmarksBarVisisble() Could not read Safari‘s preferences: byte ") &&
            log[0].endsWith(", format: 200"),
        qPrintable(log[0]));
}

void AppPartsTest::refreshActivatesOnlyAnOutdatedSafariShowingItsBar() {
    TempDir dir;
    writeFile(dir / "hidden.plist", toXml(D({{"ShowFavoritesBar", plist::Value::boolean(false)}})));
    struct Case {
        bool running;
        std::optional<QString> version;
        QString preferences;
        bool activates;
    };
    const QString missing = QString::fromStdString((dir / "none.plist").string());
    const QString hidden = QString::fromStdString((dir / "hidden.plist").string());
    const QList<Case> cases = {{true, "5.0", missing, true},
                               {false, "5.0", missing, false},
                               {true, "6.0", missing, false},
                               {true, "5.0", hidden, false}};
    for (const Case& test : cases) {
        FakeSafari safari;
        safari.version = test.version;
        safari.preferences = test.preferences;
        if (test.running) safari.running = {{"com.apple.Safari", 11}, {"com.apple.Safari", 12}};
        safariBug_refreshSafari(safari);
        QCOMPARE(safari.askedFor, QStringList{"com.apple.Safari"});
        const QStringList expected = {"activate com.apple.Safari", "activate com.apple.Safari", "sleep 0.1",
                                      "activate self"};
        QCOMPARE(safari.events, test.activates ? expected : QStringList{});
    }
}

void AppPartsTest::aboutPanelShowsTheWidestIconAndTheVersion() {
    QCOMPARE(widestRepresentation({{16, 16}, {32, 32}, {128, 128}, {512, 512}, {512, 512}}), 3);
    QCOMPARE(widestRepresentation({{0, 0}, {0, 10}}), -1);
    QCOMPARE(widestRepresentation({}), -1);
    QCOMPARE(widestRepresentation({{64, 64}, {16, 16}}), 0);

    const QIcon icon = applicationIcon();
    QCOMPARE(icon.availableSizes().last(), QSize(512, 512));

    QCoreApplication::setApplicationVersion(QStringLiteral("1.2.3"));
    AboutController about;
    about.showWindow(nullptr);
    QDialog* window = about.window();
    QCOMPARE(about.versionLabel()->text(), QStringLiteral("Orvane 1.2.3"));
    QVERIFY(!about.imageView()->pixmap().isNull());
    about.showWindow(nullptr);
    QCOMPARE(about.window(), window);  // the same panel, not a second one

    // An icon with nothing in it leaves the view as the interface file made it.
    const QPixmap before = about.imageView()->pixmap();
    about.setAppImage(QIcon());
    QCOMPARE(about.imageView()->pixmap().cacheKey(), before.cacheKey());
}

void AppPartsTest::alertFormats() {
    QCOMPARE(formatMessage("Cannot add %@ to your login items.", {"OrvaneHelper.app"}),
             QStringLiteral("Cannot add OrvaneHelper.app to your login items."));
    QCOMPARE(formatMessage("error: %d, format: %ld", {"7000", "200"}), QStringLiteral("error: 7000, format: 200"));
    QCOMPARE(formatMessage("100%% sure"), QStringLiteral("100% sure"));
    // A message passed as its own format reads "%" as a conversion; one without an argument is empty.
    QCOMPARE(formatMessage("/home/a%dir/Bookmarks.plist"), QStringLiteral("/home/air/Bookmarks.plist"));
    QCOMPARE(formatMessage("50% off"), QStringLiteral("50% off"));
    QCOMPARE(formatMessage("trailing %"), QStringLiteral("trailing %"));
}

void AppPartsTest::everyEngineTextIsInTheCatalogue() {
    QStringList looked;
    const Translator previous = setTranslator([&](std::string_view english) {
        looked.append(QString::fromUtf8(english.data(), static_cast<qsizetype>(english.size())));
        return std::string();
    });
    for (std::uint32_t code = 0; code <= 10; ++code) {
        shortMessage(code);
        messageForUser(code, "file");
        messageForUser(code, "file", "Chromium");
    }
    untitledName();
    setTranslator(previous);
    const QStringList listed = engineTexts();
    for (const QString& text : looked) QVERIFY2(listed.contains(text), qPrintable(text));
    for (const QString& text : listed) QVERIFY2(looked.contains(text), qPrintable(text));
}

void AppPartsTest::germanAndFrenchCatalogues() {
    for (const auto& [language, sorted, engine, busy] :
         {std::tuple{
              QLocale::German, "Die Lesezeichen sind jetzt sortiert",
              "Die Lesezeichendatei wurde geöffnet, sortiert und gespeichert.",
              "Chromium verwendet gerade die Lesezeichendatei, bitte beenden Sie das Programm vor dem Sortieren."},
          std::tuple{QLocale::French, "Les signets sont maintenant triés",
                     "Le fichier de signets a été ouvert, trié et enregistré.",
                     "Chromium utilise actuellement le fichier de signets, veuillez le quitter avant de trier."}}) {
        QLocale::setDefault(QLocale(language));
        installTranslations(*QCoreApplication::instance());
        QCOMPARE(QCoreApplication::translate("orvane::AppDelegate", "The bookmarks are now sorted"),
                 QString::fromUtf8(sorted));
        QCOMPARE(QString::fromStdString(messageForUser(0, "f")), QString::fromUtf8(engine));
        // A browser's name goes where the text has its place.
        QCOMPARE(QString::fromStdString(messageForUser(8, "f", "Chromium")), QString::fromUtf8(busy));
        for (QTranslator* translator : QCoreApplication::instance()->findChildren<QTranslator*>())
            QCoreApplication::removeTranslator(translator), delete translator;
    }
    QLocale::setDefault(QLocale::c());
    setTranslator({});
}

QTEST_MAIN(AppPartsTest)
#include "app_parts_test.moc"
