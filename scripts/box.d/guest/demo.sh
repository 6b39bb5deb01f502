# One life of the demo's box, from power-on to the reboot that the updater makes. The host says in /mnt/settings which
# language the viewer chose, what the flash must hold already, and whether there is something to update to.
. guest/device.sh
. ./settings

# Puts down trigger and brightness of the LEDs when they are not $before. Starts no program: the processor is slow.
note_leds() {
    now=
    for led in power status; do
        read -r trigger </sys/class/leds/$led/trigger
        case $trigger in
        *\[*\]*) ;;
        *) return ;; # it is about to change
        esac
        trigger=${trigger#*[}
        trigger=${trigger%%]*}
        now="$now $led=$trigger"
        if [ "$trigger" != timer ]; then
            read -r brightness </sys/class/leds/$led/brightness
            now="$now/$brightness"
        fi
    done
    if [ "$now" != "$before" ]; then
        read -r up _ </proc/uptime
        echo "$1:$now ($up s)" >>leds.txt
    fi
    before=$now
}

leds
emmc
# The badblocks are those that the chip came with.
nand badblocks=9,40,41,75,263 cache_file=/mnt/nand.img
if [ -s nand-kernel.img ]; then
    # The simulated chip forgets; its bytes from before the reboot come back, into the same good blocks.
    cp nand-kernel.img /tmp/
    nandwrite --quiet --pad /dev/mtd1 /tmp/nand-kernel.img || fail "the NAND's contents cannot be put back"
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
before=
note_leds before
while usleep 200000; do note_leds during; done &
watcher=$!
echo "box: \$ updater $options"
# shellcheck disable=SC2086 # none, or several
updater $options
kill $watcher
before=
note_leds after
# Until there is a picture of it: a slow machine may be done before it has drawn its first text.
for try in 1 2 3 4 5; do
    if [ -n "$check" ] && [ ! -e check-seen ]; then
        echo "box: \$ updater -i $check"
        updater -i "$check"
    fi
done
sync
echo "box: the updater has ended"
