#!/usr/bin/env bash
# Platform stage: compiles the library alone (no tests, no tools) with
# ORVKIT_USE_PLATFORM_FRAMEWORK=ON against a copy of vxframework/include, the
# framework interfaces the library may use. The sources are copied without
# vxframework/, so neither a host header nor a host addition to a framework
# class (VxEvent::ResetEvent, say) can be reached: any use of one fails here.
# ORVKIT_PLATFORM_BUILD_DIR picks the work directory (default build/platform).
source "$(dirname "$0")/preamble.sh"

work=${ORVKIT_PLATFORM_BUILD_DIR:-build/platform}
case "$work" in /*) ;; *) work="$PWD/$work" ;; esac
rm -rf "$work/source" "$work/framework"
mkdir -p "$work/source" "$work/framework"

# What the library and its reference are built from, and nothing else.
cp -Rp CMakeLists.txt cmake docs include kit service http data util sysdata "$work/source/"
cp -Rp vxframework/include "$work/framework/include"

cmake -S "$work/source" -B "$work/build" \
  -DCMAKE_BUILD_TYPE=Release -DORVKIT_WERROR=ON \
  -DORVKIT_USE_PLATFORM_FRAMEWORK=ON \
  -DORVKIT_PLATFORM_FRAMEWORK_INCLUDE_DIRS="$work/framework/include" \
  -DORVKIT_BUILD_TESTS=OFF -DORVKIT_BUILD_TOOLS=OFF
# Compiling is the check; linking needs the platform's libraries.
cmake --build "$work/build" --target orvkit_objects -j2
echo "the library compiles against vxframework/include alone"
