// Revisions as clients see them: with the start of the program in front, so that one from before a
// restart is never mistaken for one of this run.
#ifndef PIS_SERVICE_REVISIONTOKEN_H
#define PIS_SERVICE_REVISIONTOKEN_H

#include <optional>
#include <string>
#include <string_view>

#include "picture/Picture.h"

namespace pis::service {

/// "START-REVISION", in letters, digits and one hyphen.
class RevisionTokens {
public:
    /// @param start when the program started; tells this run from every other.
    explicit RevisionTokens(base::WallTime start);

    std::string of(picture::Revision revision) const { return _start + "-" + std::to_string(revision); }

    struct Reading {
        bool wellFormed = false;
        std::optional<picture::Revision> revision;  ///< Nothing for one of another run.
    };
    Reading read(std::string_view token) const;

private:
    std::string _start;
};

}  // namespace pis::service

#endif
