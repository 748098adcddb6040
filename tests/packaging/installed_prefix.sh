#!/usr/bin/env bash
# A prefix that was moved after the installation serves hosts and programs; `uninstall` leaves
# nothing of ours behind.
source "$(dirname "$0")/common.sh"
build_library
"$tree/bin/xvrecord" --version >/dev/null # finds the library that was built with it
expect_runpaths "$tree/bin"

cmake --install "$tree" --prefix "$stage/first" >"$stage/install.log"
mkdir "$stage/moved"
cp -a "$stage/first" "$stage/moved/prefix"
prefix=$stage/moved/prefix
echo kept >"$stage/first/lib/other.txt"
cmake --build "$tree" --target uninstall >"$stage/uninstall.log"
left=$(cd "$stage/first" && find . ! -type d -o -iname '*xvwriter*')
[ "$left" = ./lib/other.txt ] || fail "uninstall left: $left"

host_by_cmake "$prefix/lib/cmake/XvWriterFFM"
host_by_pkg_config "$prefix/lib/pkgconfig"
unit=$prefix/lib/systemd/system/xvrecord@.service # alone names where it was installed
grep -q "^ExecStart=$stage/first/bin/xvrecord " "$unit" || fail "the unit starts another program"
rm "$unit"
expect_clean "$prefix"

# The class file of the prefix leads to the library there.
"$FOREIGN_PROGRAM" "$prefix/share/xvwriter/classes"
"$prefix/bin/xvrecord" --version >/dev/null
"$prefix/bin/xvfollow" --version >/dev/null
"$prefix/bin/xvhw" --version >/dev/null
for file in xvwriter/dashboard.json man/man1/xvrecord.1 bash-completion/completions/xvrecord doc/xvwriterffm/README.md \
  doc/xvwriterffm/docs/attributes.md doc/xvwriterffm/examples/record_grey.cpp; do
  [ -f "$prefix/share/$file" ] || fail "no $file in the prefix"
done
