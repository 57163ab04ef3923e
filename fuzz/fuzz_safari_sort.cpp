// Differential fuzz target of Safari's store. A bookmarks tree made from the input is written as a
// binary property list and sorted twice: read where it lies and written by copying, and read into
// values and written from them, the way every file was handled before copying. Both must give the
// same answers, the same report and the same bytes.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "plist/codec.h"
#include "stores/safari/safari_store.h"
#include "tree/sorting.h"
#include "tree/title_collator.h"

namespace {

using orvane::plist::Value;

[[noreturn]] void fail(const char* what, const std::string& detail = {}) {
    std::fprintf(stderr, "fuzz_safari_sort: %s%s%s\n", what, detail.empty() ? "" : ": ", detail.c_str());
    std::abort();
}

// Takes the input a byte at a time; zeros once it runs out, which ends every choice.
class Bytes {
public:
    Bytes(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    std::uint8_t next() { return at_ < size_ ? data_[at_++] : 0; }
    unsigned pick(unsigned n) { return next() % n; }
    bool chance(unsigned in) { return pick(in) == 0; }

private:
    const std::uint8_t* data_;
    std::size_t size_, at_ = 0;
};

// Few titles and addresses, so that duplicates, namesakes and ties in every letter case come up.
const char* const kTitles[] = {
    "News",  "news",         "NEWS",          "News 2", "",       "apple",  "Äpfel",
    "zebra", "BookmarksBar", "BookmarksMenu", "日本",   "résumé", "resume", "a\xF0\x9F\x98\x80",
    "Zz"};
const char* const kUrls[] = {
    "https://a.example/", "https://b.example/", "https://a.example/", " ", "", "https://c.example/ü", "place:x"};

class TreeMaker {
public:
    explicit TreeMaker(Bytes& in) : in_(in) {}

    Value root() {
        Value root = Value::dictionary();
        auto* d = root.asDictionary();
        d->set("WebBookmarkType", Value::string(in_.chance(16) ? "WebBookmarkTypeLeaf" : "WebBookmarkTypeList"));
        if (in_.chance(4)) d->set("WebBookmarkFileVersion", Value::integer(in_.pick(3)));
        if (in_.chance(3)) d->set("WebBookmarkUUID", Value::string("root-" + std::to_string(in_.pick(4))));
        Value children = Value::array();
        const unsigned n = in_.pick(7);
        for (unsigned i = 0; i < n; ++i) children.asArray()->append(entry(1));
        if (!in_.chance(8)) children.asArray()->append(special("BookmarksBar"));
        if (!in_.chance(8)) children.asArray()->append(special("BookmarksMenu"));
        const unsigned more = in_.pick(4);
        for (unsigned i = 0; i < more; ++i) children.asArray()->append(entry(1));
        if (!in_.chance(16)) d->set("Children", std::move(children));
        if (in_.chance(3)) d->set("Sync", extras());
        return root;
    }

private:
    Value title() { return Value::string(kTitles[in_.pick(sizeof kTitles / sizeof *kTitles)]); }

    Value special(const char* name) {
        Value folder = node("WebBookmarkTypeList");
        folder.asDictionary()->set("Title", Value::string(name));
        folder.asDictionary()->set("Children", list(2));
        return folder;
    }

    Value node(const char* type) {
        Value node = Value::dictionary();
        node.asDictionary()->set("WebBookmarkType", Value::string(type));
        if (!in_.chance(4))
            node.asDictionary()->set("WebBookmarkUUID", Value::string("uuid-" + std::to_string(serial_++)));
        return node;
    }

    Value list(unsigned depth) {
        Value children = Value::array();
        const unsigned n = depth > 5 ? 0 : in_.pick(9);
        for (unsigned i = 0; i < n; ++i) children.asArray()->append(entry(depth + 1));
        return children;
    }

