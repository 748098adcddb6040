#!/usr/bin/env bash
# Compiles each public header by itself, as the first thing that a strict host includes, with every
# compiler that is here. usage: check_headers.sh [INCLUDE_FOLDER]
set -uo pipefail
cd "$(dirname "$0")/.."
include=${1:-include}
flags=(-std=c++20 -Wall -Wextra -Wconversion -Wold-style-cast -Wpedantic -Werror -fsyntax-only)
failed=0
for compiler in g++ clang++-14; do
  if ! command -v "$compiler" >/dev/null; then
    echo "headers: $compiler is not installed"
    failed=1
    continue
  fi
  for header in "$include"/xvwriter/*.h "$include"/xvwriter/*.hpp "$include"/xvwriter/*/*.hpp; do
    # From the standard input: a header as the main file warns of its "#pragma once".
    echo "#include \"${header#"$include"/}\"" |
      "$compiler" "${flags[@]}" -I "$include" -x c++ - ||
      { echo "headers: $header does not compile alone with $compiler"; failed=1; }
  done
done
exit $failed
