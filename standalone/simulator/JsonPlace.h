// A value in a JSON document together with the way to it, so that whatever is wrong names its place.
#ifndef PIS_SIMULATOR_JSONPLACE_H
#define PIS_SIMULATOR_JSONPLACE_H

#include <boost/json/value.hpp>

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace pis::simulator {

/// Every access throws std::runtime_error "FILE: PLACE.IN.JSON: what is wrong and what is expected". Lives no
/// longer than the document.
class JsonPlace {
public:
    JsonPlace(const boost::json::value& document, const std::string& source) : JsonPlace(&document, source, "") {}

    /// An object that may have these keys and no other.
    const JsonPlace& expectObject(std::initializer_list<std::string_view> keys) const;

    bool has(std::string_view key) const;
    JsonPlace operator[](std::string_view key) const;

    std::size_t size() const;
    JsonPlace operator[](std::size_t position) const;

    std::string text() const;
    bool flag() const;
    int integer(int lowest, int highest) const;

    /// Calls `visit` with each item of a list.
    template <typename Visit>
    void forEach(const Visit& visit) const {
        const std::size_t items = size();
        for (std::size_t i = 0; i < items; ++i) visit((*this)[i]);
    }

    [[noreturn]] void fail(const std::string& what) const;

private:
    JsonPlace(const boost::json::value* value, const std::string& source, std::string path)
        : _value(value), _source(source), _path(std::move(path)) {}

    /// "is TEXT": the value as it stands, cut where it is long.
    std::string described() const;

    const boost::json::value* _value;
    const std::string& _source;
    std::string _path;
};

}  // namespace pis::simulator

#endif
