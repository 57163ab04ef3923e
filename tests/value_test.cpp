#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "plist/utf.h"
#include "plist/value.h"

using orvane::plist::Value;
namespace utf = orvane::plist::utf;

TEST(Value, ShallowCopiesShareChildrenAndDictionariesKeepTheirOrder) {
    Value folder = Value::dictionary();
    Value children = Value::array();
    folder.asDictionary()->set("Children", children);
    folder.asDictionary()->set("Title", Value::string("News"));
    folder.asDictionary()->set("WebBookmarkType", Value::string("WebBookmarkTypeList"));

    Value copy = orvane::plist::shallowCopy(folder);
    EXPECT_FALSE(copy.isSameObject(folder));
    children.asArray()->append(Value::string("shared"));
    EXPECT_EQ(copy.asDictionary()->find("Children")->asArray()->size(), 1u);

    // Replacing a value keeps its position; the copy is unaffected by changes to the original's keys.
    folder.asDictionary()->set("Title", Value::string("Renamed"));
    const auto& entries = folder.asDictionary()->entries();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[1].key.asString(), "Title");
    EXPECT_EQ(entries[1].value.asString(), "Renamed");
    EXPECT_EQ(copy.asDictionary()->find("Title")->asString(), "News");
    EXPECT_TRUE(folder.asDictionary()->remove("Children"));
    EXPECT_FALSE(folder.asDictionary()->remove("Children"));
    EXPECT_TRUE(copy.asDictionary()->contains("Children"));
}

TEST(Value, EqualityIsByTypeAndExactValue) {
    EXPECT_FALSE(Value::integer(1) == Value::real(1.0));
    EXPECT_FALSE(Value::integer(1) == Value::boolean(true));
    EXPECT_FALSE(Value::real(1.0) == Value::date(1.0));
    EXPECT_TRUE(Value::real(std::nan("")) == Value::real(std::nan("")));
    EXPECT_FALSE(Value::real(0.0) == Value::real(-0.0));
    EXPECT_FALSE(Value::string("Title") == Value::string("title"));

    // Values above INT64_MAX stay unsigned; smaller ones are ordinary integers.
    EXPECT_TRUE(Value::unsignedInteger(5) == Value::integer(5));
    Value big = Value::unsignedInteger(std::numeric_limits<std::uint64_t>::max());
    EXPECT_TRUE(big.isBigUnsigned());
    EXPECT_FALSE(big == Value::integer(-1));

    Value a = Value::dictionary(), b = Value::dictionary();
    a.asDictionary()->set("x", Value::integer(1));
    a.asDictionary()->set("y", Value::array());
    b.asDictionary()->set("y", Value::array());
    b.asDictionary()->set("x", Value::integer(1));
    EXPECT_TRUE(a == b);
    b.asDictionary()->find("y")->asArray()->append(Value());
    EXPECT_FALSE(a == b);
}

TEST(Value, ScalarsKeepTheirValueWhetherHeldInPlaceOrBoxed) {
    // Integers beyond 61 bits, UIDs beyond 32 bits, reals and dates live in boxes on the heap.
    for (std::int64_t i : {std::int64_t{0}, std::int64_t{-1}, (std::int64_t{1} << 60) - 1, std::int64_t{1} << 60, -(std::int64_t{1} << 60),
                           -(std::int64_t{1} << 60) - 1, std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}) {
        const Value v = Value::integer(i);
        EXPECT_EQ(v.type(), orvane::plist::Type::Integer) << i;
        EXPECT_EQ(v.asInt64(), i);
        EXPECT_FALSE(v.isBigUnsigned()) << i;
        EXPECT_TRUE(v == Value::integer(i)) << i;
        EXPECT_FALSE(v == Value::integer(i ^ 1)) << i;
    }
    for (std::uint64_t u : {std::uint64_t{0}, std::uint64_t{UINT32_MAX}, std::uint64_t{UINT32_MAX} + 1, std::numeric_limits<std::uint64_t>::max()}) {
        const Value v = Value::uid(u);
        EXPECT_EQ(v.type(), orvane::plist::Type::Uid) << u;
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
    Value d = Value::date(7.0), s = Value::string("kept");
    Value& dRef = d;
    Value& sRef = s;
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
        orvane::plist::Arena arena;
        list = Value::array(2, &arena);
        for (int i = 0; i < 20000; ++i) {
            Value s = Value::string("bookmark title number " + std::to_string(i), &arena);
            if (i % 3 == 0) kept.push_back(s);
        }
        list.asArray()->append(Value::string("first", &arena));
        list.asArray()->append(Value::dictionary(1, &arena));
    }
    // Past the room it was made with, the array moves its elements to the heap.
    for (int i = 0; i < 100; ++i) list.asArray()->insert(1, Value::integer(i));
    ASSERT_EQ(list.asArray()->size(), 102u);
    EXPECT_EQ((*list.asArray())[0].asString(), "first");
    EXPECT_EQ((*list.asArray())[1].asInt64(), 99);
    EXPECT_TRUE((*list.asArray())[101].isDictionary());
    list.asArray()->removeAt(0);
    EXPECT_EQ((*list.asArray())[0].asInt64(), 99);
    EXPECT_EQ(kept[1].asString(), "bookmark title number 3");
    EXPECT_EQ(kept.back().asString(), "bookmark title number 19998");
    kept.erase(kept.begin(), kept.begin() + 3000);
    EXPECT_EQ(kept.front().asString(), "bookmark title number 9000");
}

TEST(Utf, SixteenBitUnitsSurviveTheTripThroughUtf8) {
    // "A", an astral character as a pair, a lone high and a lone low surrogate, and a reversed pair.
    const std::uint16_t units[] = {0x0041, 0xD83D, 0xDE00, 0xD800, 0x0042, 0xDC00, 0xDC00, 0xD800};
    std::uint8_t be[sizeof units];
    for (std::size_t i = 0; i < std::size(units); ++i) be[2 * i] = units[i] >> 8, be[2 * i + 1] = units[i] & 0xFF;

    std::string text;
    utf::appendUtf16(text, be, std::size(units), true);
    EXPECT_TRUE(utf::isValid(text));
    EXPECT_FALSE(utf::isAscii(text));
    EXPECT_EQ(utf::utf16Length(text), std::size(units));
    EXPECT_EQ(text.substr(0, 5), "A\xF0\x9F\x98\x80");

    std::string back;
    utf::appendUtf16BE(back, text);
    EXPECT_EQ(back, std::string(reinterpret_cast<const char*>(be), sizeof be));

    EXPECT_FALSE(utf::isValid("\xC0\x80"));          // overlong
    EXPECT_FALSE(utf::isValid("\xF4\x90\x80\x80"));  // above U+10FFFF
    EXPECT_FALSE(utf::isValid("\xE2\x82"));          // truncated
}
