#!/bin/sh
# Every case that a document shows holds:
#     docs_test.sh VDIAG
set -eu
cd "$(dirname "$0")/../.."
shown=$(mktemp)
trap 'rm -f "$shown"' EXIT
awk '/^```/ { inside = !inside; shown = 0; next } inside && /^case / { shown = 1 } inside && shown' docs/*.md >"$shown"
[ "$(grep -c '^case ' "$shown")" -ge 2 ] || { echo "no document shows a case"; exit 1; }
exec "$1" run --fresh "$shown"
