# Builds everything, GoogleTest too, under PIS_SANITIZERS; what they find ends the program. Fuzz targets want the
# counters of what ran besides.
set(sanitizers ${PIS_SANITIZERS})
if(PIS_FUZZ)
  list(APPEND sanitizers fuzzer-no-link)
endif()
if(sanitizers)
  list(JOIN sanitizers "," sanitizers)
  string(APPEND CMAKE_CXX_FLAGS " -fsanitize=${sanitizers} -fno-sanitize-recover=all")
endif()
