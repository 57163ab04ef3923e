// Cross-checks with Python's plistlib: what we write must load there as the same values, what
// plistlib writes must load here as the same values, and plistlib must lay out our binary files
// exactly as we do.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "plist/codec.h"
#include "plist/utf.h"
#include "test_support.h"

namespace orvane::plist {
namespace {

// Random trees of every type plistlib can hold in both formats (it has no UIDs in XML), within
// what both can represent: no NaN or infinity, whole-second dates in plausible years, no control
// characters but tab and newline (XML cannot hold them, and plistlib turns "\r" into "\n").
// plistlib shares equal scalars by Python equality, which merges 0.0 and -0.0: only -0.0 is made.
class Generator {
public:
    explicit Generator(std::uint64_t seed) : rng_(seed) {}

    // Above depth 3, half the values are containers.
    Value any(int depth) {
        std::uint64_t kind = below(depth >= 3 ? 7 : 14);
        if (kind >= 9) kind = 7 + kind % 2;
        ++kinds[kind];
        switch (kind) {
        case 0: return Value::boolean(below(2) == 1);
        case 1: return integer();
        case 2: return real();
        case 3: return Value::date(static_cast<double>(static_cast<std::int64_t>(below(150ull * 365 * 86400)) - 50ll * 365 * 86400));
        case 4:
        case 5: return Value::string(text());
        case 6: {
            std::vector<std::uint8_t> bytes(below(4) == 0 ? 0 : below(120));
            for (auto& b : bytes) b = static_cast<std::uint8_t>(rng_());
            return Value::data(bytes);
        }
        default: return container(kind == 7, depth);
        }
    }

    Value container(bool array, int depth) {
        Value c = array ? Value::array() : Value::dictionary();
        for (std::uint64_t n = below(depth == 0 ? 20 : 6); n > 0; --n) {
            if (array)
                c.asArray()->append(any(depth + 1));
            else
                c.asDictionary()->set(text(), any(depth + 1));
        }
        return c;
    }

    std::array<int, 9> kinds{};

private:
    std::uint64_t below(std::uint64_t n) { return rng_() % n; }

    Value integer() {
        static const std::int64_t edges[] = {0, 1, 14, 15, 255, 256, 65535, 65536, 4294967295, 4294967296, INT64_MAX, INT64_MIN, -1, -256};
        switch (below(5)) {
        case 0: return Value::integer(edges[below(std::size(edges))]);
        case 1: return Value::integer(static_cast<std::int64_t>(below(100000)) - 50000);
        case 2: return Value::integer(static_cast<std::int64_t>(rng_()));
        case 3: return Value::unsignedInteger(below(3) == 0 ? UINT64_MAX : rng_() | (std::uint64_t{1} << 63));
        default: return Value::integer(static_cast<std::int64_t>(below(300)));
        }
    }

    Value real() {
        static const double edges[] = {-0.0, 1.0, -3.0, 42.0, 1e300, -2.5e-300, 5e-324, 0.1, 9007199254740993.0, 1e16};
        if (below(2) == 0) return Value::real(edges[below(std::size(edges))]);
        for (;;) {
            std::uint64_t bits = rng_();
            double d;
            std::memcpy(&d, &bits, sizeof d);
            if (std::isfinite(d) && d != 0.0) return Value::real(d);
        }
    }

    std::string text() {
        static const char* const pieces[] = {"a", "Z", "0", " ", "Title", "<", ">", "&", "\"", "'", "\t", "\n", "/", "\\",
                                             "\xC3\xA9", "\xC3\x9F", "\xE5\xB1\xA5\xE6\xAD\xB4", "\xC2\xA0", "\xE2\x80\xA8",
                                             "\xF0\x9F\x98\x80", "\xF0\x9D\x84\x9E", "\xEF\xBF\xBD", "\xD8\xB3"};
        const bool asciiOnly = below(2) == 0;
        std::string s;
        for (std::uint64_t n = below(4) == 0 ? 0 : below(below(3) == 0 ? 40 : 12); n > 0; --n) {
            const char* piece = pieces[below(asciiOnly ? 14 : std::size(pieces))];
            s += piece;
        }
        return s;
    }

