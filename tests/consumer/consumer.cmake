# SPDX-License-Identifier: Apache-2.0
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

# The installed command finds the installed library; out of a package, where the system looks for it.
set(environment)
if(INSTALL_BY STREQUAL cpack)
  set(environment LD_LIBRARY_PATH=${prefix}/${LIBDIR})
endif()
run_or_fail(${CMAKE_COMMAND} -E env ${environment} ${prefix}/bin/canlog --version)

# So does a program that was built without CMake, by the flags of pkg-config. moc and -fPIC are Qt's wish.
if(PKG_CONFIG)
  set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
  run_or_fail(${MOC} ${SOURCE_DIR}/main.cpp -o ${WORK_DIR}/main.moc)
  run_or_fail(${PKG_CONFIG} ${PKG_CONFIG_STATIC} --cflags --libs CANLogHandler)
  separate_arguments(flags UNIX_COMMAND "${output}")
  run_or_fail(${CXX} -std=c++17 -fPIC -I${WORK_DIR} ${SOURCE_DIR}/main.cpp -o ${WORK_DIR}/by-pkg-config ${flags})
  run_or_fail(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${prefix}/${LIBDIR} ${WORK_DIR}/by-pkg-config ${LOG})
  if(NOT output MATCHES "^${EXPECTED} messages\n$")
    message(FATAL_ERROR "expected ${EXPECTED} messages, got: ${output}")
  endif()
endif()

# Who asks for no minor version gets any; who asks for another one gets none.
foreach(wanted "0;TRUE" "${VERSION};TRUE" "0.99;FALSE" "1;FALSE")
  list(GET wanted 0 PACKAGE_FIND_VERSION)
  list(GET wanted 1 expected)
  string(REPLACE "." ";" parts ${PACKAGE_FIND_VERSION})
  list(LENGTH parts PACKAGE_FIND_VERSION_COUNT)
  list(GET parts 0 PACKAGE_FIND_VERSION_MAJOR)
  set(PACKAGE_FIND_VERSION_MINOR 0)
  if(PACKAGE_FIND_VERSION_COUNT GREATER 1)
    list(GET parts 1 PACKAGE_FIND_VERSION_MINOR)
  endif()
  include(${prefix}/${LIBDIR}/cmake/CANLogHandler/CANLogHandlerConfigVersion.cmake)
  if(NOT PACKAGE_VERSION_COMPATIBLE STREQUAL expected)
    message(FATAL_ERROR "find_package(CANLogHandler ${PACKAGE_FIND_VERSION}): expected ${expected}")
  endif()
endforeach()

# The document prints this host in full.
file(READ ${SOURCE_DIR}/main.cpp host)
file(READ ${SOURCE_DIR}/../../docs/host.md document)
string(FIND "${document}" "${host}" position)
if(position EQUAL -1)
  message(FATAL_ERROR "docs/host.md does not print tests/consumer/main.cpp as it is")
endif()
