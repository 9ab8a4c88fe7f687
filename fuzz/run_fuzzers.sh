#!/bin/bash
# Runs each libFuzzer program of a -DTONARIS_FUZZ=ON build in turn, one process each, starting
# from the seed corpus (copied, so what the run discovers stays out of the checkout). Crashes land
# in OUT/<name>/crashes/; add them to fuzz/corpus/<name>/ once fixed.
# Usage: fuzz/run_fuzzers.sh BUILD_DIR SECONDS_EACH [OUT] [names...]
set -u
build=$1
seconds=$2
out=${3:-/tmp/tonaris-fuzz}
shift $(($# < 3 ? $# : 3))
here=$(cd "$(dirname "$0")" && pwd)
names=("$@")
[ ${#names[@]} -eq 0 ] && names=(rtf html textcodec lng tab ia customtags settings inlinetags
    scriptflow wav enginesini)
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
export QT_QPA_PLATFORM=offscreen HOME="$out/home"
status=0
for name in "${names[@]}"; do
    mkdir -p "$out/$name/corpus" "$out/$name/crashes" "$HOME"
    cp -n "$here/corpus/$name"/* "$out/$name/corpus/" 2>/dev/null
    start=$(date +%s)
    "$build/fuzz/fuzz_$name" "$out/$name/corpus" -max_total_time="$seconds" \
        -timeout=10 -rss_limit_mb=2048 -max_len=16384 -print_final_stats=1 \
        -artifact_prefix="$out/$name/crashes/" >"$out/$name/log" 2>&1
    rc=$?
    execs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$out/$name/log" | grep -o '[0-9]*$')
    echo "$name: status $rc, $(($(date +%s) - start)) s, ${execs:-?} runs, $(ls "$out/$name/crashes" | wc -l) artifacts"
    [ $rc -ne 0 ] && status=1
done
exit $status
