# What the packaging tests share; sourced with the script's own arguments: TREE STAGE OPTIONS...
# TREE is built in, STAGE is emptied and filled, OPTIONS configure as the build around the test did.
# shellcheck shell=bash
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source=$(realpath "$here/../..")
tree=$1 stage=$2
shift 2
options=("$@")
rm -rf "$stage"
mkdir -p "$stage"
export XVWRITER_SETTINGS=$stage/settings.toml

fail() {
  echo "$*" >&2
  exit 1
}

# Configures and builds the library, without what the packages of the tests are needed for.
build_library() {
  cmake --fresh -S "$source" -B "$tree" "${options[@]}" -DBUILD_TESTING=OFF \
    -DXVWRITER_BUILD_BENCHMARKS=OFF -DXVWRITER_BUILD_EXAMPLES=OFF \
    -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON "$@" >"$stage/configure.log" 2>&1 ||
    { cat "$stage/configure.log" >&2; exit 1; }
  cmake --build "$tree" --target library_and_tools >"$stage/build.log" 2>&1 ||
    { tail -n 50 "$stage/build.log" >&2; exit 1; }
}

# expect_recording FILE: ten pictures.
expect_recording() {
  local frames
  frames=$(ffprobe -v error -select_streams v:0 -count_packets \
    -show_entries stream=nb_read_packets -of csv=p=0 "$1")
  [ "$frames" = 10 ] || fail "$1 has $frames pictures, not 10"
}

# host_by_cmake CONFIG_FOLDER: a host that finds the library by its CMake package records.
host_by_cmake() {
  local made=$stage/host_by_cmake
  cmake -S "$here/consumer" -B "$made" "${options[@]}" -DXvWriterFFM_DIR="$1" \
    >"$made.log" 2>&1 || { cat "$made.log" >&2; exit 1; }
  cmake --build "$made" >"$made.log" 2>&1 || { cat "$made.log" >&2; exit 1; }
  "$made/consumer" "$made.mp4"
  expect_recording "$made.mp4"
}

# host_by_pkg_config PC_FOLDER [--static]: the same by pkg-config.
host_by_pkg_config() {
  local made=$stage/host_by_pkg_config compiler pc_folder=$1
  shift
  compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:.*=//p' "$tree/CMakeCache.txt")
  export PKG_CONFIG_PATH=$pc_folder
  # shellcheck disable=SC2046
  "$compiler" -std=c++20 "$here/consumer/main.cpp" -o "$made" \
    $(pkg-config --cflags --libs "$@" xvwriterffm)
  LD_LIBRARY_PATH=$(pkg-config --variable=libdir xvwriterffm) "$made" "$made.mp4"
  expect_recording "$made.mp4"
}

# expect_runpaths FOLDER: no program or library in it looks for others in the current folder.
expect_runpaths() {
  local file
  while read -r file; do
    ! readelf -d "$file" | grep -E 'R(UN)?PATH.*(\[:|::|:\])' ||
      fail "$file looks for libraries in the current folder"
  done < <(find "$1" -type f \( -path '*/bin/*' -o -name '*.so.*' \))
}

# expect_clean FOLDER: besides, nothing in it names the place where it was built, and no library
# links what it does not call.
expect_clean() {
  local named file
  expect_runpaths "$1"
  named=$(grep -rlF -e "$tree" -e "$source" "$1" || true)
  [ -z "$named" ] || fail "the build tree is named in $named"
  while read -r file; do
    ldd -u "$file" >"$stage/unused.txt" || fail "$file does not call $(<"$stage/unused.txt")"
  done < <(find "$1" -type f -name '*.so.*')
}
