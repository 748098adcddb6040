#!/usr/bin/env bash
# clang-tidy with the checks of .clang-tidy, by the compile commands of build/release (`make lint`
# makes them). usage: tidy.sh [changed|all]: the files that differ from the main branch, with those
# that include a header that does, or all files.
set -euo pipefail
cd "$(dirname "$0")/.."
commands=build/release/compile_commands.json
[ -f $commands ] || { echo "no $commands: run 'make lint'" >&2; exit 1; }

# Sources that have a compile command; the headers of tests are compiled ahead, by GCC.
mkdir -p build/tidy
sed -E 's/ -include [^ "]*cmake_pch\.hxx//; s/ -Winvalid-pch//' $commands >build/tidy/compile_commands.json
known=$(sed -nE "s,^ *\"file\": \"$PWD/(.*)\"\,?\$,\1,p" $commands | grep -v ^build/ | sort)

# changed_sources BASE: those that differ from a commit.
changed_sources() {
  local changed header
  changed=$(git diff --name-only --diff-filter=d "$1" && git ls-files --others --exclude-standard)
  { grep -E '\.cpp$' <<<"$changed"
    for header in $(grep -E '\.(h|hpp|def)$' <<<"$changed"); do
      git grep -lF "/${header##*/}\"" -- '*.cpp'
      git grep -lF "\"${header##*/}\"" -- '*.cpp'
    done; } | sort -u || true
}

base=$(git merge-base HEAD origin/main 2>/dev/null || git merge-base HEAD main 2>/dev/null) ||
  base=""
case ${1:-changed} in
  all) files=$known ;;
  changed) files=$known
    [ -z "$base" ] || files=$(comm -12 <(changed_sources "$base") <(echo "$known")) ;;
  *) echo "usage: tidy.sh [changed|all]" >&2; exit 2 ;;
esac
[ -n "$files" ] || exit 0
echo "clang-tidy: $(wc -l <<<"$files") files"
xargs -P "${JOBS:-$(nproc)}" -n 4 clang-tidy-14 -p build/tidy --quiet <<<"$files" \
  2> >(grep -vE '^[0-9]+ warnings? generated' >&2)
