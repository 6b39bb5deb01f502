# Power cuts: the machine is killed at random moments of an installation and started again over what is left. Sourced by
# scripts/box.
# shellcheck shell=bash
# shellcheck source=scripts/box.d/world.sh

plug_kernel=2097152 plug_rootfs=6291456

# program_for_amd64 FOLDER: this machine's updater, and what it needs that no package of Debian has.
program_for_amd64() {
    build dev updater lumo-firmware
    mkdir -p "$1"
    find "$root/build/dev/utils/updater" "$root/build/dev/platform" -maxdepth 2 \( -name updater -o -name '*.so' \) \
        -type f -exec cp {} "$1/" \;
    box_folder=$(box_root amd64 mtd-utils libstdc++6 libcurl4 libssl3 libzstd1 libpng16-16 libjpeg62-turbo \
        libpixman-1-0 libegl1 libgles2 libfreetype6)
}

plug_package() {
    head -c $plug_kernel /dev/urandom >"kernel-$1.img"
    head -c $plug_rootfs /dev/urandom >"rootfs-$1.img"
    lumo-firmware create --unsigned --version "2.$1" --device PLUG-BOX --block "kernel=kernel-$1.img@kernel" \
        --block "rootfs=rootfs-$1.img@rootfs" -o "firmware-$1.bin" >/dev/null
}

# plug_boot: over the same disks; qemu's own status is of no interest.
plug_boot() {
    box_limit=900 box_boot amd64 "$box_folder" "$out/empty" "$out/share" plug.sh \
        -drive file=flash.img,format=raw,if=none,id=a -device virtio-blk-pci,drive=a \
        -drive file=rootfs.img,format=raw,if=none,id=b -device virtio-blk-pci,drive=b \
        -drive file=state.img,format=raw,if=none,id=c -device virtio-blk-pci,drive=c >>console.txt 2>&1
}

# holds REPORT NUMBER: whether both flashes held firmware NUMBER, by the report of the machine.
holds() {
    [ "$(sed -n 's/ .*//p' "$1" | tail -n 2 | paste -sd ' ')" = \
        "$(sha256sum <"kernel-$2.img" | cut -c1-64) $(sha256sum <"rootfs-$2.img" | cut -c1-64)" ]
}

record() { python3 -c 'import json, sys
try: record = json.load(open(sys.argv[1])); print(record["state"], record["version"])
except ValueError: print("none")' <(head -n -2 "$1"); }

# The record must not promise what the flash does not hold.
check_record() {
    local report=$1 last=$2 next=$3
    case $(record "$report") in
    "complete 2.$next" | "afterScripts 2.$next" | "after-scripts 2.$next") holds "$report" "$next" ;;
    "complete 2.$last") holds "$report" "$last" ;;
    "begun "*) ;;
    none) [ "$last" = 0 ] ;;
    *) false ;;
    esac
}

box_plug() {
    local cuts=$1 cut length=0 delay machine
    rm -rf "$out"
    mkdir -p "$out"/{share,empty}
    trap box_end EXIT
    program_for_amd64 "$out/share/bin"
    cd "$out"
    PATH=$root/build/dev/tools/lumo-firmware:$PATH
    head -c 8388608 /dev/urandom >flash.img
    head -c 16777216 /dev/urandom >rootfs.img
    truncate -s 64M state.img
    mkfs.ext4 -q -F state.img
    cat >share/platform.json <<CONF
{ "device":  { "id": "PLUG-BOX", "stateDir": "/var/lib/lumo" },
  "updates": { "server": "file:///nothing", "allowUnsigned": true },
  "flash":   { "kernel": { "device": "/dev/mtd0" }, "rootfs": { "device": "/dev/vdb" } },
  "display": { "backend": "none" } }
CONF
    printf 'kernel_size=%s\nrootfs_size=%s\n' $plug_kernel $plug_rootfs >share/settings
    echo "== an installation without a cut"
    plug_package 1
    cp firmware-1.bin share/next.bin
    plug_boot || fail "the first installation, see box-output/console.txt"
    holds share/next.txt 1 || fail "the first installation left something else in flash"
    length=$(awk '{ print $3 }' share/begun | paste -sd ' ' | awk '{ print $2 - $1 }')
    echo "    it takes $length s"
    for ((cut = 1; cut <= cuts; ++cut)); do
        plug_package $((cut + 1))
        # The machine first finishes what the last cut left.
        [ "$cut" -eq 1 ] || mv share/next.bin share/current.bin
        cp "firmware-$((cut + 1)).bin" share/next.bin
        rm -f share/begun share/*.txt share/*.log
        delay=$(awk -v seed="$RANDOM$cut" -v length_="$length" 'BEGIN { srand(seed); printf "%.2f", rand() * length_ * 1.05 }')
        plug_boot &
        machine=$!
        until [ -e share/begun ]; do
            kill -0 $machine 2>/dev/null || fail "the machine ended by itself, see box-output/console.txt"
            sleep 0.1
        done
        sleep "$delay"
        kill -9 "$(cat share/pid)" 2>/dev/null || true
        wait $machine || true
        rm -f share/pid # another program's, some day
        plug_check_last $((cut - 1)) "$cut"
        echo "cut $cut: $delay s after the beginning; $(tail -n 1 share/next.log 2>/dev/null)"
    done
    echo "== and on again after the last"
    mv share/next.bin share/current.bin
    plug_package $((cuts + 2))
    cp "firmware-$((cuts + 2)).bin" share/next.bin
    rm -f share/begun share/*.txt share/*.log
    plug_boot || fail "the machine does not come up after the last cut"
    plug_check_last "$cuts" $((cuts + 1))
    holds share/next.txt $((cuts + 2)) || fail "an installation without a cut left something else"
    echo "$cuts power cuts: the record was never ahead of the flash, and each installation was finished to the byte."
}

# What the machine said about the cut before it was cut again: firmware LAST was whole, NEXT was being installed.
plug_check_last() {
    local last=$1 next=$2
    [ -e share/finished.txt ] || return 0 # before the first cut
    echo "    found $(record share/found.txt), finished $(record share/finished.txt): $(tail -n 1 share/current.log)"
    check_record share/found.txt "$last" "$next" || fail "the record was ahead of the flash, see box-output/share"
    holds share/finished.txt "$next" || fail "flash does not hold the package after the second run"
    [ "$(record share/finished.txt)" = "complete 2.$next" ] || fail "the record does not say complete"
    rm -f "kernel-$last.img" "rootfs-$last.img" "firmware-$last.bin"
}
