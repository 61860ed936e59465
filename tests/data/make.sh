#!/bin/sh
# Makes the recordings of this directory again: make.sh PATH-TO-VQLOG (see README.md).
set -eu
vqlog=$1
cd "$(dirname "$0")"
rm -rf per-kind single.vql damaged.vql compressed.vqz
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
"$vqlog" demo --fast --seconds 0.1 --rate 60 --seed 7 --out per-kind > /dev/null
"$vqlog" convert per-kind single.vql --single-file > /dev/null
"$vqlog" convert per-kind compressed.vqz --compress > /dev/null
# One frame a part, to cut the damaged file at frame boundaries.
"$vqlog" split single.vql "$tmp/parts" --every 1 > /dev/null
part() { cat "$tmp/parts/part-000$1.vql"; }
{
    part 1
    part 2
    printf '\253\253\253\253\253\253\253\253\253\253'
    part 3
    part 4
    part 5
    size=$(wc -c < "$tmp/parts/part-0006.vql")
    head -c $((size / 2)) "$tmp/parts/part-0006.vql"
} > damaged.vql
