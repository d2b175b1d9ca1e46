# SPDX-License-Identifier: Apache-2.0
# Makes the Debian packages of the build in BUILD_DIR, checks what each holds and needs, and unpacks them to ${prefix}.
set(library libcanloghandler-qt${QT}-${SOVERSION})
set(development libcanloghandler-qt${QT}-dev)
set(headers include/CANLogHandler)
set(config ${LIBDIR}/cmake/CANLogHandler)

set(expected_${library}
  ${LIBDIR}/${LIBRARY_FILE}.${SOVERSION}
  ${LIBDIR}/${LIBRARY_FILE}.${VERSION}
  share/doc/${library}/changelog.gz
  share/doc/${library}/copyright
)
set(expected_${development}
  ${LIBDIR}/${LIBRARY_FILE}
  ${LIBDIR}/pkgconfig/CANLogHandler.pc
  ${config}/CANLogHandlerConfig.cmake
  ${config}/CANLogHandlerConfigVersion.cmake
  ${config}/CANLogHandlerTargets.cmake
  ${config}/CANLogHandlerTargets-<build>.cmake
  ${headers}/canloghandler/canloghandler.h
  ${headers}/common/archivereport.h
  ${headers}/common/canerrortypes.h
  ${headers}/common/canloghandler_export.h
  ${headers}/common/canrxmessage.h
  ${headers}/common/datachunkhandler.h
  ${headers}/common/datachunkhelper.h
  ${headers}/common/files.h
  ${headers}/common/importreport.h
  ${headers}/common/loginfo.h
  ${headers}/common/packingreport.h
  ${headers}/importers/cocttimporter.h
  ${headers}/importers/genericfileimporter.h
  ${headers}/importers/ixxatfileimporter.h
  ${headers}/importers/listimporter.h
  ${headers}/importers/peaktraceimporter.h
  ${headers}/readers/formats.h
  ${headers}/readers/framereader.h
  share/doc/${development}/changelog.gz
  share/doc/${development}/copyright
)
set(expected_canlog
  bin/canlog
  share/bash-completion/completions/canlog
  share/doc/canlog/changelog.gz
  share/doc/canlog/copyright
  share/man/man1/canlog.1.gz
)

# One package at least that each has to be installed with, as a pattern.
set(qt_development_5 qtbase5-dev)
set(qt_development_6 qt6-base-dev)
set(needed_${library} "libqt${QT}core${QT}")
set(needed_${development} "${library} \\(= ${VERSION}\\), ${qt_development_${QT}}")
set(needed_canlog "${library} \\(= ${VERSION}\\), .*libqt${QT}core${QT}")

function(check_package package)
  file(GLOB file ${WORK_DIR}/${package}_${VERSION}_*.deb)
  run_or_fail(${DPKG_DEB} --field ${file} Depends)
  if(NOT output MATCHES "${needed_${package}}")
    message(FATAL_ERROR "${package}: expected a need of \"${needed_${package}}\", got: ${output}")
  endif()

  set(tree ${WORK_DIR}/${package})
  run_or_fail(${DPKG_DEB} -x ${file} ${tree})
  # Links are listed like files.
  file(GLOB_RECURSE files RELATIVE ${tree}/usr ${tree}/*)
  list(TRANSFORM files REPLACE "Targets-[a-z]+\\.cmake$" "Targets-<build>.cmake")
  list(SORT files)
  list(SORT expected_${package})
  if(NOT files STREQUAL expected_${package})
    string(REPLACE ";" "\n  " files "${files}")
    string(REPLACE ";" "\n  " expected "${expected_${package}}")
    message(FATAL_ERROR "${package}: expected\n  ${expected}\ngot\n  ${files}")
  endif()
  run_or_fail(${DPKG_DEB} -x ${file} ${WORK_DIR}/root)
endfunction()

run_or_fail(${CPACK} --config ${BUILD_DIR}/CPackConfig.cmake -G DEB -B ${WORK_DIR})
foreach(package ${library} ${development} canlog)
  check_package(${package})
endforeach()
if(PYTHON) # the system's, which finds the package and its library where they were unpacked
  file(GLOB file ${WORK_DIR}/python3-canlog_${VERSION}_*.deb)
  run_or_fail(${DPKG_DEB} --field ${file} Depends)
  if(NOT output MATCHES "${library} \\(= ${VERSION}\\), python3 .*libqt${QT}core${QT}")
    message(FATAL_ERROR "python3-canlog: needs ${output}")
  endif()
  run_or_fail(${DPKG_DEB} -x ${file} ${WORK_DIR}/python)
  run_or_fail(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${WORK_DIR}/root/usr/${LIBDIR}
    PYTHONPATH=${WORK_DIR}/python/usr/lib/python3/dist-packages PYTHONDONTWRITEBYTECODE=1
    /usr/bin/python3 -c "import canlog, sys\nprint(canlog.open(sys.argv[1]).report.frames)" ${LOG})
  if(NOT output STREQUAL "${EXPECTED}\n")
    message(FATAL_ERROR "python3-canlog: expected ${EXPECTED} frames, got: ${output}")
  endif()
endif()
if(LINTIAN)
  file(GLOB files ${WORK_DIR}/*.deb)
  execute_process(COMMAND ${LINTIAN} --allow-root --fail-on error ${files}
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "lintian finds errors:\n${output}")
  endif()
endif()
file(RENAME ${WORK_DIR}/root/usr ${prefix})
foreach(link ${LIBRARY_FILE} ${LIBRARY_FILE}.${SOVERSION})
  if(NOT IS_SYMLINK ${prefix}/${LIBDIR}/${link} OR NOT EXISTS ${prefix}/${LIBDIR}/${link})
    message(FATAL_ERROR "${link}: expected a link to the library")
  endif()
endforeach()
