#!/usr/bin/env bash
# Converts every .txt of a folder with GNU parallel, N runs at a time, each with its own settings
# file, and reports books per hour.
# Usage: bench/convert_library.sh FOLDER [N] [wav|mp3] [PROGRAM]
set -euo pipefail
folder=$1
jobs=${2:-$(nproc)}
format=${3:-mp3}
program=${4:-$(dirname "$0")/../build/tonaris}
command -v parallel >/dev/null || { echo "needs GNU parallel (package parallel)" >&2; exit 1; }
program=$(realpath "$program")
configs=$(mktemp -d)
trap 'rm -rf "$configs"' EXIT
mapfile -t books < <(find "$folder" -maxdepth 1 -name '*.txt' | sort)
[ ${#books[@]} -gt 0 ] || { echo "no .txt in $folder" >&2; exit 1; }
start=$(date +%s.%N)
printf '%s\n' "${books[@]}" |
    parallel -j "$jobs" --halt never "$program" --config "$configs/{#}.ini" /hidden "/$format" {} ||
    echo "some books failed (see above)" >&2
end=$(date +%s.%N)
awk -v n=${#books[@]} -v s="$start" -v e="$end" -v j="$jobs" 'BEGIN {
    t = e - s; printf "%d books in %.1f s with %d at a time: %.1f books per hour\n", n, t, j, n * 3600 / t }'
