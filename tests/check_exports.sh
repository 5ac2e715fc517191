#!/bin/sh
# Compares the dynamic symbols a library defines with the list kept in the
# tree: any missing public name or any exported internal one fails.
lib=$1
list=$2
actual=$(mktemp)
expected=$(mktemp)
trap 'rm -f "$actual" "$expected"' EXIT
nm -D --defined-only "$lib" | awk '{print $NF}' | grep -v '^QUENTA' | sed 's/@.*//' | sort -u >"$actual"
grep -v '^$' "$list" | sort -u >"$expected"
if ! diff -u "$expected" "$actual"; then
  echo "exported symbols of $lib differ from $list ('-' missing, '+' not listed)"
  exit 1
fi
echo "$(wc -l <"$actual") exported symbols match"
