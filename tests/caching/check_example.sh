#!/bin/sh
# check_example.sh PROGRAM - tesker-walk-twice on a small tree.
set -eu
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
mkdir "$tree/a" "$tree/a/b"
touch "$tree/one" "$tree/a/two" "$tree/a/b/three"
actual=$("$1" "$tree")
printf '%s\n' "$actual"
expected="second walk: 3 files in 3 directories, 0 status calls and 0 listings"
[ "$(printf '%s\n' "$actual" | tail -n 1)" = "$expected" ]
printf '%s\n' "$actual" | grep -q '^first walk: 3 files in 3 directories, [1-9]'
ln -s a "$tree/link"
"$1" "$tree" | tail -n 1 | grep -q ', 1 status calls and 0 listings$'
if "$1" 2>/dev/null; then exit 1; fi
if "$1" "$tree/nothing" 2>/dev/null; then exit 1; fi
