# awk -f tables.awk -f report.awk run=m32 M32 run=native NATIVE: the tables of README.md. M32 may be empty.

# --- What comes in

$1 == "ratio" {
    goal = $2 "|" $3
    if (!((run, goal) in ratios) && run == "native") goals[++goalCount] = goal
    atMost[goal] = $4
    ++ratios[run, goal]
    if (run == "native") caseOf[goal, ratios[run, goal]] = $5
    times = $6 / $7
    details[run, goal, $5] = shortly($6 / 1e3) "|" shortly($7 / 1e3) "|" sprintf("%.2f", times)
    if (times > worst[run, goal]) {
        worst[run, goal] = times
        worstCase[run, goal] = $5
    }
}

# The least time that the run found for each case.
$1 == "case" {
    if (run == "native" && !((run, $2) in time)) cases[++caseCount] = $2
    if (!((run, $2) in time) || $3 < time[run, $2]) time[run, $2] = $3
}

$1 == "lock" { lock[run, $2 "|" $3] = shortly($4 / 1e3) "|" shortly($5 / 1e3) }

# --- Goals

function worstOf(run, goal) {
    if (!((run, goal) in ratios)) return kNone
    return sprintf("%.2f", worst[run, goal]) (ratios[run, goal] > 1 ? " (" worstCase[run, goal] ")" : "")
}

function goalTable(    i, goal, reached) {
    head("case|yardstick|at most|native|-m32|reached")
    for (i = 1; i <= goalCount; ++i) {
        goal = goals[i]
        reached = worst["native", goal] <= atMost[goal] && worst["m32", goal] <= atMost[goal]
        row(goal sprintf("|%.1f|", atMost[goal]) worstOf("native", goal) "|" worstOf("m32", goal) "|" \
            (reached ? "yes" : "**no**"))
    }
}

function of(texts, key) { return key in texts ? texts[key] : "" }

function ratioTable(    i, j, goal, name, other) {
    head("case|native|yardstick|times|-m32|yardstick|times")
    for (i = 1; i <= goalCount; ++i) {
        goal = goals[i]
        for (j = 1; j <= ratios["native", goal]; ++j) {
            name = caseOf[goal, j]
            other = of(details, "m32" SUBSEP goal SUBSEP name)
            row(name "|" details["native", goal, name] "|" (other ? other : kNone "|" kNone "|" kNone))
        }
    }
}

function lockTable(    i, values, key, other) {
    head("day|lock held per|mean|99.9th percentile|-m32: mean|99.9th percentile")
    for (i = 1; i <= lines["native", "lock"]; ++i) {
        split(line["native", "lock", i], values)
        key = values[2] "|" values[3]
        other = of(lock, "m32" SUBSEP key)
        row(key "|" lock["native", key] "|" (other ? other : kNone "|" kNone))
    }
    if (i > 1) print "\nReading the clock, " shortly(values[6]) " ns natively, is part of each of these times."
}

# --- Cases

# Native time, and that under -m32 behind a stroke.
function bothTimes(name, unit) {
    if (!(("native", name) in time)) return kNone
    return shortly(time["native", name] / unit) (("m32", name) in time ? " / " shortly(time["m32", name] / unit) : "")
}

function dayTable(    i, j, count, subjects, values, cells, seen) {
    head("day|records|the store|bare loops|bare loops and copies|unordered_map|SQLite")
    count = split("day bare-loops bare-loops-and-copies unordered-map sqlite", subjects, " ")
    for (i = 1; i <= lines["native", "day"]; ++i) {
        split(line["native", "day", i], values)
        if (seen[values[2]]++ || !(("native", "day/" values[2]) in time)) continue
        cells = values[2] "|" grouped(values[3])
        for (j = 1; j <= count; ++j) cells = cells "|" bothTimes(subjects[j] "/" values[2], 1e6)
        row(cells)
    }
}

BEGIN {
    tableOf["new"] = "New records"
    tableOf["changed"] = "Changed records"
    tableOf["unchanged"] = "Unchanged records"
    tableOf["getter"] = "Getters"
    tableOf["deletion-front"] = tableOf["deletion-middle"] = tableOf["deletion-back"] = "Deletion of one element"
    tableOf["deletion-of-all"] = tableOf["deletion-of-everything"] = "Deletion of all elements"
    yardstick["by-hand"] = "by hand"
    yardstick["bare-copy"] = "bare copy"
    yardstick["bare-loop-and-erase"] = yardstick["bare-clear"] = yardstick["bare-erases"] = "bare"
    suffix["long"] = "long texts"
    suffix["observers:1"] = "1 observer"
    suffix["observers:8"] = "8 observers"
}

# Puts a case into its table: "by-hand/unchanged/line/1000/long" is the table of unchanged records, row "line, by
# hand", column "1,000, long texts".
function place(name,    parts, count, i, kind, table, inRow, column) {
    count = split(name, parts, "/")
    i = parts[1] in yardstick ? 2 : 1
    kind = parts[i++]
    if (!(kind in tableOf)) return
    table = tableOf[kind]
    inRow = parts[i] ~ /^[0-9]+$/ ? "every table" : parts[i++]
    if (i <= count && parts[i] ~ /^[0-9]+$/) {
        column = grouped(parts[i++])
        if (table == "Deletion of one element") inRow = inRow ", " substr(kind, length("deletion-") + 1)
    } else {
        table = "Status records"
        inRow = inRow ", " kind
    }
    for (; i <= count; ++i) column = column (column == "" ? "" : ", ") suffix[parts[i]]
    if (column == "") column = "no observer"
    if (parts[1] in yardstick) inRow = inRow ", " yardstick[parts[1]]

    if (!(table in rowCount)) tables[++tableCount] = table
    if (!((table, "row", inRow) in known)) rows[table, ++rowCount[table]] = inRow
    if (!((table, "column", column) in known)) columns[table, ++columnCount[table]] = column
    known[table, "row", inRow] = known[table, "column", column] = 1
    cell[table, inRow, column] = bothTimes(name, 1e3)
}

function caseTables(    i, j, k, table, cells) {
    for (i = 1; i <= caseCount; ++i) place(cases[i])
    for (i = 1; i <= tableCount; ++i) {
        table = tables[i]
        print "\n**" table "**\n"
        cells = ""
        for (k = 1; k <= columnCount[table]; ++k) cells = cells "|" columns[table, k]
        head(cells)
        for (j = 1; j <= rowCount[table]; ++j) {
            cells = rows[table, j]
            for (k = 1; k <= columnCount[table]; ++k) {
                cells = cells "|" ((table, rows[table, j], columns[table, k]) in cell ? \
                    cell[table, rows[table, j], columns[table, k]] : kNone)
            }
            row(cells)
        }
    }
}

END {
    run = "native"
    facts()
    title("What was to be reached")
    goalTable()
    title("How long the lock is held")
    print "Microseconds.\n"
    lockTable()
    title("Size")
    list("size", "the unit built with -m32 -Os|bytes of text", "2,text 3,grouped")
    title("Whole days")
    print "Milliseconds, native / -m32, one observer.\n"
    dayTable()
    title("JSON readers")
    list("json", "reader|records|MB|seconds|MB/s", "2,text 3,grouped 4,1,1e6 5,3 6,grouped,1e6")
    title("Every ratio")
    print "Microseconds.\n"
    ratioTable()
    title("Every case")
    print "Microseconds, native / -m32, by size of the table."
    caseTables()
    print ""
}
