#!/usr/bin/env bash
# Which room of standalone/ looks into which: exactly the arrows of a list, so that data keeps going one way and the
# map in docs/architecture.md stays true. Every source of a room stands in the namespace of its name.
#   rooms.sh STANDALONE_FOLDER LIST
# The list has a line for each room: "room: other other ...". Proves itself on an arrow that is not in it.
set -eu
folder=$1
list=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# arrows_in FOLDER: "room other", one a line, as the sources have them.
arrows_in() {
    local room
    for room in "$1"/*/; do
        room=$(basename "$room")
        { grep -rhoE '^#include "[a-z]+/' --include='*.h' --include='*.cpp' "$1/$room" || true; } |
            sed -E "s|#include \"([a-z]+)/|$room \1|" | awk '$1 != $2'
    done | sort -u
}

# allowed: the same as the list has them.
allowed() {
    awk -F': *' '/^[a-z]/ { count = split($2, others, " "); for (i = 1; i <= count; ++i) print $1, others[i] }' "$list" |
        sort -u
}

# verdict FOLDER: says what differs; status 1 where anything does.
verdict() {
    local found=0 arrow room
    arrows_in "$1" >"$work/found"
    while read -r arrow; do
        echo "${arrow/ / looks into }, which the list does not allow:"
        room=${arrow% *}
        grep -rn "#include \"${arrow#* }/" "$1/$room"
        found=1
    done < <(comm -23 "$work/found" <(allowed))
    while read -r arrow; do
        echo "${arrow/ / no longer looks into }: take it out of the list"
        found=1
    done < <(comm -13 "$work/found" <(allowed))
    for room in "$1"/*/; do
        room=$(basename "$room")
        grep -qE "^$room:" "$list" || { echo "$room is not in the list"; found=1; }
    done
    return "$found"
}

# A stranger is found.
cp -r "$folder" "$work/strange"
printf '#include "service/Api.h"\n' >>"$work/strange/base/Numbers.h"
if verdict "$work/strange" >/dev/null; then
    echo "an arrow from base to service went through: this check proves nothing"
    exit 1
fi

status=0
verdict "$folder" || status=1
while IFS= read -r source; do
    room=$(basename "$(dirname "$source")")
    grep -qE "^namespace pis::$room(::[A-Za-z]+)? \{" "$source" || {
        echo "$source: nothing stands in namespace pis::$room"
        status=1
    }
done < <(find "$folder" -mindepth 2 -name '*.h')
exit "$status"
