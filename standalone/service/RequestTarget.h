// The target of a request taken apart: path and parameters, percent signs resolved.
#ifndef PIS_SERVICE_REQUESTTARGET_H
#define PIS_SERVICE_REQUESTTARGET_H

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace pis::service {

class RequestTarget {
public:
    /// @throws Problem where it is none: the path must begin with a slash.
    explicit RequestTarget(std::string_view target);

    /// With percent signs resolved, but for the slashes behind them.
    const std::string& path() const { return _path; }

    /// The parts of the path between its slashes, with all percent signs resolved.
    const std::vector<std::string>& segments() const { return _segments; }

    /// @throws Problem that names the first parameter that is not among these, or that stands twice.
    void allow(std::initializer_list<const char*> names) const;

    /// The value of a parameter, if it is given.
    std::optional<std::string> parameter(std::string_view name) const;

    /// A parameter as a whole number. @throws Problem where it is none or out of range.
    std::optional<int> number(const char* name, int lowest, int highest) const;

private:
    void takePath(std::string_view encoded);

    std::string _path;
    std::vector<std::string> _segments;
    std::vector<std::pair<std::string, std::string>> _parameters;
};

/// A whole number of 32 bits, all of the text. @throws Problem that names the parameter.
int wholeNumber(const std::string& text, const char* parameter, int lowest, int highest);

}  // namespace pis::service

#endif
