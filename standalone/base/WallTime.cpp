#include "base/WallTime.h"

#include <date/date.h>

namespace pis::base {

std::string isoTime(WallTime time) {
    return date::format("%FT%TZ", std::chrono::floor<std::chrono::milliseconds>(time));
}

}  // namespace pis::base
