# Shared by the scripts beside it: where the tree is, packages, configuring and building. Sourced by bash.
# shellcheck shell=bash
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=$(nproc)
export CCACHE_BASEDIR="$root" CCACHE_NOHASHDIR=1

# What is made once and kept for every clone: sysroots and the roots of virtual machines.
# shellcheck disable=SC2034 # used by the scripts that source this
cache=${XDG_CACHE_HOME:-$HOME/.cache}/lumo

# Installs what is missing of packaging/apt-packages.txt; asks nothing.
install_packages() { install_list apt-packages.txt; }

# install_list NAME: the same for a list in packaging/.
install_list() {
    local wanted missing=() package sudo=()
    mapfile -t wanted < <(grep -v '^#' "$root/packaging/$1")
    for package in "${wanted[@]}"; do
        # shellcheck disable=SC2016 # the dollar is dpkg-query's
        if [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" != installed ]; then
            missing+=("$package")
        fi
    done
    [ ${#missing[@]} -eq 0 ] && return
    [ "$(id -u)" -eq 0 ] || sudo=(sudo)
    echo "Installing packages: ${missing[*]}"
    "${sudo[@]}" apt-get -qq update
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq install -y --no-install-recommends "${missing[@]}" \
        >/dev/null
}

# debian_root ARCH DIR PACKAGE...: unpacks Debian 12 packages and all they need for ARCH into DIR. No maintainer script
# runs, and the architectures of this machine's dpkg stay as they are; DIR's own takes the packages for installed.
debian_root() {
    local arch=$1 dir=$2 packages mirror
    shift 2
    packages=$(IFS=,; echo "$*")
    # shellcheck disable=SC2016 # the dollar is apt's
    mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Codename: bookworm' 'Created-By: Packages' | head -n 1)
    # shellcheck disable=SC2016 # the dollars are the hook's
    nice -n 10 mmdebstrap --quiet --arch="$arch" --variant=extract --components=main \
        --extract-hook='for deb in "$1"/var/cache/apt/archives/*.deb; do
            dpkg-deb -f "$deb" | sed "1aStatus: install ok installed" && echo
        done >"$1/var/lib/dpkg/status"' \
        --aptopt='APT::Install-Recommends "false"' --include="$packages" bookworm "$dir" \
        "${mirror:-http://deb.debian.org/debian}"
}

# Sets $unable to the words in front of a command that take the right to reboot from it, and from all it could start; ends
# where that right cannot be given up.
unable_to_reboot() {
    local set caps cap_sys_boot=22
    unable=(env)
    [ "$(id -u)" -ne 0 ] || unable=(setpriv --bounding-set -sys_boot --inh-caps -sys_boot --)
    for set in CapPrm CapEff; do
        caps=$("${unable[@]}" sed -n "s/^$set:[[:space:]]*//p" /proc/self/status)
        echo "    $set: $caps, without CAP_SYS_BOOT"
        if [ -z "$caps" ] || (((0x$caps >> cap_sys_boot & 1) != 0)); then
            echo "The right to reboot could not be given up."
            exit 1
        fi
    done
}

# build PRESET [TARGET...]: configures and builds build/PRESET; prints little unless it fails.
build() {
    local preset=$1 log
    shift
    cd "$root"
    log=$(mktemp)
    if ! { cmake --preset "$preset" && cmake --build --preset "$preset" -j "$jobs" ${@:+--target "$@"}; } >"$log" 2>&1; then
        cat "$log"
        rm -f "$log"
        echo "The $preset build failed."
        return 1
    fi
    tail -n 1 "$log"
    rm -f "$log"
}
