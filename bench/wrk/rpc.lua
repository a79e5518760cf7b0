-- One entry of a table, asked by JSON-RPC.
dofile("report.lua")

function init()
    wrk.method = "POST"
    wrk.path = "/RPC"
    wrk.headers["Content-Type"] = "application/json"
    wrk.body = '{"jsonrpc": "2.0", "method": "htable.get", "params": ["groups", "0"], "id": 1}'
    formatted = wrk.format()
end

function request()
    return formatted
end

done = report()
