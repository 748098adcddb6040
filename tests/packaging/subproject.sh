#!/usr/bin/env bash
# A project that takes this one in as a folder: it gets the library and keeps what is its own.
source "$(dirname "$0")/common.sh"
cmake --fresh -S "$here/parent" -B "$tree" "${options[@]}" -DXVWRITER_SOURCE="$source" \
  -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON \
  -DCMAKE_DISABLE_FIND_PACKAGE_nlohmann_json=ON >"$stage/configure.log" 2>&1 ||
  { cat "$stage/configure.log" >&2; exit 1; }
cmake --build "$tree" >"$stage/build.log" 2>&1 || { tail -n 50 "$stage/build.log" >&2; exit 1; }
"$tree/host" "$stage/parent.mp4"
expect_recording "$stage/parent.mp4"

ctest --test-dir "$tree" -N | grep -qx 'Total Tests: 1' || fail "the parent has tests of ours"
cmake --install "$tree" --prefix "$stage/prefix" >/dev/null
installed=$(cd "$stage/prefix" && find . -type f)
[ "$installed" = ./bin/host ] || fail "the parent installs $installed"
