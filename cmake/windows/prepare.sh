#!/usr/bin/env bash
# Makes a Debian machine ready for the Windows build: the cross compiler and Wine from packages; Qt
# Core, GoogleTest and Google Benchmark for Windows from the sources of the versions that are
# installed here, so that both builds use the same ones; a Wine prefix.
#
#   cmake/windows/prepare.sh       prints what to give as CMAKE_PREFIX_PATH; progress goes to stderr
#
# What is kept, and where, is told in ../kept.sh.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
. "$here/../kept.sh"

flavour=mingw
packages=(g++-mingw-w64-x86-64-posix wine wine64 cmake ninja-build dpkg-dev
          qt6-base-dev qt6-base-dev-tools googletest libbenchmark-dev libspdlog-dev libfmt-dev
          libcli11-dev libtomlplusplus-dev)
build_options=(-DCMAKE_TOOLCHAIN_FILE="$here/../toolchains/mingw-w64.cmake")
install_options=(--strip)

googletest() { kept_build googletest /usr/src/googletest "$1"; }

benchmark() {
    unpack benchmark "$(source_version libbenchmark-dev)" "$scratch/benchmark-source"
    kept_build benchmark "$scratch/benchmark-source" "$1" -DBENCHMARK_ENABLE_TESTING=OFF \
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

# Of the command zmu: headers, too.
tool_headers() {
    rm -rf "$1"
    mkdir -p "$1/include"
    cp -rL /usr/include/CLI /usr/include/toml++ "$1/include/"
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

begin_keeping
compiler=$(x86_64-w64-mingw32-g++-posix -dumpfullversion)
recipe=1 # To be raised when an option above changes what is built.
keep qt "$(upstream_version qt6-base-dev)" qt_core
keep googletest "$(upstream_version googletest)" googletest
keep benchmark "$(upstream_version libbenchmark-dev)" benchmark
keep peers "$(upstream_version libspdlog-dev)" peers
keep tool_headers "$(upstream_version libcli11-dev)-$(upstream_version libtomlplusplus-dev)" tool_headers
make_wine_prefix
end_keeping
