#include "desktop_entry.h"

namespace orvane {

namespace {

constexpr std::string_view kBlanks = " \t";
// Characters that an Exec argument may hold only inside double quotes.
constexpr std::string_view kReserved = " \t\n\"'\\><~|&;$*?#()`";
// Characters that a backslash must precede inside double quotes.
constexpr std::string_view kQuotedEscapes = "\"`$\\";

std::string_view trimmed(std::string_view s) {
    const auto first = s.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return s.substr(first, s.find_last_not_of(kBlanks) - first + 1);
}

// Undoes the escapes of a string value. An unknown escape is kept as it stands, so that the
// backslashes of an Exec line's quoting reach execProgram.
std::string unescapedValue(std::string_view value) {
    std::string out;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] != '\\' || i + 1 == value.size()) {
            out += value[i];
            continue;
        }
        switch (const char c = value[++i]) {
        case 's': out += ' '; break;
        case 'n': out += '\n'; break;
        case 't': out += '\t'; break;
        case 'r': out += '\r'; break;
        case '\\': out += '\\'; break;
        default: out.append({'\\', c});
        }
    }
    return out;
}

}  // namespace

DesktopEntryKeys desktopEntryKeys(std::string_view text) {
    DesktopEntryKeys keys;
    bool inGroup = false;
    while (!text.empty()) {
        const auto end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        if (line.ends_with('\r')) line.remove_suffix(1);
        if (line.empty() || line.front() == '#') continue;
        if (line.front() == '[') {
            inGroup = trimmed(line) == "[Desktop Entry]";
            continue;
        }
        const auto equals = line.find('=');
        if (!inGroup || equals == std::string_view::npos) continue;
        keys.try_emplace(std::string(trimmed(line.substr(0, equals))),
                         unescapedValue(trimmed(line.substr(equals + 1))));
    }
    return keys;
}

bool isTrueValue(std::string_view value) { return value == "true" || value == "1"; }

std::string execProgram(std::string_view exec) {
    std::string program;
    std::size_t i = exec.find_first_not_of(kBlanks);
    if (i == std::string_view::npos) return {};
    const bool quoted = exec[i] == '"';
    for (i += quoted; i < exec.size(); ++i) {
        char c = exec[i];
        if (quoted && c == '"') return program;
        if (!quoted && (c == ' ' || c == '\t')) break;
        if (quoted && c == '\\' && i + 1 < exec.size())
            c = exec[++i];
        else if (c == '%' && i + 1 < exec.size() && exec[i + 1] == '%')
            ++i;
        program += c;
    }
    return quoted ? std::string() : program;
}

std::string escapedValue(std::string_view value) {
    std::string out;
    for (const char c : value) {
        switch (c) {
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\t': out += "\\t"; break;
        case '\r': out += "\\r"; break;
        default: out += c;
        }
    }
    if (out.starts_with(' ')) out.replace(0, 1, "\\s");  // a leading blank would be read as padding
    return out;
}

std::string execValue(std::string_view program) {
    // The quoting comes first, then the escapes of a string value apply to the whole line.
    const bool quote = program.empty() || program.find_first_of(kReserved) != std::string_view::npos;
    std::string line = quote ? "\"" : "";
    for (const char c : program) {
        if (quote && kQuotedEscapes.find(c) != std::string_view::npos) line += '\\';
        line += c;
        if (c == '%') line += '%';  // a lone % would start a field code
    }
    if (quote) line += '"';
    return escapedValue(line);
}

}  // namespace orvane
