-- Changes that last, as many as there are answers: adds a contact under an id of its own, then deletes the oldest
-- one, in turn, so that the state keeps its size. Argument: the id of the oldest of the WINDOW contacts that
-- there must be; no id of them is in two requests under way, as long as there are fewer connections.
-- Reports the oldest id for the next run.
dofile("report.lua")

local WINDOW = 128
local path = "/drivers/agent/commands/"
local threads = {}

function setup(thread)
    table.insert(threads, thread)
end

function init(arguments)
    oldest = tonumber(arguments[1])
    failed = 0
    adds = true
    wrk.headers["Content-Type"] = "application/x-www-form-urlencoded"
end

function request()
    local body
    if adds then
        body = string.format("contactId=%d&displayName=Contact+%07d&firstName=First&lastName=Last" ..
            "&phoneType=%%3CphoneTypeList%%2F%%3E", oldest + WINDOW, oldest + WINDOW)
    else
        body = string.format("contactId=%d", oldest)
        oldest = oldest + 1
    end
    local command = adds and "addContact" or "deleteContact"
    adds = not adds
    return wrk.format("POST", path .. command, nil, body)
end

function response(status, headers, body)
    if body ~= "<success/>" then
        failed = failed + 1
    end
end

done = report(function()
    local thread = threads[1]  -- there is one
    return string.format(', "oldest": %d, "failed": %d', thread:get("oldest"), thread:get("failed"))
end)
