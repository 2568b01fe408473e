#!/bin/sh
# Builds the Debian packages of a 64-bit build tree with CPack, checks their
# contents and control fields with dpkg-deb, unpacks the run-time package
# into a scratch root with dpkg -x and runs the unpacked vekctl there on the
# simulated fleet (a scratch state file), then runs lintian: any error fails.
#   deb_test.sh BUILD_DIR SOURCE_DIR WORK_DIR VERSION LIBDIR
set -eu
build=$1 source=$2 work=$3 version=$4 libdir=$5

fail() {
  echo "deb_test: $*" >&2
  exit 1
}
for tool in cpack dpkg-deb dpkg lintian; do
  command -v "$tool" >/dev/null || fail "$tool is missing (./run test installs it)"
done

rm -rf "$work"
mkdir -p "$work"
cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work" >"$work/cpack.log" 2>&1 ||
  { cat "$work/cpack.log"; fail "cpack failed"; }
deb=$work/vek_${version}_$(dpkg --print-architecture).deb
dev=$work/vek-dev_${version}_$(dpkg --print-architecture).deb
[ -f "$deb" ] && [ -f "$dev" ] || fail "cpack made no vek and vek-dev packages: $(ls "$work")"

# Contents: "has PACKAGE PATH..." and "lacks PACKAGE PATH...".
dpkg-deb -c "$deb" | awk '{print $6}' >"$work/vek.contents"
dpkg-deb -c "$dev" | awk '{print $6}' >"$work/vek-dev.contents"
has() {
  list=$work/$1.contents
  shift
  for path; do grep -qx "./$path" "$list" || fail "$(basename "$list" .contents) lacks $path"; done
}
lacks() {
  list=$work/$1.contents
  shift
  for path; do
    ! grep -q -e "^\./$path\$" -e "^\./$path/" "$list" || fail "$(basename "$list" .contents) holds $path"
  done
}
has vek usr/bin/vekctl usr/bin/vek-sim-image \
  "usr/$libdir/libvek.so.1" "usr/$libdir/libvekhost.so.1" "usr/$libdir/libveksim.so.1" \
  "usr/$libdir/libvekdriver.so.1" "usr/$libdir/libveklinux.so.1" usr/share/vek/locale/en_US/vekdriver.msg \
  usr/share/vek/locale/en_US/vek.msg usr/share/vek/locale/de_DE/vek.msg \
  usr/share/man/man8/vekctl.8.gz usr/share/man/man1/vek-sim-image.1.gz \
  usr/share/doc/vek/copyright usr/share/doc/vek/changelog.gz usr/share/doc/vek/README.md
for doc in "$source"/doc/*.md; do has vek "usr/share/doc/vek/$(basename "$doc")"; done
lacks vek usr/include "usr/$libdir/libvek.so" "usr/$libdir/cmake"
has vek-dev usr/include/vek/module/VekExport.h usr/include/vek/host/C_Exception.h \
  "usr/$libdir/libvek.so" "usr/$libdir/libvekhost.so" "usr/$libdir/cmake/vek/vekConfig.cmake" \
  usr/share/doc/vek-dev/copyright usr/share/doc/vek-dev/changelog.gz

# Control fields: the project's version, dependencies from dpkg-shlibdeps.
[ "$(dpkg-deb -f "$deb" Version)" = "$version" ] || fail "version is not $version"
depends=$(dpkg-deb -f "$deb" Depends)
case $depends in
  *libc6*libsgutils2*) ;;
  *) fail "Depends lacks what dpkg-shlibdeps finds: $depends" ;;
esac
[ "$(dpkg-deb -f "$dev" Depends)" = "vek (= $version)" ] || fail "vek-dev does not depend on vek $version"

# The manual page covers every command and the exit statuses.
dpkg -x "$deb" "$work/root"
zcat "$work/root/usr/share/man/man8/vekctl.8.gz" >"$work/vekctl.8"
for text in '.SH "EXIT STATUS"' 'vekctl flash' 'dry\-run' 'vekctl defer status' 'vekctl ddff build' \
  'vekctl sim restart' '.SH FILES'; do
  grep -qF -- "$text" "$work/vekctl.8" || fail "vekctl(8) lacks $text"
done

# The unpacked vekctl runs on its own libraries and lists the simulated fleet.
LD_LIBRARY_PATH=$work/root/usr/$libdir "$work/root/usr/bin/vekctl" \
  --sim-state "$work/state.json" list --json >"$work/list.json" 2>"$work/list.err" ||
  { cat "$work/list.err"; fail "the unpacked vekctl list --json failed"; }
for id in hba0:0 hba0:1 array0:0 array0:2; do
  grep -q "\"id\": \"$id\"" "$work/list.json" || fail "vekctl list --json lacks $id"
done
[ -f "$work/state.json" ] || fail "no state file in $work"

# Lintian: errors fail; warnings are shown.
lintian --fail-on error "$deb" "$dev" >"$work/lintian.txt" 2>&1 ||
  { cat "$work/lintian.txt"; fail "lintian found errors"; }
grep -E '^[EW]:' "$work/lintian.txt" || true
echo "deb_test: $(basename "$deb") and $(basename "$dev") are good; lintian: 0 errors," \
  "$(grep -c '^W:' "$work/lintian.txt" || true) warnings"
