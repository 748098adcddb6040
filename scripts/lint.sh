#!/usr/bin/env bash
# Checks that need no build: includes point one way, headers are guarded, nothing is left open, and
# clang-tidy finds no fault. usage: lint.sh [all], where "all" has clang-tidy read every file.
set -uo pipefail
cd "$(dirname "$0")/.."
failed=0
complain() { echo "lint: $*"; failed=1; }

# A room may include rooms of lower floors only. Rooms with the same number share a floor.
declare -A floor=([base]=0 [platform]=1 [values]=2 [tree]=3 [settings]=4 [props]=5 [media]=5
  [contracts]=6 [kernels]=7 [picture]=8 [audio]=8 [frames]=9 [captions]=9 [hw]=10 [codec]=11
  [catalogue]=12 [output]=12 [growing]=13 [session]=14 [component]=14 [writer]=15 [server]=16)
while IFS=: read -r file include; do
  from=$(echo "$file" | cut -d/ -f2)
  to=$(echo "$include" | sed -E 's/.*"([a-z]+)\/.*/\1/')
  [ -n "${floor[$to]:-}" ] && [ -n "${floor[$from]:-}" ] || continue
  if [ "$from" != "$to" ] && [ "${floor[$to]}" -ge "${floor[$from]}" ]; then
    complain "$file includes $include: $to does not lie below $from"
  fi
done < <(git grep -E '^#include "[a-z]+/' -- src | sed -E 's/^([^:]+):#include (.*)$/\1:\2/')

for header in $(git ls-files 'include/*.h' 'include/*.hpp' 'src/*.h' 'tools/*.h' 'gst/*.h' ':!*-inl.h'); do
  head -40 "$header" | grep -q '^#pragma once' || complain "$header has no #pragma once"
done

# The plugin is a host: it knows the library by its public headers alone.
hits=$(git grep -nE '^#include "[a-z_]+/' -- gst ':!gst/CMakeLists.txt' | grep -v '"xvwriter/')
[ -z "$hits" ] || complain "gst includes more than the public headers: $hits"

# The operating system stays in its room.
hits=$(git grep -lE '#include <(dlfcn|pthread|unistd|fcntl|sys/[a-z]+)\.h>' -- src ':!src/platform')
[ -z "$hits" ] || complain "operating system headers outside src/platform: $hits"

hits=$(git grep -nE 'av_(frame|packet|dict)_free|avcodec_free_context|avformat_free_context' -- src \
  ':!src/contracts/av_handles.h')
[ -z "$hits" ] || complain "FFmpeg objects are freed by their owners alone: $hits"

scripts/check_headers.sh || complain "public headers"

python3 scripts/make_status_codes.py --check || complain "docs/status-codes.md"

scripts/tidy.sh "${1:-changed}" || complain "clang-tidy"

[ $failed -eq 0 ] && echo "lint: clean"
exit $failed
