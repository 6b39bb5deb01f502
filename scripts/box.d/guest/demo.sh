# One life of the demo's box, from power-on to the reboot that the updater makes. The host says in /mnt/settings which
# language the viewer chose, what the flash must hold already, and whether there is something to update to.
. guest/device.sh
. ./settings

# Puts down each change of the LEDs: trigger and brightness.
watch_leds() {
    before=
    while :; do
        now=
        for led in power status; do
            trigger=$(sed 's/.*\[\(.*\)\].*/\1/' /sys/class/leds/$led/trigger)
            now="$now $led=$trigger"
            [ "$trigger" = timer ] || now="$now/$(cat /sys/class/leds/$led/brightness)"
        done
        [ "$now" = "$before" ] || echo "$(cut -d' ' -f1 /proc/uptime)$now" >>leds.txt
        before=$now
        usleep 300000
    done
}

leds
emmc
# The badblocks are those that the chip came with.
nand badblocks=9,40,41,75,263 cache_file=/mnt/nand.img
if [ -s nand-kernel.img ]; then
    # The simulated chip forgets; its bytes from before the reboot come back, into the same good blocks.
    nandwrite --quiet --pad /dev/mtd1 nand-kernel.img || fail "the NAND's contents cannot be put back"
fi
network
screen
configure
mkdir -p /var/lumo
printf '%s' "$language" >/var/lumo/lang

echo "box: up after $(cut -d' ' -f1 /proc/uptime) s"
if [ -n "$kernel_hash" ]; then
    [ "$(flash_hash "$kernel_size")" = "$kernel_hash" ] || fail "the NAND does not hold the kernel"
    [ "$(head -c "$rootfs_size" /dev/mmcblk0p2 | sha256sum | cut -c1-64)" = "$rootfs_hash" ] ||
        fail "the eMMC does not hold the root file system"
    echo "box: NAND and eMMC hold exactly the package's bytes"
fi
watch_leds &
usleep 1000000
echo "box: \$ updater $options"
# shellcheck disable=SC2086 # none, or several
updater $options
sync
usleep 1500000
echo "box: the updater has ended"
