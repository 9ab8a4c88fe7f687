# Shared by run.sh and test.sh: the Debian packages Tonaris needs and the build.
# shellcheck shell=bash

TONARIS_PACKAGES=(
    cmake g++ make pkg-config
    qt6-base-dev qt6-multimedia-dev qt6-svg-dev libgl-dev
    libespeak-ng-dev espeak-ng-data libsoxr-dev
    libzip-dev libsndfile1-dev
    libpocketsphinx-dev libsphinxbase-dev pocketsphinx-en-us
    lame ffmpeg
    poppler-utils catdoc antiword libreoffice-writer-nogui
    fonts-dejavu-core
)
TONARIS_TEST_PACKAGES=(pulseaudio pulseaudio-utils espeak-ng sox flite
    xvfb xauth dbus at-spi2-core python3-pyatspi desktop-file-utils appstream groff-base xclip libglib2.0-bin parallel)
# Only for building the fuzzers by hand (cmake -DTONARIS_FUZZ=ON -DCMAKE_CXX_COMPILER=clang++-14).
TONARIS_FUZZ_PACKAGES=(clang-14 libfuzzer-14-dev)

# Installs the named packages that are missing, with one apt-get update only when needed.
install_missing() {
    local missing=() pkg
    for pkg in "$@"; do
        dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed' ||
            missing+=("$pkg")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "Installing: ${missing[*]}"
    local sudo=()
    [ "$(id -u)" -ne 0 ] && sudo=(sudo)
    "${sudo[@]}" apt-get update -qq
    DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y --no-install-recommends -qq \
        "${missing[@]}"
}

# configure_and_build DIR [cmake options...]
configure_and_build() {
    local dir=$1
    shift
    cmake -S . -B "$dir" "$@" >"$dir.configure.log" 2>&1 || {
        cat "$dir.configure.log"
        return 1
    }
    cmake --build "$dir" --parallel "$(nproc)"
}
