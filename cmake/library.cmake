# SPDX-License-Identifier: Apache-2.0
# The library. Dependencies between its folders run downwards only: canloghandler, importers,
# readers, common.
include(GenerateExportHeader)

set(public_headers
  common/archivereport.h
  common/canerrortypes.h
  common/canrxmessage.h
  common/datachunkhandler.h
  common/datachunkhelper.h
  common/files.h
  common/importreport.h
  common/loginfo.h
  common/packingreport.h
  canloghandler/canloghandler.h
  importers/cocttimporter.h
  importers/genericfileimporter.h
  importers/ixxatfileimporter.h
  importers/listimporter.h
  importers/peaktraceimporter.h
  readers/formats.h
  readers/framereader.h
)

# What is not exported but deserves tests of its own is compiled once, as objects, and linked into the library and into
# those tests.
add_library(CANLogHandlerInternals OBJECT
  canloghandler/archivedirectory.cpp
  canloghandler/archivewatch.cpp
  canloghandler/messagebatch.cpp
  common/importwatch.cpp
  common/text/bytefields.cpp
  common/text/bytelines.cpp
  common/text/fields.cpp
  common/text/linereader.cpp
  common/text/mark.cpp
  common/text/numbers.cpp
)
set_target_properties(CANLogHandlerInternals PROPERTIES POSITION_INDEPENDENT_CODE ON)
target_include_directories(CANLogHandlerInternals PUBLIC ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR}/generated)
target_compile_definitions(CANLogHandlerInternals
  PRIVATE CANLogHandler_EXPORTS
  PUBLIC $<$<NOT:$<BOOL:${BUILD_SHARED_LIBS}>>:CANLOGHANDLER_STATIC_DEFINE>
)
target_link_libraries(CANLogHandlerInternals PUBLIC Qt${CANLOGHANDLER_QT}::Core)

add_library(CANLogHandler
  common/canerrortypes.cpp
  common/datachunkhandler.cpp
  canloghandler/archivefile.cpp
  canloghandler/canloghandler.cpp
  canloghandler/delivery.cpp
  canloghandler/logloading.cpp
  canloghandler/ziploading.cpp
  canloghandler/zipwriting.cpp
  importers/cocttimporter.cpp
  importers/genericfileimporter.cpp
  importers/ixxatfileimporter.cpp
  importers/listimporter.cpp
  importers/peaktraceimporter.cpp
  readers/blf.cpp
  readers/blfobjects.cpp
  readers/blfpieces.cpp
  readers/busmasterlog.cpp
  readers/bytelogreader.cpp
  readers/candump.cpp
  readers/channelnames.cpp
  readers/coctt.cpp
  readers/errorframetext.cpp
  readers/formats.cpp
  readers/framereader.cpp
  readers/generic.cpp
  readers/gvretcsv.cpp
  readers/ixxat.cpp
  readers/kvasercankinglog.cpp
  readers/kvasertxtlog.cpp
  readers/listreader.cpp
  readers/logdate.cpp
  readers/norviktxtfile.cpp
  readers/pcantrace.cpp
  readers/peaktrace.cpp
  readers/pythoncancsv.cpp
  readers/semicoloncsv.cpp
  readers/socketcandump.cpp
  readers/textreader.cpp
  readers/vectorasc.cpp
  readers/vectorasclog.cpp
  readers/wiresharkcsv.cpp
  ${public_headers}
  $<TARGET_OBJECTS:CANLogHandlerInternals>
)
add_library(CANLogHandler::CANLogHandler ALIAS CANLogHandler)
set_target_properties(CANLogHandler PROPERTIES
  POSITION_INDEPENDENT_CODE ON
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR} # until 1.0, each minor version may break
)
if(CANLOGHANDLER_QT EQUAL 6) # beside the library for Qt 5 in the same folder
  set_target_properties(CANLogHandler PROPERTIES OUTPUT_NAME CANLogHandler-qt6)
endif()
generate_export_header(CANLogHandler
  BASE_NAME CANLOGHANDLER
  EXPORT_FILE_NAME ${PROJECT_BINARY_DIR}/generated/common/canloghandler_export.h
)
target_include_directories(CANLogHandler PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
  $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/generated>
)
target_compile_definitions(CANLogHandler PUBLIC $<$<NOT:$<BOOL:${BUILD_SHARED_LIBS}>>:CANLOGHANDLER_STATIC_DEFINE>)
target_link_libraries(CANLogHandler
  PUBLIC Qt${CANLOGHANDLER_QT}::Core
  PRIVATE QuaZip::QuaZip ZLIB::ZLIB Threads::Threads
)
