# Builds the libraries that Debian 12 does not have in the required version or for Windows, into .deps/linux
# and .deps/windows.
# shellcheck source=packages.sh
. "$(dirname "${BASH_SOURCE[0]}")/packages.sh"

# Runs apt-get for source packages, with a configuration of our own and the mirror of the machine's
# configuration. apt checks Debian's signature.
source_apt() {
    apt-get -oDir::Etc::SourceList="$deps/apt/sources.list" -oDir::Etc::SourceParts=/dev/null \
        -oDir::State::Lists="$deps/apt/lists" -oDir::Cache="$deps/apt/cache" \
        -oAPT::Sandbox::User="$(id -un)" "$@"
}

read_source_lists() {
    local mirror suite
    # shellcheck disable=SC2016 # apt-get expands these
    mirror=$(apt-get indextargets --format '$(CREATED_BY) $(RELEASE) $(REPO_URI)' |
        awk '$1 == "Packages" && $2 == "bookworm" { print $3; exit }')
    if [[ -z $mirror ]]; then
        echo "apt's configuration names no mirror of Debian 12 (bookworm)"
        return 1
    fi
    mkdir -p "$deps"/apt/{lists,cache}
    for suite in bookworm trixie; do
        echo "deb-src [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] $mirror $suite main"
    done >"$deps/apt/sources.list"
    source_apt update --error-on=any
}

# download_source SUITE PACKAGE FOLDER
download_source() (
    cd "$3" && source_apt source --download-only "$2/$1"
)

# unpack_source FOLDER: unpacks the source package in FOLDER into FOLDER/source.
unpack_source() {
    dpkg-source --extract "$1"/*.dsc "$1/source"
}

# cmake_install SOURCE BUILD PREFIX ARGUMENTS...
cmake_install() {
    cmake -S "$1" -B "$2" -G Ninja -DCMAKE_INSTALL_PREFIX="$3" "${@:4}" &&
        cmake --build "$2" && cmake --install "$2"
}

# dependency HOST NAME SOURCE ARGUMENTS...: builds one library with CMake and these ARGUMENTS. SOURCE is a folder
# of this machine, or SUITE/PACKAGE[/FOLDER] for a Debian source package. A library is built again only when
# SOURCE, the options of CMake or, for Windows, the tool-chain file changes; an interrupted build starts again.
dependency() {
    local host=$1 name=$2 source=$3 arguments=("${@:4}")
    local stamp=$deps/$host/$name.recipe work=$deps/unfinished/$host-$name
    arguments+=(-DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_LIBDIR=lib
        -DCMAKE_POSITION_INDEPENDENT_CODE=ON -DBUILD_SHARED_LIBS=OFF)
    local recipe="$source ${arguments[*]} without build paths"
    if [[ $host == windows ]]; then
        recipe+=$'\n'$(<"$root/cmake/windows-x64.cmake")
        arguments+=(-DCMAKE_TOOLCHAIN_FILE="$root/cmake/windows-x64.cmake")
    fi
    # Some libraries name their sources in messages, which would contain build paths.
    arguments+=("-DCMAKE_CXX_FLAGS=-ffile-prefix-map=$work/source=.deps/$name"
        "-DCMAKE_C_FLAGS=-ffile-prefix-map=$work/source=.deps/$name")
    [[ -f $stamp && $(<"$stamp") == "$recipe" ]] && return

    rm -rf "$stamp" "$work"
    mkdir -p "$deps/$host" "$work"
    if [[ $source != /* ]]; then
        local suite package folder
        IFS=/ read -r suite package folder <<<"$source"
        if [[ -z ${source_lists_are_read-} ]]; then
            step "Reading Debian's source package lists" source-update read_source_lists
            source_lists_are_read=yes
        fi
        step "Downloading $package" "$name-download" download_source "$suite" "$package" "$work"
        step "Unpacking $package" "$name-unpack" unpack_source "$work"
        source=$work/source/$folder
    fi
    step "Building $name for $host" "$name-$host" \
        cmake_install "$source" "$work/build" "$deps/$host" "${arguments[@]}"
    rm -rf "$work"
    printf '%s\n' "$recipe" >"$stamp"
}

install_dependencies_linux() {
    dependency linux fmt trixie/fmtlib -DFMT_TEST=OFF -DFMT_DOC=OFF
}

install_dependencies_windows() {
    dependency windows fmt trixie/fmtlib -DFMT_TEST=OFF -DFMT_DOC=OFF
    # Its CMake option EXPAT_DTD defines XML_DTD without a value, but a patch of Debian's compares it with 1.
    dependency windows expat bookworm/expat/expat -DEXPAT_BUILD_TOOLS=OFF -DEXPAT_BUILD_EXAMPLES=OFF \
        -DEXPAT_BUILD_TESTS=OFF -DEXPAT_BUILD_DOCS=OFF -DEXPAT_DTD=OFF "-DCMAKE_C_FLAGS_RELEASE=-O3 -DNDEBUG -DXML_DTD=1"
    dependency windows googletest /usr/src/googletest
    dependency windows boost bookworm/boost1.81 -DBOOST_INSTALL_LAYOUT=system \
        "-DBOOST_INCLUDE_LIBRARIES=program_options;filesystem;asio;json" -DBOOST_FILESYSTEM_DISABLE_BCRYPT=ON
    dependency windows pugixml bookworm/pugixml
    # Only what reads zips. Of zlib's two libraries, it gets the static one.
    dependency windows libzip bookworm/libzip -DZLIB_LIBRARY=/usr/x86_64-w64-mingw32/lib/libz.a \
        -DENABLE_BZIP2=OFF -DENABLE_LZMA=OFF -DENABLE_OPENSSL=OFF -DENABLE_GNUTLS=OFF -DENABLE_MBEDTLS=OFF \
        -DENABLE_WINDOWS_CRYPTO=OFF -DBUILD_TOOLS=OFF -DBUILD_REGRESS=OFF -DBUILD_EXAMPLES=OFF -DBUILD_DOC=OFF
}
