# Building presets.
# shellcheck source=dependencies.sh
. "$(dirname "${BASH_SOURCE[0]}")/dependencies.sh"

# configure PRESET: when that is due. A build configures anew by itself when CMake's files change.
configure() {
    local preset=$1 stamp=$root/build/$1/configured
    [[ -f $stamp && ! $root/CMakePresets.json -nt $stamp ]] && return
    say "Configuring preset $preset ..."
    (cd "$root" && cmake --preset "$preset") >&2 || fail "preset $preset cannot be configured"
    touch "$stamp"
}

# build PRESET [TARGET...]
build() {
    configure "$1"
    ninja -C "$root/build/$1" "${@:2}" >&2 || fail "preset $1 does not build"
}
