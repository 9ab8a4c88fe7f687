#!/usr/bin/env bash
# Installs the build into a temporary prefix and checks what a desktop and a packager meet there:
# the menu entry, the icon, the AppStream data and the manual page are valid, and the installed
# program renders a text with the side files of the installed tree.
# Arguments: the build folder.
set -euo pipefail
build=$1
prefix=$(mktemp -d /tmp/tonaris-install.XXXXXX)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" >/dev/null

fail() { echo "FAIL: $*" >&2; exit 1; }
share=$prefix/share
for f in bin/tonaris share/applications/tonaris.desktop \
    share/icons/hicolor/scalable/apps/tonaris.svg share/metainfo/org.tonaris.Tonaris.metainfo.xml \
    share/man/man1/tonaris.1 share/tonaris/CustomTAG.TXT share/tonaris/English.tab; do
    [ -e "$prefix/$f" ] || fail "$f is not installed"
done
desktop-file-validate "$share/applications/tonaris.desktop" || fail "desktop entry"
appstreamcli validate --no-net "$share/metainfo/org.tonaris.Tonaris.metainfo.xml" >/dev/null ||
    fail "AppStream data"
warnings=$(groff -man -ww -z "$share/man/man1/tonaris.1" 2>&1)
[ -z "$warnings" ] || fail "manual page: $warnings"

# The installed program, run from elsewhere with a fresh home, finds what it needs.
work=$prefix/work
mkdir -p "$work/home"
printf 'Installed and speaking.\r\n' >"$work/book.txt"
(cd / && env -u DISPLAY -u WAYLAND_DISPLAY HOME="$work/home" XDG_CONFIG_HOME= XDG_DATA_HOME= \
    "$prefix/bin/tonaris" /hidden /wav "$work/book.txt") || fail "the installed program's save"
[ -s "$work/book.wav" ] || fail "no WAV from the installed program"
"$prefix/bin/tonaris" --help | grep -q /hidden || fail "--help"
echo "install tree OK"
