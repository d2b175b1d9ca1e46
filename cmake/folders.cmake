# SPDX-License-Identifier: Apache-2.0
# Where things are installed. Debian and its kin keep libraries of several architectures side by side, also below
# /usr/local; CMake by itself does so below /usr only, and the packages are made of the same build.
if(NOT DEFINED CMAKE_INSTALL_LIBDIR AND CMAKE_LIBRARY_ARCHITECTURE AND EXISTS /etc/debian_version)
  set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE PATH "Libraries, below the prefix")
endif()
include(GNUInstallDirs)
