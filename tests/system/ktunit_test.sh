#!/bin/bash
# Tests the virtual unit from the host: what a command finds in it, what stays of it, and how it ends.
set -u

repository=$(cd -P "${BASH_SOURCE%/*}/../.." && pwd)
ktunit=$repository/unit/ktunit
"$ktunit" --unavailable=77 -- true || exit

# The directory lies in the repository, so it is the host's own inside a unit too.
scratch=$(mktemp -d "$repository/ktunit-test.XXXXXX") || exit 1
trap 'rm -rf "$scratch"' EXIT

fail() {
    echo "FAILED: $1" >&2
    exit 1
}

expect() { # WHAT EXPECTED ACTUAL
    [[ $2 == "$3" ]] || fail "$1: expected '$2', got '$3'"
}

# Every process of the unit holds the pipe: its end comes only when all of them are gone.
expect_all_gone() { # WHAT PIPE LAST_WORDS
    local words
    words=$(timeout 3 cat <&"$2") || fail "$1: processes are left"
    expect "$1" "$3" "$words"
}

test_board() {
    local output
    output=$("$ktunit" -- sh -c 'echo $(
        hostname; /bin/df -k | grep -o "^/dev/root"; cat /sys/class/gpio/gpio6/value /sys/class/net/eth0/carrier
        echo beyond | dd of=/dev/mem bs=1 seek=4294967280 conv=notrunc status=none
        tail -c 16 /dev/mem | head -c 7; date -d 2026-03-03 +%j)')
    expect board 'gateway /dev/root 1 1 beyond 062' "$output"
}

test_isolation() {
    local before
    before=$(ls -lR --time-style=full-iso /usr/local /etc 2>/dev/null | cksum)
    (cd "$scratch" && "$ktunit" -- sh -c 'rm -rf /usr/local/data /etc/hostname /etc/passwd
        for area in /etc /var /tmp /root; do echo x >$area/kt-test || exit; done; echo kept >kept') ||
        fail 'isolation: the command could not write'
    expect isolation "$before" "$(ls -lR --time-style=full-iso /usr/local /etc 2>/dev/null | cksum)"
    [[ ! -e /etc/kt-test && ! -e /var/kt-test && ! -e /tmp/kt-test && ! -e /root/kt-test ]] ||
        fail 'isolation: a file reached the host'
    expect 'work tree' kept "$(cat "$scratch/kept")"
}

test_status_and_streams() {
    local output
    "$ktunit" -- sh -c 'exit 37'
    expect 'exit status' 37 $?
    "$ktunit" -- sh -c 'kill -SEGV $$'
    expect 'death by a signal' 139 $?
    "$ktunit" -- no-such-command 2>/dev/null
    expect 'missing command' 127 $?
    output=$(echo in | "$ktunit" -- sh -c 'read word; echo $word out; echo err >&2' 2>"$scratch/err")
    expect streams 'in out err' "$output $(cat "$scratch/err")"
    unshare --user --map-root-user sh -c 'echo 0 >/proc/sys/user/max_user_namespaces; exec "$@"' - \
        "$ktunit" --unavailable=77 -- true 2>"$scratch/why"
    expect 'forbidden namespaces' 77 $?
    grep -q 'sysctl -w user.max_user_namespaces' "$scratch/why" || fail 'no advice how to allow namespaces'
}

test_journal_and_reboot() {
    local output
    output=$("$ktunit" -- sh -c '/bin/date 030314052026.09; /bin/date +%s >/dev/null
        /sbin/hwclock --systohc; cat "$KT_UNIT_JOURNAL"')
    expect journal 'date 030314052026.09
hwclock --systohc' "$output"
    output=$("$ktunit" -- sh -c 'busybox reboot -f; sleep 9; echo still running')
    expect 'reboot past the tools' '129 ' "$? $output"
}

test_endings() {
    local pipe daemon='trap "echo asked; exit 9" TERM; echo ready; sleep 60 & wait'
    exec {pipe}< <("$ktunit" -- sh -c 'setsid sleep 60 & (sleep 60 &); true')
    expect_all_gone 'end of the command' "$pipe" ''

    exec {pipe}< <(exec "$ktunit" -- sh -c "$daemon")
    read -r <&"$pipe" # its "ready": no guess how long a start takes
    kill -TERM $!
    expect_all_gone SIGTERM "$pipe" asked
    wait $!
    expect 'exit after SIGTERM' 9 $?
}

test_state() {
    local state=$scratch/state output
    "$ktunit" --state "$state" -- sh -c 'cd /usr/local/data; echo one >one; rm mfg.conf /etc/passwd'
    output=$("$ktunit" --state "$state" --changes -- sh -c 'cat /usr/local/data/one; echo 2 >>/etc/hosts')
    expect state 'one
M /etc/hosts
D /etc/passwd
D /usr/local/data/mfg.conf
A /usr/local/data/one' "$output"
    "$ktunit" --state "$state" -- sh -c 'echo shared >/dev/shm/note; exec sleep 60' &
    output=$("$ktunit" --state "$state" --join -- sh -c 'until [ -e /dev/shm/note ]; do sleep 0.01; done
        cat /dev/shm/note; hostname; exit 6')
    expect join '6 shared
gateway' "$? $output"
    kill -TERM $!
    wait $!
    expect 'end of the joined unit' 143 $?
    "$ktunit" --state "$state" --join -- true 2>/dev/null
    expect 'join without a unit' 125 $?
}

for behaviour in board isolation status_and_streams journal_and_reboot endings state; do
    "test_$behaviour"
    echo "ok: $behaviour"
done
