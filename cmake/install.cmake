# SPDX-License-Identifier: Apache-2.0
# Installs the library, its public headers, the package config and the canlog command. The components become packages.
include(CMakePackageConfigHelpers)

set(header_dir ${CMAKE_INSTALL_INCLUDEDIR}/CANLogHandler)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/CANLogHandler)

foreach(header IN LISTS public_headers)
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${header_dir}/${folder} COMPONENT development)
endforeach()
install(FILES ${PROJECT_BINARY_DIR}/generated/common/canloghandler_export.h DESTINATION ${header_dir}/common
  COMPONENT development)

install(TARGETS CANLogHandler EXPORT CANLogHandlerTargets
  RUNTIME COMPONENT library
  LIBRARY COMPONENT library NAMELINK_COMPONENT development
  ARCHIVE COMPONENT development
  INCLUDES DESTINATION ${header_dir})
install(EXPORT CANLogHandlerTargets NAMESPACE CANLogHandler:: DESTINATION ${package_dir} COMPONENT development)
configure_package_config_file(cmake/CANLogHandlerConfig.cmake.in
  ${PROJECT_BINARY_DIR}/CANLogHandlerConfig.cmake INSTALL_DESTINATION ${package_dir})
configure_file(cmake/CANLogHandlerConfigVersion.cmake.in
  ${PROJECT_BINARY_DIR}/CANLogHandlerConfigVersion.cmake @ONLY)
install(FILES
  ${PROJECT_BINARY_DIR}/CANLogHandlerConfig.cmake
  ${PROJECT_BINARY_DIR}/CANLogHandlerConfigVersion.cmake
  DESTINATION ${package_dir}
  COMPONENT development)

# For those who build without CMake; a static library names what it needs.
file(RELATIVE_PATH prefix_from_pc ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" prefix_from_pc "${prefix_from_pc}")
get_target_property(pc_library CANLogHandler OUTPUT_NAME)
if(NOT pc_library)
  set(pc_library CANLogHandler)
endif()
set(pc_private)
set(pc_definitions)
if(NOT BUILD_SHARED_LIBS)
  set(pc_private "Requires.private: quazip1-qt${CANLOGHANDLER_QT}, zlib\n")
  set(pc_definitions " -DCANLOGHANDLER_STATIC_DEFINE")
endif()
configure_file(cmake/CANLogHandler.pc.in ${PROJECT_BINARY_DIR}/CANLogHandler.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/CANLogHandler.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)
