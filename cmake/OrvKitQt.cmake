# Picks the Qt major version the kit is built against. Qt 5 is the default;
# with ORVKIT_QT_MAJOR_VERSION=6 the library is named OrvKitQt6 (CMake
# package OrvKitQt6, pkg-config orvkit-qt6), so that both builds install into
# one prefix side by side with the same headers.
# Sets ORVKIT_QT (Qt5 or Qt6, the prefix of Qt's targets), ORVKIT_QT_LIBRARIES
# (what the library links publicly), ORVKIT_QT_PRIVATE_LIBRARIES (what only
# its sources need) and ORVKIT_NAME (OrvKit or OrvKitQt6).
set(ORVKIT_QT_MAJOR_VERSION 5 CACHE STRING "Qt major version to build against: 5 or 6")
set_property(CACHE ORVKIT_QT_MAJOR_VERSION PROPERTY STRINGS 5 6)

if(ORVKIT_QT_MAJOR_VERSION STREQUAL "5")
  find_package(Qt5 5.12 REQUIRED COMPONENTS Core Network)
  set(ORVKIT_QT Qt5)
  set(ORVKIT_QT_PRIVATE_LIBRARIES)
  set(ORVKIT_NAME OrvKit)
elseif(ORVKIT_QT_MAJOR_VERSION STREQUAL "6")
  # QTextCodec, for the "eucJP" conversions, lives in Core5Compat on Qt 6.
  # Qt 6 asks for compressed answers in encodings Qt 5 does not name; the kit
  # asks as Qt 5 does and inflates the answers itself with zlib.
  find_package(Qt6 6.2 REQUIRED COMPONENTS Core Network Core5Compat)
  find_package(ZLIB REQUIRED)
  set(ORVKIT_QT Qt6)
  set(ORVKIT_QT_PRIVATE_LIBRARIES Qt6::Core5Compat ZLIB::ZLIB)
  set(ORVKIT_NAME OrvKitQt6)
else()
  message(FATAL_ERROR "ORVKIT_QT_MAJOR_VERSION must be 5 or 6, not '${ORVKIT_QT_MAJOR_VERSION}'")
endif()
set(ORVKIT_QT_LIBRARIES ${ORVKIT_QT}::Core ${ORVKIT_QT}::Network)
