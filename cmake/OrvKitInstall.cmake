# What `cmake --install` lays down: the shared library with its SONAME links,
# the public headers under include/OrvKit, a CMake package (OrvKit::OrvKit)
# and a pkg-config file. The tools install themselves from their own folders.
# A Qt 6 build names its library, package and pkg-config file OrvKitQt6,
# OrvKitQt6 and orvkit-qt6 (ORVKIT_NAME), and installs the same headers.
include(CMakePackageConfigHelpers)

string(TOLOWER ${ORVKIT_NAME} orvkit_pc_name)
string(REPLACE "orvkitqt" "orvkit-qt" orvkit_pc_name ${orvkit_pc_name})
set(ORVKIT_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/${ORVKIT_NAME} CACHE STRING
  "Where the CMake package files of ${ORVKIT_NAME} are installed, relative to the prefix")
set(ORVKIT_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/OrvKit)

# Installed tools find the library beside them wherever the prefix is; the
# variable reaches the tool targets, which are created after this file runs.
if(NOT DEFINED CMAKE_INSTALL_RPATH AND NOT IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
endif()

install(TARGETS OrvKit EXPORT ${ORVKIT_NAME}Targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})

set(ORVKIT_PUBLIC_HEADERS
  ${PROJECT_SOURCE_DIR}/include/OrvKit.h
  ${PROJECT_SOURCE_DIR}/include/OrvKitDef.h
  ${PROJECT_SOURCE_DIR}/include/OrvKitDat.h
  ${PROJECT_SOURCE_DIR}/include/OrvKitCommands.h
  ${PROJECT_SOURCE_DIR}/include/OrvKitInbox.h
  ${PROJECT_SOURCE_DIR}/include/OrvKitOrigins.h
  ${PROJECT_BINARY_DIR}/include/OrvKitExport.h)
# OrvKitDat.h declares serialize/unserialize on the framework's archive, so an
# application needs the archive's header too. With the platform framework the
# platform ships it.
if(NOT ORVKIT_USE_PLATFORM_FRAMEWORK)
  list(APPEND ORVKIT_PUBLIC_HEADERS
    ${PROJECT_SOURCE_DIR}/vxframework/include/VxSerialization.h
    ${PROJECT_SOURCE_DIR}/vxframework/include/VxApi.h)
endif()
install(FILES ${ORVKIT_PUBLIC_HEADERS}
  DESTINATION ${ORVKIT_INSTALL_INCLUDEDIR})

install(EXPORT ${ORVKIT_NAME}Targets
  NAMESPACE ${ORVKIT_NAME}::
  FILE ${ORVKIT_NAME}Targets.cmake
  DESTINATION ${ORVKIT_INSTALL_CMAKEDIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/OrvKitConfig.cmake.in
  ${PROJECT_BINARY_DIR}/${ORVKIT_NAME}Config.cmake
  INSTALL_DESTINATION ${ORVKIT_INSTALL_CMAKEDIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/${ORVKIT_NAME}ConfigVersion.cmake
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/${ORVKIT_NAME}Config.cmake
  ${PROJECT_BINARY_DIR}/${ORVKIT_NAME}ConfigVersion.cmake
  DESTINATION ${ORVKIT_INSTALL_CMAKEDIR})

# The pc file finds the prefix from its own place (pkg-config's ${pcfiledir}),
# so that `cmake --install --prefix` elsewhere, or a copied tree, still points
# at itself. An absolute libdir pins the file to that libdir.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(ORVKIT_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH ORVKIT_PC_UP "/p/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/p")
  string(REGEX REPLACE "/$" "" ORVKIT_PC_UP "${ORVKIT_PC_UP}")
  set(ORVKIT_PC_PREFIX "\${pcfiledir}/${ORVKIT_PC_UP}")
endif()
foreach(kind LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}}")
    set(ORVKIT_PC_${kind} "${CMAKE_INSTALL_${kind}}")
  else()
    set(ORVKIT_PC_${kind} "\${prefix}/${CMAKE_INSTALL_${kind}}")
  endif()
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/orvkit.pc.in ${PROJECT_BINARY_DIR}/${orvkit_pc_name}.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/${orvkit_pc_name}.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
