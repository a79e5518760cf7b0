-- Has the agent restart the SIP proxy: two requests to the system manager, "kill" and "enable".
dofile("same_request.lua")

function init()
    format_post("/drivers/agent/commands/applySIPProxyChanges")
end
