// The engine's texts for people are looked up by their English wording, so a translation can be
// plugged in by a front end; without one the English text is shown.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace orvane {

using Translator = std::function<std::string(std::string_view english)>;

// The text to show for `english`: the translator's answer, or `english` itself when there is no
// translator or it has no translation (answers "").
std::string localizedString(std::string_view english);

// Replaces the translator and answers the previous one; an empty one shows English.
Translator setTranslator(Translator translator);

}  // namespace orvane
