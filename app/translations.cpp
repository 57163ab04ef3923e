#include "translations.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

#include "support/translation.h"

namespace orvane {

void installTranslations(QCoreApplication& application) {
    auto* own = new QTranslator(&application);
    if (own->load(QLocale(), QStringLiteral("orvane"), QStringLiteral("_"), QStringLiteral(":/i18n")))
        QCoreApplication::installTranslator(own);
    auto* qt = new QTranslator(&application);
    if (qt->load(QLocale(), QStringLiteral("qtbase"), QStringLiteral("_"),
                 QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(qt);

    setTranslator([](std::string_view english) {
        const QByteArray key(english.data(), static_cast<qsizetype>(english.size()));
        return QCoreApplication::translate(kEngineContext, key.constData()).toStdString();
    });
}

}  // namespace orvane
