#!/usr/bin/env bash
# Installs what is missing, builds and runs Tonaris; arguments go to the program.
set -euo pipefail
cd "$(dirname "$0")"
source ./scripts-common.sh
install_missing "${TONARIS_PACKAGES[@]}" pulseaudio-utils
mkdir -p build
configure_and_build build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTONARIS_BUILD_TESTS=OFF >/dev/null
exec ./build/tonaris "$@"
