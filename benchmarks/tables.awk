# Lines of figures (see Results.h) come in, tables of a Markdown file go out: what the reports have in common.

BEGIN {
    FS = "\t"
    kNone = "–"
}

{ line[run, $1, ++lines[run, $1]] = $0 }

function fail(what) {
    print what >"/dev/stderr"
    exit 2
}

# The value at a place of the line of a kind, which is the only one or the one with this name.
function value(kind, name, place,    i, values) {
    for (i = 1; i <= lines[run, kind]; ++i) {
        split(line[run, kind, i], values)
        if (name == "" ? lines[run, kind] == 1 : values[2] == name) return values[place]
    }
    fail("the results have no " kind " " name)
}

# 1234567 as 1,234,567.
function grouped(number,    digits, behind) {
    digits = sprintf("%.0f", number)
    for (; length(digits) > 3; digits = substr(digits, 1, length(digits) - 3)) {
        behind = "," substr(digits, length(digits) - 2) behind
    }
    return digits behind
}

# Three digits that count, at least.
function shortly(number) {
    if (number >= 1000) return grouped(number)
    return sprintf("%.*f", number < 1 ? 3 : number < 10 ? 2 : number < 100 ? 1 : 0, number)
}

# "text", "grouped", "shortly" or a number of digits behind the point.
function written(figure, how) {
    if (how == "text") return figure
    if (how == "grouped") return grouped(figure)
    return how == "shortly" ? shortly(figure) : sprintf("%.*f", how, figure)
}

function title(text) { printf "\n## %s\n\n", text }

# Cells stand between strokes.
function row(cells) {
    gsub(/[|]/, " | ", cells)
    print "| " cells " |"
}

function head(cells,    columns, names) {
    row(cells)
    printf "|---|"
    for (columns = split(cells, names, "|"); columns > 1; --columns) printf "--:|"
    print ""
}

# A row for each line of a kind. A column says which value it shows, how, and what that is divided by: "4,grouped,1e6".
function list(kind, titles, columns,    i, j, count, column, parts, values, cells) {
    head(titles)
    count = split(columns, column, " ")
    for (i = 1; i <= lines[run, kind]; ++i) {
        split(line[run, kind, i], values)
        cells = ""
        for (j = 1; j <= count; ++j) {
            split(column[j], parts, ",")
            cells = cells (j > 1 ? "|" : "") written(3 in parts ? values[parts[1]] / parts[3] : values[parts[1]], parts[2])
        }
        row(cells)
    }
}

# What was measured on, as a list.
function facts(    i, values) {
    title("Measured on")
    for (i = 1; i <= lines[run, "fact"]; ++i) {
        split(line[run, "fact", i], values)
        print "- " values[2] ": " values[3]
    }
}
