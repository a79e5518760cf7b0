-- One POST again and again: `formatted`, which the script's init makes by format_post.
dofile("report.lua")

function format_post(path, body, content_type)
    wrk.method = "POST"
    wrk.path = path
    wrk.body = body
    wrk.headers["Content-Type"] = content_type
    formatted = wrk.format()
end

function request()
    return formatted
end

done = report()
