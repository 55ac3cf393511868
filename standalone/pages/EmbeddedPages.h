// The pages as they stand in the program: no file is read while it runs. The build makes the source of this header
// (cmake/EmbedPages.cmake).
#ifndef PIS_PAGES_EMBEDDEDPAGES_H
#define PIS_PAGES_EMBEDDEDPAGES_H

#include <string_view>

namespace pis::pages {

/// A file for browsers. Lives as long as the program.
struct EmbeddedPage {
    std::string_view path;  ///< "/", "/board", "/pages/board.css"
    std::string_view type;  ///< The content type with its charset.
    std::string_view etag;  ///< Hexadecimal digits of the hash over the body, without quotes.
    std::string_view body;
};

/// The page at exactly this path; null where there is none. From any thread.
const EmbeddedPage* findPage(std::string_view path);

}  // namespace pis::pages

#endif
