# SPDX-License-Identifier: Apache-2.0
# `cpack` makes Debian packages of what is installed, as is usual for a library: the library under the name that
# goes with its SOVERSION and Qt, so that two of them can be installed side by side; what others build with; and the
# command.
set(library_package libcanloghandler-qt${CANLOGHANDLER_QT}-${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(development_package libcanloghandler-qt${CANLOGHANDLER_QT}-dev)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL library development canlog)
if(CANLOGHANDLER_PYTHON)
  list(APPEND CPACK_COMPONENTS_ALL python)
endif()
set(CPACK_STRIP_FILES ON)
# Whatever the umask of who builds it.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CANLOGHANDLER_PACKAGER "CANLogHandler authors <canloghandler@packages.invalid>" CACHE STRING
  "Who makes the packages, as \"Name <address>\"")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${CANLOGHANDLER_PACKAGER}")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The library is not installed while the packages are made.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
# For packages of programs that others build with the library; and the system's list of libraries is to be renewed.
get_target_property(soversion CANLogHandler SOVERSION)
get_target_property(library_name CANLogHandler OUTPUT_NAME)
if(NOT library_name)
  set(library_name CANLogHandler)
endif()
file(WRITE ${PROJECT_BINARY_DIR}/package/shlibs
  "lib${library_name} ${soversion} ${library_package} (>= ${PROJECT_VERSION})\n")
file(WRITE ${PROJECT_BINARY_DIR}/package/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
  ${PROJECT_BINARY_DIR}/package/shlibs ${PROJECT_BINARY_DIR}/package/triggers)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "The shared library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${development_package})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
# There can be one set of headers and CMake files: that of Qt 5 or that of Qt 6. The third name is that of 0.1.
if(CANLOGHANDLER_QT EQUAL 6)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "qt6-base-dev (>= 6.4)")
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_CONFLICTS "libcanloghandler-qt5-dev, libcanloghandler-dev")
else()
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "qtbase5-dev (>= 5.15)")
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_CONFLICTS "libcanloghandler-qt6-dev, libcanloghandler-dev")
endif()
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Headers and CMake configuration, to build programs with the library.")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS library)

set(CPACK_DEBIAN_CANLOG_PACKAGE_NAME canlog)
set(CPACK_DEBIAN_CANLOG_PACKAGE_SECTION utils)
set(CPACK_COMPONENT_CANLOG_DESCRIPTION "The canlog command: reads, converts, measures and archives logs.")
set(CPACK_COMPONENT_CANLOG_DEPENDS library)

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-canlog)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
if(CANLOGHANDLER_PYTHON) # the extension is for one version of Python
  math(EXPR next_python "${python_minor} + 1")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
    "python3 (>= 3.${python_minor}~), python3 (<< 3.${next_python})")
endif()
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS
  "python3-numpy, python3-pandas, python3-can, python3-cantools, python3-matplotlib")
set(CPACK_COMPONENT_PYTHON_DESCRIPTION "The Python package canlog: logs as tables for pyarrow, pandas, numpy.")
set(CPACK_COMPONENT_PYTHON_DEPENDS library)

configure_file(cmake/copyright.in ${PROJECT_BINARY_DIR}/copyright @ONLY)
set(CPACK_COPYRIGHT_FILE ${PROJECT_BINARY_DIR}/copyright)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/packagefiles.cmake)

if(BUILD_SHARED_LIBS) # the packages are those of a shared library
  include(CPack)
endif()
