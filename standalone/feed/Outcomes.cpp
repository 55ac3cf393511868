#include "feed/Outcomes.h"

namespace pis::feed {

const char* outcomeName(Outcome outcome) {
    switch (outcome) {
        case Outcome::DELIVERED: return "delivered";
        case Outcome::IGNORED: return "ignored";
        case Outcome::MALFORMED: return "malformed";
        case Outcome::REFUSED: return "refused";
        case Outcome::FAILED: return "failed";
    }
    return "";
}

}  // namespace pis::feed
