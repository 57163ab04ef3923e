// Orvane's texts in the user's language: the application's own (tr() with the English text as
// the key) and the engine's, whose translation hook is served from the same catalogue.
#pragma once

#include <QStringList>

class QCoreApplication;

namespace orvane {

// Loads the catalogue for the user's languages (German and French ship with Orvane), plus Qt's
// own for its standard dialogs, and connects the engine's hook. English needs no catalogue.
void installTranslations(QCoreApplication& application);

// The context under which the engine's texts are translated.
inline constexpr char kEngineContext[] = "Engine";

// Every English text that the engine looks up, as the catalogue lists them.
QStringList engineTexts();

}  // namespace orvane
