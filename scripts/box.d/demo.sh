# The story of an update, on the box: two of them, in Russian and in English. Sourced by scripts/box.
# shellcheck shell=bash
# shellcheck source=scripts/box.d/world.sh
# shellcheck source=scripts/box.d/screen.sh

demo_bad_blocks=(9 40 41 75 263)

# life NUMBER LANGUAGE OPTIONS VERSION [FILE]: one power-on of the box, whose flash must hold VERSION unless that is empty,
# and which at its end checks the package FILE. Sets $life_status.
life() {
    local number=$1 language=$2 options=$3 held=$4 check=${5:-} share=$out/life-$1 status=0 watcher
    mkdir -p "$share" "$out/screens/$number-$language"
    : >"$share/nand.img"
    {
        echo "language=$language"
        echo "options='$options'"
        echo "check='${check:+file:///mnt/$check}'"
        echo "kernel_hash='${held:+$(sha256sum <"$out/blocks/kernel-$held.img" | cut -c1-64)}'"
        echo "rootfs_hash='${held:+$(sha256sum <"$out/blocks/rootfs-$held.img" | cut -c1-64)}'"
        [ -z "$held" ] || echo "kernel_size=$(stat -c %s "$out/blocks/kernel-$held.img")"
        [ -z "$held" ] || echo "rootfs_size=$(stat -c %s "$out/blocks/rootfs-$held.img")"
    } >"$share/settings"
    [ -z "$held" ] || cp "$out/nand-kernel.img" "$share/"
    [ -z "$check" ] || mv "$out/$check" "$share/"
    watch_screen "$share" "$out/screens/$number-$language" &
    watcher=$!
    box_limit=900 power_on "$share" demo.sh >"$share/console.txt" 2>&1 || status=$?
    kill "$watcher" 2>/dev/null || true
    wait "$watcher" 2>/dev/null || true
    develop_pictures "$out/screens/$number-$language"
    sed 's/^/    /' "$share/console.txt"
    rm -f "$share/initrd"
    life_status=$status
}

# The flash must hold what the package said, and the machine must have made a reboot of itself.
expect_installed() {
    local version=$2 share=$out/life-$1
    # Without a status: nothing in it came to an end by itself.
    if [ "$life_status" != 125 ] || ! grep -q 'reboot: Restarting system' "$share/console.txt"; then
        fail "life $1 did not end with a reboot"
    fi
    grep -q 'Update finished, result: Update was successfully installed' "$share/console.txt" ||
        fail "life $1 did not install"
    nand_contents "$share/nand.img" "${demo_bad_blocks[@]}" >"$out/nand-kernel.img"
    compare_hash "kernel in NAND" "$out/nand-kernel.img" 0 "$out/blocks/kernel-$version.img"
    truncate -s "$(stat -c %s "$out/blocks/kernel-$version.img")" "$out/nand-kernel.img"
    compare_hash "rootfs in eMMC" "$out/emmc.img" 134217728 "$out/blocks/rootfs-$version.img"
    expect_leds "$1" "before: power=none/0 status=none/0" "during: power=timer status=timer"
}

# expect_leds NUMBER STATE...: in what life NUMBER noted.
expect_leds() {
    local share=$out/life-$1 state
    shift
    echo "    LEDs:"
    sed 's/^/        /' "$share/leds.txt"
    for state; do
        grep -q "^$state" "$share/leds.txt" || fail "the LEDs were not seen so: $state"
    done
}

compare_hash() {
    local what=$1 image=$2 offset=$3 block=$4 size ours theirs
    size=$(stat -c %s "$block")
    ours=$(sha256sum <"$block" | cut -c1-64)
    theirs=$(dd if="$image" bs=1M iflag=skip_bytes,count_bytes skip="$offset" count="$size" status=none | sha256sum |
        cut -c1-64)
    echo "    $what: $theirs" | tee -a "$out/hashes.txt"
    echo "    package:        $ours" | tee -a "$out/hashes.txt"
    [ "$ours" = "$theirs" ] || fail "$what differs from the package"
}

box_demo() {
    local phases=(downloading flashing-block-kernel flashing-block-rootfs result)
    box_log='{ "level": 5, "file": "/mnt/updater.log" }'
    echo "== firmware, server and box"
    make_box
    make_firmware 2.0
    echo "== first life: 2.0 is installed, in Russian"
    rm download-seen
    life 1 ru -r ''
    expect_installed 1 2.0
    expect_pictures "$out/screens/1-ru" "${phases[@]}"
    echo "== second life: 2.1 is installed, in English"
    make_firmware 2.1
    rm download-seen
    life 2 en -r 2.0
    expect_installed 2 2.1
    expect_pictures "$out/screens/2-en" "${phases[@]}"
    echo "== third life: nothing left to do; and the check of a package so large that one can look on"
    truncate -s 256M blocks/large.img
    lumo-firmware create --version 3.0 --device LUMO-BOX --key release.pem --block large=blocks/large.img@rootfs:none \
        -o large.bin >/dev/null
    life 3 en '' 2.1 large.bin
    if [ "$life_status" != 0 ] || ! grep -q 'Update not needed' "$out/life-3/console.txt"; then
        fail "the third life found something to do"
    fi
    expect_leds 3 "before: power=none/0 status=none/0" "during: power=timer status=timer" \
        "after: power=none/1 status=none/1"
    expect_pictures "$out/screens/3-en" checking
    rm -f "$out"/life-*/{nand,nand-kernel}.img "$out/nand-kernel.img" "$out/blocks/large.img" "$out/life-3/large.bin"
    echo
    echo "Done. Pictures of the screen are in box-output/screens, consoles, logs and LEDs in box-output/life-N."
}

# One short life, for machines that check every change: an installation, what the screen showed of it, and the reboot.
box_ci() {
    rootfs_size=8388608
    box_log='{ "level": 5, "file": "/mnt/updater.log" }'
    make_box
    make_firmware 2.0
    echo "== 2.0 is installed, in Russian"
    rm download-seen
    life 1 ru -r ''
    expect_installed 1 2.0
    expect_pictures "$out/screens/1-ru" downloading result
    draw_here ru "$out/reference"
    compare_countdowns "$out/screens/1-ru" "$out/reference"
}

# Figures for docs/performance.md.
box_cost() {
    make_box
    make_firmware 2.0
    mkdir -p "$out/share"
    box_limit=1200 power_on "$out/share" cost.sh
}

# A box for a person, who leaves it with exit. The server has firmware for it.
box_shell() {
    make_box
    make_firmware 2.0
    mkdir -p "$out/share"
    box_limit=infinity box_input=/dev/stdin power_on "$out/share" shell.sh
}
