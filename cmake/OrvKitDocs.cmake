# The `docs` target: the API reference in HTML, and as a Qt help file
# (OrvKit.qch, for Qt Creator) when qhelpgenerator is found beside Qt's tools.
# Any Doxygen warning, an undocumented public name included, fails it.
find_package(Doxygen QUIET)
if(NOT DOXYGEN_FOUND)
  return()
endif()
set(orvkit_qt_bindir)
if(TARGET Qt5::qmake)
  get_target_property(orvkit_qmake Qt5::qmake IMPORTED_LOCATION)
  get_filename_component(orvkit_qt_bindir "${orvkit_qmake}" DIRECTORY)
endif()
find_program(ORVKIT_QHELPGENERATOR NAMES qhelpgenerator HINTS ${orvkit_qt_bindir} PATHS /usr/lib/qt5/bin)
set(ORVKIT_DOCS_DIR ${PROJECT_BINARY_DIR}/docs)
if(ORVKIT_QHELPGENERATOR)
  set(ORVKIT_DOCS_QHP YES)
else()
  set(ORVKIT_DOCS_QHP NO)
endif()
configure_file(${PROJECT_SOURCE_DIR}/docs/Doxyfile.in ${ORVKIT_DOCS_DIR}/Doxyfile @ONLY)
add_custom_target(docs
  COMMAND Doxygen::doxygen ${ORVKIT_DOCS_DIR}/Doxyfile
  WORKING_DIRECTORY ${ORVKIT_DOCS_DIR}
  COMMENT "API reference in ${ORVKIT_DOCS_DIR}/html"
  VERBATIM)
