# Shared by the scripts beside it: where the tree is, packages, configuring and building. Sourced by bash.
# shellcheck shell=bash
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=$(nproc)
export CCACHE_BASEDIR="$root" CCACHE_NOHASHDIR=1

# Installs what is missing of packaging/apt-packages.txt; asks nothing.
install_packages() {
    local wanted missing=() package sudo=()
    mapfile -t wanted < <(grep -v '^#' "$root/packaging/apt-packages.txt")
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
