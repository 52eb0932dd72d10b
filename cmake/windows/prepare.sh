#!/usr/bin/env bash
# Makes a Debian machine ready for the Windows build: the cross compiler and Wine from packages; Qt
# Core, GoogleTest and Google Benchmark for Windows from the sources of the versions that are
# installed here, so that both builds use the same ones; a Wine prefix.
#
#   cmake/windows/prepare.sh       prints what to give as CMAKE_PREFIX_PATH; progress goes to stderr
#
# Everything is kept in $ZMU_CACHE, by default ${XDG_CACHE_HOME:-$HOME/.cache}/zmu, and checked at
# each run: what is whole is used again, what is not is made anew. A run that was interrupted
# continues where it stopped. The machine's package configuration stays as it is.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
cache=${ZMU_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/zmu}
jobs=${ZMU_JOBS:-$(nproc)}
toolchain=$here/../toolchains/mingw-w64.cmake
packages=(g++-mingw-w64-x86-64-posix wine wine64 cmake ninja-build dpkg-dev
          qt6-base-dev qt6-base-dev-tools googletest libbenchmark-dev libspdlog-dev libfmt-dev)

say() { printf '== %d:%02d %s\n' $((SECONDS / 60)) $((SECONDS % 60)) "$*" >&2; }
fail() { printf 'prepare.sh: %s\n' "$*" >&2; exit 1; }

# ---- Packages --------------------------------------------------------------------------------

