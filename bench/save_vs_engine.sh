#!/usr/bin/env bash
# Times a hidden save of a book against the tool alone doing the same work on the same
# processors, run in turn A B A B so that a drifting machine affects both alike, and prints the
# median wall times, their ratio and the save's peak resident memory (of its largest process).
# Usage: bench/save_vs_engine.sh [BOOK] [RUNS] [CPUS] [PROGRAM] [FORMAT]
#   BOOK defaults to news-from-nowhere.txt of the shared corpus, RUNS to 3, CPUS to 0 (one core;
#   give 0,1 for two). FORMAT wav (the default) compares a WAV save with `espeak-ng -w` in the
#   same voice; mp3 compares an MP3 save without volumes with `lame` alone, at the same bit rate,
#   on the WAV the program writes of the book.
# Aims: WAV at most 0.90 on one core and 0.55 on two, peak under 60 MB; MP3 at most 0.60 on two.
# TONARIS_RENDER_JOBS=N in the environment sets how many render helpers a save starts.
set -euo pipefail
book=${1:-/work/shared/corpus/news-from-nowhere.txt}
runs=${2:-3}
cpus=${3:-0}
program=$(realpath "${4:-$(dirname "$0")/../build/tonaris}")
format=${5:-wav}
for tool in taskset espeak-ng lame /usr/bin/time; do
    command -v "$tool" >/dev/null || { echo "needs $tool" >&2; exit 1; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The engine reads plain text; the program reads CR LF books as they are.
tr -d '\r' <"$book" >"$work/book.txt"
# Each run starts from the same settings: the program writes back what it read.
settings() { printf '[Settings]\r\nSplitMp3Size=0\r\nMp3Quality=Balanced\r\n' >"$work/settings.ini"; }

# Prints "wall_seconds peak_kb" of one run.
timed() {
    /usr/bin/time -f '%e %M' -o "$work/time" taskset -c "$cpus" "$@" >/dev/null 2>&1 || true
    cat "$work/time"
}

if [ "$format" = mp3 ]; then
    settings
    "$program" --config "$work/settings.ini" /hidden /wav "$book" "$work/whole" >/dev/null 2>&1
    ours_run() { "$program" --config "$work/settings.ini" /hidden /mp3 "$book" "$work/ours"; }
    # The bit rate of the program's "Balanced" for its built-in voices.
    theirs_run() { lame --silent -q0 --abr 40 "$work/whole.wav" "$work/theirs.mp3"; }
    theirs_name="lame alone"
else
    ours_run() { "$program" --config "$work/settings.ini" /hidden /wav "$book" "$work/ours"; }
    # The program's "English (Great Britain), female"; en-gb+f3 would speak with a male voice.
    theirs_run() { espeak-ng -v en+f3 -w "$work/theirs.wav" -f "$work/book.txt"; }
    theirs_name="espeak-ng -w"
fi
export -f ours_run theirs_run
export program work book

ours=() theirs=() peaks=()
for _ in $(seq "$runs"); do
    settings
    read -r wall peak < <(timed bash -c ours_run)
    ours+=("$wall") peaks+=("$peak")
    read -r wall _ < <(timed bash -c theirs_run)
    theirs+=("$wall")
done
median() { printf '%s\n' "$@" | sort -g | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
a=$(median "${ours[@]}") b=$(median "${theirs[@]}") m=$(median "${peaks[@]}")
awk -v a="$a" -v b="$b" -v m="$m" -v c="$cpus" -v n="$runs" -v f="$format" -v t="$theirs_name" \
    -v bk="$(basename "$book")" 'BEGIN {
    printf "%s, %s, cpus %s, %d runs: save %.2f s, %s %.2f s, ratio %.2f, save peak %.1f MB\n",
        bk, f, c, n, a, t, b, a / b, m / 1024 }'
