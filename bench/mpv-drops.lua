-- Loaded into the mpv command-line player by bench_media: prints the dropped
-- frame counts when playback ends, for comparison with Velomar's player.
local decoder, output = 0, 0
mp.observe_property("frame-drop-count", "number", function(_, v) if v then decoder = v end end)
mp.observe_property("vo-drop-frame-count", "number", function(_, v) if v then output = v end end)
mp.register_event("shutdown", function()
    io.stderr:write(string.format("velomar-drops %d %d\n", decoder, output))
end)
