#!/usr/bin/env bash
# Every comparison of save_vs_engine.sh on the two books of the shared corpus: WAV on one core,
# WAV on two, MP3 without volumes on two. Medians of RUNS (default 3) pairs each.
# Usage: bench/save_all.sh [RUNS] [PROGRAM]
set -euo pipefail
here=$(dirname "$0")
runs=${1:-3}
program=${2:-$here/../build/tonaris}
corpus=/work/shared/corpus
for book in news-from-nowhere devils-dictionary; do
    "$here/save_vs_engine.sh" "$corpus/$book.txt" "$runs" 0 "$program" wav
    "$here/save_vs_engine.sh" "$corpus/$book.txt" "$runs" 0,1 "$program" wav
    "$here/save_vs_engine.sh" "$corpus/$book.txt" "$runs" 0,1 "$program" mp3
done
