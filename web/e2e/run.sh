#!/usr/bin/env bash
# The browser test of wkcache serve, as ctest runs it: skipped (exit 77) with the reason when
# node, chromium or the page's npm packages are missing; scripts/setup.sh installs them all.
#   run.sh WKCACHE SCRATCH_DIR [serve_e2e.mjs options...]
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
skip() {
    echo "SKIPPED: $* (scripts/setup.sh installs it)"
    exit 77
}
command -v node >/dev/null || skip "node is not installed"
[ -x "${CHROMIUM:-/usr/bin/chromium}" ] || skip "chromium is not installed"
[ -d "$here/node_modules/puppeteer-core" ] || skip "puppeteer-core is not installed in web/node_modules"
cd "$here"
exec node e2e/serve_e2e.mjs "$@"
