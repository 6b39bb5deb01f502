# The hardware of the box, as its scripts bring it up. Sourced by them.

fail() {
    echo "box: $*"
    exit 1
}

# wait_for PATH: until a driver has made it; there is no udev here.
wait_for() {
    tries=0
    until [ -e "$1" ]; do
        tries=$((tries + 1))
        [ $tries -lt 400 ] || fail "no $1"
        usleep 50000
    done
}

# nand [OPTION...]: a NAND of 128 MiB with pages of 2 KiB and erase blocks of 128 KiB: a boot partition of 8 blocks, one
# for the kernel of 256, and the rest. Options are nandsim's.
nand() {
    modprobe nandsim first_id_byte=0x20 second_id_byte=0xa1 third_id_byte=0x00 fourth_id_byte=0x15 parts=8,256 "$@" ||
        fail "no NAND"
    wait_for /dev/mtd1
}

# The box's only way out: 10.0.2.100:80, where the update server answers.
network() {
    modprobe virtio_net
    wait_for /sys/class/net/eth0
    ip addr add 10.0.2.15/24 dev eth0
    ip link set eth0 up
    ip route add default via 10.0.2.2
}

# The first partition of the eMMC holds what survives a reboot, the second the root file system.
emmc() {
    modprobe -a sdhci-pci mmc_block ext4
    wait_for /dev/mmcblk0p2
    mkdir -p /var/lib/lumo
    mount -t ext4 /dev/mmcblk0p1 /var/lib/lumo || fail "no state"
}

leds() {
    modprobe -a leds-gpio ledtrig-timer
    wait_for /sys/class/leds/status
}

screen() {
    modprobe virtio-gpu
    wait_for /dev/dri/card0
}

# configure: takes over the host's configuration and keys.
configure() {
    mkdir -p /etc/lumo/keys
    cp /mnt/platform.json /etc/lumo/platform.json
    cp /mnt/release.pub.pem /etc/lumo/keys/
}

# flash_hash BYTES: of the beginning of the kernel partition, bad blocks left out. Eight may be.
flash_hash() {
    nanddump --quiet --bb=skipbad --length=$((($1 / 131072 + 9) * 131072)) --file=/tmp/flash /dev/mtd1 ||
        fail "cannot read the NAND"
    head -c "$1" /tmp/flash | sha256sum | cut -c1-64
    rm /tmp/flash
}
