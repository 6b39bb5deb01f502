# A machine whose power is cut. Flash is NOR over a disk (mtd0), a disk (vdb) and state on a third (vdc). Tells what the
# last cut left, finishes that installation, and starts the next one.
. guest/device.sh
. ./settings
export LUMO_PLATFORM=/mnt/platform.json LD_LIBRARY_PATH=/mnt/bin

modprobe -a virtio_blk ext4
wait_for /dev/vdc
modprobe block2mtd block2mtd=/dev/vda,128KiB,flash0
wait_for /dev/mtd0
# Real flash does not linger in the memory of the machine.
echo 65536 >/proc/sys/vm/dirty_bytes
echo 32768 >/proc/sys/vm/dirty_background_bytes
echo 1 >/proc/sys/vm/dirty_writeback_centisecs
echo 1 >/proc/sys/vm/dirty_expire_centisecs
mkdir -p /var/lib/lumo
mount -t ext4 /dev/vdc /var/lib/lumo || fail "no state"

# report NAME: the record, and what the flashes hold.
report() {
    {
        cat /var/lib/lumo/install.json 2>/dev/null || echo none
        head -c "$kernel_size" /dev/mtd0 | sha256sum
        head -c "$rootfs_size" /dev/vdb | sha256sum
    } >"$1"
}

# install PACKAGE LOG: until the updater says how it ended. It would stay for a viewer then.
install() {
    bin/updater "file://$1" >"$2" 2>&1 &
    tries=0
    until grep -qE 'Update finished|WARNING|ERROR' "$2"; do
        tries=$((tries + 1))
        [ $tries -lt 6000 ] || fail "the updater does not end"
        usleep 50000
    done
    kill -9 $!
    wait 2>/dev/null
}

report found.txt
if [ -e current.bin ]; then
    install /mnt/current.bin current.log
    report finished.txt
fi
sync
# The power goes between here, where the package has been checked, and the end.
{
    until grep -qsE 'Block rootfs for rootfs|Update finished' next.log; do usleep 20000; done
    echo "box: begin $(cut -d' ' -f1 /proc/uptime)" >begun
} &
install /mnt/next.bin next.log
echo "box: end $(cut -d' ' -f1 /proc/uptime)" >>begun
report next.txt
