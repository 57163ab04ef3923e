// Whole Safari files, ours (tests/data/safari) and the real ones when they lie beside the clone:
// they load, survive our writers (byte for byte where Apple's layout allows it), agree with
// plistlib and plistutil, go through the command line, and mutated copies of them either fail
// cleanly or read as something our writer keeps.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

#include "test_support.h"

namespace orvane::plist {
namespace {

namespace fs = std::filesystem;

// One set of files and what is known of them.
struct Corpus {
    std::vector<fs::path> bookmarks, all;  // all: the bookmarks files and the keyed archives taken out of them
    // Binary files written without leftovers (repeated values, unreferenced objects): our writer
    // must give their bytes back. Every other binary file loses its leftovers.
    std::set<std::string> appleLayout;
    fs::path binaryCopy, xmlCopy;  // one tree in both encodings
};

Corpus corpusOf(const test::SafariFiles& files, const std::set<std::string>& appleLayout, std::string_view binaryCopy,
                std::string_view xmlCopy) {
    Corpus c{files.bookmarks, files.bookmarks, {}, {}, {}};
    c.all.insert(c.all.end(), files.derived.begin(), files.derived.end());
    for (const fs::path& path : c.all) {
        const std::string name = path.filename().string();
        if (std::any_of(appleLayout.begin(), appleLayout.end(),
                        [&](const std::string& part) { return name.find(part) != std::string::npos; }))
            c.appleLayout.insert(name);
        if (name.find(binaryCopy) != std::string::npos) c.binaryCopy = path;
        if (name.find(xmlCopy) != std::string::npos) c.xmlCopy = path;
    }
    return c;
}

Corpus ownFiles() {
    return corpusOf(test::ownSafariFiles(), {"safari2-japanese", "windows-imported", "safari5-binary"},
                    "safari5-binary", "safari5-xml");
}

Corpus realFiles() {
    return corpusOf(test::realSafariFiles(), {"plist_binary", "plagger", "IPED"},
                    "linkchecker_tests_checker_data_plist_binary", "linkchecker_tests_checker_data_plist_xml");
}

Value load(const fs::path& path) {
    ReadResult r = readPropertyList(test::readFile(path));
    EXPECT_TRUE(r) << path.filename() << ": " << r.status.description();
    return r.value;
}

void bothWritersRoundTripAndBinaryKeepsApplesLayout(const Corpus& corpus) {
    ASSERT_GE(corpus.all.size(), 7u);
    std::size_t byteIdentical = 0;
    for (const fs::path& path : corpus.all) {
        SCOPED_TRACE(path.filename().string());
        const std::string original = test::readText(path);
        const Value value = load(path);
        ASSERT_FALSE(value.isNull());
        // No file holds a date, so nothing loses sub-second precision: the XML trip must be exact.
        const std::string xml = test::toXml(value), out = test::toBinary(value);
        const ReadResult fromXml = readXml(test::bytesOf(xml)), back = readBinary(test::bytesOf(out));
        ASSERT_TRUE(fromXml && back) << "XML: " << fromXml.status.description()
                                     << ", binary: " << back.status.description();
        EXPECT_TRUE(fromXml.value == value);
        EXPECT_EQ(test::toXml(fromXml.value), xml);
        EXPECT_TRUE(back.value == value);
        if (!original.starts_with("bplist00")) continue;
        // Files written without repeated values or unreferenced objects are laid out as ours. The others
        // hold such leftovers: we drop them, and our own output is a fixed point.
        if (corpus.appleLayout.contains(path.filename().string())) {
            EXPECT_EQ(out, original);
            ++byteIdentical;
        } else {
            EXPECT_LT(out.size(), original.size());
            EXPECT_EQ(test::toBinary(back.value), out);
        }
    }
    EXPECT_EQ(byteIdentical, 3u);
    EXPECT_EQ(corpus.appleLayout.size(), 3u);
}

void binaryAndXmlCopiesOfOneFileReadTheSame(const Corpus& corpus) {
    ASSERT_FALSE(corpus.binaryCopy.empty() || corpus.xmlCopy.empty());
    const Value fromBinary = load(corpus.binaryCopy), fromXml = load(corpus.xmlCopy);
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

void plistlibReadsOurCopiesAsTheOriginals(const Corpus& corpus) {
    if (test::python3().empty()) GTEST_SKIP() << "no python3 to run plistlib";
    test::TempDir dir;
    std::vector<std::string> argv{test::python3(), (dir / "compare.py").string()};
    test::writeFile(dir / "compare.py", kCompareScript);
    const std::vector<fs::path>& files = corpus.all;
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
void plistutilReadsOurBinaryCopiesAsTheOriginals(const Corpus& corpus) {
    const std::string plistutil = "/usr/bin/plistutil";
    if (!fs::exists(plistutil)) GTEST_SKIP() << "plistutil (libplist-utils) is not installed";
    test::TempDir dir;
    for (const fs::path& path : corpus.bookmarks) {
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

void commandLineConvertsAndPrints(const Corpus& corpus) {
    test::TempDir dir;
    for (const fs::path& path : corpus.all) {
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
void mutatedCopiesFailCleanlyOrRoundTrip(const Corpus& corpus) {
    std::mt19937_64 rng(7);
    auto below = [&](std::size_t n) { return static_cast<std::size_t>(rng() % n); };
    int mutations = 0, accepted = 0;
    for (const fs::path& path : corpus.all) {
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

// Our own files stand in for the real ones on a clone without them, and run beside them otherwise.
TEST(OwnFiles, BothWritersRoundTripAndBinaryKeepsApplesLayout) {
    bothWritersRoundTripAndBinaryKeepsApplesLayout(ownFiles());
}
TEST(OwnFiles, BinaryAndXmlCopiesOfOneFileReadTheSame) { binaryAndXmlCopiesOfOneFileReadTheSame(ownFiles()); }
TEST(OwnFiles, PlistlibReadsOurCopiesAsTheOriginals) { plistlibReadsOurCopiesAsTheOriginals(ownFiles()); }
TEST(OwnFiles, PlistutilReadsOurBinaryCopiesAsTheOriginals) { plistutilReadsOurBinaryCopiesAsTheOriginals(ownFiles()); }
TEST(OwnFiles, CommandLineConvertsAndPrints) { commandLineConvertsAndPrints(ownFiles()); }
TEST(OwnFiles, MutatedCopiesFailCleanlyOrRoundTrip) { mutatedCopiesFailCleanlyOrRoundTrip(ownFiles()); }

TEST(RealFiles, BothWritersRoundTripAndBinaryKeepsApplesLayout) {
    ORVANE_SKIP_WITHOUT_REAL_FILES();
    bothWritersRoundTripAndBinaryKeepsApplesLayout(realFiles());
}
TEST(RealFiles, BinaryAndXmlCopiesOfOneFileReadTheSame) {
    ORVANE_SKIP_WITHOUT_REAL_FILES();
    binaryAndXmlCopiesOfOneFileReadTheSame(realFiles());
}
TEST(RealFiles, PlistlibReadsOurCopiesAsTheOriginals) {
    ORVANE_SKIP_WITHOUT_REAL_FILES();
    plistlibReadsOurCopiesAsTheOriginals(realFiles());
}
TEST(RealFiles, PlistutilReadsOurBinaryCopiesAsTheOriginals) {
    ORVANE_SKIP_WITHOUT_REAL_FILES();
    plistutilReadsOurBinaryCopiesAsTheOriginals(realFiles());
}
TEST(RealFiles, CommandLineConvertsAndPrints) {
    ORVANE_SKIP_WITHOUT_REAL_FILES();
    commandLineConvertsAndPrints(realFiles());
}
TEST(RealFiles, MutatedCopiesFailCleanlyOrRoundTrip) {
    ORVANE_SKIP_WITHOUT_REAL_FILES();
    mutatedCopiesFailCleanlyOrRoundTrip(realFiles());
}

}  // namespace
}  // namespace orvane::plist
