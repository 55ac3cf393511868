-- wrk's part in the figures of plain requests: asks for departures, with the tag of the answer before where
-- "held" is among the arguments, compressed where "gzip" is, and hands on what it counted as one line for the report.

local tag = nil
local threads = {}

-- Of each thread; read from outside when all is done.
name = ""
unchanged = 0

function setup(thread)
    table.insert(threads, thread)
end

function init(args)
    local held = false
    name = args[1]
    for _, word in ipairs(args) do
        if word == "gzip" then wrk.headers["Accept-Encoding"] = "gzip" end
        if word == "held" then held = true end
    end
    -- Defined only where it is needed: wrk reads every answer's headers for it.
    if held then
        function response(status, headers)
            if status == 304 then unchanged = unchanged + 1 end
            tag = headers["ETag"] or tag
        end
        function request()
            if tag then wrk.headers["If-None-Match"] = tag end
            return wrk.format()
        end
    end
end

function done(summary, latency)
    local held = 0
    for _, thread in ipairs(threads) do
        held = held + thread:get("unchanged")
    end
    local errors = summary.errors
    local failed = errors.connect + errors.read + errors.write + errors.status + errors.timeout
    print(string.format("request\t%s\t%.0f\t%.3f\t%.3f\t%.3f\t%.1f %%\t%d", threads[1]:get("name"),
        summary.requests / (summary.duration / 1e6), latency:percentile(50) / 1e3, latency:percentile(99) / 1e3,
        latency.max / 1e3, 100 * held / summary.requests, failed))
end
