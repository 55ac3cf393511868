#include "simulator/OperationLine.h"

#include <boost/json/parse.hpp>
#include <limits>
#include <stdexcept>

namespace pis::simulator {

namespace json = boost::json;

OperationLine parseOperationLine(std::string_view line) {
    json::error_code error;
    const json::value value = json::parse({line.data(), line.size()}, error);
    if (error) throw std::invalid_argument("is not JSON: " + error.message());
    const json::object* object = value.if_object();
    if (object == nullptr) throw std::invalid_argument("is not an object");

    const json::value* operation = object->if_contains("operation");
    const std::int64_t* code = operation != nullptr ? operation->if_int64() : nullptr;
    if (code == nullptr || *code < std::numeric_limits<int>::min() || *code > std::numeric_limits<int>::max()) {
        throw std::invalid_argument("has no \"operation\" that is a number of 32 bits");
    }
    const json::value* text = object->if_contains("text");
    const json::string* string = text != nullptr ? text->if_string() : nullptr;
    if (string == nullptr) throw std::invalid_argument("has no \"text\" that is a text");
    return {static_cast<int>(*code), {string->data(), string->size()}};
}

}  // namespace pis::simulator