    std::mt19937_64 rng_;
};

// A canonical text for a value, the same as the Python `describe` below: dictionaries by sorted
// key, reals by their bits, dates in ISO form, data in hex, strings with non-ASCII escaped.
void quote(std::string_view s, std::string& out) {
    out += '"';
    std::size_t pos = 0;
    std::uint32_t cp;
    while (pos < s.size() && utf::nextCodePoint(s, pos, cp)) {
        if (cp >= 0x20 && cp < 0x7F && cp != '"' && cp != '\\') {
            out += static_cast<char>(cp);
        } else {
            char buf[16];
            std::snprintf(buf, sizeof buf, "\\u{%x}", cp);
            out += buf;
        }
    }
    out += '"';
}

void describe(const Value& v, std::string& out) {
    char buf[64];
    switch (v.type()) {
    case Type::Boolean: out += v.asBool() ? "T" : "F"; return;
    case Type::Integer: out += "i" + (v.isBigUnsigned() ? std::to_string(v.asUInt64()) : std::to_string(v.asInt64())); return;
    case Type::Real: {
        double d = v.asReal();
        std::uint64_t bits;
        std::memcpy(&bits, &d, sizeof bits);
        std::snprintf(buf, sizeof buf, "r%016llx", static_cast<unsigned long long>(bits));
        out += buf;
        return;
    }
    case Type::Date: {
        using namespace std::chrono;
        const sys_seconds t{seconds{978307200 + static_cast<std::int64_t>(v.asDate())}};
        const auto day = floor<days>(t);
        const year_month_day ymd{day};
        const hh_mm_ss hms{t - day};
        std::snprintf(buf, sizeof buf, "d%04d-%02u-%02uT%02d:%02d:%02d", static_cast<int>(ymd.year()), static_cast<unsigned>(ymd.month()),
                      static_cast<unsigned>(ymd.day()), static_cast<int>(hms.hours().count()), static_cast<int>(hms.minutes().count()),
                      static_cast<int>(hms.seconds().count()));
        out += buf;
        return;
    }
    case Type::String: out += 's'; quote(v.asString(), out); return;
    case Type::Data:
        out += 'x';
        for (std::uint8_t b : v.asData()) std::snprintf(buf, sizeof buf, "%02x", b), out += buf;
        return;
    case Type::Array: {
        out += '[';
        const auto& items = v.asArray()->items();
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (i) out += ',';
            describe(items[i], out);
        }
        out += ']';
        return;
    }
    case Type::Dictionary: {
        std::vector<const Dictionary::Entry*> entries;
        for (const auto& e : v.asDictionary()->entries()) entries.push_back(&e);
        std::sort(entries.begin(), entries.end(), [](auto* a, auto* b) { return a->key.asString() < b->key.asString(); });
        out += '{';
        for (std::size_t i = 0; i < entries.size(); ++i) {
            if (i) out += ',';
            quote(entries[i]->key.asString(), out);
            out += ':';
            describe(entries[i]->value, out);
        }
        out += '}';
        return;
    }
    case Type::Null:
    case Type::Uid: break;
    }
    out += "?";
}

// For each N: loads N.bin and N.xml (ours), prints their descriptions, says whether plistlib
// writes N.bin byte for byte as we did, and writes N.py.xml (from N.bin) and N.py.bin (from N.xml).
const char* const kScript = R"PY(
import datetime, plistlib, struct, sys

def q(s):
    return '"' + ''.join(c if ' ' <= c <= '~' and c not in '"\\' else '\\u{%x}' % ord(c) for c in s) + '"'

def describe(v):
    if isinstance(v, bool): return 'T' if v else 'F'
    if isinstance(v, int): return 'i%d' % v
    if isinstance(v, float): return 'r' + struct.pack('>d', v).hex()
    if isinstance(v, datetime.datetime): return 'd' + v.isoformat()
    if isinstance(v, str): return 's' + q(v)
    if isinstance(v, bytes): return 'x' + v.hex()
    if isinstance(v, list): return '[' + ','.join(map(describe, v)) + ']'
    if isinstance(v, dict): return '{' + ','.join(q(k) + ':' + describe(v[k]) for k in sorted(v)) + '}'
    raise TypeError(type(v).__name__)

folder, count = sys.argv[1], int(sys.argv[2])
for i in range(count):
    base = '%s/%d' % (folder, i)
    try:
        ours = open(base + '.bin', 'rb').read()
        fromBinary = plistlib.loads(ours)
        fromXml = plistlib.loads(open(base + '.xml', 'rb').read())
        print(i, 'B', describe(fromBinary))
        print(i, 'X', describe(fromXml))
        same = plistlib.dumps(fromBinary, fmt=plistlib.FMT_BINARY, sort_keys=False) == ours
        print(i, 'L', 'same' if same else 'differs')
        open(base + '.py.xml', 'wb').write(plistlib.dumps(fromBinary, fmt=plistlib.FMT_XML))
        open(base + '.py.bin', 'wb').write(plistlib.dumps(fromXml, fmt=plistlib.FMT_BINARY))
    except Exception as e:
        print(i, 'E', type(e).__name__, str(e).replace('\n', ' '))
)PY";

