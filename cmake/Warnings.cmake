# Warnings of every target of our own, in one place.
add_library(pis_warnings INTERFACE)
target_compile_options(pis_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
  $<$<BOOL:${PIS_STRICT}>:-Werror>)
