#!/usr/bin/env bash
# weak_names_all_test.sh LIBRARY PROGRAM: whatever is weak in the library, the program defines.
set -u
weak=$(nm -D --defined-only "$1" | awk '$2 ~ /^[VW]$/ { sub(/@.*/, "", $3); print $3 }' | grep -v '^_Z' | sort)
own=$(nm -D --defined-only "$2" | awk '{ print $3 }' | sort)
[ -n "$weak" ] || { echo "nothing is weak in $1"; exit 1; }
missing=$(comm -23 <(echo "$weak") <(echo "$own"))
[ -z "$missing" ] || { echo "not replaced:" $missing; exit 1; }
