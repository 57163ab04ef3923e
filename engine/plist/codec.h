// Reading and writing property lists: the formats, the parse status and the entry points.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "value.h"

namespace orvane::plist {

// The numbers are those the bookmarks file's callers expect.
enum class Format : int { Unknown = 0, OpenStep = 1, Xml = 100, Binary = 200 };

const char* formatName(Format f);  // "binary", "XML", "OpenStep", "unknown"

// Every reader stops at this nesting depth: deeper input is refused, not recursed into.
inline constexpr std::size_t kMaxDepth = 512;

// What a reader found wrong, and where. Binary input reports a byte offset; text input reports
// a line (1-based) and the byte offset of the problem.
struct ParseStatus {
    std::string message;  // empty when the parse succeeded
    std::uint64_t offset = 0;
    std::uint64_t line = 0;  // 0 for binary input

    bool ok() const { return message.empty(); }
    // "line 12: <message>" or "byte 345: <message>"; empty when ok.
    std::string description() const;

    static ParseStatus atByte(std::uint64_t offset, std::string message);
    static ParseStatus atLine(std::uint64_t line, std::uint64_t offset, std::string message);
};

struct ReadResult {
    Value value;                      // Null when the parse failed
    Format format = Format::Unknown;  // what the bytes were taken to be, also on failure
    ParseStatus status;

    explicit operator bool() const { return status.ok(); }
};

// Detects the format from the bytes and reads with the matching reader.
ReadResult readPropertyList(std::span<const std::uint8_t> bytes);
Format detectFormat(std::span<const std::uint8_t> bytes);

ReadResult readBinary(std::span<const std::uint8_t> bytes);
ReadResult readXml(std::span<const std::uint8_t> bytes);
ReadResult readOpenStep(std::span<const std::uint8_t> bytes);

// Where writers put their bytes. A sink that fails remembers it; writers stop early when
// `failed()` turns true and report the failure.
class Sink {
public:
    virtual ~Sink() = default;
    virtual void write(const void* bytes, std::size_t n) = 0;
    virtual bool failed() const { return false; }
    void write(std::string_view s) { write(s.data(), s.size()); }
    // How many bytes have been written, and writing again over some of them: a writer that
    // learns a value only at the end (a checksum of what it wrote) leaves room for it first.
    virtual std::uint64_t position() const = 0;
    virtual void overwrite(std::uint64_t offset, std::string_view bytes) = 0;
    // Whether overwrite() may be called from another thread while write() runs, also past the
    // end of what is written so far: then a writer may write two parts of its output at once.
    virtual bool overwritesConcurrently() const { return false; }
};

class StringSink final : public Sink {
public:
    void write(const void* bytes, std::size_t n) override { out.append(static_cast<const char*>(bytes), n); }
    std::uint64_t position() const override { return out.size(); }
    void overwrite(std::uint64_t offset, std::string_view bytes) override {
        out.replace(static_cast<std::size_t>(offset), bytes.size(), bytes);
    }
    using Sink::write;
    std::string out;
};

// Writers answer an empty string on success, otherwise what could not be written and why
// (a null value, a tree nested too deeply, a sink that failed, a text XML cannot hold).
std::string writeBinary(const Value& root, Sink& sink);
std::string writeXml(const Value& root, Sink& sink);

}  // namespace orvane::plist
