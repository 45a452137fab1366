# Cross build for 32-bit ARM (armhf) with the distribution's
# arm-linux-gnueabihf compiler against an armhf sysroot (Qt, GoogleTest,
# OpenSSL, cpp-httplib). Executables run under qemu-arm, so CTest works
# without binfmt. tools/armhf/build-and-test.sh assembles the sysroot.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(ORVKIT_ARMHF_TRIPLE arm-linux-gnueabihf)
if(NOT ORVKIT_ARMHF_SYSROOT)
  if(DEFINED ENV{ORVKIT_ARMHF_SYSROOT})
    set(ORVKIT_ARMHF_SYSROOT "$ENV{ORVKIT_ARMHF_SYSROOT}")
  else()
    get_filename_component(ORVKIT_ARMHF_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../../build-armhf-sysroot" ABSOLUTE)
  endif()
endif()
if(NOT EXISTS "${ORVKIT_ARMHF_SYSROOT}/usr/lib/${ORVKIT_ARMHF_TRIPLE}")
  message(FATAL_ERROR "No armhf sysroot at ${ORVKIT_ARMHF_SYSROOT}; run tools/armhf/build-and-test.sh or set ORVKIT_ARMHF_SYSROOT")
endif()
# try_compile projects read this file again and need the same sysroot.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ORVKIT_ARMHF_SYSROOT)

set(CMAKE_C_COMPILER ${ORVKIT_ARMHF_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${ORVKIT_ARMHF_TRIPLE}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${ORVKIT_ARMHF_TRIPLE})
set(CMAKE_SYSROOT "${ORVKIT_ARMHF_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH "${ORVKIT_ARMHF_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Libraries pulled in indirectly (Qt's ICU, zlib, ...) are not on the link
# line; let the linker find them inside the sysroot.
set(CMAKE_EXE_LINKER_FLAGS_INIT
  "-Wl,-rpath-link,${ORVKIT_ARMHF_SYSROOT}/usr/lib/${ORVKIT_ARMHF_TRIPLE}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${CMAKE_EXE_LINKER_FLAGS_INIT}")

# The sysroot's .pc files, with their /usr paths moved into it.
set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_LIBDIR}
  "${ORVKIT_ARMHF_SYSROOT}/usr/lib/${ORVKIT_ARMHF_TRIPLE}/pkgconfig:${ORVKIT_ARMHF_SYSROOT}/usr/lib/pkgconfig:${ORVKIT_ARMHF_SYSROOT}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${ORVKIT_ARMHF_SYSROOT}")

# Binfmt is not assumed: CTest and add_custom_command run targets through qemu.
# A target that starts another target program (a test re-running itself) finds
# the emulator in ORVKIT_TEST_EMULATOR; QEMU_LD_PREFIX carries the sysroot to
# that second qemu.
find_program(ORVKIT_QEMU_ARM qemu-arm)
if(ORVKIT_QEMU_ARM)
  set(CMAKE_CROSSCOMPILING_EMULATOR
    "${ORVKIT_QEMU_ARM};-L;${ORVKIT_ARMHF_SYSROOT};-E;ORVKIT_TEST_EMULATOR=${ORVKIT_QEMU_ARM};-E;QEMU_LD_PREFIX=${ORVKIT_ARMHF_SYSROOT}")
endif()

# Qt's moc and rcc come from the build machine: cmake/OrvKitCrossTools.cmake
# points the imported targets at ORVKIT_HOST_QT_BINDIR once Qt is found.
set(ORVKIT_HOST_QT_BINDIR "/usr/lib/qt5/bin" CACHE PATH "Directory of the build machine's Qt tools")
