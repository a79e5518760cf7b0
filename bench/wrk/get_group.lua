-- The group of all devices, which no command changes. Argument: the path.
dofile("report.lua")

function init(arguments)
    wrk.method = "POST"
    wrk.path = arguments[1]
    wrk.headers["Content-Type"] = "application/x-www-form-urlencoded"
    wrk.body = "groupId=0"
    formatted = wrk.format()
end

function request()
    return formatted
end

done = report()
