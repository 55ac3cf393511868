# Warnings of every target of our own, in one place.
add_library(pis_warnings INTERFACE)
target_compile_options(pis_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion $<$<BOOL:${PIS_STRICT}>:-Werror>)
# The thread sanitizer of g++ cannot follow the fences of Boost.Asio; it follows its locks, which suffice.
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_FLAGS MATCHES "-fsanitize=thread")
  target_compile_options(pis_warnings INTERFACE -Wno-tsan)
endif()
