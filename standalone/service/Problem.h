// What keeps a request from its answer, as an RFC 9457 problem document.
#ifndef PIS_SERVICE_PROBLEM_H
#define PIS_SERVICE_PROBLEM_H

#include <string>
#include <utility>
#include <vector>

#include "service/HttpMessages.h"

namespace pis::service {

/// Thrown by whoever finds the problem, made an answer where requests are answered.
struct Problem {
    int status;
    std::string detail;         ///< A sentence for people: what is wrong and what to do.
    std::string parameter;      ///< The parameter that is to blame; empty for none.
    std::string revision = {};  ///< Where the status is 410: the revision to go on from.
    std::vector<std::pair<std::string, std::string>> headers = {};
};

/// The reason phrase of a status that the service uses: "Not Found".
const char* reasonOf(int status);

HttpAnswer answerOf(const Problem& problem);

}  // namespace pis::service

#endif
