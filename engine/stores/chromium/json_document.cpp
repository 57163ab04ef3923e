#include "stores/chromium/json_document.h"

#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

namespace orvane::json {

// Receives RapidJSON's events and lays the values out in flat tables. The members or elements
// of a container are gathered on a stack while it is open and copied into place, contiguous,
// when it closes.
class Builder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Builder> {
public:
    explicit Builder(Document& document) : d_(document) {}

    bool Null() { return add(Type::Null); }
    bool Bool(bool b) { return add(b ? Type::True : Type::False); }
    bool RawNumber(const char* s, rapidjson::SizeType n, bool) { return add(Type::Number, s, n); }
    bool String(const char* s, rapidjson::SizeType n, bool) { return add(Type::String, s, n); }
    bool Key(const char* s, rapidjson::SizeType n, bool) {
        keyAt_ = offsetOf(s);
        keyLength_ = n;
        return true;
    }
    bool StartObject() { return open(Type::Object); }
    bool StartArray() { return open(Type::Array); }
    bool EndObject(rapidjson::SizeType) { return close(); }
    bool EndArray(rapidjson::SizeType) { return close(); }

private:
    struct Open {
        ValueId id;
        std::size_t start;  // where its members or elements begin on the stacks below
    };

    std::uint32_t offsetOf(const char* s) const { return static_cast<std::uint32_t>(s - d_.base_); }

    // Links a new value into the container that is open, if any.
    ValueId link(Type type, std::uint32_t a, std::uint32_t b) {
        const auto id = static_cast<ValueId>(d_.values_.size());
        d_.values_.push_back({a, b, type});
        if (!open_.empty()) {
            if (d_.values_[open_.back().id].type == Type::Object)
                members_.push_back({keyAt_, keyLength_, id});
            else
                elements_.push_back(id);
        }
        return id;
    }
    bool add(Type type, const char* s = nullptr, std::uint32_t n = 0) {
        link(type, s ? offsetOf(s) : 0, n);
        return true;
    }
    bool open(Type type) {
        const ValueId id = link(type, 0, 0);
        open_.push_back({id, type == Type::Object ? members_.size() : elements_.size()});
        if (open_.size() > d_.depth_) d_.depth_ = open_.size();
        return true;
    }
    bool close() {
        const Open container = open_.back();
        open_.pop_back();
        Document::Value& value = d_.values_[container.id];
        if (value.type == Type::Object) {
            value.a = static_cast<std::uint32_t>(d_.members_.size());
            value.b = static_cast<std::uint32_t>(members_.size() - container.start);
            d_.members_.insert(d_.members_.end(), members_.begin() + static_cast<std::ptrdiff_t>(container.start),
                               members_.end());
            members_.resize(container.start);
        } else {
            value.a = static_cast<std::uint32_t>(d_.elements_.size());
            value.b = static_cast<std::uint32_t>(elements_.size() - container.start);
            d_.elements_.insert(d_.elements_.end(), elements_.begin() + static_cast<std::ptrdiff_t>(container.start),
                                elements_.end());
            elements_.resize(container.start);
        }
        return true;
    }

    Document& d_;
    std::vector<Open> open_;
    std::vector<Document::Member> members_;
    std::vector<ValueId> elements_;
    std::uint32_t keyAt_ = 0, keyLength_ = 0;
};

std::string Document::parse(FileBytes& text) {
    values_.clear();
    members_.clear();
    elements_.clear();
    depth_ = 0;
    if (text.empty() || text.back() != '\0') text.push_back('\0');
    if (text.size() > UINT32_MAX) return "the file is larger than 4 GB";
    base_ = reinterpret_cast<const char*>(text.data());
    Builder builder(*this);
    rapidjson::Reader reader;
    rapidjson::InsituStringStream stream(reinterpret_cast<char*>(text.data()));
    constexpr unsigned kFlags =
        rapidjson::kParseInsituFlag | rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;
    const rapidjson::ParseResult result = reader.Parse<kFlags>(stream, builder);
    if (result.IsError()) {
        values_.clear();
        return "byte " + std::to_string(result.Offset()) + ": " + rapidjson::GetParseError_En(result.Code());
    }
    return {};
}

const ValueId* Document::find(ValueId object, std::string_view key) const {
    if (type(object) != Type::Object) return nullptr;
    const ValueId* found = nullptr;
    const Member* m = members_.data() + values_[object].a;
    for (std::size_t i = 0; i < size(object); ++i)
        if (std::string_view(base_ + m[i].keyAt, m[i].keyLength) == key) found = &m[i].value;
    return found;
}

}  // namespace orvane::json
