# The Debian packages that each job needs, and their installation.
# shellcheck source=common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

linux_packages=(
    ca-certificates cmake dpkg-dev g++ ninja-build python3
    libboost-filesystem1.81-dev libboost-program-options1.81-dev
    libexpat1-dev libgmock-dev libgtest-dev
    libboost-json1.81-dev libcli11-dev libpugixml-dev libzip-dev
)
windows_packages=(g++-mingw-w64-x86-64-posix libz-mingw-w64-dev lld wine wine64)
release_packages=(msitools osslsigncode wixl)
test_packages=(libplist-utils mono-mcs openssl)
# The tests do without it where it cannot be had.
browser_package=chromium
fuzz_packages=(clang libclang-rt-dev llvm)
benchmark_packages=(libbenchmark-dev libplist-dev valgrind)

# install_packages NAME...: installs the missing ones. It is fast if none is missing.
install_packages() {
    local installed name missing=()
    installed=$(dpkg-query --show --showformat '${Package} ${db:Status-Status}\n' "$@" 2>/dev/null) || true
    for name; do
        [[ $'\n'$installed$'\n' == *$'\n'"$name installed"$'\n'* ]] || missing+=("$name")
    done
    ((${#missing[@]} == 0)) && return

    local as_root=()
    if ((EUID != 0)); then
        command -v sudo >/dev/null ||
            fail "these packages are missing, and only root can install them: ${missing[*]}"
        as_root=(sudo)
    fi
    step "Reading Debian's package lists" packages-update \
        "${as_root[@]}" apt-get -oDPkg::Lock::Timeout=300 update
    step "Installing ${missing[*]}" packages-install \
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get -oDPkg::Lock::Timeout=300 install --yes --no-remove --no-install-recommends "${missing[@]}"
}

# install_browser: installs the browser of the tests, which go on without it.
install_browser() {
    (install_packages "$browser_package") ||
        say "There is no browser here ($browser_package): the test that opens the page of a run is skipped."
}
