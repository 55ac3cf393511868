#!/usr/bin/env bash
# The unit's text, built small for the 32-bit host, stays under a limit.
#   size.sh ARCHIVE BYTES
set -eu
text=$(size --totals "$1" | awk 'END { print $1 }')
echo "text: $text bytes, at most $2"
[ "$text" -gt 0 ] && [ "$text" -lt "$2" ]
