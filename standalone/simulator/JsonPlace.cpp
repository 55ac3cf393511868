#include "simulator/JsonPlace.h"

#include <algorithm>
#include <boost/json/serialize.hpp>
#include <stdexcept>

namespace pis::simulator {

namespace json = boost::json;

const JsonPlace& JsonPlace::expectObject(std::initializer_list<std::string_view> keys) const {
    const json::object* object = _value->if_object();
    if (object == nullptr) fail(described() + ", expected an object");
    for (const json::key_value_pair& member : *object) {
        const std::string_view key(member.key().data(), member.key().size());
        if (std::find(keys.begin(), keys.end(), key) != keys.end()) continue;
        std::string known;
        for (const std::string_view each : keys) known += (known.empty() ? "" : ", ") + std::string(each);
        fail("the key " + json::serialize(member.key()) + " is not known, expected some of " + known);
    }
    return *this;
}

bool JsonPlace::has(std::string_view key) const {
    const json::object* object = _value->if_object();
    return object != nullptr && object->contains({key.data(), key.size()});
}

JsonPlace JsonPlace::operator[](std::string_view key) const {
    const json::object* object = _value->if_object();
    if (object == nullptr) fail(described() + ", expected an object");
    const json::value* member = object->if_contains({key.data(), key.size()});
    if (member == nullptr) fail("the key \"" + std::string(key) + "\" is missing");
    return {member, _source, _path + (_path.empty() ? "" : ".") + std::string(key)};
}

std::size_t JsonPlace::size() const {
    const json::array* array = _value->if_array();
    if (array == nullptr) fail(described() + ", expected a list");
    return array->size();
}

JsonPlace JsonPlace::operator[](std::size_t position) const {
    return {&_value->get_array()[position], _source, _path + "[" + std::to_string(position) + "]"};
}

std::string JsonPlace::text() const {
    const json::string* string = _value->if_string();
    if (string == nullptr) fail(described() + ", expected a text");
    if (string->empty()) fail("is empty, expected a text");
    const auto isControl = [](char character) { return static_cast<unsigned char>(character) < 0x20; };
    if (std::any_of(string->begin(), string->end(), isControl)) fail(described() + ", which holds a control character");
    return {string->data(), string->size()};
}

bool JsonPlace::flag() const {
    const bool* flag = _value->if_bool();
    if (flag == nullptr) fail(described() + ", expected true or false");
    return *flag;
}

int JsonPlace::integer(int lowest, int highest) const {
    const std::int64_t* number = _value->if_int64();
    if (number == nullptr || *number < lowest || *number > highest) {
        fail(described() + ", expected a whole number from " + std::to_string(lowest) + " to " +
             std::to_string(highest));
    }
    return static_cast<int>(*number);
}

std::string JsonPlace::described() const {
    if (_value->is_object()) return "is an object";
    if (_value->is_array()) return "is a list";
    constexpr std::size_t kLongest = 60;
    std::string text = json::serialize(*_value);
    if (text.size() <= kLongest) return "is " + text;
    std::size_t length = kLongest;
    while ((static_cast<unsigned char>(text[length]) & 0xc0U) == 0x80U) --length;  // whole characters
    return "is " + text.substr(0, length) + "...";
}

void JsonPlace::fail(const std::string& what) const {
    throw std::runtime_error(_source + ": " + (_path.empty() ? "the whole" : _path) + ": " + what);
}

}  // namespace pis::simulator
