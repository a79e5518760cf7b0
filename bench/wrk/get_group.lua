-- The group of all devices, which no command changes. Argument: the path.
dofile("same_request.lua")

function init(arguments)
    format_post(arguments[1], "groupId=0", "application/x-www-form-urlencoded")
end
