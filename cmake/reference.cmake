# SPDX-License-Identifier: Apache-2.0
# The target `reference` writes the API reference out of the public headers to reference/html in the build folder. What
# is exported and not described is an error.
find_package(Doxygen QUIET)
if(NOT DOXYGEN_FOUND)
  return()
endif()
list(TRANSFORM public_headers PREPEND "\"${PROJECT_SOURCE_DIR}/" OUTPUT_VARIABLE reference_input)
list(TRANSFORM reference_input APPEND "\"")
list(JOIN reference_input " " reference_input)
configure_file(cmake/Doxyfile.in ${PROJECT_BINARY_DIR}/Doxyfile @ONLY)
add_custom_target(reference
  COMMAND Doxygen::doxygen ${PROJECT_BINARY_DIR}/Doxyfile
  WORKING_DIRECTORY ${PROJECT_BINARY_DIR}
  COMMENT "API reference")
