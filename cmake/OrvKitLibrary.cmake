# The library's objects are compiled once and linked twice: into the shared
# libOrvKit.so (only the public API exported) and into a static archive that
# the tests use to reach internal classes.
include(GenerateExportHeader)
include(GNUInstallDirs)

add_library(orvkit_objects OBJECT)
target_include_directories(orvkit_objects PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
  $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
target_link_libraries(orvkit_objects PUBLIC Qt5::Core Qt5::Network)
target_compile_definitions(orvkit_objects PRIVATE OrvKit_EXPORTS QT_NO_KEYWORDS)
orvkit_set_warnings(orvkit_objects)
configure_file(${PROJECT_SOURCE_DIR}/cmake/OrvKitEndpointDefaults.h.in
  ${PROJECT_BINARY_DIR}/generated/OrvKitEndpointDefaults.h @ONLY)
target_include_directories(orvkit_objects PRIVATE ${PROJECT_BINARY_DIR}/generated)

generate_export_header(orvkit_objects
  BASE_NAME OrvKit
  EXPORT_MACRO_NAME ORVKIT_EXPORT
  EXPORT_FILE_NAME ${PROJECT_BINARY_DIR}/include/OrvKitExport.h)

foreach(dir vxframework kit service http data util sysdata)
  add_subdirectory(${dir})
endforeach()
target_include_directories(orvkit_objects PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/vxframework/include>)

if(ORVKIT_USE_PLATFORM_FRAMEWORK)
  target_include_directories(orvkit_objects BEFORE PUBLIC ${ORVKIT_PLATFORM_FRAMEWORK_INCLUDE_DIRS})
  target_link_libraries(orvkit_objects PUBLIC ${ORVKIT_PLATFORM_FRAMEWORK_LIBRARIES})
endif()

find_package(Threads REQUIRED)
target_link_libraries(orvkit_objects PUBLIC Threads::Threads rt)

add_library(OrvKit SHARED $<TARGET_OBJECTS:orvkit_objects>)
add_library(OrvKit::OrvKit ALIAS OrvKit)
target_link_libraries(OrvKit PUBLIC Qt5::Core Qt5::Network PRIVATE Threads::Threads rt)
target_include_directories(OrvKit PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
  $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/vxframework/include>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/OrvKit>)
set_target_properties(OrvKit PROPERTIES
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}
  LINK_FLAGS "-Wl,--no-undefined")

# Internal static archive for white-box tests and tools that need internals.
add_library(orvkit_internal STATIC $<TARGET_OBJECTS:orvkit_objects>)
target_link_libraries(orvkit_internal PUBLIC orvkit_objects)
include(OrvKitInstall)
