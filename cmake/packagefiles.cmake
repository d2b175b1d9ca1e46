# SPDX-License-Identifier: Apache-2.0
# Run by cpack when the files of the packages are staged: adds what only packages have (copyright and changelog),
# compresses the man page, and has the command look for the library where the system does.
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS ${CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})
set(permissions OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
string(TIMESTAMP now "%a, %d %b %Y %H:%M:%S +0000" UTC)

function(compress file)
  execute_process(COMMAND gzip -9nf ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(folder ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr)
  set(documents ${folder}/share/doc/${package})
  file(COPY ${CPACK_COPYRIGHT_FILE} DESTINATION ${documents} FILE_PERMISSIONS ${permissions})
  file(WRITE ${CPACK_TOPLEVEL_DIRECTORY}/changelog
    "${package} (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium\n\n"
    "  * Made of the sources, whose CHANGELOG.md says what changed.\n\n"
    " -- ${CPACK_DEBIAN_PACKAGE_MAINTAINER}  ${now}\n")
  file(COPY ${CPACK_TOPLEVEL_DIRECTORY}/changelog DESTINATION ${documents} FILE_PERMISSIONS ${permissions})
  compress(${documents}/changelog)
  file(GLOB pages ${folder}/share/man/man1/*.1)
  foreach(page IN LISTS pages)
    compress(${page})
  endforeach()
  file(GLOB extensions ${folder}/lib/python3/dist-packages/canlog/*.so)
  foreach(extension IN LISTS extensions)
    file(RPATH_REMOVE FILE ${extension})
  endforeach()
  if(EXISTS ${folder}/bin/canlog)
    file(RPATH_REMOVE FILE ${folder}/bin/canlog)
  endif()
endforeach()
