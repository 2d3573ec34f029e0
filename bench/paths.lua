-- For wrk: requests the paths that a file lists, one after the other. wrk -s bench/paths.lua URL -- FILE
local paths = {}
local place = 0

function init(args)
    for path in io.lines(args[1]) do
        paths[#paths + 1] = wrk.format("GET", path)
    end
end

function request()
    place = place % #paths + 1
    return paths[place]
end
