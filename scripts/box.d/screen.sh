# What the box's screen showed, and what it should have shown. Sourced by scripts/box.
# shellcheck shell=bash
# shellcheck source=scripts/box.d/world.sh

# watch_screen SHARE FOLDER: pictures of the box's screen, as often as it changes, named by what the updater said it does.
# Lets the server send faster when there are three of the download, and the box end its check when there are three of that:
# the first may be of an empty screen.
watch_screen() {
    local share=$1 folder=$2 number=0 downloads=0 checks=0 last=none picture=$2/new.ppm phase
    while sleep 0.2; do
        rm -f "$picture"
        [ -S "$share/monitor" ] || continue
        phase=$(phase_of "$share")
        echo "screendump $picture" | socat - "UNIX-CONNECT:$share/monitor" >/dev/null 2>&1 || continue
        if whole "$picture" && ! cmp -s "$picture" "$last"; then
            number=$((number + 1))
            last=$folder/$(printf '%03d' $number)-$phase.ppm
            mv "$picture" "$last"
            case $phase in
            downloading*) [ $((downloads += 1)) -lt 3 ] || touch "$out/download-seen" ;;
            checking*) [ $((checks += 1)) -lt 3 ] || touch "$share/check-seen" ;;
            esac
        fi
    done
}

# phase_of SHARE: a word for what goes on, by the ends of the console and of the updater's log.
phase_of() {
    local progress='s/.*GuiUpdater:[0-9]*: \(.*\): \([0-9]*\) of 1000 are shown$/\1-\2/p' word=''
    if grep -qs 'Rebooting' "$1/console.txt"; then
        word=rebooting
    elif grep -qs 'Update finished' "$1/console.txt"; then
        word=result
    elif [ -s "$1/updater.log" ]; then
        word=$(tail -n 20 "$1/updater.log" | sed -n "$progress" | tail -n 1 | tr 'A-Z ' 'a-z-')
    fi
    echo "${word:-start}"
}

# whole FILE: the monitor answers before a picture is. Waits for it a little.
whole() {
    local kind width height
    for _ in {1..20}; do
        if [ -s "$1" ] && { read -r kind && read -r width height; } <"$1" 2>/dev/null && [ "$kind" = P6 ] &&
            [ "$(stat -c %s "$1")" -gt $((width * height * 3)) ]; then
            return
        fi
        sleep 0.1
    done
    return 1
}

# develop_pictures FOLDER: what watch_screen left there, as PNG files.
develop_pictures() {
    rm -f "$1/new.ppm"
    find "$1" -name '*.ppm' -exec mogrify -format png {} +
    rm -f "$1"/*.ppm
}

# expect_pictures FOLDER PHASE...: at least one of each.
expect_pictures() {
    local folder=$1 phase
    shift
    for phase; do
        compgen -G "$folder/*-$phase*.png" >/dev/null || fail "there is no picture of '$phase' in $folder"
    done
    echo "    $(find "$folder" -name '*.png' | wc -l) pictures of the screen"
}

# draw_here LANGUAGE FOLDER: what this machine's updater draws while it installs the same package and counts down to a
# reboot that it has no right to: frame-*.png.
draw_here() (
    chosen=$root/build/dev/sysroot/var/lumo/lang
    earlier=$(cat "$chosen" 2>/dev/null || true)
    trap 'if [ -n "$earlier" ]; then printf %s "$earlier" >"$chosen"; else rm -f "$chosen"; fi' EXIT
    build dev updater languages
    mkdir -p "$2" "${chosen%/*}"
    cat >"$2/platform.json" <<CONF
{ "device":  { "id": "LUMO-BOX", "stateDir": "$2/device" },
  "updates": { "server": "http://127.0.0.1:9", "keys": ["$out/release.pub.pem"] },
  "flash":   { "kernel": { "file": "kernel.img", "size": 33554432 }, "rootfs": { "file": "rootfs.img", "size": 33554432 } },
  "display": { "backend": "headless", "frames": "$2" } }
CONF
    printf %s "$1" >"$chosen"
    unable_to_reboot
    LUMO_PLATFORM=$2/platform.json "${unable[@]}" "$root/build/dev/utils/updater" -r "file://$out/firmware-2.0.bin" \
        >"$2/console.txt" 2>&1 || true
    grep -q 'Rebooting' "$2/console.txt" || {
        cat "$2/console.txt"
        fail "this machine's updater draws no countdown"
    }
)

# compare_countdowns PICTURES FRAMES: some picture of the box after the installation must be one of this machine's frames,
# but for the last bits of a colour. The last ones are the likeliest.
compare_countdowns() {
    local picture frame pictures frames differing best=
    mapfile -t pictures < <(find "$1" -name '*-re*.png' | sort -r)
    mapfile -t frames < <(find "$2" -name 'frame-*.png' | sort -r | head -n 22)
    for picture in "${pictures[@]}"; do
        for frame in "${frames[@]}"; do
            differing=$(compare -metric AE -fuzz 2% "$picture" "$frame" null: 2>&1 || true)
            if [ -z "$best" ] || [ "$differing" -lt "$best" ]; then
                best=$differing
            fi
            if [ "$best" -le 50 ]; then
                echo "    ${picture#"$out/"} is this machine's ${frame##*/}, but for $best of 921600 pixels"
                return
            fi
        done
    done
    fail "no picture of the countdown is like this machine's; the most similar one differs in ${best:-all} pixels"
}
