#include "plist/coerce.h"

#include <cmath>
#include <cstdint>

namespace orvane {

long long integerValue(const plist::Value& value) {
    switch (value.type()) {
    case plist::Type::Integer: return value.asInt64();
    case plist::Type::Boolean: return value.asBool() ? 1 : 0;
    case plist::Type::Real: {
        double d = value.asReal();
        if (std::isnan(d)) return 0;
        if (d >= 9.2e18) return INT64_MAX;
        if (d <= -9.2e18) return INT64_MIN;
        return static_cast<long long>(d);
    }
    case plist::Type::String: {
        // Leading blanks, an optional sign, then digits; whatever follows is ignored.
        std::string_view s = value.asString();
        std::size_t i = 0;
        while (i < s.size() && (s[i] == ' ' || s[i] == '\t' || s[i] == '\n' || s[i] == '\r')) ++i;
        bool negative = false;
        if (i < s.size() && (s[i] == '+' || s[i] == '-')) negative = s[i++] == '-';
        unsigned long long magnitude = 0;
        for (; i < s.size() && s[i] >= '0' && s[i] <= '9'; ++i) {
            magnitude = magnitude * 10 + static_cast<unsigned>(s[i] - '0');
            if (magnitude > static_cast<unsigned long long>(INT64_MAX)) return negative ? INT64_MIN : INT64_MAX;
        }
        return negative ? -static_cast<long long>(magnitude) : static_cast<long long>(magnitude);
    }
    default: return 0;
    }
}

bool boolValue(const plist::Value& value) {
    switch (value.type()) {
    case plist::Type::Boolean: return value.asBool();
    case plist::Type::Integer: return value.asUInt64() != 0;
    case plist::Type::Real: return value.asReal() != 0.0;
    case plist::Type::String: {
        const std::string_view s = value.asString();
        std::size_t i = s.find_first_not_of(" \t\n\r");
        if (i == std::string_view::npos) return false;
        if (s[i] == '+' || s[i] == '-') ++i;
        if (i >= s.size()) return false;
        if (s[i] == 'Y' || s[i] == 'y' || s[i] == 'T' || s[i] == 't') return true;
        // Digits count when they are not all zeros ("007" is true, "000" false).
        while (i < s.size() && s[i] == '0') ++i;
        return i < s.size() && s[i] >= '1' && s[i] <= '9';
    }
    default: return false;
    }
}
}  // namespace orvane
