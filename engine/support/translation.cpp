#include "support/translation.h"

#include <mutex>

namespace orvane {
namespace {
std::mutex gMutex;
Translator gTranslator;
}  // namespace

std::string localizedString(std::string_view english) {
    std::lock_guard lock(gMutex);
    if (gTranslator)
        if (std::string translated = gTranslator(english); !translated.empty()) return translated;
    return std::string(english);
}

Translator setTranslator(Translator translator) {
    std::lock_guard lock(gMutex);
    Translator previous = std::move(gTranslator);
    gTranslator = std::move(translator);
    return previous;
}

}  // namespace orvane
