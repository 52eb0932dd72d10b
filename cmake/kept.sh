# To be sourced: libraries that are built from the distribution's sources, of the versions that are
# installed here, and kept for later runs.
#
# Everything is kept in $ZMU_CACHE, by default ${XDG_CACHE_HOME:-$HOME/.cache}/zmu, and checked at
# each run: what is whole is used again, what is not is made anew. A run that was interrupted
# continues where it stopped. The machine's package configuration stays as it is.
#
# A script that sources this sets
#   flavour           what tells its folders from another script's
#   packages          what it needs installed
#   build_options     of CMake, for every library
#   install_options   of `cmake --install`
#   qt_options        more options for qt_core
# then calls begin_keeping, sets `compiler` and `recipe` (to be raised when an option changes what is
# built), calls `keep` for each library, and end_keeping, which prints where they are.
cache=${ZMU_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/zmu}
jobs=${ZMU_JOBS:-$(nproc)}
build_options=() install_options=() qt_options=()

say() { printf '== %d:%02d %s\n' $((SECONDS / 60)) $((SECONDS % 60)) "$*" >&2; }
fail() { printf '%s: %s\n' "$0" "$*" >&2; exit 1; }

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
    local folder=$scratch/download-$1
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

# kept_build NAME SOURCE PREFIX OPTION…: configures once, builds what is missing, installs whole.
kept_build() {
    local name=$1 source=$2 prefix=$3 build=$scratch/$1-build stage=$scratch/$1-stage
    shift 3
    if [ ! -e "$build/configured" ]; then
        say "Configuring $name"
        rm -rf "$build"
        cmake -G Ninja -S "$source" -B "$build" -DCMAKE_BUILD_TYPE=Release \
            -DCMAKE_INSTALL_PREFIX="$prefix" "${build_options[@]}" "$@" >"$build.log" 2>&1 ||
            { tail -n 40 "$build.log" >&2; return 1; }
        touch "$build/configured"
    fi
    say "Building $name"
    ninja -C "$build" -j "$jobs" 2>&1 | progress || return 1
    rm -rf "$stage" "$prefix" "$prefix.sums"
    DESTDIR=$stage cmake --install "$build" "${install_options[@]}" >"$build.log" 2>&1 || { tail -n 20 "$build.log" >&2; return 1; }
    mv "$stage$prefix" "$prefix"
}

# keep NAME VERSION FUNCTION: the folder NAME-VERSION-$flavour, made by FUNCTION when it is not whole.
# What an interrupted run left is continued; if that fails, everything is made from the beginning.
prefixes=
keep() {
    local name=$1 prefix=$cache/$1-$2-$flavour key left=no
    key="$2, compiler $compiler, recipe $recipe"
    if ! whole "$prefix" "$key"; then
        [ ! -e "$prefix" ] || say "What is kept of $name is not whole or is for another compiler"
        [ ! -e "$scratch/$name-build" ] || left=yes
        "$3" "$prefix" || {
            [ $left = yes ] || fail "$name could not be built"
            say "Once more from the beginning"
            rm -rf "$scratch/$name"* "$scratch/download-"*
            "$3" "$prefix" || fail "$name could not be built"
        }
        seal "$prefix" "$key"
        rm -rf "$scratch/$name"*
    fi
    prefixes+=${prefixes:+;}$prefix
}

# Core alone, without what neither the library nor its tests use.
qt_core() {
    local feature options=()
    for feature in gui network sql testlib xml dbus concurrent system_zlib pkg_config precompile_header \
                   itemmodel animation mimetype; do
        options+=("-DFEATURE_$feature=OFF")
    done
    unpack qt6-base "$(source_version qt6-base-dev)" "$scratch/qt-source"
    kept_build qt "$scratch/qt-source" "$1" \
        -DQT_BUILD_TESTS=OFF -DQT_BUILD_EXAMPLES=OFF "${options[@]}" "${qt_options[@]}"
}

# ---- The frame of a script -------------------------------------------------------------------

# One script at a time works on the cache.
begin_keeping() {
    install_packages
    mkdir -p "$cache"
    cache=$(cd "$cache" && pwd)
    scratch=$cache/scratch/$flavour
    apt_folder=$scratch/apt
    exec 9>"$cache/lock"
    flock --nonblock 9 || { say "Waiting for another run"; flock 9; }
    mkdir -p "$scratch"
}

end_keeping() {
    rm -rf "$scratch"
    printf '%s\n' "$prefixes"
}
