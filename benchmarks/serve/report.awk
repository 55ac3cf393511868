# awk -f ../tables.awk -f report.awk RESULTS: the tables of serve.md but the picture's. Exit status 1 where a goal was
# missed.

function milliseconds(phase) { return value("latency", phase, 8) }

function megabytes(bytes) { return sprintf("%.1f", bytes / 1e6) }

function goal(what, wanted, measured, isReached) {
    row(what "|" wanted "|" measured "|" (isReached ? "yes" : "**no**"))
    if (isReached) return
    print "missed: " what ": " measured ", not " wanted >"/dev/stderr"
    status = 1
}

function goals(    most, limit, sample, withTen, without, differing, ended, i, values, failed) {
    most = 250
    limit = "under " most " ms"
    sample = milliseconds("the sample")
    withTen = milliseconds("the sample and ten that never read")
    without = milliseconds("after those were closed")
    if (sample > without) without = sample
    differing = value("compared", "", 4)
    ended = value("compared", "", 5)
    for (i = 1; i <= lines[run, "request"]; ++i) {
        split(line[run, "request", i], values)
        failed += values[8]
    }
    if (i == 1) fail("the results have no plain requests")

    head("|wanted|measured|reached")
    goal("from record in to bytes out, 99th percentile, " grouped(value("compared", "", 2)) " readers", limit, \
        sprintf("%.1f ms", sample), sample < most)
    goal("the same with ten readers more that never read", limit, sprintf("%.1f ms", withTen), withTen < most)
    goal("that as a multiple of the worse one of before and after them", "at most 2.0", \
        sprintf("%.2f", withTen / without), withTen <= 2 * without)
    goal("readers whose rows differ from the tables at the end", 0, grouped(differing), \
        differing == 0 && value("compared", "", 6) == "yes")
    goal("readers whose stream ended on the way", 0, grouped(ended), ended == 0)
    goal("plain requests that failed", 0, grouped(failed), failed == 0)
}

END {
    facts()
    title("What was to be reached")
    goals()
    title("From record in to bytes out")
    print "Milliseconds.\n"
    list("latency", "phase|bursts|times taken|p50|p90|p99|most", "2,text 4,grouped 5,grouped 6,1 7,1 8,1 9,1")
    print "\nThe " value("standstill", "", 2) " readers that never read were all closed by the service after " \
        sprintf("%.0f", value("standstill", "", 3)) " s; until then its memory was " \
        megabytes(value("standstill", "", 4)) " MB at most."
    title("What it takes")
    list("load", "phase|seconds|records in /s|events out /s|MB out /s|cores, service|cores, load program", \
        "2,text 3,1 4,shortly 5,grouped 6,1,1e6 7,2 8,2")
    title("Memory")
    list("memory", "moment|readers|service, MB|kernel, all TCP sockets, MB", "2,text 3,grouped 4,1,1e6 5,1,1e6")
    still = "with them, the feed still"
    print "\nPer reader, from the first two lines: " sprintf("%.1f", (value("memory", still, 4) - \
        value("memory", "before the readers came", 4)) / value("memory", still, 3) / 1e3) " kB in the service."
    title("Nothing lost")
    print grouped(value("compared", "", 2)) " readers, each compared with the " grouped(value("compared", "", 3)) \
        " rows of the eight tables after " grouped(value("compared", "", 7)) " records: " \
        grouped(value("compared", "", 4)) " differ. Whole pictures sent: " grouped(value("compared", "", 8)) \
        ". Changes that a reader did not see one by one because a later one of the same record came with them: " \
        grouped(value("compared", "", 9)) ".\n\nSIGTERM ended the service in " grouped(value("end", "", 2)) " ms; " \
        grouped(value("end", "", 4)) " of " grouped(value("end", "", 3)) " streams were closed."
    title("Plain requests")
    list("request", "departures of a major station|requests/s|p50 ms|p99 ms|most ms|304 of all|failed", \
        "2,text 3,grouped 4,2 5,2 6,1 7,text 8,text")
    title("What an update costs the picture")
    exit status
}
