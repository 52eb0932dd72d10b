#!/usr/bin/env bash
# Checks the Debian packages below PACKAGES with lintian, installs them into a fresh root, checks what
# systemd is to run, follows the tutorial there, and removes them again:
#
#   debian.sh PACKAGES docs/tutorial.md FOLDER
#
# The root is a folder with a package database of its own, which knows what this machine has installed,
# zmu excepted. So dpkg refuses what this machine could not install, and a file that two packages have;
# nothing is forced. What is compiled and run there takes compiler,
# libc and Qt from the machine. What is not seen is what other packages do when they are told of ours
# (the loader's cache, the journal's catalog, the index of man pages), and whether a machine without
# anything could install them: for the latter apt is asked, as far as it has lists of packages.
set -euo pipefail

mapfile -t packages < <(find "$(readlink -f "$1")" -name '*.deb' | sort)
page=$(readlink -f "$2")
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
rm -rf "$3"
mkdir -p "$3"
folder=$(readlink -f "$3")
root=$folder/root
export PATH=$PATH:/usr/sbin:/sbin # where dpkg expects some of its programs

fail() {
    printf 'debian.sh: %s\n' "$*" >&2
    exit 1
}

# With the rights, or what looks like them, to give files to root.
dpkg_there() {
    local as_root=()
    ((EUID == 0)) || as_root=(fakeroot --)
    "${as_root[@]}" dpkg --root="$root" "$@"
}

# All files of the root but the database, which has a list of its own.
files_there() { (cd "$root" && find . -path ./var/lib/dpkg -prune -o -printf '%y %p %l\n' | sort); }
known_there() { dpkg-query --admindir="$root/var/lib/dpkg" -W -f '${Package} ${Version} ${db:Status-Abbrev}\n'; }

printf 'lintian\n'
lintian --fail-on error --tag-display-limit 0 --allow-root "${packages[@]}" || fail "lintian found errors"

printf 'could a machine with nothing on it install them?\n'
lists=$(apt-get indextargets --format '$(FILENAME)' 'Created-By: Packages' | head -n 1)
if [[ -n $lists && -e $lists ]]; then
    : >"$folder/nothing"
    apt-get --simulate -o Dir::State::status="$folder/nothing" -o Debug::NoLocking=1 \
        install "${packages[@]}" >"$folder/apt" || fail "apt says no: see $folder/apt"
    printf 'yes, with %d of the distribution\n' "$(($(grep -c '^Inst ' "$folder/apt") - ${#packages[@]}))"
else
    printf 'not asked: apt has no lists of packages here\n'
fi

names=()
for package in "${packages[@]}"; do
    names+=("$(dpkg-deb --field "$package" Package)")
done
printf 'installing %s\n' "${names[*]}"
database=$root/var/lib/dpkg
mkdir -p "$database"/{info,triggers,updates}
awk -v RS= -v ORS='\n\n' -v ours=" ${names[*]} " \
    '{ split($0, line, "\n"); if (!index(ours, " " substr(line[1], 10) " ")) print }' \
    /var/lib/dpkg/status >"$database/status"
cp /var/lib/dpkg/info/format "$database/info"
for list in /var/lib/dpkg/info/*.list; do # of files, of which the root has none
    : >"$database/info/${list##*/}"
done
files_there >"$folder/files.before"
known_there >"$folder/known.before"
dpkg_there --install "${packages[@]}" >"$folder/install" 2>&1 || fail "$(cat "$folder/install")"

# Without a manager of the system. What they run is in the root, but for the server's program, which is
# another package's.
printf 'the units\n'
mkdir "$folder/units"
while IFS= read -r unit; do
    sed -E "s#^ExecStart=/usr/sbin/nats-server#ExecStart=/bin/true#; s#^ExecStart=/usr/bin#ExecStart=$root/usr/bin#" \
        "$unit" >"$folder/units/$(basename "${unit/@./@1.}")"
done < <(find "$root" -name 'zmu-*.service')
for unit in "$folder"/units/*; do
    systemd-analyze verify --man=no "$unit" || fail "${unit##*/} is no unit as it should be"
    # Tenths of its scale, on which 0 is the safest and 100 what a unit without any limits has.
    systemd-analyze security --offline=yes --threshold=20 --no-pager "$unit" >"$folder/security" ||
        fail "${unit##*/} may do more than it should: $(grep '✗' "$folder/security")"
    tail -n 1 "$folder/security"
done

printf 'following %s\n' "$page"
PATH=$root/usr/bin:$PATH CMAKE_PREFIX_PATH=$root/usr "$here/tutorial.sh" "$page" "$folder/tutorial" \
    >"$folder/tutorial.output" || fail "the tutorial does not hold: see $folder/tutorial.output"
grep -q "$root/usr/lib.*/libzbr4u.so" "$folder/tutorial.output" || fail "the tutorial took another installation"

printf 'removing them\n'
dpkg_there --purge "${names[@]}" >"$folder/purge" 2>&1 || fail "$(cat "$folder/purge")"
files_there >"$folder/files.after"
known_there >"$folder/known.after"
diff "$folder/files.before" "$folder/files.after" || fail "this is left behind, or lost"
diff "$folder/known.before" "$folder/known.after" || fail "these packages are not as they were"
