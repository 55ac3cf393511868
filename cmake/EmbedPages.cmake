# embed_pages(SOURCE PATH FILE [PATH FILE]...): makes the C++ source SOURCE of files at build time, from which
# findPage() of EmbeddedPages.h answers what a browser finds at the paths. Run as a script it does the making.

function(embed_pages source)
  set(files)
  set(at 1)
  while(at LESS ARGC)
    math(EXPR at "${at} + 1")
    list(APPEND files ${ARGV${at}})
    math(EXPR at "${at} + 1")
  endwhile()
  add_custom_command(OUTPUT ${source}
    COMMAND ${CMAKE_COMMAND} -P ${PROJECT_SOURCE_DIR}/cmake/EmbedPages.cmake ${source} ${ARGN}
    DEPENDS ${files} ${PROJECT_SOURCE_DIR}/cmake/EmbedPages.cmake
    COMMENT "Pages" VERBATIM)
endfunction()

if(NOT CMAKE_SCRIPT_MODE_FILE STREQUAL CMAKE_CURRENT_LIST_FILE)
  return()
endif()

set(type_of_css "text/css; charset=utf-8")
set(type_of_html "text/html; charset=utf-8")
set(type_of_js "text/javascript; charset=utf-8")
set(type_of_json "application/json")
set(type_of_svg "image/svg+xml")
set(type_of_txt "text/plain; charset=utf-8")
set(type_of_woff2 "font/woff2")

# cmake -P EmbedPages.cmake SOURCE PATH FILE [PATH FILE]...
set(bodies "")
set(rows "")
set(number 0)
set(at 4)
while(at LESS CMAKE_ARGC)
  set(path "${CMAKE_ARGV${at}}")
  math(EXPR next "${at} + 1")
  set(file "${CMAKE_ARGV${next}}")
  math(EXPR at "${at} + 2")

  get_filename_component(extension "${file}" LAST_EXT)
  string(SUBSTRING "${extension}" 1 -1 extension)
  if(NOT DEFINED type_of_${extension})
    message(FATAL_ERROR "${file}: no content type is known for .${extension}; cmake/EmbedPages.cmake lists them")
  endif()
  file(SHA256 "${file}" hash)
  string(SUBSTRING ${hash} 0 16 etag)
  file(READ "${file}" bytes HEX)
  string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
  string(REGEX REPLACE "(('....',){16})" "\\1\n    " bytes "${bytes}")
  string(APPEND bodies "constexpr char kBody${number}[] = {\n    ${bytes}'\\0'};\n\n")
  string(APPEND rows
    "    {\"${path}\", \"${type_of_${extension}}\", \"${etag}\", {kBody${number}, sizeof kBody${number} - 1}},\n")
  math(EXPR number "${number} + 1")
endwhile()

file(WRITE "${CMAKE_ARGV3}" "#include \"pages/EmbeddedPages.h\"

namespace pis::pages {

namespace {

${bodies}constexpr EmbeddedPage kPages[] = {
${rows}};

}  // namespace

const EmbeddedPage* findPage(std::string_view path) {
    for (const EmbeddedPage& page : kPages) {
        if (page.path == path) return &page;
    }
    return nullptr;
}

}  // namespace pis::pages
")
