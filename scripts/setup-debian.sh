#!/usr/bin/env bash
# Installs the Debian 12 packages the build (Qt 5 and Qt 6), the tests, the
# API documentation and the demo need, and any packages named as arguments.
# Quiet and quick when they are already there; needs root (or sudo) otherwise.
set -euo pipefail

# libqt6opengl6-dev: Qt 6's UiTools CMake package (the Designer plugin's form
# loading test) requires the OpenGL one.
# GStreamer for real video in the node widget (CONFIGDIALOGS_WITH_GSTREAMER):
# the core and base libraries to build against; decoders and sources at run
# time (base: decodebin, videoconvert, appsink; good: rtspsrc, souphttpsrc,
# MP4/Matroska/AVI, JPEG; bad: H.264/H.265 parsers; libav: the H.264/H.265
# decoders; glib-networking: TLS for rtsps:// and https://); for the tests the
# RTSP server library, x264 (ugly), x265 (bad) and openssl (the test
# certificates).
gstreamer=(
    libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev libgstrtspserver-1.0-dev
    gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-plugins-bad
    gstreamer1.0-plugins-ugly gstreamer1.0-libav glib-networking openssl
)
packages=(
    build-essential cmake pkg-config binutils doxygen
    qtbase5-dev qttools5-dev qttools5-dev-tools
    qt6-base-dev qt6-tools-dev qt6-tools-dev-tools qt6-l10n-tools libqt6opengl6-dev libgl-dev
    xvfb xauth
    "${gstreamer[@]}"
    "$@"
)

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo_cmd=()
[ "$(id -u)" -ne 0 ] && sudo_cmd=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
