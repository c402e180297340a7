#!/usr/bin/env bash
# Installs the Debian 12 packages that building and testing wkcache need, and only those that
# are missing. Run as root; as another user it names what is missing and stops.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

PACKAGES=(
    g++                # C++20 compiler; brings the sanitizer runtimes
    cmake
    ninja-build
    libcli11-dev       # the wkcache tool's command line
    nlohmann-json3-dev # the wkcache tool's JSON output
    libpng-dev         # the pictures of wkcache render
    libgtest-dev       # unit tests
    libbenchmark-dev   # benchmarks
    python3-dev        # the Python module wkcache
    pybind11-dev
    python3-numpy
    python3-pytest     # its tests
    libtinygltf-dev    # glTF import and export
    nodejs             # runs the Khronos glTF validator of the glTF tests
)

# The glTF validator, at the version the lock file names, into tests/gltf/node_modules.
install_validator() {
    local dir
    dir="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)/tests/gltf"
    [ -d "$dir/node_modules/gltf-validator" ] && return 0
    # Debian's npm, unless a Node.js that brings its own is installed (they conflict).
    if ! command -v npm >/dev/null; then
        [ "$(id -u)" -eq 0 ] || die "npm is missing: install it as root (apt-get install npm)"
        apt-get install -y -q --no-install-recommends npm </dev/null
    fi
    say "Installing the glTF validator into $dir"
    (cd "$dir" && npm ci --no-audit --no-fund --loglevel=error)
}

installed() {
    dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'
}

if ! command -v dpkg-query >/dev/null; then
    say "Not a Debian system: make sure these are installed: ${PACKAGES[*]}"
    exit 0
fi

missing=()
for pkg in "${PACKAGES[@]}"; do
    installed "$pkg" || missing+=("$pkg")
done

if [ ${#missing[@]} -eq 0 ]; then
    say "All required packages are installed"
    install_validator
    exit 0
fi

if [ "$(id -u)" -ne 0 ]; then
    die "missing packages: ${missing[*]}
Install them as root:  apt-get update && apt-get install -y --no-install-recommends ${missing[*]}"
fi

say "Installing missing packages: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -q
apt-get install -y -q --no-install-recommends "${missing[@]}" </dev/null
install_validator
