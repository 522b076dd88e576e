#!/usr/bin/env bash
# gwdemo_cycle_test.sh ROUNDS BUILD [RUNNER], in a unit: the sample daemon is started twice, killed, restarted and asked to
# end, again and again. Nothing of it may stay behind.
set -u
rounds=$1 build=$2 runner=${3-}
semaphore=/dev/shm/sem.ktCleanExit_gwdemo

fail() {
    echo "round $round: $1" >&2
    exit 1
}

wait_for() {
    local try
    for try in {1..200}; do
        "$@" && return
        sleep 0.05
    done
    fail "waited in vain for: $*"
}

gwdemo() { $runner "$build/common/daemons/gwdemo/gwdemo" "$@" >/dev/null 2>&1; }
answers() { $runner "$build/common/tools/ktdbg/ktdbg" gwdemo et >/dev/null 2>&1; }
has_other_semaphore() { [ -e $semaphore ] && [ "$(stat -c %i $semaphore)" != "$1" ]; }
descriptors() { ls "/proc/$daemon/fd"; }
settled() {
    usual=$(descriptors)
    sleep 0.05
    has_descriptors "$usual"
}
has_descriptors() { [ "$(descriptors)" = "$1" ]; }

start() {
    local former=$(stat -c %i $semaphore 2>/dev/null)
    $runner "$build/common/daemons/gwdemo/gwdemo" >/dev/null 2>&1 &
    daemon=$!
    wait_for answers
    wait_for has_other_semaphore "$former"
}

for ((round = 1; round <= rounds; ++round)); do
    start
    wait_for settled
    gwdemo
    [ $? -eq 3 ] || fail 'a second instance did not end with status 3'
    answers || fail 'a second instance took the port away'
    wait_for has_descriptors "$usual"
    kill -KILL "$daemon"
    wait "$daemon" 2>/dev/null
    start
    gwdemo stop
    wait "$daemon" || fail "it ended with status $?"
    left=$(ls /dev/shm; sed 1d /proc/sysvipc/shm; pidof gwdemo)
    [ -z "$left" ] || fail "left behind: $left"
done
