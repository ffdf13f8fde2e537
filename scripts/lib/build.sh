# Configuring and building presets.
# shellcheck source=dependencies.sh
. "$(dirname "${BASH_SOURCE[0]}")/dependencies.sh"

# configure PRESET: configures it if necessary. A build configures by itself when CMake's files change.
configure() {
    local preset=$1 stamp=$root/build/$1/configured
    [[ -f $stamp && ! $root/CMakePresets.json -nt $stamp ]] && return
    step "Configuring $preset" "configure-$preset" \
        cmake -S "$root" --preset "$preset"
    touch "$stamp"
}

# build PRESET [TARGET...]: configures it if necessary, and builds these targets, or all.
build() {
    configure "$1"
    say "Building $1 ..."
    ninja -C "$root/build/$1" "${@:2}" >&2 || fail "$1 does not build"
}
