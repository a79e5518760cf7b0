-- Has the agent restart the SIP proxy: two requests to the system manager, "kill" and "enable".
dofile("report.lua")

function init()
    wrk.method = "POST"
    wrk.path = "/drivers/agent/commands/applySIPProxyChanges"
    formatted = wrk.format()
end

function request()
    return formatted
end

done = report()
