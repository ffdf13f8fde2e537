# Wine, with a prefix of the checkout's own.
# shellcheck source=common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

wine_environment() {
    # Tests that install things choose a prefix of their own.
    export WINEPREFIX=${VANDREL_WINEPREFIX:-$deps/wine} WINEARCH=win64 WINEDEBUG=-all
    # English texts, and file names of any characters, wherever this runs.
    export LC_ALL=C.UTF-8
    # No browser engine, no .NET and no menu entries are wanted, nor offers to install them.
    export WINEDLLOVERRIDES='mscoree,mshtml,winemenubuilder.exe='
    unset DISPLAY WAYLAND_DISPLAY
    # Wine needs one page at an address of its own. Where memory is placed at random, one process in
    # some two thousand has something else there, and ends without a word.
    at_usual_addresses=(setarch --addr-no-randomize)
    "${at_usual_addresses[@]}" true 2>/dev/null || at_usual_addresses=()
}

make_wine_prefix() {
    wine_environment
    [[ -f $WINEPREFIX/ready ]] && return
    rm -rf "$WINEPREFIX"
    step "Making Wine's prefix" wine init_wine_prefix
    touch "$WINEPREFIX/ready"
}

init_wine_prefix() {
    "${at_usual_addresses[@]}" wine wineboot --init && wineserver --wait
}

# Keeps Wine's server and its services between programs, which then start much faster, until
# stop_wine. The services keep the handles that they were started with, so these lead nowhere.
start_wine() (
    wine_environment
    wineserver --persistent
    "${at_usual_addresses[@]}" wine wineboot
) </dev/null >/dev/null 2>&1

stop_wine() (
    wine_environment
    if wineserver --kill; then
        wineserver --wait
    fi
)
