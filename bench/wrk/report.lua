-- Prints what a run has shown, as one line of JSON behind wrk's own lines. Times in microseconds.
function report(more)
    return function(summary, latency)
        local errors = summary.errors
        print(string.format(
            '{"requests": %d, "duration": %d, "p50": %d, "p99": %d, "bad": %d%s}',
            summary.requests, summary.duration, latency:percentile(50), latency:percentile(99),
            errors.connect + errors.read + errors.write + errors.status + errors.timeout, more and more() or ""))
    end
end
