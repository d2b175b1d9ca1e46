# `cpack` makes three Debian packages of what is installed, as is usual for a library: the library under the name that
# goes with its SOVERSION, so that two of them can be installed side by side; what others build with; and the command.
set(library_package libcanloghandler${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL library development canlog)
set(CPACK_STRIP_FILES ON)
# Whatever the umask of who builds it.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${PROJECT_NAME} <canloghandler@localhost>")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The library is not installed while the packages are made.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
# For packages of programs that others build with the library.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "The shared library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libcanloghandler-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "qtbase5-dev (>= 5.15)")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Headers and CMake configuration, to build programs with the library.")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS library)

set(CPACK_DEBIAN_CANLOG_PACKAGE_NAME canlog)
set(CPACK_DEBIAN_CANLOG_PACKAGE_SECTION utils)
set(CPACK_COMPONENT_CANLOG_DESCRIPTION "The canlog command: reads, converts, measures and archives logs.")
set(CPACK_COMPONENT_CANLOG_DEPENDS library)

include(CPack)
