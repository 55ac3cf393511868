#include "service/RequestTarget.h"

#include <algorithm>
#include <boost/url/parse.hpp>
#include <boost/url/pct_string_view.hpp>
#include <boost/url/url_view.hpp>
#include <set>

#include "base/Numbers.h"
#include "base/Output.h"
#include "service/Problem.h"

namespace pis::service {

RequestTarget::RequestTarget(std::string_view target) {
    const auto parsed = boost::urls::parse_origin_form({target.data(), target.size()});
    if (!parsed)
        throw Problem{400, "The target of the request is neither a path with a query nor the http address of one.", ""};
    takePath(parsed->encoded_path());
    if (parsed->encoded_query().empty()) return;  // as browsers' forms without a field leave it
    for (const auto& parameter : parsed->params()) _parameters.emplace_back(parameter.key, parameter.value);
}

/// Takes a path as it stands: whoever guards some paths in front of this service knows them by these names alone, so
/// "/./metrics" is none of them, and a slash behind a percent sign parts nothing.
void RequestTarget::takePath(std::string_view encoded) {
    while (!encoded.empty()) {
        encoded.remove_prefix(1);  // the slash
        const std::string_view segment = encoded.substr(0, encoded.find('/'));
        encoded.remove_prefix(segment.size());
        _segments.push_back(boost::urls::pct_string_view(segment.data(), segment.size()).decode());
        const bool isPlain = _segments.back().find('/') == std::string::npos;
        _path.append("/").append(isPlain ? _segments.back() : segment);
    }
}

void RequestTarget::allow(std::initializer_list<const char*> names) const {
    std::set<std::string> seen;
    for (const auto& [name, value] : _parameters) {
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            std::string known;
            for (const char* other : names) known += (known.empty() ? "" : ", ") + std::string(other);
            throw Problem{400,
                          "There is no parameter " + base::quoted(name) +
                              (known.empty() ? " here; this takes none." : " here; there are: " + known + "."),
                          name};
        }
        if (!seen.insert(name).second) throw Problem{400, "The parameter stands twice.", name};
    }
}

std::optional<std::string> RequestTarget::parameter(std::string_view name) const {
    for (const auto& [given, value] : _parameters) {
        if (given == name) return value;
    }
    return std::nullopt;
}

std::optional<int> RequestTarget::number(const char* name, int lowest, int highest) const {
    const std::optional<std::string> text = parameter(name);
    if (!text) return std::nullopt;
    return wholeNumber(*text, name, lowest, highest);
}

int wholeNumber(const std::string& text, const char* parameter, int lowest, int highest) {
    const auto number = base::numberIn<int>(text);
    if (!number || *number < lowest || *number > highest) {
        throw Problem{400,
                      "Must be a whole number from " + std::to_string(lowest) + " to " + std::to_string(highest) +
                          ", not " + base::quoted(text) + ".",
                      parameter};
    }
    return *number;
}

}  // namespace pis::service
