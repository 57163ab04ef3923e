#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "plist/utf.h"
#include "plist/value.h"
#include "test_support.h"

using namespace orvane::plist;
using namespace orvane::test;

TEST(Value, ShallowCopiesShareChildrenAndDictionariesKeepTheirOrder) {
    Value children = Value::array();
    Value folder = D({{"Children", children}, {"Title", S("News")}, {"WebBookmarkType", S("WebBookmarkTypeList")}});
    Value copy = shallowCopy(folder);
    EXPECT_FALSE(copy.isSameObject(folder));
    children.asArray()->append(S("shared"));
    EXPECT_EQ(copy.asDictionary()->find("Children")->asArray()->size(), 1u);

    // Replacing a value keeps its position; the copy is unaffected by changes to the original's keys.
    Dictionary& dict = *folder.asDictionary();
    dict.set("Title", S("Renamed"));
    ASSERT_EQ(dict.entries().size(), 3u);
    EXPECT_EQ(dict.entries()[1].key.asString(), "Title");
    EXPECT_EQ(dict.entries()[1].value.asString(), "Renamed");
    EXPECT_EQ(copy.asDictionary()->find("Title")->asString(), "News");
    EXPECT_TRUE(dict.remove("Children"));
    EXPECT_FALSE(dict.remove("Children"));
    EXPECT_TRUE(copy.asDictionary()->contains("Children"));
}

TEST(Value, EqualityIsByTypeAndExactValue) {
    // Values above INT64_MAX stay unsigned; smaller ones are ordinary integers.
    const Value big = Value::unsignedInteger(UINT64_MAX);
    EXPECT_TRUE(big.isBigUnsigned());
    const struct {
        Value a, b;
        bool equal;
    } cases[] = {
        {I(1), Value::real(1.0), false},
        {I(1), Value::boolean(true), false},
        {Value::real(1.0), Value::date(1.0), false},
        {Value::real(std::nan("")), Value::real(std::nan("")), true},
        {Value::real(0.0), Value::real(-0.0), false},
        {S("Title"), S("title"), false},
        {Value::unsignedInteger(5), I(5), true},
        {big, I(-1), false},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(cases[i].a == cases[i].b, cases[i].equal) << "case " << i;

    Value a = D({{"x", I(1)}, {"y", Value::array()}}), b = D({{"y", Value::array()}, {"x", I(1)}});
    EXPECT_TRUE(a == b);
    b.asDictionary()->find("y")->asArray()->append(Value());
    EXPECT_FALSE(a == b);
}

TEST(Value, ScalarsKeepTheirValueWhetherHeldInPlaceOrBoxed) {
    // Integers beyond 61 bits, UIDs beyond 32 bits, reals and dates live in boxes on the heap.
    constexpr std::int64_t k60 = std::int64_t{1} << 60;
    for (std::int64_t i :
         std::initializer_list<std::int64_t>{0, -1, k60 - 1, k60, -k60, -k60 - 1, INT64_MIN, INT64_MAX}) {
        const Value v = I(i);
        EXPECT_EQ(v.type(), Type::Integer) << i;
        EXPECT_EQ(v.asInt64(), i);
        EXPECT_FALSE(v.isBigUnsigned()) << i;
        EXPECT_TRUE(v == I(i)) << i;
        EXPECT_FALSE(v == I(i ^ 1)) << i;
    }
    for (std::uint64_t u :
         std::initializer_list<std::uint64_t>{0, UINT32_MAX, std::uint64_t{UINT32_MAX} + 1, UINT64_MAX}) {
        const Value v = Value::uid(u);
        EXPECT_EQ(v.type(), Type::Uid) << u;
        EXPECT_EQ(v.asUid(), u);
        EXPECT_EQ(v.asInt64(), 0);
        EXPECT_TRUE(v.isSameObject(Value::uid(u))) << u;
    }
    EXPECT_EQ(Value::date(-0.5).asDate(), -0.5);
    EXPECT_EQ(Value::date(-0.5).asReal(), 0.0);
    EXPECT_TRUE(Value::boolean(true).asBool());
    EXPECT_FALSE(Value::boolean(false).asBool());
    EXPECT_FALSE(Value::uid(0x10).asBool());

    // Assigning a value to itself keeps it, boxed or not.
    Value d = Value::date(7.0), s = S("kept");
    Value &dRef = d, &sRef = s;
    d = dRef;
    s = sRef;
    EXPECT_EQ(d.asDate(), 7.0);
    EXPECT_EQ(s.asString(), "kept");
}

// Values made in an arena outlive it, and its chunks go back to the heap only with their last
// object (the sanitizer build would report a use after free or a leak otherwise).
TEST(Value, ArenaValuesOutliveTheArenaAndGrowOutOfTheirPlace) {
    std::vector<Value> kept;
    Value list;
    {
        Arena arena;
        list = Value::array(2, &arena);
        for (int i = 0; i < 20000; ++i) {
            Value s = Value::string("bookmark title number " + std::to_string(i), &arena);
            if (i % 3 == 0) kept.push_back(s);
        }
        list.asArray()->append(Value::string("first", &arena));
        list.asArray()->append(Value::dictionary(1, &arena));
    }
    // Past the room it was made with, the array moves its elements to the heap.
    Array& items = *list.asArray();
    for (int i = 0; i < 100; ++i) items.insert(1, I(i));
    ASSERT_EQ(items.size(), 102u);
    EXPECT_EQ(items[0].asString(), "first");
    EXPECT_EQ(items[1].asInt64(), 99);
    EXPECT_TRUE(items[101].isDictionary());
    items.removeAt(0);
    EXPECT_EQ(items[0].asInt64(), 99);
    EXPECT_EQ(kept[1].asString(), "bookmark title number 3");
    EXPECT_EQ(kept.back().asString(), "bookmark title number 19998");
    kept.erase(kept.begin(), kept.begin() + 3000);
    EXPECT_EQ(kept.front().asString(), "bookmark title number 9000");
}

TEST(Utf, SixteenBitUnitsSurviveTheTripThroughUtf8) {
    // "A", an astral character as a pair, a lone high and a lone low surrogate, and a reversed pair.
    const std::uint8_t be[] = {0x00, 0x41, 0xD8, 0x3D, 0xDE, 0x00, 0xD8, 0x00,
                               0x00, 0x42, 0xDC, 0x00, 0xDC, 0x00, 0xD8, 0x00};
    const std::size_t units = sizeof be / 2;

    std::string text, back;
    utf::appendUtf16(text, be, units, true);
    EXPECT_TRUE(utf::isValid(text));
    EXPECT_FALSE(utf::isAscii(text));
    EXPECT_EQ(utf::utf16Length(text), units);
    EXPECT_EQ(text.substr(0, 5), "A\xF0\x9F\x98\x80");
    utf::appendUtf16BE(back, text);
    EXPECT_EQ(back, std::string(reinterpret_cast<const char*>(be), sizeof be));

    EXPECT_FALSE(utf::isValid("\xC0\x80"));          // overlong
    EXPECT_FALSE(utf::isValid("\xF4\x90\x80\x80"));  // above U+10FFFF
    EXPECT_FALSE(utf::isValid("\xE2\x82"));          // truncated
}
