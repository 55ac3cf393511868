#!/usr/bin/env bash
# Builds the benchmarks natively and for the 32-bit host, runs them and rewrites the tables of
# benchmarks/README.md. Arguments are feed files: further days.
#   scripts/bench.sh [FEED...]
#   scripts/bench.sh serve       the service instead: benchmarks/serve.md
set -eu
here=$(dirname "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")")
# shellcheck source=scripts/packages.sh
. "$here/scripts/packages.sh"
# shellcheck source=scripts/building.sh
. "$here/scripts/building.sh"
# shellcheck source=scripts/measuring.sh
. "$here/scripts/measuring.sh"
if [ "${1:-}" = serve ]; then exec "$here/scripts/bench-serve.sh"; fi

# The state of the unit before its cost was worked on, for its size.
kBefore=ef4f319

feeds=()
for feed in "$@"; do
    if [ ! -r "$feed" ]; then
        echo "$feed: cannot be read" >&2
        exit 2
    fi
    feeds+=("$(realpath "$feed")")
done

packages=("${kRunPackages[@]}" "${kBenchPackages[@]}")
presets=(bench)
if can_build_32_bit; then
    packages+=("${k32BitPackages[@]}")
    presets+=(bench-m32 size)
else
    echo "This machine does not run 32-bit x86 programs: the figures of the 32-bit host are left out." >&2
fi
require_packages "${packages[@]}"
cd "$here"
for preset in "${presets[@]}"; do build_preset "$preset" || exit 2; done

# text_of ARCHIVE: bytes of text in a library.
text_of() {
    size --totals "$1" | awk 'END { print $1 }'
}

# The same library as it was at a commit; nothing where this is no checkout.
build_before() {
    local source=build/before/source
    git cat-file -e "$kBefore" 2>/dev/null || return 1
    rm -rf build/before
    mkdir -p "$source"
    git archive "$kBefore" | tar -x -C "$source"
    (cd "$source" && cmake --preset size && cmake --build --preset size --target SignallingController) \
        >build/before.log 2>&1 || { cat build/before.log >&2; return 1; }
}

results=build/bench/results
mkdir -p "$results"
rm -f "$results"/*.tsv
touch "$results/m32-cases.tsv"
figure() { printf 'size\t%s\t%s\n' "$1" "$2"; }
{
    machine_facts
    if can_build_32_bit; then
        if build_before; then
            before=build/before/source/build/size/libSignallingController.a
            figure "before ($kBefore)" "$(text_of "$before")"
        fi
        figure "now" "$(text_of build/size/libSignallingController.a)"
    fi
} >"$results/native-facts.tsv"

echo "Measuring natively" >&2
build/bench/benchmarks/bench-ratios "$results/native-ratios.tsv" ${feeds[@]+"${feeds[@]}"}
build/bench/benchmarks/bench-cases "$results/native-cases.tsv" ${feeds[@]+"${feeds[@]}"}
build/bench/benchmarks/bench-json-readers "$results/native-json.tsv"
if can_build_32_bit; then
    echo "Measuring for the 32-bit host" >&2
    build/bench-m32/benchmarks/bench-ratios "$results/m32-ratios.tsv"
    build/bench-m32/benchmarks/bench-cases "$results/m32-cases.tsv"
fi

fact "time taken, builds included" "$SECONDS s" >>"$results/native-facts.tsv"
cat "$results"/native-*.tsv >"$results/native.tsv"
cat "$results"/m32-*.tsv >"$results/m32.tsv"
awk -f benchmarks/tables.awk -f benchmarks/report.awk run=m32 "$results/m32.tsv" run=native "$results/native.tsv" \
    >"$results/tables.md"
rewrite_tables benchmarks/README.md "$results/tables.md"
echo "The tables of benchmarks/README.md are new."
