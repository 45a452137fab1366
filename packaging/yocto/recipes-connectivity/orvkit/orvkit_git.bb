# OrvKit built with Qt 5, for layers on meta-qt5: libOrvKit.so.1, the CMake
# package OrvKit and orvkit.pc.
ORVKIT_QT_BUILD = "Qt 5"

inherit cmake_qt5

DEPENDS = "qtbase"
# cmake_qt5 names the directory of qtbase-native's tools.
ORVKIT_HOST_QT_BINDIR = "${OE_QMAKE_PATH_EXTERNAL_HOST_BINS}"

require orvkit.inc
