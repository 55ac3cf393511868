#!/usr/bin/env bash
# Builds the service and the programs that put load on it, measures and rewrites the tables of
# benchmarks/serve.md. Exit status 1 where a goal was missed.
#   scripts/bench-serve.sh
set -eu
here=$(dirname "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")")
# shellcheck source=scripts/packages.sh
. "$here/scripts/packages.sh"
# shellcheck source=scripts/building.sh
. "$here/scripts/building.sh"
# shellcheck source=scripts/measuring.sh
. "$here/scripts/measuring.sh"

kNetwork=samples/harbour-line.json
kStart=07:00
kMinuteLater=07:01
kStation=5 # Harbour Central, where both lines meet
kConnections=32
kSeconds=5

require_packages "${kRunPackages[@]}" "${kBenchPackages[@]}"
cd "$here"
build_preset bench --target pis bench-readers bench-network bench-picture || exit 2

pis=build/bench/standalone/pis
results=build/bench/serve-results
rm -rf "$results"
mkdir -p "$results"
SECONDS=0
machine_facts >"$results/facts.tsv"

echo "Readers of changes" >&2
"$pis" simulate "$kNetwork" --start "$kStart" --until 10:00 >"$results/day.jsonl"
build/bench/benchmarks/bench-readers "$pis" "$results/day.jsonl" "$results/readers.tsv"

echo "A network" >&2
sed -E -f benchmarks/serve/network.sed "$kNetwork" >"$results/network.json"
"$pis" simulate "$results/network.json" --start 06:00 --until 10:00 >"$results/network.jsonl"
build/bench/benchmarks/bench-network "$pis" "$results/day.jsonl" "$results/network.jsonl" "$results/network.tsv"

service=
end_service() {
    if [ -n "$service" ]; then
        kill "$service" 2>/dev/null || true
        wait "$service" || true
    fi
    service=
}
trap end_service EXIT

# start_service OPTION...: sets address, once the service listens.
start_service() {
    local log=$results/service.log look
    : >"$log"
    "$pis" serve --listen 127.0.0.1:0 "$@" 2>"$log" &
    service=$!
    for ((look = 0; look < 100; ++look)); do
        address=$(sed -n 's|^listening on \(http://[^/]*\)/.*|\1|p' "$log")
        if [ -n "$address" ]; then return; fi
        if ! kill -0 "$service" 2>/dev/null; then break; fi
        sleep 0.1
    done
    cat "$log" >&2
    exit 2
}

# requests NAME [held] [gzip]: one line of figures.
requests() {
    wrk -t 1 -c "$kConnections" -d "${kSeconds}s" -s benchmarks/serve/departures.lua \
        "$address/api/v1/stations/$kStation/departures" -- "$@" | sed -n '/^request\t/p'
}

# all_requests HOW: each way of asking.
all_requests() {
    sleep 2 # until the minute is over that the railway runs where it is to stand still
    requests "$1, asked anew"
    requests "$1, asked anew, gzip" gzip
    requests "$1, with the last tag" held
    requests "$1, with the last tag, gzip" held gzip
}

echo "Plain requests" >&2
{
    start_service --link "sim:$kNetwork" --speed 60 --start "$kStart" --until "$kMinuteLater"
    all_requests "standing still"
    end_service
    start_service --link "file:$results/network.tsv.state.jsonl"
    sleep 5 # until all of it is there
    requests "a network, standing still, asked anew"
    requests "a network, standing still, with the last tag" held
    end_service
    start_service --link "sim:$kNetwork" --speed 60 --start "$kStart"
    all_requests "at 60 times real speed"
    end_service
} >"$results/requests.tsv"

echo "Cost of the picture" >&2
build/bench/benchmarks/bench-picture >"$results/picture.md"

fact "time taken" "$SECONDS s" >>"$results/facts.tsv"
cat "$results"/*.tsv >"$results/all"
status=0
awk -f benchmarks/tables.awk -f benchmarks/serve/report.awk "$results/all" >"$results/tables.md" || status=$?
if [ "$status" -eq 2 ]; then exit 2; fi
{ cat "$results/picture.md"; echo; } >>"$results/tables.md"
rewrite_tables benchmarks/serve.md "$results/tables.md"
echo "The tables of benchmarks/serve.md are new."
exit "$status"
