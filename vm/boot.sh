#!/usr/bin/env bash
# The QEMU guest of the real-kernel tests and of the flash benchmark: a
# Debian kernel (software emulation), a busybox initramfs and vek's
# programs; the guest's init reports on its serial port.
#
#   boot.sh boot BUILD_DIR WORK_DIR [MODE]  fetch the kernel (once), build the
#                                           initramfs, boot, keep the serial log
#   boot.sh case NAME WORK_DIR              judge one test case from the log
#
# MODE "test" (default) runs tests/vm/guest.sh, which prints one line per
# case; "bench" runs bench/vm/guest.sh.
# The kernel package is fetched with apt-get download and unpacked with
# dpkg-deb into WORK_DIR, never installed. Exit 77 (a skip) with the reason
# when QEMU, busybox or the kernel package cannot be had.
set -uo pipefail
HERE=$(cd "$(dirname "$0")" && pwd)
SOURCE=$(cd "$HERE/.." && pwd)
KERNEL_PACKAGE=linux-image-amd64
# Loaded in this order (the generic kernel's modules carry no modules.dep).
MODULES="scsi_common scsi_mod crct10dif_common crc_t10dif crc64 crc64_rocksoft t10_pi sd_mod sg
libata libahci ahci fat vfat nls_cp437 nls_ascii"

skip() {
  echo "SKIP: $*" | tee "$WORK/skip"
  exit 77
}

fetch_kernel() {
  local dir=$WORK/kernel
  ls "$dir"/boot/vmlinuz-* >/dev/null 2>&1 && return 0
  rm -rf "$dir" && mkdir -p "$dir"
  local package
  package=$(apt-cache depends "$KERNEL_PACKAGE" 2>/dev/null | sed -n 's/^ *Depends: \(linux-image-[0-9].*\)/\1/p' | head -n 1)
  [ -n "$package" ] || skip "no $KERNEL_PACKAGE in the package lists (apt-get update?)"
  (cd "$dir" && apt-get download "$package" >/dev/null 2>&1) || skip "apt-get download $package failed"
  local patterns=("./boot/vmlinuz-*" "*/scsi_debug.ko")
  for m in $MODULES; do patterns+=("*/$(sed 's/_/[-_]/g' <<<"$m").ko"); done
  dpkg-deb --fsys-tarfile "$dir"/*.deb | tar -x -C "$dir" --wildcards "${patterns[@]}" ||
    skip "cannot unpack $package"
  rm -f "$dir"/*.deb
}

# add FILE...: FILE and the shared libraries it needs, at the same paths.
add() {
  local file lib
  for file in "$@"; do
    mkdir -p "$ROOT$(dirname "$file")"
    cp -L "$file" "$ROOT$file"
    for lib in $(ldd "$file" 2>/dev/null | grep -o '/[^ ]*'); do
      [ -e "$ROOT$lib" ] && continue
      mkdir -p "$ROOT$(dirname "$lib")"
      cp -L "$lib" "$ROOT$lib"
    done
  done
}

build_initramfs() {
  ROOT=$WORK/root
  rm -rf "$ROOT" && mkdir -p "$ROOT/bin" "$ROOT/modules" "$ROOT/usr/bin"
  add "$BUSYBOX"
  [ "$BUSYBOX" = /bin/busybox ] || cp "$BUSYBOX" "$ROOT/bin/busybox"
  local order=""
  for m in $MODULES scsi_debug; do
    local file
    file=$(find "$WORK/kernel/lib/modules" -name "$(sed 's/_/[-_]/g' <<<"$m").ko" | head -n 1)
    [ -n "$file" ] || skip "the kernel package has no $m module"
    cp "$file" "$ROOT/modules/$m.ko"
    [ "$m" = scsi_debug ] || order="$order $m"
  done
  echo $order >"$ROOT/modules.order"
  local vekctl=$BUILD/tools/vekctl probe=$BUILD/tests/vm/vek-vm-probe
  [ "$MODE" = bench ] && probe=$BUILD/bench/vm/vek-vm-bench
  add "$vekctl" "$probe"
  ln -s "$vekctl" "$ROOT/usr/bin/vekctl"
  ln -s "$probe" "$ROOT/usr/bin/$(basename "$probe")"
  # The module's message catalogs lie beside it.
  local module
  module=$(ldd "$vekctl" | sed -n 's/.*libvek\.so[^ ]* => \([^ ]*\).*/\1/p')
  cp -r "$BUILD/locale" "$ROOT$(dirname "$module")/" 2>/dev/null || true
  if [ "$MODE" = bench ]; then
    add "$(command -v sg_write_buffer)"
    cp "$SOURCE/bench/vm/guest.sh" "$ROOT/init"
  else
    cp "$SOURCE/tests/vm/guest.sh" "$ROOT/init"
  fi
  chmod +x "$ROOT/init"
  (cd "$ROOT" && find . | "$BUSYBOX" cpio -o -H newc >"$WORK/initramfs.cpio" 2>/dev/null)
}

boot() {
  MODE=${3:-test}
  BUILD=$(cd "$1" && pwd) && mkdir -p "$2" && WORK=$(cd "$2" && pwd) || exit 1
  rm -f "$WORK/skip" "$WORK/serial.log"
  command -v qemu-system-x86_64 >/dev/null || skip "qemu-system-x86_64 is not installed (qemu-system-x86)"
  BUSYBOX=$(command -v busybox) || skip "busybox is not installed (busybox-static)"
  command -v apt-get >/dev/null || skip "no apt-get to fetch the kernel with"
  [ "$MODE" = test ] || command -v sg_write_buffer >/dev/null || skip "sg_write_buffer is not installed (sg3-utils)"
  fetch_kernel
  build_initramfs
  truncate -s 16M "$WORK/ata.img"
  local start=$SECONDS
  timeout "${VEK_VM_TIMEOUT:-600}" qemu-system-x86_64 -accel tcg -m 1024 -smp 1 -display none \
    -monitor none -nic none -no-reboot -serial "file:$WORK/serial.log" \
    -kernel "$(ls "$WORK"/kernel/boot/vmlinuz-* | head -n 1)" -initrd "$WORK/initramfs.cpio" \
    -append "console=ttyS0 quiet panic=-1" \
    -device ahci,id=ahci -drive if=none,id=d0,file="$WORK/ata.img",format=raw \
    -device ide-hd,drive=d0,bus=ahci.0,model=ZQ-ATA-500,serial=ZQA500X1,ver=ZQAT0210
  echo "guest ran $((SECONDS - start)) s"
  grep -aE '^VM(CASE|LOG|BENCH)' "$WORK/serial.log" | cut -c1-900
  grep -q '^VMDONE' "$WORK/serial.log" || { echo "the guest did not finish:"; tail -n 30 "$WORK/serial.log"; exit 1; }
}

judge() {
  local name=$1 WORK=$2
  [ -f "$WORK/skip" ] && { cat "$WORK/skip"; exit 77; }
  local line
  line=$(grep -a "^VMCASE $name " "$WORK/serial.log" 2>/dev/null | head -n 1)
  echo "${line:-VMCASE $name missing from $WORK/serial.log}"
  [[ $line == "VMCASE $name PASS"* ]]
}

case ${1:-} in
  boot) boot "$2" "$3" "${4:-test}" ;;
  case) judge "$2" "$3" ;;
  *) sed -n '2,14p' "$0"; exit 2 ;;
esac
