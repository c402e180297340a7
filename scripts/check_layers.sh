#!/usr/bin/env bash
# Fails when a source file includes a header of a folder above its own (docs/architecture.md).
#
# Each folder has a floor; a file may include headers of its own folder and of lower floors.
# Folders on the same floor (recording/ and explode/, script/ and panels/) do not include each
# other. host/headless/ implements host/ and is for the programs' floors alone: tools/common/,
# which the tool and the bindings share, the tool, the bindings, and tests/ and bench/, which
# may include anything; not for plugins/, whose modules live in a host. A folder with sources
# that is
# not in the table fails too, so that a new folder is given its floor when it is made.
#
# Usage: check_layers.sh [ROOT]   (default: the repository this script belongs to)
set -euo pipefail

root="${1:-$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)}"
cd "$root"

# folder floor, lowest first.
floors='
host 0
cachefile 1
playback 2
elements 3
recording 4
explode 4
object 5
script 6
panels 6
tools/common 7
tools 8
python 8
web 8
plugins 8
'
# Folders outside the layers: they may include any folder.
free='tests bench third_party'

awk -v floors="$floors" -v free="$free" '
    BEGIN {
        n = split(floors, rows, "\n")
        for (i = 1; i <= n; ++i)
            if (split(rows[i], f, " ") == 2)
                floor[f[1]] = f[2] + 0
        split(free, list, " ")
        for (i in list)
            isFree[list[i]] = 1
        bad = 0
    }
    # The layer of a path: host/headless stands apart from host, tools/common below tools.
    function layerOf(path,    parts) {
        split(path, parts, "/")
        if ((parts[1] == "host" && parts[2] == "headless") ||
            (parts[1] == "tools" && parts[2] == "common"))
            return parts[1] "/" parts[2]
        return parts[1]
    }
    FNR == 1 {
        layer = layerOf(FILENAME)
        if (!(layer in floor) && layer != "host/headless" && !(layer in isFree)) {
            printf "%s: folder %s/ has no floor: add it to scripts/check_layers.sh and docs/architecture.md\n", FILENAME, layer
            bad = 1
        }
    }
    /^[ \t]*#[ \t]*include[ \t]*"/ {
        if (layer in isFree)
            next
        line = $0
        sub(/^[^"]*"/, "", line)
        sub(/".*$/, "", line)
        if (index(line, "/") == 0)
            next
        target = layerOf(line)
        if (target == layer || !(target in floor || target == "host/headless"))
            next
        if (target == "host/headless") {
            if (!(layer in floor) || floor[layer] < floor["tools/common"] || layer == "plugins") {
                printf "%s:%d: includes %s: host/headless/ is for tools, bindings and tests only\n", FILENAME, FNR, line
                bad = 1
            }
            next
        }
        if (layer == "host/headless") {
            if (target != "host") {
                printf "%s:%d: includes %s: host/headless/ builds on host/ alone\n", FILENAME, FNR, line
                bad = 1
            }
            next
        }
        if (floor[target] > floor[layer] || (floor[target] == floor[layer] && target != layer)) {
            printf "%s:%d: includes %s: %s/ stands above %s/\n", FILENAME, FNR, line, target, layer
            bad = 1
        }
    }
    END { exit bad }
' $(find . \( -path './.*' -o -path './build*' \) -prune -o -path './*/*' -type f \( -name '*.h' -o -name '*.hpp' -o -name '*.cpp' -o -name '*.cc' \) -print |
    sed 's|^\./||' | sort)
