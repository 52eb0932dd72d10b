#!/usr/bin/env bash
# Follows docs/cluster.md on a machine of its own (machine.sh), as its administrator: installs the
# PACKAGES, starts three servers, a shipper and a collector by their units, and lets a user report. It
# kills shipper and collector on the way. Every situation has to be in the log, once, and then in that
# of its host.
#
#   machine.sh FOLDER units.sh WRITER PACKAGES...
set -euo pipefail

writer=$1
shift
readonly situations=1500 patience=90 # seconds

fail() {
    printf 'units.sh: %s\n' "$*"
    systemctl --no-pager --full status 'zmu-*' | tail -n 60 || true
    exit 1
}

# wait_for WHAT COMMAND...
wait_for() {
    local what=$1 end=$((SECONDS + patience))
    shift
    until "$@"; do
        ((SECONDS < end)) || fail "not within $patience seconds: $what"
        sleep 0.5
    done
}

# Of a folder of logs.
collected() { zmu log --json --grep 'writer ada situation' "$1" 2>/dev/null; }
has_collected() { (($(collected "$1" | wc -l) >= $2)); }
has_no_spools() { [[ -z $(find /var/spool/zmu -name '*.spool') ]]; }
restarts() { systemctl show --property NRestarts --value "$1"; }
has_restarted() { (($(restarts zmu-ship) == 1 && $(restarts zmu-collect) == 1)); }

printf 'installing\n'
dpkg --install "$@" >/dev/null
systemd-sysusers
systemd-tmpfiles --create 2>/dev/null # of other packages may say what it likes
useradd --groups zmu ada

printf 'three servers, a shipper, a collector\n'
example=/usr/share/doc/zmu/nats
cp "$example"/zmu-nats@.service /etc/systemd/system
mkdir -p /etc/zmu
servers=
for number in 1 2 3; do # on one machine: each has an address of its own
    printf '127.0.0.%d nats%d\n' "$number" "$number" >>/etc/hosts
    sed "s/0\.0\.0\.0/127.0.0.$number/" "$example/zmu-nats-$number.conf" >"/etc/zmu/zmu-nats-$number.conf"
    servers+=${servers:+,}nats://nats$number:4222
done
for unit in zmu-ship zmu-collect; do
    mkdir -p "/etc/systemd/system/$unit.service.d"
    printf '[Service]\nEnvironment=ZMU_SERVERS=%s\n' "$servers" >"/etc/systemd/system/$unit.service.d/servers.conf"
done
systemctl daemon-reload
units=(zmu-collect zmu-ship zmu-nats@1 zmu-nats@2 zmu-nats@3)
systemctl enable --now --quiet "${units[@]}"

printf 'a user reports\n'
proxy=$(find /usr/lib -name libcs4s3.so)
counts=$(mktemp --directory)
chown ada "$counts"
runuser --user ada -- "$writer" "$proxy" "$counts/count" ada 100 "$counts/stop" "$situations" &
reporter=$!
wait_for "the first situations are in the log" has_collected /var/log/zmu 100
systemctl kill --signal KILL zmu-ship zmu-collect
wait "$reporter" || fail "the writer ended with $?"
wait_for "the killed are started again" has_restarted
wait_for "all situations are in the log" has_collected /var/log/zmu "$situations"
wait_for "the spool is empty" has_no_spools

printf 'by host\n'
by_host=/var/log/zmu/trial
printf '[Service]\nEnvironment="ZMU_OPTIONS=--by host --name hosts"\n' \
    >/etc/systemd/system/zmu-collect.service.d/options.conf
systemctl daemon-reload
systemctl restart zmu-collect
wait_for "all situations are in the log of their host" has_collected "$by_host" "$situations"

printf 'what is there\n'
for logs in /var/log/zmu "$by_host"; do
    collected "$logs" | sed 's/.*writer ada situation \([0-9]*\).*/\1/' | sort | uniq --count |
        awk -v wanted="$situations" '$1 != 1 { print; wrong = 1 } END { exit wrong || NR != wanted }' ||
        fail "in $logs not each is there once"
done
systemctl stop "${units[@]}"
for unit in "${units[@]}"; do
    result=$(systemctl show --property Result --value "$unit")
    [[ $result == success ]] || fail "$unit ended with $result"
done
loosely=$(find /var/log/zmu /var/lib/zmu /var/spool/zmu -perm /007 -o ! -user zmu)
[[ -z $loosely ]] || fail "who else may have these? $loosely"
# Servers that wait for each other say more than that all is well; what is denied is never well.
denied=$(journalctl --no-pager --unit 'zmu-*' | grep -iE 'denied|not permitted|read-only|SIGSYS|core-dump' || true)
[[ -z $denied ]] || fail "$denied"
printf 'all %d situations, each once; the journal of shipper and collector:\n' "$situations"
journalctl --no-pager --output cat --unit zmu-ship --unit zmu-collect | grep -v '^zmu-.*\.service'
