# Wine, with a prefix for this checkout only.
# shellcheck source=common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

wine_environment() {
    # Tests that install something use another prefix.
    export WINEPREFIX=${VANDREL_WINEPREFIX:-$deps/wine} WINEARCH=win64 WINEDEBUG=-all
    # English texts, and file names with any characters, whatever the machine's locale.
    export LC_ALL=C.UTF-8
    # Disables the browser engine, .NET and menu entries. Wine then does not offer to install the first two.
    export WINEDLLOVERRIDES='mscoree,mshtml,winemenubuilder.exe='
    unset DISPLAY WAYLAND_DISPLAY
    # Tests give another folder. start_wine removes the value that Wine would put in its place.
    export LOCALAPPDATA=${LOCALAPPDATA:-"C:\\users\\$(id -un)\\AppData\\Local"}
    # Wine needs one page at a fixed address. With address randomisation, that address is already used in about
    # one process in two thousand, which then ends without a message.
    without_address_randomisation=(setarch --addr-no-randomize)
    "${without_address_randomisation[@]}" true 2>/dev/null || without_address_randomisation=()
}

make_wine_prefix() {
    wine_environment
    [[ -f $WINEPREFIX/ready-with-windows ]] && return
    rm -rf "$WINEPREFIX"
    step "Making Wine's prefix" wine init_wine_prefix
    touch "$WINEPREFIX/ready-with-windows"
}

init_wine_prefix() {
    # There is no display. The driver "null" lets programs have windows all the same; without a driver, they can have
    # windows for messages only.
    "${without_address_randomisation[@]}" wine wineboot --init &&
        "${without_address_randomisation[@]}" wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f &&
        wineserver --wait
}

# Keeps Wine's server and services running until stop_wine, so that programs start much faster. The services
# keep the handles with which they were started, so these refer to the null device.
start_wine() (
    wine_environment
    wineserver --persistent
    "${without_address_randomisation[@]}" wine wineboot
    "${without_address_randomisation[@]}" wine reg delete 'HKCU\Volatile Environment' /v LOCALAPPDATA /f || true
    # The first program with a window starts Wine's desktop, which keeps that program's handles as long as any program
    # has a window. This one has it from the start, so that no test waits for the end of its output.
    "${without_address_randomisation[@]}" wine notepad &
) </dev/null >/dev/null 2>&1

stop_wine() (
    wine_environment
    if wineserver --kill; then
        wineserver --wait
    fi
)
