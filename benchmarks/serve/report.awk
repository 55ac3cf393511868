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

# What one reader's part of an event takes, and what else the events to many readers are to reach.
function fanout(server, readers, rate, place,    i, values) {
    for (i = 1; i <= lines[run, "fanout"]; ++i) {
        split(line[run, "fanout", i], values)
        if (values[2] == server && values[3] == readers && values[4] == rate) return values[place]
    }
    fail("the results have no events to " readers " readers")
}

function limited(what, most, unit, measured) {
    goal(what, "under " most " " unit, sprintf(measured < 100 ? "%.1f" : "%.0f", measured) " " unit, measured < most)
}

function endured(what,    worst) {
    worst = value("endured", what, 10)
    if (value("endured", what, 12) > worst) worst = value("endured", what, 12)
    limited("/healthz, 99th percentile: " what, 50, "ms", worst)
}

function limited_memory(what) { limited("most memory: " what, 300, "MB", value("endured", what, 5) / 1e6) }

function network_goals(    i, values, behind, failed) {
    for (i = 1; i <= lines[run, "fanout"]; ++i) {
        split(line[run, "fanout", i], values)
        if (values[2] ~ /^pis/) behind += values[12]
    }
    for (i = 1; i <= lines[run, "endured"]; ++i) {
        split(line[run, "endured", i], values)
        failed += values[8]
    }
    limited("a processor, for each reader of an event, 2,000 readers, 20 events a second", 6.5, "µs", \
        fanout("pis", 2000, 20, 8))
    limited("from record in to bytes out, 99th percentile, the same", 10, "ms", fanout("pis", 2000, 20, 6))
    limited("that with 10,000 readers, 5 events a second", 200, "ms", fanout("pis", 10000, 5, 6))
    goal("changes overtaken by later ones, 2,000 readers, 50 events a second", 0, grouped(fanout("pis", 2000, 50, 13)), \
        fanout("pis", 2000, 50, 13) == 0)
    goal("readers that did not know the last event at the end", 0, grouped(behind), behind == 0)
    limited("until all of a storm are whole", 8, "s", value("endured", "a storm", 4))
    limited("the same, of readers who know a revision", 8, "s", \
        value("endured", "a storm of readers who know a revision", 4))
    goal("readers that got less than they asked for", 0, grouped(failed), failed == 0)
    limited_memory("a storm")
    limited_memory("a storm of readers who know a revision")
    limited_memory("4,096 slow readers")
    limited_memory("60 slow readers from one address")
    for (i = 1; i <= lines[run, "endured"]; ++i) {
        split(line[run, "endured", i], values)
        if (values[2] != "2,000 boards") endured(values[2])
    }
    limited("cores for 2,000 boards, in percent of one", 25, "%", 100 * value("boards", "", 4))
    limited("departures for boards, 99th percentile", 20, "ms", value("boards", "", 6))
    goal("boards that were failed", 0, grouped(value("boards", "", 9)), value("boards", "", 9) == 0)
    limited("SIGTERM until the service has ended", 2000, "ms", value("ended", "", 5))
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
    network_goals()
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
    title("The railway and the network")
    list("size-of", "|rows|service stops|stations|shown after, s|service, MB", \
        "2,text 3,grouped 4,grouped 5,grouped 6,1 7,1,1e6")
    title("Events to many readers")
    list("fanout", "server|readers|events/s|p50 ms|p99 ms|read: p99 ms|CPU µs, each reader of an event|bytes of an event|" \
        "cores, server|cores, load program|behind at the end|overtaken", \
        "2,text 3,grouped 4,text 5,1 6,1 7,1 8,2 9,grouped 10,2 11,2 12,grouped 13,grouped")
    title("What it stands")
    list("endured", "what|readers|seconds|most memory, MB|kernel, all TCP sockets, MB|cores|got too little|/healthz, kept: p50 ms|p99 ms|" \
        "/healthz, anew: p50 ms|p99 ms|most ms", \
        "2,text 3,grouped 4,1 5,1,1e6 6,1,1e6 7,2 8,grouped 9,1 10,1 11,1 12,1 13,1")
    print "\nOf the slow readers the service closed " grouped(value("closed", "4,096 slow readers", 3)) " of 4,096 and " \
        grouped(value("closed", "60 slow readers from one address", 3)) " of 60, as far as they had read."
    title("Boards")
    list("boards", "boards|stations|cores|departures: p50 ms|p99 ms|answers/s|304 of all, %|failed", \
        "2,grouped 3,text 4,2 5,1 6,1 7,grouped 8,1,0.01 9,grouped")
    print "\nSIGTERM ended the service in " grouped(value("ended", "", 5)) " ms with " grouped(value("ended", "", 2)) \
        " boards, " grouped(value("ended", "", 3)) " other readers and " grouped(value("ended", "", 4)) " slow ones."
    title("What an update costs the picture")
    exit status
}
