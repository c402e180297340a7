#!/usr/bin/env bash
# A recording killed at random moments, 100 times: every time the target is either the old cache
# untouched or the new one complete; after SIGINT and SIGTERM no temporary stays, and one left by
# SIGKILL is recognisable by its name and cleared by the next recording to the same target.
#
#   kill_record.sh TOOL SCENE OLD_CACHE WORK_DIR
set -u
tool=$1 scene=$2 old=$3 work=$4
fail() { echo "FAIL: $*" >&2; exit 1; }
temporaries() { find . -maxdepth 1 -name 'target.wkc.wktmp-*' | wc -l; }

rm -rf "$work" && mkdir -p "$work" && cd "$work" || exit 1
"$tool" record "$scene" -o reference.wkc >/dev/null || fail "the reference recording failed"
cmp -s reference.wkc "$old" && fail "the old cache must differ from the new one"
cp "$old" target.wkc

signals=(INT TERM KILL)
kept=0 replaced=0
for round in $(seq 0 99); do
    signal=${signals[round % 3]}
    "$tool" record "$scene" -o target.wkc >/dev/null 2>&1 &
    pid=$!
    sleep "$(printf '0.%03d' $((RANDOM % 700)))"
    kill -s "$signal" "$pid" 2>/dev/null
    # A recording that does not stop after the signal is a fault of its own, named as such
    # rather than left to the test's time limit.
    for _ in $(seq 600); do
        kill -0 "$pid" 2>/dev/null || break
        sleep 0.1
    done
    if kill -0 "$pid" 2>/dev/null; then
        kill -s KILL "$pid"
        fail "round $round: the recording still ran 60 s after SIG$signal"
    fi
    wait "$pid"
    if cmp -s target.wkc "$old"; then
        kept=$((kept + 1))
    elif cmp -s target.wkc reference.wkc; then
        replaced=$((replaced + 1))
        cp "$old" target.wkc # the next round starts from the old cache again
    else
        fail "round $round (SIG$signal): target.wkc is neither the old cache nor the new one"
    fi
    if [ "$signal" != KILL ] && [ "$(temporaries)" -ne 0 ]; then
        fail "round $round (SIG$signal) left a temporary: $(ls target.wkc.wktmp-*)"
    fi
done
# Whatever SIGKILL left goes with the next recording to the same target.
echo partial >target.wkc.wktmp-killedrun
"$tool" record "$scene" -o target.wkc >/dev/null || fail "the recording after the kills failed"
[ "$(temporaries)" -eq 0 ] || fail "a temporary survived the next recording"
cmp -s target.wkc reference.wkc || fail "the last recording is not complete"
echo "100 kills: old cache kept $kept times, new cache complete $replaced times"
