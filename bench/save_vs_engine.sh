#!/usr/bin/env bash
# Times a hidden WAV save of a book against espeak-ng -w alone on the same processors, run in
# turn A B A B so that a drifting machine affects both alike, and prints the median wall times,
# their ratio and the save's peak resident memory.
# Usage: bench/save_vs_engine.sh [BOOK] [RUNS] [CPUS] [PROGRAM]
#   BOOK defaults to news-from-nowhere.txt of the shared corpus, RUNS to 3, CPUS to 0 (one core;
#   give 0,1 for two).
set -euo pipefail
book=${1:-/work/shared/corpus/news-from-nowhere.txt}
runs=${2:-3}
cpus=${3:-0}
program=$(realpath "${4:-$(dirname "$0")/../build/tonaris}")
for tool in taskset espeak-ng /usr/bin/time; do
    command -v "$tool" >/dev/null || { echo "needs $tool" >&2; exit 1; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The engine reads plain text; the program reads CR LF books as they are.
tr -d '\r' <"$book" >"$work/book.txt"

# Prints "wall_seconds peak_kb" of one run.
timed() {
    /usr/bin/time -f '%e %M' -o "$work/time" taskset -c "$cpus" "$@" >/dev/null 2>&1 || true
    cat "$work/time"
}

ours=() theirs=() peaks=()
for _ in $(seq "$runs"); do
    read -r wall peak < <(timed "$program" --config "$work/settings.ini" /hidden /wav "$book" \
        "$work/ours")
    ours+=("$wall") peaks+=("$peak")
    read -r wall _ < <(timed espeak-ng -v en+f3 -w "$work/theirs.wav" -f "$work/book.txt")
    theirs+=("$wall")
done
median() { printf '%s\n' "$@" | sort -g | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
a=$(median "${ours[@]}") b=$(median "${theirs[@]}") m=$(median "${peaks[@]}")
awk -v a="$a" -v b="$b" -v m="$m" -v c="$cpus" -v n="$runs" 'BEGIN {
    printf "cpus %s, %d runs: save %.2f s, espeak-ng -w %.2f s, ratio %.2f, save peak %.1f MB\n",
        c, n, a, b, a / b, m / 1024 }'
