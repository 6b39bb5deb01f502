# The virtual machine that the box is: its root, its start and its end. Sourced by scripts/box after scripts/common.sh.
# shellcheck shell=bash
# shellcheck source=scripts/common.sh

guest_scripts=$root/scripts/box.d/guest

# box_root ARCH PACKAGE...: prints the folder of a Debian 12 with a kernel, busybox and the packages, made when it is not
# there yet (half a minute, 500 MB).
box_root() {
    local arch=$1 kernel folder work version
    shift
    case $arch in
    amd64) kernel=linux-image-amd64 ;;
    armhf) kernel=linux-image-armmp ;;
    esac
    set -- "$kernel" busybox-static "$@"
    folder=$cache/box-$arch-$(printf '%s\n' 2 "$@" | sha256sum | cut -c1-12)
    if [ ! -d "$folder" ]; then
        echo "Making the root of the $arch box in $folder" >&2
        mkdir -p "$cache"
        work=$(mktemp -d "$cache/making.XXXXXX")
        debian_root "$arch" "$work/root" "$@" >&2
        version=$(ls "$work/root/lib/modules")
        depmod -b "$work/root" "$version"
        (cd "$work/root" && mkdir -p proc sys dev run tmp mnt etc/lumo root var/lib)
        mv -T "$work/root" "$folder" 2>/dev/null || [ -d "$folder" ]
        rm -rf "$work"
    fi
    echo "$folder"
}

# box_initrd ROOT FILE: a first root file system that mounts ROOT, read-only under a layer in memory.
box_initrd() {
    local root_folder=$1 file=$2 work version module kind path
    version=$(ls "$root_folder/lib/modules")
    work=$(mktemp -d)
    (cd "$work" && mkdir dev proc sys lower package upper new modules)
    cp "$root_folder/bin/busybox" "$work/busybox"
    install "$guest_scripts/init" "$work/init"
    for module in virtio_pci 9pnet_virtio 9p overlay virtio-rng; do
        modprobe -d "$root_folder" -S "$version" --show-depends "$module"
    done | while read -r kind path _; do
        if [ "$kind" = insmod ] && [ ! -e "$work/modules/${path##*/}" ]; then
            cp "$path" "$work/modules/"
            echo "${path##*/}" >>"$work/order"
        fi
    done
    (cd "$work" && find . | cpio --quiet -o -H newc | gzip -1) >"$file"
    rm -rf "$work"
}

# box_tree FILE NAME...: the device tree of the armhf box with a GPIO LED of each name.
box_tree() {
    local file=$1 gpio pin=0 name
    shift
    qemu-system-arm -M virt,highmem=off,dumpdtb="$file" -cpu cortex-a15 -accel tcg -m "$box_memory" -smp 2 \
        -nodefaults -display none >/dev/null 2>&1
    gpio=$(fdtget -t i "$file" /pl061@9030000 phandle)
    fdtput -c "$file" /leds
    fdtput -t s "$file" /leds compatible gpio-leds
    for name; do
        fdtput -c "$file" "/leds/led-$pin"
        fdtput -t s "$file" "/leds/led-$pin" label "$name"
        fdtput -t i "$file" "/leds/led-$pin" gpios "$gpio" $pin 0
        pin=$((pin + 1))
    done
}

box_memory=512

# box_boot ARCH ROOT PACKAGE SHARE SCRIPT [QEMU OPTION...]: boots ROOT with the unpacked PACKAGE laid over it and the
# folder SHARE at /mnt, and runs SCRIPT, a file of scripts/box.d/guest or tests/box/guest, there. What the guest writes to /mnt is on this
# machine at once. Returns SCRIPT's status, or 125 when the machine ended without one (reboot, power cut, panic, limit
# of $box_limit seconds). SHARE/pid is qemu's, SHARE/monitor its monitor.
box_boot() {
    local arch=$1 root_folder=$2 package=$3 share=$4 script=$5 version qemu=() tty words=''
    shift 5
    version=$(ls "$root_folder/lib/modules")
    case $arch in
    # A busy host makes the emulated timer late; the kernel would take it for broken, and panic.
    amd64) qemu=(qemu-system-x86_64 -M pc -cpu max) tty=ttyS0 words=no_timer_check ;;
    armhf) qemu=(qemu-system-arm -M "virt,highmem=off" -cpu cortex-a15) tty=ttyAMA0 ;;
    esac
    rm -f "$share/rc" "$share/monitor" "$share/pid"
    mkdir -p "$share/guest"
    cp "$guest_scripts"/* "$root"/tests/box/guest/* "$share/guest/"
    box_initrd "$root_folder" "$share/initrd"
    nice -n 10 timeout --kill-after=5 "${box_limit:-300}" "${qemu[@]}" -accel tcg,thread=multi -m "$box_memory" -smp 2 \
        -nodefaults -display none -no-reboot -serial stdio -pidfile "$share/pid" \
        -monitor "unix:$share/monitor,server=on,wait=off" \
        -kernel "$root_folder/boot/vmlinuz-$version" -initrd "$share/initrd" \
        -append "console=$tty loglevel=${box_loglevel:-3} vt.global_cursor_default=0 panic=-1 script=$script $words" \
        -fsdev "local,id=root,path=$root_folder,security_model=none,readonly=on,multidevs=remap" \
        -device virtio-9p-pci,fsdev=root,mount_tag=root \
        -fsdev "local,id=package,path=$package,security_model=none,readonly=on,multidevs=remap" \
        -device virtio-9p-pci,fsdev=package,mount_tag=package \
        -fsdev "local,id=share,path=$share,security_model=none,multidevs=remap" \
        -device virtio-9p-pci,fsdev=share,mount_tag=share \
        -device virtio-rng-pci "$@" <"${box_input:-/dev/null}" || echo "qemu ended with status $?"
    return "$(cat "$share/rc" 2>/dev/null || echo 125)"
}
