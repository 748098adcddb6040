#!/usr/bin/env bash
# Library and headers in folders that were given as absolute paths, apart from the prefix: what is
# installed leads there from wherever it lies.
source "$(dirname "$0")/common.sh"
place=$(mktemp -d) # CMake takes no headers that are installed into a source tree
trap 'rm -rf "$place"' EXIT
build_library -DCMAKE_INSTALL_PREFIX="$place/prefix" -DCMAKE_INSTALL_LIBDIR="$place/libraries" \
  -DCMAKE_INSTALL_INCLUDEDIR="$place/headers"
cmake --install "$tree" >"$stage/install.log"
rm -rf "${tree:?}/lib" # only the installed library is left to be found

host_by_cmake "$place/libraries/cmake/XvWriterFFM"
host_by_pkg_config "$place/libraries/pkgconfig"
"$FOREIGN_PROGRAM" "$place/prefix/share/xvwriter/classes"
"$place/prefix/bin/xvrecord" --version >/dev/null
