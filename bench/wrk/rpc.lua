-- One entry of a table, asked by JSON-RPC.
dofile("same_request.lua")

function init()
    format_post("/RPC", '{"jsonrpc": "2.0", "method": "htable.get", "params": ["groups", "0"], "id": 1}',
        "application/json")
end