installed() { [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }
source_version() { dpkg-query -W -f '${source:Version}' "$1"; }
upstream_version() { source_version "$1" | sed -E 's/^[0-9]+://; s/-[^-]*$//; s/[+~](dfsg|ds).*$//'; }

install_packages() {
    local package missing=() root=()
    command -v dpkg-query >/dev/null || fail "this machine has no Debian packages; see the README for other systems"
    for package in "${packages[@]}"; do
        installed "$package" || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    say "Installing ${missing[*]}"
    [ "$(id -u)" = 0 ] || root=(sudo)
    "${root[@]}" apt-get update -q >&2
    "${root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -q -y --no-install-recommends "${missing[@]}" >&2
}

# Source packages come from where the machine's binary packages come from: its configured sources,
# rewritten into a private folder, with private lists.
apt_folder=$cache/scratch/apt
private_apt() {
    apt-get -q -o Dir::Etc::SourceList=/dev/null -o Dir::Etc::SourceParts="$apt_folder/sources" \
        -o Dir::State::Lists="$apt_folder/lists" -o Dir::Cache="$apt_folder/cache" \
        -o APT::Sandbox::User="$(id -un)" "$@" >&2
}

find_package_sources() {
    [ ! -e "$apt_folder/ready" ] || return 0
    local list parts file
    eval "$(apt-config shell list Dir::Etc::sourcelist/f parts Dir::Etc::sourceparts/d)"
    rm -rf "$apt_folder"
    mkdir -p "$apt_folder"/{sources,lists/partial,cache/archives/partial}
    for file in "$list" "$parts"/*.list; do
        [ ! -f "$file" ] || sed -nE '/cdrom:/d; s/^[[:space:]]*deb(-src)?[[:space:]]+/deb-src /p' "$file"
    done | sort -u >"$apt_folder/sources/lines.list"
    for file in "$parts"/*.sources; do
        [ ! -f "$file" ] || { cat "$file"; echo; }
    done | awk '
        function finish() { if (text != "" && packages && enabled) printf "%s\n", text
                            text = ""; packages = 0; enabled = 1 }
        BEGIN { enabled = 1 }
        /^[ \t]*$/ { finish(); next }
        tolower($0) ~ /^enabled:[ \t]*(no|false|0|off|without|disable)/ { enabled = 0 }
        tolower($0) ~ /^types:/ { packages = 1; $0 = "Types: deb-src" }
        { text = text $0 "\n" }
        END { finish() }' >"$apt_folder/sources/stanzas.sources"
    # A source that offers no source packages is no failure as long as another one does.
    private_apt update || say "Some package sources did not answer"
    touch "$apt_folder/ready"
}

# unpack PACKAGE VERSION FOLDER: the source package in FOLDER, which is whole when it exists.
unpack() {
    [ ! -d "$3" ] || return 0
    local folder=$cache/scratch/download-$1
    find_package_sources
    mkdir -p "$folder"
    rm -rf "$3.new"
    (cd "$folder" && { private_apt source --download-only "$1=$2" || private_apt source --download-only "$1"; }) ||
        fail "no source package $1 $2: are the package lists of this machine up to date?"
    say "Unpacking $1"
    dpkg-source --no-check --extract "$(find "$folder" -name '*.dsc' | sort | tail -n 1)" "$3.new" >"$folder/log" 2>&1 ||
        { tail -n 20 "$folder/log" >&2; rm -rf "$folder"; fail "the source package of $1 cannot be unpacked"; }
    mv "$3.new" "$3"
}

# ---- What is kept ----------------------------------------------------------------------------

# A folder is whole when the list of check sums beside it ends with its key and every file agrees.
whole() {
    [ -d "$1" ] && [ "$(tail -n 1 "$1.sums" 2>/dev/null)" = "# whole: $2" ] &&
        (cd "$1" && sha256sum --check --status "$1.sums" 2>/dev/null)
}
seal() {
    (cd "$1" && find . -type f -print0 | sort -z | xargs -0 sha256sum) >"$1.sums.new"
    echo "# whole: $2" >>"$1.sums.new"
    mv "$1.sums.new" "$1.sums"
}

# Shows every twentieth step of a build, and whatever is not a step.
progress() { awk '/^\[[0-9]+\/[0-9]+\]/ { if (++steps % 20 && $0 !~ /Linking CXX (shared|static)/) next } { print; fflush() }' >&2; }

# cross_build NAME SOURCE PREFIX OPTION…: configures once, builds what is missing, installs whole.
cross_build() {
    local name=$1 source=$2 prefix=$3 build=$cache/scratch/$1-build stage=$cache/scratch/$1-stage
    shift 3
    if [ ! -e "$build/configured" ]; then
        say "Configuring $name"
        rm -rf "$build"
        cmake -G Ninja -S "$source" -B "$build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
            -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$prefix" "$@" >"$build.log" 2>&1 ||
            { tail -n 40 "$build.log" >&2; return 1; }
        touch "$build/configured"
    fi
    say "Building $name"
    ninja -C "$build" -j "$jobs" 2>&1 | progress || return 1
    rm -rf "$stage" "$prefix" "$prefix.sums"
    DESTDIR=$stage cmake --install "$build" --strip >"$build.log" 2>&1 || { tail -n 20 "$build.log" >&2; return 1; }
    mv "$stage$prefix" "$prefix"
}

# keep NAME VERSION FUNCTION: the folder NAME-VERSION-mingw, made by FUNCTION when it is not whole.
# What an interrupted run left is continued; if that fails, everything is made from the beginning.
prefixes=
keep() {
    local name=$1 prefix=$cache/$1-$2-mingw key left=no
    key="$2, compiler $compiler, recipe $recipe"
    if ! whole "$prefix" "$key"; then
        [ ! -e "$prefix" ] || say "What is kept of $name is not whole or is for another compiler"
        [ ! -e "$cache/scratch/$name-build" ] || left=yes
        "$3" "$prefix" || {
            [ $left = yes ] || fail "$name could not be built"
            say "Once more from the beginning"
            rm -rf "$cache/scratch/$name"* "$cache/scratch/download-"*
            "$3" "$prefix" || fail "$name could not be built"
        }
        seal "$prefix" "$key"
        rm -rf "$cache/scratch/$name"*
    fi
    prefixes+=${prefixes:+;}$prefix
}

# Core alone, without what neither the library nor its tests use.
qt_core() {
    local feature options=() folder
    for feature in gui network sql testlib xml dbus concurrent system_zlib pkg_config precompile_header \
                   itemmodel animation mimetype; do
        options+=("-DFEATURE_$feature=OFF")
    done
    unpack qt6-base "$(source_version qt6-base-dev)" "$cache/scratch/qt-source"
    cross_build qt "$cache/scratch/qt-source" "$1" \
        -DQT_BUILD_TESTS=OFF -DQT_BUILD_EXAMPLES=OFF "${options[@]}"
}

googletest() { cross_build googletest /usr/src/googletest "$1"; }

benchmark() {
    unpack benchmark "$(source_version libbenchmark-dev)" "$cache/scratch/benchmark-source"
    cross_build benchmark "$cache/scratch/benchmark-source" "$1" -DBENCHMARK_ENABLE_TESTING=OFF \
        -DGIT_VERSION="$(upstream_version libbenchmark-dev)" -DBENCHMARK_ENABLE_GTEST_TESTS=OFF \
        -DBENCHMARK_ENABLE_WERROR=OFF -DBENCHMARK_INSTALL_DOCS=OFF
}

# What the measurements compare with: headers, so this machine's are as good, and a package file
# that offers them as the compiled library's target.
peers() {
    rm -rf "$1"
    mkdir -p "$1/include" "$1/lib/cmake/spdlog"
    cp -rL /usr/include/spdlog /usr/include/fmt "$1/include/"
    cat >"$1/lib/cmake/spdlog/spdlogConfig.cmake" <<'END'
get_filename_component(spdlog_prefix "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)
find_package(Threads REQUIRED)
if(NOT TARGET spdlog::spdlog)
  add_library(spdlog::spdlog INTERFACE IMPORTED)
  set_target_properties(spdlog::spdlog PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${spdlog_prefix}/include"
    INTERFACE_COMPILE_DEFINITIONS "SPDLOG_FMT_EXTERNAL;FMT_HEADER_ONLY"
    INTERFACE_LINK_LIBRARIES Threads::Threads)
  add_library(spdlog::spdlog_header_only ALIAS spdlog::spdlog)
endif()
END
}

# ---- Wine ------------------------------------------------------------------------------------

# Number and total size of the prefix's system files.
wine_files() {
    { find "$cache/wine/drive_c/windows/system32" -type f -printf '%s\n' 2>/dev/null || true; } |
        awk '{ size += $1 } END { print NR " files, " size " bytes" }'
}

make_wine_prefix() {
    local ready=$cache/wine.ready version
    version=$(source_version wine64)
    if [ ! -s "$cache/wine/system.reg" ] || [ "$(cat "$ready" 2>/dev/null)" != "$version, $(wine_files)" ]; then
        say "Creating the Wine prefix"
        rm -rf "$cache/wine" "$ready"
        "$here/wine.sh" wineboot --init </dev/null >&2 9>&-
        "$here/wine.sh" --wait 9>&-
        echo "$version, $(wine_files)" >"$ready"
    fi
    # Windows without a display.
    if ! grep -q '^"Graphics"="null"' "$cache/wine/user.reg"; then
        "$here/wine.sh" reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f </dev/null >&2 9>&-
        "$here/wine.sh" --wait 9>&-
    fi
}

# ---- All of it ---------------------------------------------------------------------------------

install_packages
mkdir -p "$cache/scratch"
cache=$(cd "$cache" && pwd)
exec 9>"$cache/lock"
flock --nonblock 9 || { say "Waiting for another run of this script"; flock 9; }

compiler=$(x86_64-w64-mingw32-g++-posix -dumpfullversion)
recipe=1 # To be raised when an option above changes what is built.
keep qt "$(upstream_version qt6-base-dev)" qt_core
keep googletest "$(upstream_version googletest)" googletest
keep benchmark "$(upstream_version libbenchmark-dev)" benchmark
keep peers "$(upstream_version libspdlog-dev)" peers
make_wine_prefix
rm -rf "$cache/scratch"
printf '%s\n' "$prefixes"
