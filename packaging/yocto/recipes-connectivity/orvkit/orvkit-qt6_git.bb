# OrvKit built with Qt 6, for layers on meta-qt6: libOrvKitQt6.so.1, the
# CMake package OrvKitQt6 and orvkit-qt6.pc. QTextCodec lives in qt5compat
# on Qt 6, and the kit inflates compressed answers itself with zlib.
ORVKIT_QT_BUILD = "Qt 6"

inherit qt6-cmake

DEPENDS = "qtbase qt5compat zlib"
EXTRA_OECMAKE += "-DORVKIT_QT_MAJOR_VERSION=6"
# qtbase-native keeps moc and rcc in its libexec directory.
ORVKIT_HOST_QT_BINDIR = "${STAGING_LIBEXECDIR_NATIVE}"

require orvkit.inc

# Both recipes install the same headers and tools: an image or SDK takes one.
RCONFLICTS:${PN}-tools = "orvkit-tools"
RCONFLICTS:${PN}-dev = "orvkit-dev"
