# Installs the build in BUILD_DIR into a folder of its own, or unpacks the packages made of it there (INSTALL_BY=cpack),
# then configures, builds and runs the consumer against it.
set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})

function(run_or_fail)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

if(INSTALL_BY STREQUAL cpack)
  include(${CMAKE_CURRENT_LIST_DIR}/packages.cmake)
else()
  run_or_fail(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
endif()
run_or_fail(${CMAKE_COMMAND} -G ${GENERATOR} -S ${SOURCE_DIR} -B ${WORK_DIR}/build
  -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Debug)
run_or_fail(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
foreach(program consumer pulling)
  run_or_fail(${WORK_DIR}/build/${program} ${LOG})
  if(NOT output MATCHES "^${EXPECTED} messages\n$")
    message(FATAL_ERROR "${program}: expected ${EXPECTED} messages, got: ${output}")
  endif()
endforeach()

# The installed command finds the installed library.
run_or_fail(${prefix}/bin/canlog --version)

# The document prints this host in full.
file(READ ${SOURCE_DIR}/main.cpp host)
file(READ ${SOURCE_DIR}/../../docs/host.md document)
string(FIND "${document}" "${host}" position)
if(position EQUAL -1)
  message(FATAL_ERROR "docs/host.md does not print tests/consumer/main.cpp as it is")
endif()
