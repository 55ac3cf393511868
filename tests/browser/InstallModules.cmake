# cmake -D SOURCE=... -D PLACE=... -D NPM=... -P InstallModules.cmake: copies the tests from SOURCE to PLACE, and
# installs the modules of the lock file there, where another lock file was installed before or none.
file(COPY ${SOURCE}/ DESTINATION ${PLACE} PATTERN node_modules EXCLUDE)

file(SHA256 ${PLACE}/package-lock.json wanted)
set(stamp ${PLACE}/node_modules/.installed)
set(installed "")
if(EXISTS ${stamp})
  file(READ ${stamp} installed)
endif()
if(installed STREQUAL wanted)
  return()
endif()

execute_process(COMMAND ${NPM} ci --no-audit --no-fund WORKING_DIRECTORY ${PLACE} RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "npm ci did not install the modules that the browser tests need; see above")
endif()
file(WRITE ${stamp} ${wanted})
