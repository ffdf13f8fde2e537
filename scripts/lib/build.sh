# Building presets.
# shellcheck source=dependencies.sh
. "$(dirname "${BASH_SOURCE[0]}")/dependencies.sh"

# configure PRESET: when that is due. A build configures anew by itself when CMake's files change.
configure() {
    local preset=$1 stamp=$root/build/$1/configured
    [[ -f $stamp && ! $root/CMakePresets.json -nt $stamp ]] && return
    step "Configuring $preset" "configure-$preset" \
        cmake -S "$root" --preset "$preset"
    touch "$stamp"
}

# build PRESET [TARGET...]
build() {
    configure "$1"
    say "Building $1 ..."
    ninja -C "$root/build/$1" "${@:2}" >&2 || fail "$1 does not build"
}
