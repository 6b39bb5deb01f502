# The tests on simulated chips. Sourced by scripts/box.
# shellcheck shell=bash
# shellcheck source=tests/box/plug.sh

box_flash() {
    local name block=3000000 # not a whole number of pages
    rm -rf "$out"
    mkdir -p "$out"/{share,empty}
    program_for_amd64 "$out/share/bin"
    cd "$out"
    PATH=$root/build/dev/tools/lumo-firmware:$PATH
    head -c $block /dev/urandom >a.img
    cp a.img b.img
    for name in 0 7 22; do # erase blocks; the last one is not whole
        printf 'changed' | dd of=b.img bs=1 seek=$((name * 131072 + 100)) conv=notrunc status=none
    done
    head -c $block /dev/urandom >c.img
    for name in a b c; do
        lumo-firmware create --unsigned --version 1.0 --device FLASH-BOX --block "kernel=$name.img@kernel" \
            -o "share/$name.bin" >/dev/null
        sha256sum <$name.img | cut -c1-64 >share/$name.sum
    done
    echo "size=$block" >share/settings
    box_limit=1800 box_boot amd64 "$box_folder" "$out/empty" "$out/share" flash.sh | tee console.txt ||
        fail "see above, and box-output/console.txt"
}
