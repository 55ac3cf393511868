# Warnings of every target of our own, in one place.
add_library(pis_warnings INTERFACE)
target_compile_options(pis_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>  # g++ 12 says it falsely of "text" + string where the library asserts
  $<$<BOOL:${PIS_STRICT}>:-Werror>)
