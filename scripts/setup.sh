#!/usr/bin/env bash
# Installs the Debian 12 packages that building and testing wkcache need, and only those that
# are missing. Run as root; as another user it names what is missing and stops.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

PACKAGES=(
    g++                # C++20 compiler; brings the sanitizer runtimes
    clang              # the second compiler the code is built with (and the fuzzers' one)
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
    libcpp-httplib-dev # wkcache serve
    libjs-three        # its viewport, served with the page
    chromium           # its browser test (headless)
    libtinygltf-dev    # glTF import and export
    nodejs             # runs the browser test and the Khronos glTF validator
)

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
# npm may come with another build of node than Debian's: only a missing command needs it.
command -v npm >/dev/null || missing+=(npm)

# The npm packages at the versions their lock files name: the browser test's driver in web/ (it
# uses the installed chromium and downloads no browser) and the glTF validator in tests/gltf/.
npm_packages() {
    local dir
    for dir in web tests/gltf; do
        [ -d "$WKCACHE_ROOT/$dir/node_modules" ] && continue
        say "Installing the npm packages of $dir/"
        (cd "$WKCACHE_ROOT/$dir" && PUPPETEER_SKIP_DOWNLOAD=1 npm ci --no-audit --no-fund --loglevel=error)
    done
}

if [ ${#missing[@]} -eq 0 ]; then
    say "All required packages are installed"
    npm_packages
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
npm_packages
