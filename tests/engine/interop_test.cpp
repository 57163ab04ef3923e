// Cross-checks with Python's plistlib: what we write must load there as the same values, what plistlib writes must
// load here as the same values, and plistlib must lay out our binary files exactly as we do.
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <random>

#include "test_support.h"

namespace orvane::plist {
namespace {

// Random trees of every type plistlib can hold in both formats (it has no UIDs in XML), within what both can
// represent: no NaN or infinity, whole-second dates in plausible years, no control characters but tab and newline
// (XML cannot hold them, and plistlib turns "\r" into "\n"). plistlib shares equal scalars by Python equality,
// which merges 0.0 and -0.0: only -0.0 is made.
struct Generator {
    std::mt19937_64 rng;
    std::array<int, 9> kinds{};

    // Above depth 3, half the values are containers.
    Value any(int depth) {
        std::uint64_t kind = below(depth >= 3 ? 7 : 14);
        if (kind >= 9) kind = 7 + kind % 2;
        ++kinds[kind];
        switch (kind) {
        case 0: return Value::boolean(below(2) == 1);
        case 1: return integer();
        case 2: return real();
        case 3:
            return Value::date(
                static_cast<double>(static_cast<std::int64_t>(below(150ull * 365 * 86400)) - 50ll * 365 * 86400));
        case 4:
        case 5: return Value::string(text());
        case 6: {
            std::vector<std::uint8_t> bytes(below(4) == 0 ? 0 : below(120));
            for (auto& b : bytes) b = static_cast<std::uint8_t>(rng());
            return Value::data(bytes);
        }
        default: return container(kind == 7, depth);
        }
    }

    Value container(bool array, int depth) {
        Value c = array ? Value::array() : Value::dictionary();
        for (std::uint64_t n = below(depth == 0 ? 20 : 6); n > 0; --n)
            array ? c.asArray()->append(any(depth + 1)) : c.asDictionary()->set(text(), any(depth + 1));
        return c;
    }

    std::uint64_t below(std::uint64_t n) { return rng() % n; }

    Value integer() {
        static const std::int64_t edges[] = {0,     1,          14,         15,        255,       256, 65535,
                                             65536, 4294967295, 4294967296, INT64_MAX, INT64_MIN, -1,  -256};
        switch (below(5)) {
        case 0: return Value::integer(edges[below(std::size(edges))]);
        case 1: return Value::integer(static_cast<std::int64_t>(below(100000)) - 50000);
        case 2: return Value::integer(static_cast<std::int64_t>(rng()));
        case 3: return Value::unsignedInteger(below(3) == 0 ? UINT64_MAX : rng() | (std::uint64_t{1} << 63));
        default: return Value::integer(static_cast<std::int64_t>(below(300)));
        }
    }

    Value real() {
        static const double edges[] = {-0.0, 1.0, -3.0, 42.0, 1e300, -2.5e-300, 5e-324, 0.1, 9007199254740993.0, 1e16};
        if (below(2) == 0) return Value::real(edges[below(std::size(edges))]);
        for (;;)
            if (const double d = std::bit_cast<double>(rng()); std::isfinite(d) && d != 0.0) return Value::real(d);
    }

    std::string text() {
        static const char* const pieces[] = {"a",
                                             "Z",
                                             "0",
                                             " ",
                                             "Title",
                                             "<",
                                             ">",
                                             "&",
                                             "\"",
                                             "'",
                                             "\t",
                                             "\n",
                                             "/",
                                             "\\",
                                             "\xC3\xA9",
                                             "\xC3\x9F",
                                             "\xE5\xB1\xA5\xE6\xAD\xB4",
                                             "\xC2\xA0",
                                             "\xE2\x80\xA8",
                                             "\xF0\x9F\x98\x80",
                                             "\xF0\x9D\x84\x9E",
                                             "\xEF\xBF\xBD",
                                             "\xD8\xB3"};
        const bool asciiOnly = below(2) == 0;
        std::string s;
        for (std::uint64_t n = below(4) == 0 ? 0 : below(below(3) == 0 ? 40 : 12); n > 0; --n)
            s += pieces[below(asciiOnly ? 14 : std::size(pieces))];
        return s;
    }
};

// plistlib loads each of our files and writes it again in the other format: N.py.xml from our N.bin, N.py.bin
// from our N.xml. Reading those back here closes the loop, so a value plistlib reads differently from what we wrote
// cannot come back equal. It also reports each N.bin it lays out differently from us.
const char* const kScript = R"PY(
import plistlib, sys

for i in range(int(sys.argv[2])):
    base = '%s/%d' % (sys.argv[1], i)
    ours = open(base + '.bin', 'rb').read()
    fromBinary = plistlib.loads(ours)
    if plistlib.dumps(fromBinary, fmt=plistlib.FMT_BINARY, sort_keys=False) != ours: print('layout differs:', i)
    open(base + '.py.xml', 'wb').write(plistlib.dumps(fromBinary, fmt=plistlib.FMT_XML))
    fromXml = plistlib.loads(open(base + '.xml', 'rb').read())
    open(base + '.py.bin', 'wb').write(plistlib.dumps(fromXml, fmt=plistlib.FMT_BINARY))
)PY";

TEST(Plistlib, RandomValuesAgreeBothWays) {
    if (test::python3().empty()) GTEST_SKIP() << "no python3 to run plistlib";
    constexpr int kValues = 300;
    Generator gen{std::mt19937_64(0x0A17A5E)};
    std::vector<Value> values;
    for (int i = 0; i < kValues; ++i)
        values.push_back(i % 10 == 0 ? gen.any(3) : gen.container(i % 2 == 0, 0));  // a few scalar roots too
    for (int kind = 0; kind < 9; ++kind) EXPECT_GT(gen.kinds[kind], 20) << "the generator hardly makes kind " << kind;

    test::TempDir dir;
    auto path = [&](int i, const char* extension) { return dir / (std::to_string(i) + extension); };
    for (int i = 0; i < kValues; ++i) {
        test::writeFile(path(i, ".bin"), test::toBinary(values[i]));
        test::writeFile(path(i, ".xml"), test::toXml(values[i]));
    }
    test::writeFile(dir / "check.py", kScript);
    test::RunResult py =
        test::run({test::python3(), (dir / "check.py").string(), dir.path().string(), std::to_string(kValues)});
    ASSERT_EQ(py.exitCode, 0) << py.err;
    EXPECT_EQ(py.out, "") << "plistlib lays out a tree differently from our binary writer";
    for (int i = 0; i < kValues; ++i) {
        SCOPED_TRACE("value " + std::to_string(i));
        ReadResult fromBin = readBinary(test::readFile(path(i, ".py.bin")));
        ASSERT_TRUE(fromBin) << fromBin.status.description();
        EXPECT_TRUE(fromBin.value == values[i]) << "our XML reads differently in plistlib, or its binary here";
        ReadResult fromXml = readXml(test::readFile(path(i, ".py.xml")));
        ASSERT_TRUE(fromXml) << fromXml.status.description();
        EXPECT_TRUE(fromXml.value == values[i]) << "our binary reads differently in plistlib, or its XML here";
    }
}

}  // namespace
}  // namespace orvane::plist