TEST(Plistlib, RandomValuesAgreeBothWays) {
    if (test::python3().empty()) GTEST_SKIP() << "no python3 to run plistlib";
    constexpr int kValues = 300;
    Generator gen(0x0A17A5E);
    std::vector<Value> values;
    for (int i = 0; i < kValues; ++i) values.push_back(i % 10 == 0 ? gen.any(3) : gen.container(i % 2 == 0, 0));  // a few scalar roots too
    for (int kind = 0; kind < 9; ++kind) EXPECT_GT(gen.kinds[kind], 20) << "the generator hardly makes kind " << kind;

    test::TempDir dir;
    for (int i = 0; i < kValues; ++i) {
        StringSink bin, xml;
        ASSERT_EQ(writeBinary(values[i], bin), "") << i;
        ASSERT_EQ(writeXml(values[i], xml), "") << i;
        test::writeFile(dir / (std::to_string(i) + ".bin"), bin.out);
        test::writeFile(dir / (std::to_string(i) + ".xml"), xml.out);
    }
    test::writeFile(dir / "check.py", kScript);
    test::RunResult py = test::run({test::python3(), (dir / "check.py").string(), dir.path().string(), std::to_string(kValues)});
    ASSERT_EQ(py.exitCode, 0) << py.err;

    std::map<std::pair<int, char>, std::string> answers;
    std::istringstream lines(py.out);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        int i;
        char what;
        fields >> i >> what;
        fields.get();
        std::getline(fields, answers[{i, what}]);
    }
    auto answer = [&](int i, char what) { return answers[{i, what}]; };
    int layoutsDiffering = 0;
    for (int i = 0; i < kValues; ++i) {
        SCOPED_TRACE("value " + std::to_string(i));
        ASSERT_EQ(answer(i, 'E'), "");
        std::string expected;
        describe(values[i], expected);
        EXPECT_EQ(answer(i, 'B'), expected) << "plistlib reads our binary differently";
        EXPECT_EQ(answer(i, 'X'), expected) << "plistlib reads our XML differently";
        layoutsDiffering += answer(i, 'L') != "same";

        const auto pyBin = test::readFile(dir / (std::to_string(i) + ".py.bin"));
        const auto pyXml = test::readFile(dir / (std::to_string(i) + ".py.xml"));
        ReadResult fromBin = readBinary(pyBin);
        ASSERT_TRUE(fromBin) << fromBin.status.description();
        EXPECT_TRUE(fromBin.value == values[i]) << "plistlib's binary reads differently";
        ReadResult fromXml = readXml(pyXml);
        ASSERT_TRUE(fromXml) << fromXml.status.description();
        EXPECT_TRUE(fromXml.value == values[i]) << "plistlib's XML reads differently";
    }
    EXPECT_EQ(layoutsDiffering, 0) << "plistlib lays out a tree differently from our binary writer";
}

}  // namespace
}  // namespace orvane::plist
