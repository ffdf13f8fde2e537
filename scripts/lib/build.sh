# Building presets.
# shellcheck source=dependencies.sh
. "$(dirname "${BASH_SOURCE[0]}")/dependencies.sh"

# build PRESET [TARGET...]: configures the preset when that is due, then builds.
build() {
    local preset=$1 folder=$root/build/$1
    if [[ ! -f $folder/configured || $root/CMakePresets.json -nt $folder/configured ]]; then
        say "Configuring preset $preset ..."
        (cd "$root" && cmake --preset "$preset") >&2 || fail "preset $preset cannot be configured"
        touch "$folder/configured"
    fi
    ninja -C "$folder" "${@:2}" >&2 || fail "preset $preset does not build"
}
