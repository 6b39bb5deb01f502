# Installations on simulated chips with the faults of real ones. Prints a line for each thing that holds; fails at the
# first that does not. /mnt holds the packages: a, b (as a, but for three erase blocks of 128 KiB) and c (all different).
. guest/device.sh
. ./settings
export LUMO_PLATFORM=/tmp/platform.json LD_LIBRARY_PATH=/mnt/bin

tracing=/sys/kernel/tracing
good() { echo "ok: $chip: $*"; }

# configure_flash: one target, on the partition under test.
configure_flash() {
    cat >/tmp/platform.json <<CONF
{ "device":  { "id": "FLASH-BOX", "stateDir": "/tmp/state" },
  "updates": { "server": "file:///nothing", "allowUnsigned": true },
  "flash":   { "kernel": { "device": "$device" } }, "display": { "backend": "none" } }
CONF
    rm -rf /tmp/state
}

# install PACKAGE RESULT-TEXT [OPTION]: until the updater says how it ended. It would stay for a viewer then. Sets $erased.
install() {
    echo >$tracing/trace
    : >/tmp/log
    bin/updater ${3:+"$3"} "file:///mnt/$1.bin" >/tmp/log 2>&1 &
    tries=0
    until grep -qE 'Update finished|WARNING:|ERROR:' /tmp/log; do
        tries=$((tries + 1))
        [ $tries -lt 4000 ] || break
        usleep 50000
    done
    kill -9 $! 2>/dev/null
    wait 2>/dev/null
    erased=$(grep -c 'erase: ' $tracing/trace)
    grep -q "Update finished, result: .*$2" /tmp/log || {
        cat /tmp/log
        fail "$chip: package $1 did not end with '$2'"
    }
}

# holds PACKAGE: the flash reads back as the block, bad blocks left out.
holds() {
    case $chip in
    NOR*) head -c "$size" "$device" | sha256sum >/tmp/sum ;;
    *) nanddump --quiet --bb=skipbad --file=/tmp/flash "$device" && head -c "$size" /tmp/flash | sha256sum >/tmp/sum ;;
    esac
    rm -f /tmp/flash
    [ "$(cut -c1-64 /tmp/sum)" = "$(cat "$1.sum")" ] || fail "$chip: the flash does not hold $1"
}

erases() { [ "$erased" -eq "$1" ] || fail "$chip: $erased erase blocks were erased, not $1"; }
bad_blocks() { cat "/sys/class/mtd/${device#/dev/}/bad_blocks"; }

# nand_chip NAME BLOCKS [NANDSIM OPTION...]: puts in a fresh NAND whose first partition has so many blocks.
nand_chip() {
    chip=$1
    blocks=$2
    shift 2
    rmmod nandsim 2>/dev/null
    modprobe nandsim first_id_byte=0x20 second_id_byte=0xa1 third_id_byte=0x00 fourth_id_byte=0x15 \
        parts="$blocks" "$@" || fail "$chip: no chip"
    device=/dev/mtd0
    wait_for $device
    configure_flash
}

mount -t tracefs tracefs $tracing
modprobe nandsim parts=8
echo 'p:erase mtd_erase' >$tracing/kprobe_events || fail "erases cannot be counted"
echo 1 >$tracing/events/kprobes/erase/enable

success='successfully installed'
blocks_of_package=$(((size + 131071) / 131072))

nand_chip "NAND with bad blocks" 64 badblocks=0,3,17,63
install a "$success"
holds a
erases "$blocks_of_package"
install a 'not needed' && erases 0
install b "$success"
holds b
erases 3
[ "$(bad_blocks)" = 4 ] || fail "$chip: the bad blocks did not stay bad"
good "they are skipped and stay bad; equal erase blocks are not erased"

rmmod nandsim
if modprobe mtdram total_size=8192 erase_size=128 2>/dev/null; then
    chip=NOR
    wait_for /dev/mtd0
    device=/dev/mtd0
    configure_flash
    install a "$success"
    holds a
    install a 'not needed' && erases 0
    install b "$success"
    holds b
    erases 0 # the driver says that it needs none
    good "what is equal is not written, and nothing is erased"
    rmmod mtdram
else
    echo "NOT RUN: NOR, this kernel has no mtdram"
fi

nand_chip "NAND with a page that cannot be read" 64 gravepages=330:1
install a . # reads it once, to check what was written
dd if=$device of=/dev/null bs=131072 skip=5 count=1 2>/dev/null
install a .
if grep -qE "not needed|$success" /tmp/log || ! grep -q 'the ECC could not correct' /tmp/log; then
    cat /tmp/log
    fail "$chip: bytes that cannot be read were taken for data"
fi
good "reading it is an error, and the log says why"

nand_chip "NAND with a block that does not erase" 64 badblocks=2 weakblocks=5:1
install a "$success"
install c "$success"
holds c
[ "$(bad_blocks)" = 2 ] || fail "$chip: the block was not marked bad"
install c 'not needed'
install a "$success" -f
holds a
good "it is marked bad, and the data goes on behind it"

nand_chip "NAND with a page that does not program" 64 badblocks=2 weakpages=450:1
install a "$success"
install c "$success"
holds c
[ "$(bad_blocks)" = 2 ] || fail "$chip: the block was not marked bad"
install b "$success" -f
holds b
good "its block is marked bad, and the data goes on behind it"

nand_chip "NAND without room for a bad block" "$blocks_of_package" weakblocks=5:1
install a "$success"
install c 'Writing to flash failed'
grep -iqE 'block 5|0xa0000|655360' /tmp/log || {
    cat /tmp/log
    fail "$chip: the log does not say which block"
}
good "the update fails, and the log names the block"
