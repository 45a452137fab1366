# When cross-compiling against a foreign-architecture Qt, its CMake files name
# moc and rcc binaries of the target; run the build machine's instead.
if(CMAKE_CROSSCOMPILING)
  set(ORVKIT_HOST_QT_BINDIR "/usr/lib/qt5/bin" CACHE PATH "Directory of the build machine's Qt tools")
  foreach(tool moc rcc)
    if(TARGET Qt5::${tool} AND EXISTS ${ORVKIT_HOST_QT_BINDIR}/${tool})
      set_target_properties(Qt5::${tool} PROPERTIES IMPORTED_LOCATION ${ORVKIT_HOST_QT_BINDIR}/${tool})
    endif()
  endforeach()
endif()
