#!/bin/busybox sh
# The benchmark guest's init: the kernel's SCSI stack with one scsi_debug
# disk, a 16 MiB image, vek-vm-bench, then power off.
/bin/busybox --install -s /bin
export PATH=/bin:/usr/bin LC_ALL=C
mkdir -p /proc /sys /dev /tmp
mount -t proc proc /proc
mount -t sysfs sys /sys
mount -t devtmpfs dev /dev
echo 1 > /proc/sys/kernel/printk
for m in $(cat /modules.order); do insmod /modules/$m.ko; done
insmod /modules/scsi_debug.ko
sleep 1
for b in /sys/block/sd*; do
  [ "$(sed 's/ *$//' $b/device/model)" = scsi_debug ] && D=$(basename $b)
done
SG=/dev/$(basename /sys/block/$D/device/scsi_generic/*)
dd if=/dev/urandom of=/tmp/img16m bs=1048576 count=16 2>/dev/null
vek-vm-bench $D $SG /tmp/img16m ${VEK_BENCH_ROUNDS:-5}
echo VMDONE
poweroff -f
