#!/bin/busybox sh
# The test guest's init: loads the kernel's SCSI stack, sets up scsi_debug
# disks beside the AHCI disk, runs the cases and prints one line per case on
# the serial console, "VMCASE <name> PASS|FAIL <what was seen>", then
# "VMDONE" and powers off. vm/boot.sh built the image and judges it.
/bin/busybox --install -s /bin
export PATH=/bin:/usr/bin LC_ALL=C
mkdir -p /proc /sys /dev /tmp /mnt
mount -t proc proc /proc
mount -t sysfs sys /sys
mount -t devtmpfs dev /dev
echo 1 > /proc/sys/kernel/printk
for m in $(cat /modules.order); do insmod /modules/$m.ko || echo "VMLOG insmod $m failed"; done
# Two scsi_debug disks, then a CD-ROM on a second scsi_debug host.
insmod /modules/scsi_debug.ko num_tgts=2
SD=/sys/bus/pseudo/drivers/scsi_debug
echo 5 > $SD/ptype
echo 1 > $SD/add_host
sleep 1
echo 0 > $SD/ptype

# disk MODEL INDEX: the block device of the INDEX-th disk (1-based) of that model.
disk() {
  n=0
  for b in /sys/block/sd*; do
    [ "$(cat $b/device/model 2>/dev/null | sed 's/ *$//')" = "$1" ] || continue
    n=$((n + 1))
    [ $n -eq $2 ] && { basename $b; return; }
  done
}
sgof() { basename /sys/block/$1/device/scsi_generic/*; }
addr() { basename $(readlink -f /sys/block/$1/device); }
D1=$(disk scsi_debug 1)
D2=$(disk scsi_debug 2)
ATA=$(disk ZQ-ATA-500 1)
CD=$(for g in /sys/class/scsi_generic/*; do [ "$(cat $g/device/type)" = 5 ] && basename $g; done)
echo "VMLOG disks: scsi_debug $D1 $D2, ATA $ATA, CD-ROM $CD"

# check NAME WANT-STATUS PATTERN... -- COMMAND: runs COMMAND, PASS when it
# exits with WANT-STATUS and its output holds every PATTERN.
check() {
  name=$1 want=$2
  shift 2
  patterns=""
  while [ "$1" != "--" ]; do patterns="$patterns
$1"; shift; done
  shift
  out=$("$@" 2>&1)
  status=$?
  verdict=PASS
  [ $status -eq $want ] || verdict=FAIL
  echo "$patterns" | while read -r p; do
    [ -z "$p" ] && continue
    echo "$out" | grep -qF -- "$p" || echo missing
  done | grep -q missing && verdict=FAIL
  echo "VMCASE $name $verdict exit $status (want $want): $(echo "$out" | tr '\n' ' ' | cut -c1-600)"
}

V="vekctl --driver linux"
dd if=/dev/urandom of=/tmp/img1m bs=32768 count=32 2>/dev/null
dd if=/dev/urandom of=/tmp/img64k bs=32768 count=2 2>/dev/null
dd if=/dev/urandom of=/tmp/img-odd bs=1 count=98368 2>/dev/null
SERIAL=$(vekctl --driver linux show $D1 --json | sed -n 's/.*"SerialNumber": "\(.*\)",*/\1/p' | sed 's/ *$//')

check list-json 0 '"kind": "SCSI"' '"product": "scsi_debug"' '"revision": "0191"' \
  '"kind": "ATA"' '"product": "ZQ-ATA-500"' '"revision": "0210"' '"serial": "ZQA500X1' \
  "\"/dev/$(sgof $D1)\"" '"reason": "peripheral device type 5 (CD/DVD), not a disk"' \
  -- $V list --json
check name-dev-block 0 "\"id\": \"$D1\"" -- $V show /dev/$D1 --json
check name-sg 0 "\"id\": \"$D1\"" -- $V show $(sgof $D1) --json
check name-dev-sg 0 "\"id\": \"$D1\"" -- $V show /dev/$(sgof $D1) --json
check name-address 0 "\"id\": \"$D1\"" -- $V show $(addr $D1) --json
check name-serial 0 "\"id\": \"$D1\"" -- $V show "serial:$SERIAL" --json
vek-vm-probe ops $D1
vek-vm-probe flash $D1
check flash-vekctl-unchanged 4 "still reports revision 0200" -- $V flash /tmp/img1m $D1 --yes
check flash-vekctl-expected 0 "unchanged" -- $V flash /tmp/img1m $D1 --yes --expect 0200
printf 0191 > /sys/module/scsi_debug/parameters/inq_rev
vek-vm-probe faults $D1
vek-vm-probe ata $ATA
check ata-flash-refused 3 "ABORTED COMMAND" "ATA error 0x04, status 0x41" \
  "firmware unchanged at 0210" -- $V flash /tmp/img64k $ATA --yes
check ata-image-not-512 3 "98368 bytes is not a multiple of 512" "nothing was sent" \
  -- $V flash /tmp/img-odd $ATA --yes
check skipped-not-a-disk 3 "not usable: peripheral device type 5 (CD/DVD), not a disk" \
  -- $V flash /tmp/img64k $CD --yes

mkdosfs /dev/$D2 >/dev/null && mount -t vfat /dev/$D2 /mnt
check mounted-refused 3 "in use, mounted at /mnt ($D2)" "nothing was sent" \
  -- $V flash /tmp/img64k $D2 --yes
check mounted-forced 0 "unchanged" -- $V --force flash /tmp/img64k $D2 --yes --expect 0191
umount /mnt

mkdir -p /etc
echo "nobody:x:65534:65534:nobody:/:/bin/sh" > /etc/passwd
echo "nogroup:x:65534:" > /etc/group
check not-root 3 "cannot open /dev/$(sgof $D1): Permission denied" \
  -- su -s /bin/sh nobody -c "$V flash /tmp/img64k $D1 --yes"

echo 1 > /sys/block/$D2/device/delete
sleep 1
check vanished 2 "$D2: no such device" -- $V flash /tmp/img64k $D2 --yes

echo VMDONE
poweroff -f
