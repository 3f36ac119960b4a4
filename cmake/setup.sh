# Sourced by run, test and .ci/run, with $top set to the checkout: packages, and builds that are quiet unless they fail.

# need PACKAGE...: installs what is missing of these Debian packages.
need() {
    command -v dpkg-query >/dev/null || return 0 # another distribution: the build says what it misses
    local installed missing=() package
    installed=$(dpkg-query -W -f='${db:Status-Status} ${Package}\n' "$@" 2>/dev/null) || true
    for package; do
        grep -qxF "installed $package" <<<"$installed" || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0

    local as_root=()
    if [ "$(id -u)" != 0 ]; then
        if ! command -v sudo >/dev/null; then
            echo "These packages are missing, and there is no sudo to install them: ${missing[*]}" >&2
            exit 3
        fi
        as_root=(sudo)
    fi
    echo "Installing ${missing[*]} ..." >&2
    mkdir -p "$top/build"
    local log=$top/build/packages.log
    if ! { "${as_root[@]}" apt-get update && "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y \
            --no-install-recommends "${missing[@]}"; } </dev/null >"$log" 2>&1; then
        tail -n 40 "$log" >&2
        echo "Installing packages failed: see above, and $log" >&2
        exit 3
    fi
}

# What the Linux build needs; test and .ci/run add to it. locales is for the tests alone.
packages_build=(cmake ninja-build g++ pkg-config libsqlite3-dev libssl-dev libpam0g-dev libcli11-dev googletest locales
    gcc-mingw-w64-x86-64-posix)

# progress WHAT: reads a build's output and shows how far it is; nothing when there is nothing to do.
progress() {
    local line shown=
    while IFS= read -r line; do
        [[ $line =~ ^\[([0-9]+)/([0-9]+)\] && $line != *Re-checking* ]] || continue
        if [ -t 2 ]; then
            printf '\rBuilding %s: %s of %s ' "$1" "${BASH_REMATCH[1]}" "${BASH_REMATCH[2]}" >&2
        elif [ -z "$shown" ]; then
            echo "Building $1 ..." >&2
        fi
        shown=yes
    done
    if [ -n "$shown" ] && [ -t 2 ]; then printf '\r\033[K' >&2; fi
}

# build PRESET TARGET [CMAKE-OPTION...]: configures on first use and builds. One at a time for each preset.
build() {
    local preset=$1 target=$2 directory=$top/build/$1
    shift 2
    mkdir -p "$directory"
    local log=$directory/build.log
    if ! (
        flock 9
        cd "$top"
        if [ ! -e "$directory/build.ninja" ] || [ $# -gt 0 ]; then cmake --preset "$preset" "$@"; fi >"$log" 2>&1 &&
            cmake --build "$directory" --target "$target" 2>&1 | tee -a "$log" | progress "$preset"
    ) 9>"$directory/lock" </dev/null; then
        grep -vE '^\[[0-9]+/[0-9]+\] (Building|Linking)' "$log" | tail -n 60 >&2
        echo "Building $preset failed: see above, and $log" >&2
        exit 3
    fi
}
