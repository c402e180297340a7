#!/usr/bin/env bash
# Fuzzes one of the libFuzzer targets: builds it with clang, AddressSanitizer and
# UndefinedBehaviorSanitizer in build-fuzz/, and runs it for a while on a working copy of its
# corpus.
#
#   scripts/fuzz.sh [SECONDS] [libFuzzer options...]      (SECONDS defaults to 60)
#   FUZZ_TARGET=scene_fuzz scripts/fuzz.sh 1800
#
# Targets (FUZZ_TARGET, default reader_fuzz) and the corpus each keeps in the repository:
#   reader_fuzz  the cache reader and the element block check   tests/fuzz/corpus/
#   scene_fuzz   the scene file loader                          tests/fuzz/scene_corpus/ (seeds:
#                                                               tests/cli/scenes/)
#   cli_fuzz     the tool's command line, arguments split at NUL tests/fuzz/cli_corpus/
#
# New interesting inputs collect in build-fuzz/corpus-TARGET/; crashers, hangs and oversized
# allocations in build-fuzz/artifacts/. To keep one, fix the code and copy the input into the
# target's corpus folder, where the unit tests replay it (reader and scene). Keep the corpus small:
# `TARGET -merge=1 NEW_DIR OLD_DIR` keeps only inputs that add coverage.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

seconds="${1:-60}"
if [ $# -gt 0 ]; then shift; fi
case "$seconds" in
    '' | *[!0-9]*) die "SECONDS must be a whole number, not '$seconds'" ;;
esac
command -v clang++ >/dev/null || die "clang++ is needed for libFuzzer (apt-get install clang)"

target="${FUZZ_TARGET:-reader_fuzz}"
case "$target" in
    reader_fuzz) seeds="$WKCACHE_ROOT/tests/fuzz/corpus" malloc_mb=64 ;;
    # A scene may build up to four million vertices and faces; a mesh array is one allocation.
    scene_fuzz) seeds="$WKCACHE_ROOT/tests/fuzz/scene_corpus $WKCACHE_ROOT/tests/cli/scenes" malloc_mb=256 ;;
    cli_fuzz) seeds="$WKCACHE_ROOT/tests/fuzz/cli_corpus" malloc_mb=256 ;;
    *) die "FUZZ_TARGET must be reader_fuzz, scene_fuzz or cli_fuzz, not '$target'" ;;
esac

CC=clang CXX=clang++ configure "build-fuzz" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DWKCACHE_SANITIZE=ON -DWKCACHE_FUZZ=ON -DWKCACHE_BUILD_BENCH=OFF -DWKCACHE_BUILD_TOOLS=ON
build build-fuzz "$target"

work="$WKCACHE_ROOT/build-fuzz/corpus-$target"
artifacts="$WKCACHE_ROOT/build-fuzz/artifacts"
mkdir -p "$work" "$artifacts"

# A small input must not make the code allocate much: a large allocation is a finding too.
export ASAN_OPTIONS="halt_on_error=1:abort_on_error=1:detect_leaks=1:print_stacktrace=1"
export UBSAN_OPTIONS="halt_on_error=1:abort_on_error=1:print_stacktrace=1"
say "Fuzzing $target for ${seconds}s"
# The tool's own output is noise here: -close_fd_mask=3 silences it (libFuzzer still reports).
quiet=()
[ "$target" = cli_fuzz ] && quiet=(-close_fd_mask=3)
exec "$WKCACHE_ROOT/build-fuzz/tests/$target" </dev/null \
    -max_total_time="$seconds" -timeout=10 -max_len=65536 -malloc_limit_mb=$malloc_mb -rss_limit_mb=2048 \
    -artifact_prefix="$artifacts/" -print_final_stats=1 "${quiet[@]}" "$@" "$work" $seeds
