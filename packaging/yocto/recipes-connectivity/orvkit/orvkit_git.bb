SUMMARY = "Cloud client of a car navigation head unit"
DESCRIPTION = "OrvKit turns the navigation application's commands into HTTPS \
requests to the drivers' cloud service and answers through a listener; its \
records decode the answers. Qt 5 build."
LICENSE = "CLOSED"

# Where the layer takes the sources from; set both in local.conf or a
# bbappend (see README.md).
ORVKIT_SRC_URI ??= ""
ORVKIT_SRCREV ??= "${AUTOREV}"
SRC_URI = "${ORVKIT_SRC_URI}"
SRCREV = "${ORVKIT_SRCREV}"
PV = "1.0.0+git${SRCPV}"
S = "${WORKDIR}/git"

inherit cmake_qt5 pkgconfig

DEPENDS = "qtbase"

# tools: orvkit-sim and orvkit-cli in ${PN}-tools.
# platform-framework: build against the image's own framework instead of the
# host stand-in in vxframework/; its headers and library come from the
# recipe named in ORVKIT_FRAMEWORK_RECIPE. The tools run on the host
# stand-in only, so the two exclude each other.
ORVKIT_FRAMEWORK_RECIPE ??= "vxframework"
ORVKIT_FRAMEWORK_INCLUDE_DIRS ??= "${STAGING_INCDIR}/vx"
ORVKIT_FRAMEWORK_LIBRARIES ??= "${STAGING_LIBDIR}/libvxframework.so"
PACKAGECONFIG ??= "tools"
PACKAGECONFIG[tools] = "-DORVKIT_BUILD_TOOLS=ON,-DORVKIT_BUILD_TOOLS=OFF,cpp-httplib cli11 openssl,,,platform-framework"
PACKAGECONFIG[platform-framework] = "-DORVKIT_USE_PLATFORM_FRAMEWORK=ON \
    -DORVKIT_PLATFORM_FRAMEWORK_INCLUDE_DIRS=${ORVKIT_FRAMEWORK_INCLUDE_DIRS} \
    -DORVKIT_PLATFORM_FRAMEWORK_LIBRARIES=${ORVKIT_FRAMEWORK_LIBRARIES},\
    -DORVKIT_USE_PLATFORM_FRAMEWORK=OFF,${ORVKIT_FRAMEWORK_RECIPE},${ORVKIT_FRAMEWORK_RECIPE},,tools"

# No tests on the target build; Qt's moc and rcc come from qtbase-native
# (the directory cmake_qt5 names), never from the build machine; the
# installed tools find the library on the system path, so no RPATH.
EXTRA_OECMAKE += " \
    -DORVKIT_BUILD_TESTS=OFF \
    -DORVKIT_WERROR=OFF \
    -DORVKIT_HOST_QT_BINDIR=${OE_QMAKE_PATH_EXTERNAL_HOST_BINS} \
    -DCMAKE_INSTALL_RPATH= \
"

PACKAGES =+ "${PN}-tools"
FILES:${PN}-tools = "${bindir}/orvkit-sim ${bindir}/orvkit-cli"
FILES:${PN}-dev += "${libdir}/cmake/OrvKit"
