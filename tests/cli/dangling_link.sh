#!/usr/bin/env bash
# An output named by a link whose file does not exist yet is written through the link, as a
# shell's redirection writes: the file is made where the link points and the link stays. A link
# into a missing folder is refused before any work, naming both; a failed command leaves the
# link dangling, with no file made.
#
#   dangling_link.sh TOOL CACHE SCENE BAD_SCENE WORK_DIR
set -u
tool=$1 cache=$2 scene=$3 bad_scene=$4 work=$5
failures=0
fail() { echo "FAIL: $*" >&2; failures=$((failures + 1)); }

rm -rf "$work" && mkdir -p "$work/real" && cd "$work" || exit 1

# name of the link | its target | the command, with OUT for the link
cases=(
    "out.obj|real/mesh.obj|frame $cache --time 0 --obj OUT"
    "out.png|real/picture.png|render $cache --time 0 --size 8x8 -o OUT"
    "out.wks|real/scene.wks|scene save $scene -o OUT"
    "out.json|real/scene.json|scene load $scene -o OUT"
    "out.glb|real/asset.glb|export-gltf $cache --range 0:1 -o OUT"
    "out.wkc|real/cache.wkc|record $scene -o OUT"
    "chain.obj|out2.obj|frame $cache --time 0 --obj OUT"
)
for entry in "${cases[@]}"; do
    IFS='|' read -r link target command <<<"$entry"
    ln -sfn "$target" "$link"
    [ "$link" = chain.obj ] && ln -sfn real/chained.obj out2.obj && target=real/chained.obj
    # shellcheck disable=SC2086 # the command is words on purpose
    if ! "$tool" ${command//OUT/$link} >/dev/null 2>err.txt; then
        fail "$command: $(cat err.txt)"
    elif [ ! -L "$link" ]; then
        fail "$command: the link $link was replaced by a file"
    elif [ ! -s "$target" ]; then
        fail "$command: nothing was written to $target through $link"
    fi
done

# A link into a folder that does not exist: refused before the work, naming the link's target.
ln -sfn missing/x.obj lost.obj
if "$tool" frame "$cache" --time 0 --obj lost.obj >/dev/null 2>err.txt; then
    fail "a link into a missing folder was written"
elif ! grep -q "lost[.]obj: cannot be written (it links to missing/x[.]obj, whose folder does not exist)" err.txt; then
    fail "a link into a missing folder: $(cat err.txt)"
fi
[ -L lost.obj ] || fail "the link into a missing folder was replaced"

# A recording that fails leaves the link dangling and makes no file.
ln -sfn real/failed.wkc failed.wkc
"$tool" record "$bad_scene" -o failed.wkc >/dev/null 2>&1 && fail "the bad recording succeeded"
[ -L failed.wkc ] || fail "a failed recording replaced the link"
[ -e real/failed.wkc ] && fail "a failed recording left a file behind its link"

[ "$failures" -eq 0 ]
