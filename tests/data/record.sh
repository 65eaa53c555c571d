#!/bin/bash
# Records what the real par2 and unrar write, redirected into a file as the program does it, for the tests of their
# parsers.  Usage: record.sh PATH-OF-gravlin-make-rar
# The recordings in this folder are of par2cmdline 0.8.1 and unrar 6.21.
set -eu
make_rar=$(realpath "$1")
here=$(cd "$(dirname "$0")" && pwd)
work=/tmp/gravlin-record # a fixed name, because unrar writes whole paths
mkdir "$work"            # fails if another run is active
trap 'rm -rf "$work"' EXIT
cd "$work"
export LC_ALL=C.UTF-8

long=$(printf 'n%.0s' {1..196}).rar
odd_names=('a - b.part01.rar' 'two: parts, [x] (1).bin' 'Übung für Käse.txt' "$long")

# files NAME...: text files of some 40 kB each, all different, the same at every run.
files() {
  local n=1 name
  for name in "$@"; do seq $((n * 100000)) $((n * 100000 + 6000)) >"$name"; n=$((n + 1)); done
}
damage() { printf 'damaged' | dd of="$1" bs=1 seek="$2" conv=notrunc status=none; }

# repair OUTPUT NAME...: makes a new folder with a set of these files and 10 recovery blocks, damages it by the function
# `harm`, and runs par2 as the program does.
repair() {
  local output=$here/par2-$1.txt; shift
  rm -rf set && mkdir set && cd set
  files "$@"
  par2 create -q -q -s4000 -c10 -n2 set.par2 "$@"
  harm
  (cd / && setsid par2 repair "${work#/}/set/set.par2" <"/dev/null" >"$output" 2>"$work/errors") || true
  cd "$work"
}

harm() { damage set.part2.rar 20000; rm set.part1.rar; truncate -s 30000 notes.txt; }
repair lacking set.part1.rar set.part2.rar notes.txt
harm() { damage set.part1.rar 20000; damage set.part1.rar 35000; damage set.part2.rar 9000; }
repair repaired set.part1.rar set.part2.rar notes.txt
harm() { for name in "${odd_names[@]}"; do damage "$name" 5000; done; }
repair odd-names "${odd_names[@]}"

# extract OUTPUT ARCHIVE
extract() {
  (cd / && setsid unrar e -o+ "$work/rar/$2" "$work/out/" <"/dev/null" \
    >"$here/unrar-$1.txt" 2>"$work/errors") || true
}
mkdir rar out && cd rar
files "${odd_names[@]}" big.bin small.txt
seq 1 20000 >big.bin
"$make_rar" . plain big.bin small.txt >"/dev/null"
"$make_rar" . comment -c $'First line\nSecond line, für dich\n\nlast' big.bin small.txt >"/dev/null"
"$make_rar" . set -v 30000 -c 'A comment' big.bin small.txt >"/dev/null"
"$make_rar" . names "${odd_names[@]}" >"/dev/null"
extract plain plain.rar
extract from-second-volume set.part2.rar
extract odd-names names.rar
mv set.part3.rar ..
extract missing-volume set.part1.rar
mv ../set.part3.rar .
damage plain.rar 50000
extract damaged plain.rar
extract no-archive big.bin
rm -rf ../out/* && mkdir ../out/big.bin
extract cannot-write comment.rar
