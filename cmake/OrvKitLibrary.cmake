# The library's objects are compiled once and linked twice: into the shared
# libOrvKit.so (only the public API exported) and into a static archive that
# the tests use to reach internal classes.
include(GenerateExportHeader)
include(GNUInstallDirs)

add_library(orvkit_objects OBJECT)
target_include_directories(orvkit_objects PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
  $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>)
# Internal headers ("service/...", "util/...") for the library's own sources;
# the white-box archive below passes them on.
target_include_directories(orvkit_objects PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(orvkit_objects PUBLIC ${ORVKIT_QT_LIBRARIES} ${ORVKIT_QT_PRIVATE_LIBRARIES})
target_compile_definitions(orvkit_objects PRIVATE OrvKit_EXPORTS QT_NO_KEYWORDS)
orvkit_set_warnings(orvkit_objects)
configure_file(${PROJECT_SOURCE_DIR}/cmake/OrvKitEndpointDefaults.h.in
  ${PROJECT_BINARY_DIR}/generated/OrvKitEndpointDefaults.h @ONLY)
target_include_directories(orvkit_objects PRIVATE ${PROJECT_BINARY_DIR}/generated)

generate_export_header(orvkit_objects
  BASE_NAME OrvKit
  EXPORT_MACRO_NAME ORVKIT_EXPORT
  EXPORT_FILE_NAME ${PROJECT_BINARY_DIR}/include/OrvKitExport.h)

foreach(dir kit service http data util sysdata)
  add_subdirectory(${dir})
endforeach()

# The framework seam. With the platform framework only the platform's headers
# are on the library's path, so a header that the platform lacks fails the
# build instead of falling back to the host's. Without it, the host framework
# is compiled beside the library from vxframework/.
if(ORVKIT_USE_PLATFORM_FRAMEWORK)
  if(NOT ORVKIT_PLATFORM_FRAMEWORK_INCLUDE_DIRS)
    message(FATAL_ERROR "ORVKIT_USE_PLATFORM_FRAMEWORK needs ORVKIT_PLATFORM_FRAMEWORK_INCLUDE_DIRS")
  endif()
  set(orvkit_framework_includes ${ORVKIT_PLATFORM_FRAMEWORK_INCLUDE_DIRS})
  set(orvkit_framework_objects)
  target_link_libraries(orvkit_objects PUBLIC ${ORVKIT_PLATFORM_FRAMEWORK_LIBRARIES})
else()
  add_subdirectory(vxframework)
  set(orvkit_framework_includes $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/vxframework/include>)
  set(orvkit_framework_objects $<TARGET_OBJECTS:orvkit_vxframework>)
endif()
target_include_directories(orvkit_objects PUBLIC ${orvkit_framework_includes})

find_package(Threads REQUIRED)
target_link_libraries(orvkit_objects PUBLIC Threads::Threads rt)

add_library(OrvKit SHARED $<TARGET_OBJECTS:orvkit_objects> ${orvkit_framework_objects})
add_library(OrvKit::OrvKit ALIAS OrvKit)
target_link_libraries(OrvKit PUBLIC ${ORVKIT_QT_LIBRARIES} PRIVATE ${ORVKIT_QT_PRIVATE_LIBRARIES} Threads::Threads rt)
if(ORVKIT_USE_PLATFORM_FRAMEWORK)
  target_link_libraries(OrvKit PUBLIC ${ORVKIT_PLATFORM_FRAMEWORK_LIBRARIES})
endif()
target_include_directories(OrvKit PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
  $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
  ${orvkit_framework_includes}
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/OrvKit>)
set_target_properties(OrvKit PROPERTIES
  OUTPUT_NAME ${ORVKIT_NAME}
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}
  LINK_FLAGS "-Wl,--no-undefined")

# Internal static archive for white-box tests and tools that need internals,
# with the host framework's extras.
if(NOT ORVKIT_USE_PLATFORM_FRAMEWORK)
  add_library(orvkit_internal STATIC $<TARGET_OBJECTS:orvkit_objects> ${orvkit_framework_objects})
  target_link_libraries(orvkit_internal PUBLIC orvkit_objects orvkit_vxframework_host)
  target_include_directories(orvkit_internal PUBLIC ${PROJECT_SOURCE_DIR})
endif()
include(OrvKitInstall)
