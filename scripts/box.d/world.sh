# What the box meets in the world: the project's package installed in it, firmware, and an update server. Sourced by
# scripts/box.
# shellcheck shell=bash
# shellcheck source=scripts/common.sh

out=$root/box-output
box_server=http://10.0.2.100 # as the box sees it

fail() {
    printf '\nThe box failed: %s\n' "$*"
    exit 1
}

# Builds the armhf Debian package, sets $box_folder to a Debian root with what the package depends on, and nothing else
# that it could miss on a device, and $box_package to the layer over it that installing the package makes. dpkg installs,
# and refuses when a dependency of the package is not in the root.
install_in_box() {
    local depends packages deb
    "$root/scripts/make-armhf-sysroot" >/dev/null || not_run "Debian for 32-bit ARM cannot be had here"
    deb=$(nice -n 10 "$root/scripts/package" armhf)
    depends=$(dpkg-deb -f "$deb" Depends Recommends | sed 's/^[A-Za-z]*://; s/([^)]*)//g; s/|[^,]*//g')
    mapfile -t packages < <(grep -oE '[a-z0-9.+-]+' <<<"$depends" | sort -u)
    box_folder=$(box_root armhf mtd-utils "${packages[@]}")
    box_package=$root/build/box-package
    rm -rf "$box_package"
    mkdir -p "$box_package/var/lib"
    cp -a "$box_folder/var/lib/dpkg" "$box_package/var/lib/"
    dpkg --root="$box_package" --force-architecture -i "$deb" >"$box_package.log" 2>&1 || {
        cat "$box_package.log"
        fail "dpkg does not install the package in it"
    }
    echo "Installed ${deb##*/}"
}

rootfs_size=16777216 # of the firmware; the rest of a partition twice as large stays as it was

# make_firmware VERSION: blocks and a signed package of them, published for the box.
make_firmware() {
    local version=$1
    # One block that compresses well, and one that does not.
    seq -f "kernel $version, line %.0f" 130000 >"$out/blocks/kernel-$version.img"
    head -c "$rootfs_size" /dev/urandom >"$out/blocks/rootfs-$version.img"
    lumo-firmware create --version "$version" --device LUMO-BOX --key release.pem \
        --block "kernel=blocks/kernel-$version.img@kernel:zstd" --block "rootfs=blocks/rootfs-$version.img@rootfs" \
        -o "firmware-$version.bin" >/dev/null
    lumo-firmware publish --server server --key release.pub.pem "firmware-$version.bin" >/dev/null
}

# start_nginx: serves $out/server on a loopback port, which it sets $server_port to.
start_nginx() {
    local try
    for try in 1 2 3 4 5; do
        server_port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
        cat >"$out/nginx.conf" <<CONF
$([ "$(id -u)" -ne 0 ] || echo 'user root;')
daemon on;
pid $out/nginx.pid;
error_log $out/nginx.log;
worker_processes 1;
events {}
http {
    access_log $out/access.log;
    client_body_temp_path $out/nginx-tmp; proxy_temp_path $out/nginx-tmp; fastcgi_temp_path $out/nginx-tmp;
    uwsgi_temp_path $out/nginx-tmp; scgi_temp_path $out/nginx-tmp;
    server { listen 127.0.0.1:$server_port; root $out/server; limit_rate 2m; }
}
CONF
        if PATH=$PATH:/usr/sbin nginx -c "$out/nginx.conf" 2>>"$out/nginx.log"; then
            return
        fi
    done
    fail "nginx does not start after $try tries, see $out/nginx.log"
}

# Sets $box_network to the options of a machine whose network is one address, behind which nginx answers: a process for
# each connection.
make_network() {
    # shellcheck disable=SC2054 # the commas are qemu's
    box_network=(-netdev
        "user,id=net,restrict=on,guestfwd=tcp:10.0.2.100:80-cmd:$root/scripts/box.d/line $server_port $out/download-seen"
        -device virtio-net-pci,netdev=net,romfile=)
}

# make_emmc FILE: an image with two partitions, the first an empty ext4, the second what was there before.
make_emmc() {
    python3 - "$1" <<'PYTHON'
import struct, sys
mib = 2048  # sectors
entries = [(1 * mib, 127 * mib), (128 * mib, 128 * mib)]
table = b''.join(struct.pack('<B3sB3sII', 0, b'\0\2\0', 0x83, b'\xff\xff\xff', *entry) for entry in entries)
with open(sys.argv[1], 'wb') as image:
    image.write(bytes(446) + table.ljust(64, b'\0') + b'\x55\xaa')
    image.truncate(256 * mib * 512)
PYTHON
    mkfs.ext4 -q -F -E offset=1048576 "$1" 127M
    head -c 33554432 /dev/urandom | dd of="$1" bs=1M seek=128 conv=notrunc status=none
}

# nand_contents FILE BAD...: what lies in the kernel partition (256 blocks from block 8 on) of the raw pages that the
# simulated NAND keeps in FILE, bad blocks and the erased end left out. Pages have 2048 bytes and 64 more.
nand_contents() {
    python3 - "$@" <<'PYTHON'
import sys
bad = {int(number) for number in sys.argv[2:]}
contents = bytearray()
with open(sys.argv[1], 'rb') as pages:
    for block in range(8, 8 + 256):
        pages.seek(block * 64 * 2112)
        raw = pages.read(64 * 2112).ljust(64 * 2112, b'\xff')
        if block not in bad:
            for page in range(64):
                contents += raw[page * 2112:page * 2112 + 2048]
sys.stdout.buffer.write(contents.rstrip(b'\xff'))
PYTHON
}

# make_box: fresh hardware, keys and configuration in $out, and the server.
make_box() {
    install_in_box
    build dev lumo-firmware
    PATH=$root/build/dev/tools/lumo-firmware:$PATH
    rm -rf "$out"
    mkdir -p "$out"/{blocks,server,screens}
    cd "$out"
    touch download-seen # who wants to see it, removes this
    lumo-firmware keygen release >/dev/null
    start_nginx
    trap box_end EXIT
    make_network
    make_emmc emmc.img
    box_tree box.dtb power status
    cat >platform.json <<CONF
{ "device":  { "id": "LUMO-BOX" },
  "updates": { "server": "$box_server", "keys": ["/etc/lumo/keys/release.pub.pem"] },
  "flash":   { "kernel": { "device": "/dev/mtd1" }, "rootfs": { "device": "/dev/mmcblk0p2" } },
  "display": { "backend": "kms", "width": 1280, "height": 720 },
  "log":     ${box_log:-{\}},
  "leds":    { "0": "/sys/class/leds/power", "3": "/sys/class/leds/status" } }
CONF
}

box_end() {
    kill "$(cat "$out/nginx.pid" 2>/dev/null)" 2>/dev/null || true
    # shellcheck disable=SC2046 # each is one number
    kill -9 $(cat "$out"/share/pid "$out"/life-*/pid 2>/dev/null) 2>/dev/null || true
}

# power_on SHARE SCRIPT: one life of the box.
power_on() {
    local share=$1 script=$2
    cp "$out/platform.json" "$out/release.pub.pem" "$share/"
    box_boot armhf "$box_folder" "$box_package" "$share" "$script" -dtb "$out/box.dtb" \
        -device virtio-gpu-pci,xres=1280,yres=720 "${box_network[@]}" \
        -device sdhci-pci -device sd-card,drive=emmc -drive "file=$out/emmc.img,format=raw,if=none,id=emmc"
}
