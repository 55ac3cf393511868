#include "service/Problem.h"

#include "base/JsonText.h"

namespace pis::service {

const char* reasonOf(int status) {
    switch (status) {
        case 200: return "OK";
        case 304: return "Not Modified";
        case 400: return "Bad Request";
        case 403: return "Forbidden";
        case 404: return "Not Found";
        case 405: return "Method Not Allowed";
        case 410: return "Gone";
        case 413: return "Content Too Large";
        case 421: return "Misdirected Request";
        case 429: return "Too Many Requests";
        case 431: return "Request Header Fields Too Large";
        case 503: return "Service Unavailable";
        default: return "Internal Server Error";
    }
}

HttpAnswer answerOf(const Problem& problem) {
    base::JsonText json;
    json.beginObject().key("type").text("about:blank").key("title").text(reasonOf(problem.status));
    json.key("status").number(problem.status).key("detail").text(problem.detail);
    if (!problem.parameter.empty()) json.key("parameter").text(problem.parameter);
    if (!problem.revision.empty()) json.key("revision").text(problem.revision);
    json.endObject();

    HttpAnswer answer;
    answer.status = problem.status;
    answer.type = "application/problem+json";
    answer.body = std::make_shared<const std::string>(json.str());
    answer.cacheControl = "no-store";
    answer.headers = problem.headers;
    return answer;
}

}  // namespace pis::service
