# SPDX-License-Identifier: Apache-2.0
# Compiles the headers of Qt and of the standard library once for all targets, which takes a build from minutes to less
# than one. A source must include what it uses all the same: the preset release, which ./run builds, has none of this.

file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/precompiled.cpp CONTENT "// Only its precompiled headers are used.\n")
add_library(precompiled OBJECT ${PROJECT_BINARY_DIR}/precompiled.cpp)
target_link_libraries(precompiled PRIVATE Qt${CANLOGHANDLER_QT}::Core)
set_target_properties(precompiled PROPERTIES AUTOMOC OFF)
target_precompile_headers(precompiled PRIVATE
  <QtCore>
  <algorithm> <array> <atomic> <cmath> <cstring> <functional> <limits> <map> <memory> <optional> <string> <string_view>
  <vector>
)

# All targets in FOLDER and below.
function(canlog_use_precompiled folder)
  get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target ${targets})
    get_target_property(type ${target} TYPE)
    get_target_property(libraries ${target} LINK_LIBRARIES)
    if(type MATCHES "EXECUTABLE|LIBRARY" AND NOT target STREQUAL precompiled AND libraries MATCHES "CANLog|Qt")
      target_precompile_headers(${target} REUSE_FROM precompiled)
    endif()
  endforeach()
  get_property(folders DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
  foreach(folder ${folders})
    canlog_use_precompiled(${folder})
  endforeach()
endfunction()
canlog_use_precompiled(${PROJECT_SOURCE_DIR})
