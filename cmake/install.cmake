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
write_basic_package_version_file(${PROJECT_BINARY_DIR}/CANLogHandlerConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/CANLogHandlerConfig.cmake
  ${PROJECT_BINARY_DIR}/CANLogHandlerConfigVersion.cmake
  DESTINATION ${package_dir}
  COMPONENT development)
