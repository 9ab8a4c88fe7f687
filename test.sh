#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test against a private sound server.
# With CI=true (or TONARIS_SANITIZE=1) the tests run again in a build with ASan and UBSan.
set -euo pipefail
cd "$(dirname "$0")"
source ./scripts-common.sh
install_missing "${TONARIS_PACKAGES[@]}" "${TONARIS_TEST_PACKAGES[@]}"

werror=OFF
[ "${CI:-}" = true ] && werror=ON

# A private PulseAudio with a null sink, and a remap source that serves as a microphone.
RUN=$(mktemp -d /tmp/tonaris-test.XXXXXX)
chmod 700 "$RUN"
pulse_pid=
stop_server() {
    if [ -n "$pulse_pid" ] && kill -0 "$pulse_pid" 2>/dev/null; then
        kill "$pulse_pid" 2>/dev/null || true
        for _ in $(seq 50); do kill -0 "$pulse_pid" 2>/dev/null || break; sleep 0.1; done
        kill -9 "$pulse_pid" 2>/dev/null || true
    fi
    rm -rf "$RUN"
}
trap stop_server EXIT INT TERM
XDG_RUNTIME_DIR="$RUN" pulseaudio -D --exit-idle-time=-1 --system=false -n --disable-shm=yes \
    --use-pid-file=yes \
    -L 'module-null-sink sink_name=tonaris_null rate=22050 channels=1' \
    -L "module-native-protocol-unix socket=$RUN/pulse.sock auth-anonymous=1" \
    -L 'module-remap-source master=tonaris_null.monitor source_name=tonaris_mic'
pulse_pid=$(cat "$RUN/pulse/pid" 2>/dev/null || true)
export PULSE_SERVER="unix:$RUN/pulse.sock"
export XDG_RUNTIME_DIR="$RUN"

status=0
mkdir -p build
configure_and_build build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTONARIS_WERROR=$werror -DTONARIS_BUILD_TESTS=ON
(cd build && ctest --output-on-failure --timeout 300) || status=$?

if [ "${CI:-}" = true ] || [ "${TONARIS_SANITIZE:-}" = 1 ]; then
    mkdir -p build-asan
    configure_and_build build-asan -DCMAKE_BUILD_TYPE=Debug -DTONARIS_SANITIZE=ON \
        -DTONARIS_WERROR=$werror -DTONARIS_BUILD_TESTS=ON -DTONARIS_BUILD_BENCH=OFF
    export ASAN_OPTIONS=detect_leaks=0:abort_on_error=1
    export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
    (cd build-asan && ctest --output-on-failure --timeout 600) || status=$?
fi
exit $status
