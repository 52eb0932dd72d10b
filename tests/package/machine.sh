#!/usr/bin/env bash
# Runs a command as root on a copy of this machine that systemd has started:
#
#   machine.sh FOLDER COMMAND...
#
# The copy is a layer over this machine's files, in namespaces of its own, with a network of its own
# that has the loopback range alone, and the host name "trial". It is gone when the command has ended,
# but for FOLDER, in which it writes; the folder of the project is there as it is here. What the command
# prints is in FOLDER/output, what systemd had to say in FOLDER/journal. Ends with 77 where there can
# be no such machine, and says why; else as the command does.
set -euo pipefail

readonly cannot=77 start_patience=60 patience=600 # seconds
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
project=$(readlink -f "$here/../..")
export PATH=$PATH:/usr/sbin:/sbin

give_up() {
    printf 'machine.sh: no machine can be made here: %s\n' "$*" >&2
    exit "$cannot"
}

# ---- Outside -----------------------------------------------------------------------------------

if [[ $1 != --inside ]]; then
    mkdir -p "$1"
    folder=$(readlink -f "$1")
    shift
    rm -rf "${folder:?}"/*
    ((EUID == 0)) || give_up "that needs root"
    [[ -x /lib/systemd/systemd ]] || give_up "there is no systemd"
    namespaces=(--fork --kill-child --pid --mount --uts --ipc --net --cgroup)
    unshare "${namespaces[@]}" true 2>"$folder/refused" || give_up "$(<"$folder/refused")"
    unshare "${namespaces[@]}" "${BASH_SOURCE[0]}" --inside "$folder" "$@" >"$folder/start" 2>&1 &
    machine=$!
    trap 'kill -KILL "$machine" 2>/dev/null || true' EXIT
    for ((second = 0; second < patience; ++second)); do
        kill -0 "$machine" 2>/dev/null || break
        ((second < start_patience)) || [[ -e $folder/output ]] || break
        sleep 1
    done
    [[ -e $folder/output ]] || give_up "it did not start: $(tail -n 3 "$folder/start")"
    [[ -e $folder/status ]] || {
        printf 'machine.sh: the command has not ended in %d seconds\n' "$patience" >&2
        exit 1
    }
    exit "$(<"$folder/status")"
fi

# ---- The copy, as its first process --------------------------------------------------------------

folder=$2
shift 2
mount --make-rprivate /
layers=$folder/layers
root=$layers/root
mkdir -p "$layers"
mount -t tmpfs layers "$layers"
mkdir "$layers"/{upper,work,root}
mount -t overlay -o "lowerdir=/,upperdir=$layers/upper,workdir=$layers/work" copy "$root"

mount -t proc proc "$root/proc"
mount -t sysfs -o ro sysfs "$root/sys"
if [[ $(stat -f -c %T /sys/fs/cgroup) == cgroup2fs ]]; then
    mount -t cgroup2 cgroup2 "$root/sys/fs/cgroup"
else
    mount -t tmpfs -o mode=755 cgroups "$root/sys/fs/cgroup"
    mkdir "$root/sys/fs/cgroup/systemd"
    mount -t cgroup -o none,name=systemd cgroup "$root/sys/fs/cgroup/systemd"
fi
for place in run tmp dev; do
    mount -t tmpfs -o mode=755 "$place" "$root/$place"
done
chmod 1777 "$root/tmp"
for device in null zero full random urandom tty; do
    : >"$root/dev/$device"
    mount --bind "/dev/$device" "$root/dev/$device"
done
mkdir "$root"/dev/{pts,shm}
mount -t devpts -o newinstance,ptmxmode=0666 devpts "$root/dev/pts"
mount -t tmpfs -o mode=1777 shm "$root/dev/shm"
ln -s pts/ptmx "$root/dev/ptmx"
ln -s /proc/self/fd "$root/dev/fd"
for place in "$project" "$folder"; do # which may be on other file systems, or below what is hidden
    mkdir -p "$root$place"
    mount --bind "$place" "$root$place"
done

# Nothing of what this machine starts is started there.
printf '[Unit]\nRequires=sysinit.target trial.service\n' >"$root/etc/systemd/system/trial.target"
for unit in systemd-udevd systemd-udev-trigger systemd-modules-load systemd-logind systemd-sysctl \
    systemd-timesyncd systemd-resolved systemd-binfmt systemd-random-seed systemd-journal-flush; do
    ln -sf /dev/null "$root/etc/systemd/system/$unit.service"
done
cat >"$root/etc/systemd/system/trial.service" <<END
[Unit]
After=sysinit.target
SuccessAction=exit
FailureAction=exit

[Service]
Type=oneshot
WorkingDirectory=$project
Environment=DEBIAN_FRONTEND=noninteractive
ExecStart=/bin/bash -c '"\$\$@"; echo \$\$? >"\$0/status"' $folder $(printf '"%s" ' "$@")
ExecStopPost=/bin/bash -c 'journalctl --no-pager >$folder/journal'
StandardOutput=append:$folder/output
StandardError=append:$folder/output
END
printf 'trial\n' >"$root/etc/hostname"
cat /proc/sys/kernel/random/uuid | tr -d - >"$root/etc/machine-id"

cd "$root"
mkdir old
pivot_root . old
umount -l /old
exec env -i container=other PATH="$PATH" /lib/systemd/systemd --system --unit=trial.target \
    --log-target=journal </dev/null
