# Shared by the scripts in this folder; sourced, not run.
# Puts the shell at the repository root and defines the helpers the scripts use.

set -euo pipefail

WKCACHE_ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$WKCACHE_ROOT"

# Parallel jobs for building and testing: every core unless JOBS says otherwise.
JOBS="${JOBS:-$(nproc 2>/dev/null || echo 2)}"

# Each message carries the seconds since the script started, to show where the time goes.
say() { printf '==> [%4ss] %s\n' "$SECONDS" "$*"; }
die() {
    printf 'error: %s\n' "$*" >&2
    exit 1
}

# configure BUILD_DIR [cmake options...]: a Ninja build of the repository in BUILD_DIR, compiled
# through ccache when it is installed: unchanged files then come from the cache (an earlier run,
# or another checkout where ccache's base_dir covers both).
configure() {
    local dir="$1"
    shift
    local cache="$WKCACHE_ROOT/$dir/CMakeCache.txt"
    if [ -f "$cache" ] && ! grep -qx 'CMAKE_GENERATOR:INTERNAL=Ninja' "$cache"; then
        die "$dir/ was configured with another CMake generator; remove it and run again"
    fi
    local launcher=()
    if command -v ccache >/dev/null; then
        launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    fi
    say "Configuring $dir"
    cmake -S "$WKCACHE_ROOT" -B "$WKCACHE_ROOT/$dir" -G Ninja "${launcher[@]}" "$@"
}

# build BUILD_DIR [targets...]: everything, or only the targets named.
build() {
    local dir="$1"
    shift
    local targets=()
    [ $# -eq 0 ] || targets=(--target "$@")
    say "Building $dir${*:+ ($*)} with $JOBS jobs"
    cmake --build "$WKCACHE_ROOT/$dir" -j "$JOBS" "${targets[@]}"
}

# configure_and_build BUILD_DIR [cmake options...]
configure_and_build() {
    local dir="$1"
    configure "$@"
    build "$dir"
}
