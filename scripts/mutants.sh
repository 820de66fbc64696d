#!/bin/sh
# Does a test notice when the product breaks? Changes one thing at a time in product code (a condition, a constant, a
# length, a path, a name, a dropped or swapped step, a status), builds, runs the tests of its room and then the rest:
#     scripts/mutants.sh [COUNT] [SEED] [FOLDER...]
# Works on copies below build/mutants; the working tree is never touched. Prints killed and survived with file, line and
# change. A change that cannot matter stands in tests/mutants-ignored as "KEY | reason" (the second line of a survivor).
set -eu
cd "$(dirname "$0")/.."
scripts/lib/packages.sh build mutants
exec /usr/bin/python3 scripts/lib/mutants.py "$@"
