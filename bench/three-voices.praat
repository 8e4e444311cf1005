# The peer of scripts/bench-peers: three voices of one recording by pitch-synchronous overlap-add, a file for each.
form Three voices
    sentence Lead lead.wav
    sentence Folder .
endform
shifts# = { 4, -3, 7 }
Read from file: lead$
end = Get total duration
manipulation = To Manipulation: 0.01, 75, 600
pitch = Extract pitch tier
for voice to 3
    selectObject: pitch
    shifted = Copy: "shifted"
    Multiply frequencies: 0, end, 2 ^ (shifts# [voice] / 12)
    selectObject: manipulation, shifted
    Replace pitch tier
    selectObject: manipulation
    Get resynthesis (overlap-add)
    Save as WAV file: folder$ + "/voice" + string$ (voice) + ".wav"
endfor
