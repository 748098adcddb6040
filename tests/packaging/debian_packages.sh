#!/usr/bin/env bash
# The packages of `cpack -G DEB`, unpacked into an empty folder: hosts build and record from there,
# and the programs run.
source "$(dirname "$0")/common.sh"
build_library -DCMAKE_INSTALL_PREFIX=/usr
cpack --config "$tree/CPackConfig.cmake" -G DEB -B "$stage/packages" >"$stage/cpack.log" 2>&1 ||
  { cat "$stage/cpack.log" >&2; exit 1; }

root=$stage/root
names="libxvwriterffm1 libxvwriterffm-dev xvwriterffm-tools"
[ -z "$PYTHON" ] || names+=" python3-xvwriter"
! grep -q '^XVWRITER_BUILD_GSTREAMER:BOOL=ON' "$tree/CMakeCache.txt" ||
  names+=" gstreamer1.0-xvwriter"
for name in $names; do
  dpkg-deb -x "$stage/packages/$name"_*.deb "$root"
  dpkg-deb -c "$stage/packages/$name"_*.deb | awk '$1 !~ /^d/ {print $6}' >>"$stage/files.txt"
done
twice=$(sort "$stage/files.txt" | uniq -d)
[ -z "$twice" ] || fail "in more than one package: $twice"
others=$(dpkg-deb -c "$stage/packages"/libxvwriterffm1_*.deb | awk '$1 !~ /^d/ {print $6}' |
  grep -vE '/libxvwriterffm\.so\.1|/share/xvwriter/classes/' || true)
[ -z "$others" ] || fail "libxvwriterffm1 has $others"

# expect_depends PACKAGE PATTERN...: each pattern is found among what the package depends on.
expect_depends() {
  local package=$1 depends pattern
  shift
  depends=$(dpkg-deb -f "$stage/packages/$package"_*.deb Depends)
  for pattern in "$@"; do
    grep -qE "(^|, )$pattern" <<<"$depends" || fail "$package depends on $depends, not on $pattern"
  done
  ! grep -q libyuv <<<"$depends" || fail "$package depends on libyuv"
}
version=$(dpkg-deb -f "$stage/packages"/libxvwriterffm1_*.deb Version)
expect_depends libxvwriterffm1 'libavformat[0-9]+ \(>=' 'libavcodec[0-9]+ ' 'libc6 '
expect_depends libxvwriterffm-dev "libxvwriterffm1 \(= $version\)"
expect_depends xvwriterffm-tools "libxvwriterffm1 \(= $version\)" 'libavformat[0-9]+ '
dpkg-deb -I "$stage/packages"/libxvwriterffm1_*.deb shlibs | grep -q '^libxvwriterffm 1 ' ||
  fail "libxvwriterffm1 does not say which library it has"

# expect_hardened FILE: what a reader of ELF files sees of it.
expect_hardened() {
  local head dynamic symbols
  head=$(readelf -hlW "$1") dynamic=$(readelf -dW "$1") symbols=$(readelf --dyn-syms -W "$1")
  grep -q 'Type: *DYN' <<<"$head" || fail "$1 lies at a fixed place"
  grep -q GNU_RELRO <<<"$head" || fail "$1 leaves its tables writable"
  ! grep -E 'GNU_STACK.*RWE' <<<"$head" || fail "$1 has a stack that can be run"
  grep -qE 'FLAGS.*NOW' <<<"$dynamic" || fail "$1 binds its calls when they are made"
  ! grep -E 'R(UN)?PATH.*(\[:|::|:\]|\[[^$/])' <<<"$dynamic" || fail "$1 loads from the current folder"
  grep -q __stack_chk_fail <<<"$symbols" || fail "$1 has no guard on its stack"
}
for program in xvrecord xvfollow xvhw; do expect_hardened "$root/usr/bin/$program"; done
find "$root/usr/lib" -name '*.so*' -type f >"$stage/modules.txt"
while read -r module; do expect_hardened "$module"; done <"$stage/modules.txt"
shared=$(grep '/libxvwriterffm\.so' "$stage/modules.txt")
tables=$(readelf -d --dyn-syms -W "$shared")
grep -q SYMBOLIC <<<"$tables" || fail "a host's symbols take the place of the library's"
grep -q '__[a-z]*_chk@' <<<"$tables" || fail "the library is not fortified"
foreign=$(readelf --dyn-syms -W "$shared" | awk '$7 != "UND" && $5 != "LOCAL" {print $8}' |
  grep -vE '^(Xv|Dll|XVWRITER_1)' | grep -v '^Name$' | grep . || true)
[ -z "$foreign" ] || fail "the library shows $foreign"

library=$(find "$root/usr/lib" -name libxvwriterffm.so.1 -printf '%h')
rm -rf "${tree:?}/${library#"$root/usr/"}" # only the unpacked library is left to be found
host_by_cmake "$library/cmake/XvWriterFFM"
host_by_pkg_config "$library/pkgconfig"
expect_clean "$root"
"$root/usr/bin/xvrecord" --quiet test:seconds=1 "$stage/tools.mp4"
[ -s "$stage/tools.mp4" ] || fail "xvrecord wrote nothing"

grep -q '^ExecStart=/usr/bin/xvrecord ' "$root/usr/lib/systemd/system/xvrecord@.service" ||
  fail "the unit starts another program"
grep -q '^EnvironmentFile=/etc/xvrecord/%i.conf' "$root/usr/lib/systemd/system/xvrecord@.service" ||
  fail "the unit reads other settings"
[ -s "$root/usr/share/xvwriter/channel.conf" ] || fail "no example of a channel"

if [[ $names == *gstreamer* ]]; then
  expect_depends gstreamer1.0-xvwriter "libxvwriterffm1 \(= $version\)" 'libgstreamer1.0-0 ' \
    'libgstreamer-plugins-base1.0-0 '
  export GST_PLUGIN_PATH=$library/gstreamer-1.0 GST_REGISTRY=$stage/registry.bin
  gst-inspect-1.0 xvwritersink >"$stage/element.txt" || fail "no element in the plugin"
  grep -q '^  video-preset ' "$stage/element.txt" || fail "the element does not show the catalogue"
  timeout 60 gst-launch-1.0 -q videotestsrc num-buffers=10 ! video/x-raw,width=320,height=240 ! \
    xvwritersink location="$stage/gstreamer.mp4"
  expect_recording "$stage/gstreamer.mp4"
fi

[ -n "$PYTHON" ] || exit 0
expect_depends python3-xvwriter "libxvwriterffm1 \(= $version\)" 'python3 \(>= 3' 'libstdc\+\+6'
export PYTHONPATH=$root/usr/lib/python3/dist-packages
"$PYTHON" -B - "$stage/python.mp4" <<'END'
import sys
import xvwriter
with xvwriter.Writer(sys.argv[1], "video::codec=libx264", layout="UYVY", rate=25) as writer:
    for level in range(10):
        writer.put(bytes([128, 20 * level]) * (320 * 180), size=(320, 180))
END
expect_recording "$stage/python.mp4"
