#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# The half of scripts/packages.sh that runs in the fresh root, in a process and a mount namespace of its own: installs the
# packages and starts a node from them, the agents with the user, capabilities and view of /proc that their unit gives.
set -euo pipefail
mount -t proc proc /proc
mount -t tmpfs -o mode=755 tmpfs /dev
mknod -m 666 /dev/null c 1 3
ldconfig
dpkg -i /packages/*.deb >/packages/log 2>&1 || {
    cat /packages/log
    exit 1
}
grep '^dorvald:' /etc/passwd
systemd-analyze verify --man=no dorvald.service dorvald@a.service

export VELMAR_RUN=/run/velmar
export VELMAR_TRACE=/var/log/dorvald/trace.log
install -d -o dorvald -g dorvald -m 0700 "$VELMAR_RUN" /var/log/dorvald
mount -t proc -o hidepid=invisible,subset=pid proc /proc
sandboxed() {
    exec setpriv --reuid dorvald --regid dorvald --clear-groups --no-new-privs --bounding-set=-all --inh-caps=-all "$@"
}
await() {
    local tries
    for tries in $(seq 300); do
        [ "$(dorvctl node 2>/dev/null | grep -c "$1")" = "$2" ] && return 0
        sleep 0.1
    done
    dorvctl node || true
    echo "packages: there were not $2 lines of '$1' within 30 s" >&2
    exit 1
}

sandboxed hsld --chip 1/0:tessel:12 &
unit() { sed -n "s/^$1=//p" /lib/systemd/system/dorvald@.service; }
options=$(unit Environment)
options=${options#*=} options=${options%%\"*}
agents=()
for instance in a b; do
    sandboxed $(unit ExecStart | cut -d' ' -f1) $options &
    agents+=($!)
    await "^dorvald .* active " 1
done
await "^dorvald .* standby " 1
await "standbys 1" 1
dorvctl --version
hsld --version
dorvctl apply /usr/share/doc/dorvald-tools/examples/tessel.json | tail -1
dorvctl node

logrotate --force /etc/logrotate.d/dorvald
dorvctl stats thresholds te1/3 >/dev/null
[ -s "$VELMAR_TRACE.1" ] && [ -s "$VELMAR_TRACE" ] || {
    echo "packages: the agent does not follow its trace file" >&2
    exit 1
}

kill -HUP "${agents[@]}"
kill -KILL "${agents[0]}"
await "^dorvald .* active " 1
dorvctl stats thresholds te1/3 | head -3
await "version $(dorvctl --version | cut -d" " -f2)" 1

# The pauses of the unit after failures, with a sleep that tells instead of pausing.
mkdir /packages/bin
printf '#!/bin/sh\necho "$1"\n' >/packages/bin/sleep
chmod +x /packages/bin/sleep
pauses=$(for try in 1 2 3 4 5 6 7 8 9; do
    PATH=/packages/bin:$PATH /usr/libexec/dorvald/backoff wait try 2>/dev/null
    SERVICE_RESULT=watchdog /usr/libexec/dorvald/backoff note try
done)
echo "pauses:" $pauses
[ "$(echo $pauses)" = "0 1 2 4 8 16 32 60 60" ]
dpkg --purge dorvald dorvald-tools dorvald-emulator >/dev/null
