# shellcheck shell=bash
# Sourced by the scripts that measure: what they say about the run.

# fact NAME TEXT: a line for the report.
fact() { printf 'fact\t%s\t%s\n' "$1" "$2"; }

# What is measured on, as lines for the report.
machine_facts() {
    fact "machine" "$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -n 1), $(nproc) cores"
    fact "system" "$(. /etc/os-release && echo "$PRETTY_NAME"), $(uname -m)"
    fact "compiler" "$(g++ --version | head -n 1)"
    fact "date" "$(date -u +%F)"
    fact "load when the run began" "$(cut -d ' ' -f 1 /proc/loadavg)"
}

# rewrite_tables FILE TABLES: what stands between the markers of a Markdown file becomes the tables.
rewrite_tables() {
    if [ "$(grep -c -e '^<!-- figures: begin' -e '^<!-- figures: end -->$' "$1")" -ne 2 ]; then
        echo "$1: the markers are missing" >&2
        exit 2
    fi
    sed -i -e '/^<!-- figures: begin/,/^<!-- figures: end/{//!d}' -e "/^<!-- figures: begin/r $2" "$1"
}