    Value entry(unsigned depth) {
        switch (in_.pick(10)) {
        case 0:
        case 1:
        case 2:
        case 3: {
            Value leaf = node(in_.chance(16) ? "webbookmarktypeleaf" : "WebBookmarkTypeLeaf");
            auto* d = leaf.asDictionary();
            if (!in_.chance(6)) d->set("URLString", Value::string(kUrls[in_.pick(sizeof kUrls / sizeof *kUrls)]));
            switch (in_.pick(4)) {
            case 0: d->set("Title", title()); break;
            case 1: {
                Value uri = Value::dictionary();
                if (!in_.chance(4)) uri.asDictionary()->set("title", title());
                d->set("URIDictionary", std::move(uri));
                break;
            }
            case 2: {
                d->set("Title", title());
                Value uri = Value::dictionary();
                uri.asDictionary()->set("title", title());
                d->set("URIDictionary", std::move(uri));
                break;
            }
            default: break;  // untitled
            }
            if (in_.chance(5)) d->set("ReadingList", extras());
            return leaf;
        }
        case 4:
        case 5:
        case 6: {
            Value folder = node("WebBookmarkTypeList");
            auto* d = folder.asDictionary();
            if (!in_.chance(5)) d->set("Title", title());
            if (in_.chance(6)) d->set("ShouldOmitFromUI", in_.chance(2) ? Value::boolean(true) : Value::integer(1));
            if (in_.chance(10))
                d->set("Children", Value::string("not a list"));
            else if (!in_.chance(10))
                d->set("Children", list(depth));
            return folder;
        }
        case 7: {
            Value proxy = node("WebBookmarkTypeProxy");
            proxy.asDictionary()->set("Title", title());
            return proxy;
        }
        case 8: return node("WebBookmarkTypeOther");
        default: return in_.chance(2) ? title() : Value::integer(in_.pick(300));
        }
    }

    Value extras() {
        Value d = Value::dictionary();
        auto* x = d.asDictionary();
        x->set("Data", Value::data(std::vector<std::uint8_t>(in_.pick(20), in_.next())));
        x->set("Number", in_.chance(2) ? Value::integer(-static_cast<std::int64_t>(in_.pick(5)))
                                       : Value::real(in_.pick(7) / 2.0));
        x->set("Date", Value::date(in_.pick(1000)));
        x->set("Flag", Value::boolean(in_.chance(2)));
        x->set("Key", Value::uid(in_.pick(70000)));
        return d;
    }

    Bytes& in_;
    unsigned serial_ = 0;
};

struct Outcome {
    orvane::StoreResult loaded;
    bool inPlace = false;
    bool changed = false;
    orvane::SortReport report;
    std::string bytes;
};

Outcome sortOnce(const std::filesystem::path& file, bool copyThrough, const orvane::SortOptions& options,
                 const orvane::TitleCollator& collator) {
    Outcome outcome;
    orvane::safari::SafariStore store(file, file, copyThrough);
    orvane::BookmarkTree tree;
    outcome.loaded = store.load(tree);
    outcome.inPlace = store.readInPlace();
    if (!outcome.loaded.done()) return outcome;
    outcome.changed = orvane::sortTree(tree, options, collator, &outcome.report);
    orvane::plist::StringSink sink;
    if (std::string error = store.writeSorted(tree, std::string("FIXED-IDENTITY"), sink); !error.empty())
        outcome.bytes = "error: " + error;
    else
        outcome.bytes = std::move(sink.out);
    return outcome;
}

std::string describe(const orvane::SortReport& r) {
    std::string text = std::to_string(r.brokenBookmarksRemoved) + "/" + std::to_string(r.duplicatesRemoved) + "/" +
                       std::to_string(r.emptyFoldersRemoved) + "/" + std::to_string(r.foldersReordered) + "/" +
                       std::to_string(r.wouldWrite);
    for (const auto& rename : r.renames) text += "|" + rename.from + ">" + rename.to;
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const orvane::TitleCollator collator("en_US");
    // One scratch file a process, gone when it ends.
    static const struct ScratchFile {
        std::filesystem::path path =
            std::filesystem::temp_directory_path() / ("fuzz_safari_sort-" + std::to_string(::getpid()) + ".plist");
        ~ScratchFile() {
            std::error_code ignored;
            std::filesystem::remove(path, ignored);
        }
    } scratch;
    const std::filesystem::path& file = scratch.path;
    Bytes in(data, size);
    orvane::SortOptions options;
    options.foldersAtTop = in.chance(2);
    options.removeDuplicates = in.chance(2);
    options.renameSamenamed = in.chance(2);
    options.sortBookmarksBar = in.chance(2);
    const Value root = TreeMaker(in).root();
    orvane::plist::StringSink written;
    if (!orvane::plist::writeBinary(root, written).empty()) return 0;
    std::ofstream(file, std::ios::binary | std::ios::trunc) << written.out;

    const Outcome copied = sortOnce(file, true, options, collator);
    const Outcome values = sortOnce(file, false, options, collator);
    if (!copied.inPlace && copied.loaded.done()) fail("a file the binary writer wrote was not read in place");
    if (copied.loaded.status != values.loaded.status || copied.loaded.code != values.loaded.code ||
        copied.loaded.reason != values.loaded.reason)
        fail("the two reads answer differently", copied.loaded.reason + " / " + values.loaded.reason);
    if (copied.changed != values.changed || describe(copied.report) != describe(values.report))
        fail("the two sorts report differently", describe(copied.report) + " / " + describe(values.report));
    if (copied.bytes != values.bytes) fail("copying and writing from values give different bytes");
    return 0;
}
