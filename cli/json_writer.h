// JSON for scripts (print --json, sort --dry-run --json), written as it goes with two spaces of
// indentation. Texts are written as the engine keeps them: an unpaired surrogate (half of a
// character that a title lost when it was cut) becomes its \uXXXX escape, so nothing the file
// holds is lost, and bytes that are no text at all become U+FFFD.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::cli {

class JsonWriter {
public:
    explicit JsonWriter(std::FILE* out) : out_(out) {}
    JsonWriter(const JsonWriter&) = delete;
    JsonWriter& operator=(const JsonWriter&) = delete;
    // Writes what is left, ending the text with a newline once the outermost value is closed.
    ~JsonWriter() { flush(); }

    void beginObject() { open('{'); }
    void endObject() { close('}'); }
    void beginArray() { open('['); }
    void endArray() { close(']'); }
    // Names the next value inside an object.
    JsonWriter& key(std::string_view name);
    void string(std::string_view text);
    void number(std::uint64_t n);
    void boolean(bool b);
    void null();

    // Appends `text` as a JSON string, quotes included.
    static void appendString(std::string& out, std::string_view text);

private:
    void beforeValue();
    void open(char bracket);
    void close(char bracket);
    void newline();
    void flush();

    std::FILE* out_;
    std::string buffer_;
    std::vector<bool> filled_;  // per open container: whether it has a member yet
    bool afterKey_ = false;
};

}  // namespace orvane::cli
