// Binary property lists: the writer's exact bytes, and the reader against malformed and hostile files.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "files/atomic_file.h"
#include "plist/binary_document.h"
#include "test_support.h"

namespace orvane::plist {
namespace {

using namespace std::string_literals;
using namespace test;

ReadResult read(const std::string& file) { return readBinary(bytesOf(file)); }

// What `file` reads as; a refusal fails the calling test.
Value readOk(const std::string& file) {
    ReadResult r = read(file);
    EXPECT_TRUE(r) << r.status.description();
    return r.value;
}

std::string writeError(const Value& v) {
    StringSink sink;
    return writeBinary(v, sink);
}

std::string BE(std::uint64_t v, unsigned width) {
    std::string out;
    for (unsigned i = width; i-- > 0;) out += static_cast<char>(v >> (8 * i));
    return out;
}

std::uint64_t fromBE(const std::string& s, std::size_t at, std::size_t width) {
    std::uint64_t v = 0;
    for (std::size_t i = 0; i < width; ++i) v = v << 8 | static_cast<std::uint8_t>(s.at(at + i));
    return v;
}

struct Trailer {
    unsigned offsetSize, refSize;
    std::uint64_t numObjects, top, tableOffset;
};

Trailer trailerOf(const std::string& file) {
    const std::size_t t = file.size() - 32;
    return {static_cast<std::uint8_t>(file[t + 6]), static_cast<std::uint8_t>(file[t + 7]), fromBE(file, t + 8, 8),
            fromBE(file, t + 16, 8), fromBE(file, t + 24, 8)};
}

// A file holding `objects` in order, with a matching offset table and trailer.
std::string assemble(const std::vector<std::string>& objects, unsigned refSize = 1, unsigned offsetSize = 1) {
    std::string file = "bplist00";
    std::vector<std::uint64_t> offsets;
    for (const std::string& o : objects) offsets.push_back(file.size()), file += o;
    const std::uint64_t table = file.size();
    for (std::uint64_t off : offsets) file += BE(off, offsetSize);
    return file + std::string(6, '\0') + static_cast<char>(offsetSize) + static_cast<char>(refSize) +
           BE(objects.size(), 8) + BE(0, 8) + BE(table, 8);
}

// Where `at` lies in `file`; negative counts from the end.
std::size_t position(const std::string& file, std::int64_t at) {
    return at < 0 ? file.size() - static_cast<std::size_t>(-at) : static_cast<std::size_t>(at);
}

// `file` with the `width` bytes at `at` replaced by `value`.
std::string patched(const std::string& file, std::int64_t at, std::uint64_t value, unsigned width) {
    return file.substr(0, position(file, at)) + BE(value, width) + file.substr(position(file, at) + width);
}

// Trailer fields, counted from the end of the file.
constexpr std::int64_t kOffsetSize = -26, kRefSize = -25, kNumObjects = -24, kTop = -16, kTableOffset = -8;

TEST(BinaryWrite, ObjectsAreEncodedAsAppleWritesThem) {
    Value shared = A({S("k")}), fifteen = Value::array();
    for (int i = 0; i < 15; ++i) fifteen.asArray()->append(S("a"));
    const struct {
        const char* name;
        Value value;
        std::string objects; /* between header and offset table */
    } cases[] = {
        {"booleans", A({Value::boolean(false), Value::boolean(true)}), "\xA2\x01\x02\x08\x09"s},
        {"256", I(256), "\x11\x01\x00"s},
        {"65536", I(65536), "\x12\x00\x01\x00\x00"s},
        {"2^32", I(std::int64_t{1} << 32), "\x13\x00\x00\x00\x01\x00\x00\x00\x00"s},
        {"-1 takes 8 bytes", I(-1), "\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s},
        {"2^63 takes 16 bytes", Value::unsignedInteger(std::uint64_t{1} << 63),
         "\x14" + BE(0, 8) + BE(std::uint64_t{1} << 63, 8)},
        {"real", Value::real(1.5), "\x23\x3F\xF8\x00\x00\x00\x00\x00\x00"s},
        {"date", Value::date(-0.5), "\x33\xBF\xE0\x00\x00\x00\x00\x00\x00"s},
        {"NUL is ASCII", S("a\0b"s),
         "\x53"
         "a\0b"s},
        {"Latin-1 is UTF-16, astral is two units", S("\xC3\xA9\xF0\x9F\x98\x80"), "\x63\x00\xE9\xD8\x3D\xDE\x00"s},
        {"300 bytes of data", Value::data(std::vector<std::uint8_t>(300, 0xAB)),
         "\x4F\x11\x01\x2C" + std::string(300, '\xAB')},
        {"UIDs of 1, 2 and 4 bytes", A({Value::uid(5), Value::uid(0x1234), Value::uid(0x12345)}),
         "\xA3\x01\x02\x03\x80\x05\x81\x12\x34\x83\x00\x01\x23\x45"s},
        {"empty containers", A({A({}), D({})}), "\xA2\x01\x02\xA0\xD0"s},
        {"15 equal strings, one object", fifteen,
         "\xAF\x10\x0F" + std::string(15, '\x01') +
             "\x51"
             "a"},
        {"key equal to its value", D({{"k", S("k")}}),
         "\xD1\x01\x01\x51"
         "k"s},
        {"1, 1.0 and true stay apart", A({I(1), Value::real(1.0), Value::boolean(true), I(1)}),
         "\xA4\x01\x02\x03\x01\x10\x01\x23\x3F\xF0\x00\x00\x00\x00\x00\x00\x09"s},
        {"a shared container is written twice", A({shared, shared}),
         "\xA2\x01\x03\xA1\x02\x51"
         "k\xA1\x02"s},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string file = toBinary(c.value);
        ASSERT_GE(file.size(), 8u + 32u);
        EXPECT_EQ(file.substr(0, 8), "bplist00");
        const Trailer t = trailerOf(file);
        EXPECT_EQ(t.top, 0u);
        EXPECT_EQ(file.substr(8, t.tableOffset - 8), c.objects);
        // The offset table follows the last object, the trailer follows the table, then the file ends.
        EXPECT_EQ(file.size(), t.tableOffset + t.numObjects * t.offsetSize + 32);
        EXPECT_EQ(fromBE(file, t.tableOffset, t.offsetSize), 8u);  // the root is object 0
        EXPECT_EQ(file.substr(file.size() - 32, 6), std::string(6, '\0'));
        EXPECT_TRUE(readOk(file) == c.value);
    }
}

TEST(BinaryWrite, OffsetAndReferenceSizesAreTheSmallestThatFit) {
    // References name objects: 1 byte up to 255 objects, 2 up to 65535.
    for (const auto& [objects, refSize] : {std::pair{255u, 1u}, {256u, 2u}, {65535u, 2u}, {65536u, 4u}}) {
        SCOPED_TRACE(objects);
        Value root = Value::array();
        for (unsigned i = 0; i + 1 < objects; ++i) root.asArray()->append(I(i));
        const std::string file = toBinary(root);
        const Trailer t = trailerOf(file);
        EXPECT_EQ(t.numObjects, objects);
        EXPECT_EQ(t.refSize, refSize);
        // The array's first reference, after its marker and its long-form count, names object 1.
        const std::size_t countWidth = objects - 1 < 256 ? 1 : objects - 1 < 65536 ? 2 : 4;
        EXPECT_EQ(file.substr(8 + 2 + countWidth, refSize), BE(1, refSize));
        EXPECT_TRUE(readOk(file) == root);
    }
    // Offsets are sized by where the offset table starts, as Apple's and plistlib's writers do.
    for (const auto& [tableOffset, offsetSize] : {std::pair{255u, 1u}, {256u, 2u}, {65535u, 2u}, {65536u, 4u}}) {
        SCOPED_TRACE(tableOffset);
        const std::size_t header = tableOffset < 1000 ? 3 : 4;  // 0x4F and a 1- or 2-byte length int
        const std::string file = toBinary(Value::data(std::vector<std::uint8_t>(tableOffset - 8 - header, 7)));
        const Trailer t = trailerOf(file);
        EXPECT_EQ(t.tableOffset, tableOffset);
        EXPECT_EQ(t.offsetSize, offsetSize);
        EXPECT_EQ(file.substr(tableOffset, offsetSize), BE(8, offsetSize));
        EXPECT_EQ(file.size(), tableOffset + offsetSize + 32);
    }
}

TEST(BinaryWrite, RefusesWhatCannotBeWritten) {
    // A tree that contains itself is stopped by the same depth limit as one 513 deep.
    Value loop = A({S("a")});
    loop.asArray()->append(loop);
    for (const Value& refused : {A({S("a"), D({{"k", Value()}})}), nested(513), loop})
        EXPECT_NE(writeError(refused), "");
    loop.asArray()->clear();  // breaks the cycle, which would otherwise never be freed
    EXPECT_EQ(writeError(nested(512)), "");
    FailingSink failing(0);
    EXPECT_NE(writeBinary(D({{"k", S("v")}}), failing), "");
}

TEST(BinaryRead, MalformedFilesFailWithAMessageAndWhere) {
    const std::string good = assemble({"\xA1\x01"s,
                                       "\x51"
                                       "a"s});  // ["a"]; offset table at 12
    std::vector<std::string> many{"\xA0"s};
    many.resize(258, "\x08"s);
    // Expansion bombs: 40 arrays, each holding the next one twice, expand to 2^41 - 1 objects in
    // 202 bytes; the limit is the file's size plus 2^22, which the copies of array 18 pass.
    std::vector<std::string> levels;
    for (char i = 1; i <= 40; ++i) levels.push_back("\xA2"s + i + i);
    levels.push_back("\x09"s);
    const std::string bomb = assemble(levels);
    // The same through aliased offsets: every object is referenced once, but objects 2L - 1 and
    // 2L both start where array L does.
    std::string aliased = "bplist00";
    for (char level = 0; level < 40; ++level)
        aliased += "\xA2"s + static_cast<char>(2 * level + 1) + static_cast<char>(2 * level + 2);
    aliased += "\x09";
    const std::size_t aliasedTable = aliased.size();
    for (int i = 0; i <= 80; ++i) aliased += static_cast<char>(8 + 3 * ((i + 1) / 2));
    aliased += std::string(6, '\0') + "\x01\x01"s + BE(81, 8) + BE(0, 8) + BE(aliasedTable, 8);
    auto chain = [](std::size_t depth) {
        std::vector<std::string> objects;
        for (std::size_t i = 1; i < depth; ++i) objects.push_back("\xA1" + BE(i, 2));
        objects.push_back("\xA0"s);
        return assemble(objects, 2, 2);
    };
    const std::string zeros(16, '\0');

    // `at` is where the reader must say the fault lies; negative counts from the end.
    const struct {
        const char* name;
        std::string file;
        std::int64_t at;
        std::string_view says = {};
    } cases[] = {
        {"40 bytes", "bplist00" + std::string(32, '\0'), 0},
        {"bad magic", "xplist00" + good.substr(8), 0},
        {"offset size 0", patched(good, kOffsetSize, 0, 1), kOffsetSize},
        {"offset size 9", patched(good, kOffsetSize, 9, 1), kOffsetSize},
        {"reference size 0", patched(good, kRefSize, 0, 1), kRefSize},
        {"1-byte references for 258 objects", assemble(many, 1, 2), kRefSize},
        {"no objects", patched(good, kNumObjects, 0, 8), kNumObjects},
        {"root out of range", patched(good, kTop, 2, 8), kTop},
        {"table at the trailer", patched(good, kTableOffset, good.size() - 32, 8), kTableOffset},
        {"table in the header", patched(good, kTableOffset, 8, 8), kTableOffset},
        {"extra byte in the table", good.substr(0, good.size() - 32) + '\0' + good.substr(good.size() - 32), 12},
        {"table length overflows", patched(assemble({"\x09"s}, 1, 8), kNumObjects, (std::uint64_t{1} << 61) + 1, 8), 9},
        {"offset into the table", patched(good, 13, 12, 1), 13},
        {"offset into the header", patched(good, 13, 7, 1), 13},
        {"unused object outside", patched(assemble({"\x09"s, "\x08"s}), 11, 200, 1), 11},
        {"reference out of range",
         assemble({"\xA1\x02"s,
                   "\x51"
                   "a"s}),
         9},
        {"string too long",
         assemble({"\x55"
                   "ab"s}),
         8},
        {"UTF-16 of 3 units in 4 bytes",
         assemble({"\x63"
                   "abcd"s}),
         8},
        {"UTF-16 count above INT64_MAX",
         assemble({"\x6F\x13\x80\x00\x00\x00\x00\x00\x00\x00\x00"
                   "a"s}),
         9},
        {"data too long",
         assemble({"\x4F\x10\x20"
                   "abc"s}),
         8},
        {"array too long", assemble({"\xA5\x00\x00"s}), 8},
        {"dictionary of INT64_MAX", assemble({"\xDF\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x00"s}), 8},
        {"length is a real",
         assemble({"\x5F\x23\x40\x00\x00\x00\x00\x00\x00\x00"
                   "ab"s}),
         9},
        {"length is a 32-byte int", assemble({"\x5F\x15" + std::string(32, '\0') + "ab"}), 9},
        {"length marker at the table", assemble({"\xA1\x01"s, "\x5F"s}), 10},
        {"length runs into the table", assemble({"\x5F\x13\x00"s}), 9},
        {"integer key",
         assemble({"\xD1\x01\x02"s, "\x10\x01"s,
                   "\x51"
                   "a"s}),
         9},
        {"marker 0x00 (null)", assemble({"\x00"s + zeros}), 8},
        {"marker 0x0F (fill)", assemble({"\x0F"s + zeros}), 8},
        {"marker 0x21 (2-byte real)", assemble({"\x21"s + zeros}), 8},
        {"marker 0x32 (date)", assemble({"\x32"s + zeros}), 8},
        {"marker 0xC1 (set)", assemble({"\xC1\x00"s + zeros}), 8},
        {"marker 0x70 (UTF-8 string) inside an array", assemble({"\xA1\x01"s, "\x70"s + zeros}), 10},
        {"32-byte integer", assemble({"\x15" + std::string(32, '\0')}), 8},
        {"16-byte integer cut short", assemble({"\x14" + std::string(8, '\0')}), 8},
        {"real cut short", assemble({"\x23\x00"s}), 8},
        {"date cut short", assemble({"\x33"s}), 8},
        {"8-byte UID above 2^32", assemble({"\x87\x00\x00\x00\x01\x00\x00\x00\x00"s}), 8},
        {"UID one byte short", assemble({"\x83\x00\x00\x00"s}), 8},
        {"dictionary containing itself",
         assemble({"\xD1\x01\x00"s,
                   "\x51"
                   "k"s}),
         10, "itself"},
        {"two arrays containing each other", assemble({"\xA1\x01"s, "\xA1\x00"s}), 11, "itself"},
        {"expansion bomb", bomb, 8 + 3 * 18,
         "object 18: copying its shared arrays and dictionaries for every reference would make "
         "more than 4194506 objects, the limit for a file of 202 bytes (its size plus 4194304)"},
        {"expansion bomb through aliased offsets", aliased, 8 + 3 * 18, "object 35: copying"},
        {"513 nested arrays", chain(513), 8 + 3 * 512, "nested"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ReadResult r = read(c.file);
        EXPECT_FALSE(r);
        EXPECT_EQ(r.format, Format::Binary);
        EXPECT_TRUE(r.value.isNull());
        EXPECT_EQ(r.status.offset, position(c.file, c.at)) << r.status.message;
        EXPECT_EQ(r.status.line, 0u);
        EXPECT_NE(r.status.message.find(c.says), std::string::npos) << r.status.message;
    }

    EXPECT_TRUE(readOk(chain(512)) == nested(512));
}

TEST(BinaryRead, WhatAppleAcceptsReadsAsAppleReadsIt) {
    // 17 keys go past the linear duplicate scan; key 16 repeats key 0.
    std::vector<std::string> bigObjects{"\xDF\x10\x11"s};
    Value bigExpected = Value::dictionary();
    for (int i = 0; i < 17; ++i) bigObjects[0] += static_cast<char>(i < 16 ? 1 + i : 1);  // the keys' references
    for (int i = 0; i < 17; ++i) bigObjects[0] += static_cast<char>(17 + i);              // the values' references
    for (int i = 0; i < 16; ++i) bigObjects.push_back("\x52k"s + static_cast<char>('a' + i));
    for (int i = 0; i < 17; ++i) bigObjects.push_back("\x10"s + static_cast<char>(i));
    for (int i = 0; i < 16; ++i) bigExpected.asDictionary()->set("k"s + static_cast<char>('a' + i), I(i));

    const struct {
        const char* name;
        std::string file;
        Value expected;
    } cases[] = {
        {"Latin-1 in an ASCII string", assemble({"\x53\xE9\x80\xFF"s}), S("\xC3\xA9\xC2\x80\xC3\xBF")},
        {"lone surrogates", assemble({"\x64\xDC\x00\x00\x41\xD8\x3D\xD8\x00"s}),
         S("\xED\xB0\x80"
           "A\xED\xA0\xBD\xED\xA0\x80")},
        {"duplicate key keeps the first", assemble({"\xD2\x01\x01\x02\x03"s, "\x51k"s, "\x10\x01"s, "\x10\x02"s}),
         D({{"k", I(1)}})},
        {"duplicate key in a large dictionary", assemble(bigObjects), bigExpected},
        {"16-byte integer keeps the low 64 bits, unsigned", assemble({"\x14" + BE(1, 8) + BE(UINT64_MAX, 8)}),
         Value::unsignedInteger(UINT64_MAX)},
        {"short integers are unsigned",
         assemble({"\xA3\x01\x02\x03"s, "\x10\xFF"s, "\x11\xFF\xFF"s, "\x12\xFF\xFF\xFF\xFF"s}),
         A({I(255), I(65535), I(4294967295)})},
        {"8-byte integers are signed", assemble({"\x13" + BE(UINT64_MAX, 8)}), I(-1)},
        {"4-byte real", assemble({"\x22\x3F\xC0\x00\x00"s}), Value::real(1.5)},
        {"two offsets at one string",
         patched(assemble({"\xA2\x01\x02"s,
                           "\x51"
                           "a"s,
                           "\x51"
                           "b"s}),
                 17, 11, 1),
         A({S("a"), S("a")})},
        {"an array in two places",
         assemble({"\xA2\x01\x01"s, "\xA1\x02"s,
                   "\x51"
                   "a"s}),
         A({A({S("a")}), A({S("a")})})},
        {"two offsets at one dictionary",
         patched(assemble({"\xA2\x01\x02"s, "\xD1\x03\x03"s, "\xD0"s,
                           "\x51"
                           "k"s}),
                 19, 11, 1),
         A({D({{"k", S("k")}}), D({{"k", S("k")}})})},
        {"3-byte references and offsets",
         assemble({"\xA1\x00\x00\x01"s,
                   "\x51"
                   "a"s},
                  3, 3),
         A({S("a")})},
        {"header bplist05", "bplist05" + assemble({"\x09"s}).substr(8), Value::boolean(true)},
        {"UID of 32 bits", assemble({"\x87" + BE(UINT32_MAX, 8)}), Value::uid(UINT32_MAX)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Value v = readOk(c.file);
        EXPECT_TRUE(v == c.expected);
        EXPECT_TRUE(readOk(toBinary(v)) == v);  // whatever was read survives our own writer unchanged
    }

    // A string referenced twice is read once and shared; one referenced once is not kept aside.
    const Value shared = readOk(assemble({"\xA3\x01\x01\x02"s,
                                          "\x51"
                                          "a"s,
                                          "\x51"
                                          "a"s}));
    ASSERT_TRUE(shared.isArray());
    const Array& items = *shared.asArray();
    EXPECT_TRUE(items[0].isSameObject(items[1]));
    EXPECT_FALSE(items[0].isSameObject(items[2]));
    EXPECT_TRUE(items[0] == items[2]);

    // A container in two places reads as two copies: a change to one is not seen in the other.
    const Value copies = readOk(assemble({"\xA2\x01\x01"s, "\xA0"s}));
    ASSERT_TRUE(copies.isArray());
    (*copies.asArray())[0].asArray()->append(I(1));
    EXPECT_TRUE((*copies.asArray())[1] == A({}));
}

TEST(BinaryRead, LoneSurrogatesAreRewrittenWithTheirCodeUnits) {
    const std::string file = assemble({"\x64\xDC\x00\x00\x41\xD8\x3D\xD8\x00"s});
    EXPECT_EQ(toBinary(read(file).value), file);
}

// The root's entries in reverse and a new string after them: a changed container, shared keys met
// in a new order, a string of the edit's.
class ReverseRoot final : public DocumentEdit {
public:
    explicit ReverseRoot(const BinaryDocument& document) : document_(document) {}
    OutItem root() const override { return OutItem::object(document_.root()); }
    bool changes(ObjectId object, std::vector<OutItem>& entries) const override {
        if (object != document_.root()) return false;
        for (std::size_t i = document_.count(object); i-- > 0;) entries.push_back(OutItem::object(document_.element(object, i)));
        entries.push_back({OutItem::String, 0});
        return true;
    }
    void made(OutItem, std::vector<OutItem>&) const override {}
    std::size_t madeCount() const override { return 0; }
    std::span<const std::string> strings() const override { return strings_; }

private:
    const BinaryDocument& document_;
    std::vector<std::string> strings_{"appended"};
};

TEST(BinaryEditedWrite, TwoThreadsWriteWhatOneWrites) {
    // Large enough that half of it lies deep inside the tree.
    Value root = Value::array();
    for (int i = 0; i < 3000; ++i)
        root.asArray()->append(D({{"title", S("entry " + std::to_string(i))},
                                  {"n", I(i)},
                                  {"list", A({S("x" + std::to_string(i)), I(100000 + i)})}}));
    StringSink written;
    ASSERT_EQ(writeBinary(root, written), "");
    const std::vector<std::uint8_t> bytes(written.out.begin(), written.out.end());
    BinaryDocument document;
    ASSERT_TRUE(document.open(bytes));
    ASSERT_TRUE(document.scalarsAdjoin());  // else the writer would not split its work
    const std::atomic<bool> never = false;
    const ReverseRoot edit(document);

    ScalarIndex index;
    ASSERT_TRUE(index.build(document, never));
    StringSink one;  // written by one thread: a sink in memory takes no writes from another
    ASSERT_EQ(writeEdited(document, std::move(index), edit, one, 1), "");

    const TempDir dir;
    const int fd = ::open((dir / "two").c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    ASSERT_GE(fd, 0);
    DescriptorSink two(fd);
    ASSERT_TRUE(index.build(document, never));
    ASSERT_EQ(writeEdited(document, std::move(index), edit, two, 1), "");
    ::close(fd);
    EXPECT_EQ(readText(dir / "two"), one.out);

    // And both as the values would be written.
    Value reversed = Value::array();
    const auto& items = root.asArray()->items();
    for (auto it = items.rbegin(); it != items.rend(); ++it) reversed.asArray()->append(*it);
    reversed.asArray()->append(S("appended"));
    StringSink expected;
    ASSERT_EQ(writeBinary(reversed, expected), "");
    EXPECT_EQ(one.out, expected.out);
}

}  // namespace
}  // namespace orvane::plist
