#!/usr/bin/env bash
# Goes on fuzzing one target, from its checked-in inputs and from what earlier runs found worth keeping.
#   scripts/fuzz.sh handlers        until Ctrl-C
#   scripts/fuzz.sh handlers 600    for ten minutes
# An input that finds something is shown at the end; once mended, it belongs into fuzz/corpus/NAME.
set -eu
here=$(dirname "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")")
cd "$here"
# shellcheck source=scripts/packages.sh
. scripts/packages.sh
# shellcheck source=scripts/building.sh
. scripts/building.sh

name=${1:-}
limit=${2:-0}
if [ $# -lt 1 ] || [ $# -gt 2 ] || [ ! -d "fuzz/corpus/$name" ] || [[ ! $limit =~ ^[0-9]+$ ]]; then
    echo "Usage: fuzz NAME [SECONDS]; NAME is one of: $(cd fuzz/corpus && echo *)" >&2
    exit 2
fi
require_packages "${kRunPackages[@]}" clang-14 googletest libclang-rt-14-dev

build_preset fuzz --target "fuzz_$name" || exit 2

gathered=build/fuzz-corpus/$name
findings=build/fuzz-findings/$name
mkdir -p "$gathered" "$findings"
options=(-timeout=20 -max_total_time="$limit" -artifact_prefix="$findings/")
if [ -f "fuzz/options/$name" ]; then
    mapfile -t own_options <"fuzz/options/$name"
    options+=("${own_options[@]}")
fi
if [ -f "fuzz/dictionaries/$name.dict" ]; then options+=(-dict="fuzz/dictionaries/$name.dict"); fi

# The new inputs go into the first folder.
status=0
"build/fuzz/fuzz/fuzz_$name" "${options[@]}" "$gathered" "fuzz/corpus/$name" || status=$?
if [ -n "$(ls -A "$findings")" ]; then
    echo "Found, the newest first; again with build/fuzz/fuzz/fuzz_$name FILE:" >&2
    ls -t "$findings"/* >&2
fi
exit "$status"
