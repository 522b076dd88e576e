#!/usr/bin/env bash
# reboot_test.sh UNIT BUILD [RUNNER]: the two ways to a reboot end a unit, with status 129.
set -u
unit=$1
state=$(mktemp -d)
trap 'rm -rf "$state"' EXIT
# shellcheck disable=SC2016
by_command='$2 $1/common/daemons/gwdemo/gwdemo >/dev/null &
    until $2 $1/common/tools/ktdbg/ktdbg gwdemo factory 0 2>/dev/null; do sleep 0.1; done; sleep 60'
# shellcheck disable=SC2016
by_missing_record='rm /usr/local/data/mfg.conf; $2 $1/common/daemons/gwdemo/gwdemo >/dev/null; sleep 60'

for way in "$by_command:plimb reboot" "$by_missing_record:shutdown now -r -F"; do
    rm -rf "${state:?}"/*
    "$unit" --unavailable=77 --state "$state" -- bash -c "${way%:*}" way "$2" "${3-}"
    status=$?
    [ $status -ne 77 ] || exit 77
    [ $status -eq 129 ] && [ "$(tail -n 1 "$state/upper/var/journal/tools.log")" = "${way##*:}" ] || {
        echo "status $status"
        exit 1
    }
done
