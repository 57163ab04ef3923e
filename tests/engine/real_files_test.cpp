// The real Safari files: they load, survive our writers (byte for byte where Apple's layout allows it), agree with
// plistlib, go through the command line, and mutated copies of them either fail cleanly or read as something our writer
// keeps.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "test_support.h"

namespace orvane::plist {
namespace {

namespace fs = std::filesystem;

std::vector<fs::path> allRealFiles() {
    std::vector<fs::path> files = test::realBookmarkFiles();
    for (const fs::path& p : test::realDerivedFiles()) files.push_back(p);
    return files;
}

Value load(const fs::path& path) {
    ReadResult r = readPropertyList(test::readFile(path));
    EXPECT_TRUE(r) << path.filename() << ": " << r.status.description();
    return r.value;
}

bool contains(const fs::path& path, std::string_view part) {
    return path.filename().string().find(part) != std::string::npos;
}

TEST(RealFiles, BothWritersRoundTripAndBinaryKeepsApplesLayout) {
    const std::vector<fs::path> files = allRealFiles();
    ASSERT_GE(files.size(), 9u);
    int byteIdentical = 0;
    for (const fs::path& path : files) {
        SCOPED_TRACE(path.filename().string());
        const std::string original = test::readText(path);
        const Value value = load(path);
        ASSERT_FALSE(value.isNull());
        // No real file holds a date, so nothing loses sub-second precision: the XML trip must be exact.
        const std::string xml = test::toXml(value), out = test::toBinary(value);
        const ReadResult fromXml = readXml(test::bytesOf(xml)), back = readBinary(test::bytesOf(out));
        ASSERT_TRUE(fromXml && back) << "XML: " << fromXml.status.description()
                                     << ", binary: " << back.status.description();
        EXPECT_TRUE(fromXml.value == value);
        EXPECT_EQ(test::toXml(fromXml.value), xml);
        EXPECT_TRUE(back.value == value);
        if (!original.starts_with("bplist00")) continue;
        // These three were written without duplicate scalars or unreferenced objects, so our layout
        // is theirs. The others hold such leftovers: we drop them, and our own output is a fixed point.
        if (contains(path, "plist_binary") || contains(path, "plagger") || contains(path, "IPED")) {
            EXPECT_EQ(out, original);
            ++byteIdentical;
        } else {
            EXPECT_LT(out.size(), original.size());
            EXPECT_EQ(test::toBinary(back.value), out);
        }
    }
    EXPECT_EQ(byteIdentical, 3);
}

TEST(RealFiles, BinaryAndXmlCopiesOfOneFileReadTheSame) {
    fs::path binaryCopy, xmlCopy;
    for (const fs::path& path : test::realBookmarkFiles()) {
        if (contains(path, "linkchecker_tests_checker_data_plist_binary")) binaryCopy = path;
        if (contains(path, "linkchecker_tests_checker_data_plist_xml")) xmlCopy = path;
    }
    ASSERT_FALSE(binaryCopy.empty() || xmlCopy.empty());
    const Value fromBinary = load(binaryCopy), fromXml = load(xmlCopy);
    EXPECT_FALSE(fromBinary.isNull());
    EXPECT_TRUE(fromBinary == fromXml);
}

// Compares plistlib's reading of each original with its reading of our binary and XML copies.
// XML keeps whole seconds and writes UIDs as {"CF$UID": n}, so those are compared that way.
const char* const kCompareScript = R"PY(
import datetime, plistlib, sys

def norm(v, xml):
    if isinstance(v, dict): return ('dict', sorted((k, norm(x, xml)) for k, x in v.items()))
    if isinstance(v, list): return [norm(x, xml) for x in v]
    if xml and isinstance(v, datetime.datetime): return v.replace(microsecond=0)
    if xml and isinstance(v, plistlib.UID): return norm({'CF$UID': v.data}, xml)
    return v

a = sys.argv
for original, ours_binary, ours_xml in zip(a[1::3], a[2::3], a[3::3]):
    want = plistlib.load(open(original, 'rb'))
    for path, xml in ((ours_binary, False), (ours_xml, True)):
        print('same' if repr(norm(plistlib.load(open(path, 'rb')), xml)) == repr(norm(want, xml)) else 'differs', path)
)PY";

TEST(RealFiles, PlistlibReadsOurCopiesAsTheOriginals) {
    if (test::python3().empty()) GTEST_SKIP() << "no python3 to run plistlib";
    test::TempDir dir;
    std::vector<std::string> argv{test::python3(), (dir / "compare.py").string()};
    test::writeFile(dir / "compare.py", kCompareScript);
    const std::vector<fs::path> files = allRealFiles();
    for (std::size_t i = 0; i < files.size(); ++i) {
        const Value value = load(files[i]);
        const fs::path bin = dir / (std::to_string(i) + ".bin"), x = dir / (std::to_string(i) + ".xml");
        test::writeFile(bin, test::toBinary(value));
        test::writeFile(x, test::toXml(value));
        argv.insert(argv.end(), {files[i].string(), bin.string(), x.string()});
    }
    test::RunResult py = test::run(argv);
    ASSERT_EQ(py.exitCode, 0) << py.err;
    EXPECT_EQ(py.out.find("differs"), std::string::npos) << py.out;
    EXPECT_EQ(static_cast<std::size_t>(std::count(py.out.begin(), py.out.end(), '\n')), 2 * files.size()) << py.out;
}

// A second independent reader: libplist's converter must see the same XML in our binary copy as
// in the original, key order included.
TEST(RealFiles, PlistutilReadsOurBinaryCopiesAsTheOriginals) {
    const std::string plistutil = "/usr/bin/plistutil";
    if (!fs::exists(plistutil)) GTEST_SKIP() << "plistutil (libplist-utils) is not installed";
    test::TempDir dir;
    for (const fs::path& path : test::realBookmarkFiles()) {
        SCOPED_TRACE(path.filename().string());
        const fs::path ours = dir / "ours.plist";
        test::writeFile(ours, test::toBinary(load(path)));
        test::RunResult expected = test::run({plistutil, "-f", "xml", "-i", path.string(), "-o", "-"});
        test::RunResult actual = test::run({plistutil, "-f", "xml", "-i", ours.string(), "-o", "-"});
        ASSERT_TRUE(expected.exitCode == 0 && actual.exitCode == 0)
            << "original: " << expected.err << "ours: " << actual.err;
        EXPECT_FALSE(actual.out.empty());
        EXPECT_EQ(actual.out, expected.out);
    }
}

TEST(RealFiles, CommandLineConvertsAndPrints) {
    test::TempDir dir;
    for (const fs::path& path : allRealFiles()) {
        SCOPED_TRACE(path.filename().string());
        const Value value = load(path);
        const fs::path bin = dir / "out.bin", x = dir / "out.xml";
        test::RunResult toXml =
            test::run({test::cliPath(), "convert", "--format", "xml", "-o", x.string(), path.string()});
        EXPECT_EQ(toXml.exitCode, 0) << toXml.err;
        test::RunResult toBin = test::run({test::cliPath(), "convert", "-o", bin.string(), path.string()});
        EXPECT_EQ(toBin.exitCode, 0) << toBin.err;
        EXPECT_EQ(test::readText(bin), test::toBinary(value));
        EXPECT_EQ(test::readText(x), test::toXml(value));
        if (path.extension() != ".plist") continue;  // a derived blob, not a bookmarks file
        test::RunResult print = test::run({test::cliPath(), "print", path.string()});
        EXPECT_EQ(print.exitCode, 0) << print.err;
        EXPECT_NE(print.out.find("\nBookmarks Bar/\n"), std::string::npos) << print.out;
    }
}

// Mutations of every real file: each must fail with a message, or read as a tree that our
// binary writer writes and reads back unchanged. Under the sanitizers this also hunts overruns.
TEST(RealFiles, MutatedCopiesFailCleanlyOrRoundTrip) {
    std::mt19937_64 rng(7);
    auto below = [&](std::size_t n) { return static_cast<std::size_t>(rng() % n); };
    int mutations = 0, accepted = 0;
    for (const fs::path& path : allRealFiles()) {
        const std::string original = test::readText(path);
        std::vector<std::pair<std::string, std::string>> mutants;
        for (std::size_t n = 0; n < original.size(); n += 7)
            mutants.push_back({"cut at " + std::to_string(n), original.substr(0, n)});
        for (int i = 0; i < 150; ++i) {
            std::string m = original;
            for (std::size_t flips = 1 + below(3); flips > 0; --flips)
                m[below(m.size())] ^= static_cast<char>(1 + below(255));
            mutants.push_back({"flip " + std::to_string(i), m});
        }
        if (original.starts_with("bplist")) {
            // offset size, reference size, object count, root, table start: each set to an extreme.
            const std::pair<std::size_t, unsigned> fields[] = {{26, 1}, {25, 1}, {24, 8}, {16, 8}, {8, 8}};
            const std::uint64_t extremes[] = {0,
                                              1,
                                              2,
                                              3,
                                              7,
                                              8,
                                              9,
                                              255,
                                              256,
                                              1ull << 32,
                                              1ull << 62,
                                              UINT64_MAX,
                                              original.size(),
                                              original.size() - 32,
                                              original.size() - 33};
            for (const auto& [fromEnd, width] : fields)
                for (std::uint64_t v : extremes) {
                    std::string m = original;
                    for (unsigned k = 0; k < width; ++k)
                        m[m.size() - fromEnd + k] = static_cast<char>(v >> (8 * (width - 1 - k)));
                    mutants.push_back({"trailer byte -" + std::to_string(fromEnd) + " = " + std::to_string(v), m});
                }
        }
        for (int i = 0; i < 60; ++i) {
            const std::size_t from = below(original.size()),
                              len = 1 + below(std::min<std::size_t>(64, original.size() - from));
            std::string zeroed = original, copied = original, grown = original;
            zeroed.replace(from, len, len, '\0');
            const std::size_t to = below(original.size() - len + 1);
            copied.replace(to, len, original, from, len);
            grown.insert(to, original, from, len);
            const std::string n = std::to_string(i);
            mutants.insert(mutants.end(), {{"zero " + n, zeroed}, {"copy " + n, copied}, {"duplicate " + n, grown}});
        }
        for (const auto& [what, bytes] : mutants) {
            const ReadResult r = readPropertyList(test::bytesOf(bytes));
            EXPECT_TRUE(r || !r.status.message.empty())
                << path.filename() << ", " << what << ": refused without a message";
            if (!r) continue;
            ++accepted;
            const ReadResult back = readBinary(test::bytesOf(test::toBinary(r.value)));
            EXPECT_TRUE(back && back.value == r.value)
                << path.filename() << ", " << what << ": " << back.status.description();
        }
        mutations += static_cast<int>(mutants.size());
    }
    // Most damage is caught, but some (a flipped byte inside a title) leaves a readable file.
    EXPECT_GT(accepted, 0);
    EXPECT_LT(accepted, mutations);
}

}  // namespace
}  // namespace orvane::plist
