#!/usr/bin/env bash
# The static form is found and linked by both ways, and the host then needs no library of ours.
source "$(dirname "$0")/common.sh"
build_library -DBUILD_SHARED_LIBS=OFF -DXVWRITER_BUILD_TOOLS=OFF \
  -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON -DCMAKE_DISABLE_FIND_PACKAGE_nlohmann_json=ON
cmake --install "$tree" --prefix "$stage/prefix" >"$stage/install.log"

host_by_cmake "$stage/prefix/lib/cmake/XvWriterFFM"
host_by_pkg_config "$stage/prefix/lib/pkgconfig" --static
for host in "$stage/host_by_cmake/consumer" "$stage/host_by_pkg_config"; do
  ! readelf -d "$host" | grep -q libxvwriterffm || fail "$host loads the shared library"
done
