#!/usr/bin/env bash
# check.sh BUILD STAGE COMPILER: installs BUILD into STAGE, builds the consumer against it through
# the CMake package and through pkg-config, and lets it record. The stage is moved first, so that
# nothing may depend on the place where it was made.
set -euo pipefail
build=$(realpath "$1") stage=$(realpath -m "$2") compiler=$3
here=$(cd "$(dirname "$0")" && pwd)
rm -rf "$stage" "$stage.first"
export XVWRITER_SETTINGS=$stage/settings.toml

cmake --install "$build" --prefix "$stage.first" >/dev/null
mv "$stage.first" "$stage"

cmake -S "$here" -B "$stage/made" -DCMAKE_PREFIX_PATH="$stage" -DCMAKE_CXX_COMPILER="$compiler" >/dev/null
cmake --build "$stage/made" >/dev/null
"$stage/made/consumer" "$stage/cmake.mp4"

pc=$(find "$stage" -name xvwriterffm.pc)
export PKG_CONFIG_PATH=${pc%/*}
library=$(pkg-config --variable=libdir xvwriterffm)
# shellcheck disable=SC2046
"$compiler" -std=c++20 "$here/main.cpp" -o "$stage/plain" $(pkg-config --cflags --libs xvwriterffm)
LD_LIBRARY_PATH=$library "$stage/plain" "$stage/pkgconfig.mp4"

for file in cmake.mp4 pkgconfig.mp4; do
  frames=$(ffprobe -v error -select_streams v:0 -count_packets -show_entries stream=nb_read_packets -of csv=p=0 "$stage/$file")
  [ "$frames" = 10 ] || { echo "$file has $frames frames, not 10" >&2; exit 1; }
done

# The class file of the prefix leads to the library there.
"$build/bin/foreign_program" "$stage/share/xvwriter/classes"
"$stage/bin/xvrecord" --version
[ -f "$stage/share/man/man1/xvrecord.1" ]
[ -f "$stage/share/bash-completion/completions/xvrecord" ]
