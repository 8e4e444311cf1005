# Sings a song with the voice of a speech synthesizer: each word is stretched at its vowel to the length of
# its notes and moved to their pitch, with glides and vibrato (pitch-synchronous overlap-add).
#
#   praat --run sing.praat SONG WORDS_FOLDER OUT_WAV BEATS_PER_MINUTE
form Sing
    sentence song song.txt
    sentence words words
    sentence out lead.wav
    real bpm 92
endform

beat = 60 / bpm
vibratoRate = 5.4
vibratoDepth = 0.35
glide = 0.07
rate = 44100

lines = Read Strings from raw text file: song$
count = Get number of strings
previous = 0
parts = 0
sung = 0

for line to count
    selectObject: lines
    text$ = Get string: line
    if left$ (text$, 1) <> "#" and text$ <> ""
        space = index (text$, " ")
        word$ = left$ (text$, space - 1)
        notes$ = mid$ (text$, space + 1, length (text$)) + " "
        if word$ = "-"
            beats = number (mid$ (notes$, index (notes$, ":") + 1, 20))
            part = Create Sound from formula: "rest", 1, 0, beats * beat, rate, "0"
            previous = 0
            @keep
        else
            sung = sung + 1
            @singWord
        endif
    endif
endfor

# One recording, a little breath over it so that rests are not digital silence.
selectObject ()
for i to parts
    plusObject: part[i]
endfor
joined = Concatenate
# The synthesizer leaves an offset in its words.
whole = Filter (stop Hann band): 0, 50, 20
Scale peak: 0.6
Formula: "self + randomGauss (0, 0.0002)"
Save as WAV file: out$

procedure keep
    parts = parts + 1
    part[parts] = part
endproc

procedure singWord
    sound = Read from file: words$ + "/" + word$ + ".wav"
    d = Get total duration
    noteLength = number (mid$ (notes$, index (notes$, ":") + 1, index (notes$, " ") - index (notes$, ":") - 1)) * beat
    midi = number (left$ (notes$, index (notes$, ":") - 1))

    # The vowel is where the voice is loudest; only a short stretch of it is lengthened.
    intensity = To Intensity: 100, 0.005, "no"
    core = Get time of maximum: 0, 0, "parabolic"
    a = max (0.01, core - 0.05)
    b = min (d - 0.02, core + 0.06)
    rest = d - (b - a)
    if noteLength > rest + 0.1
        outside = 1
        inside = (noteLength - rest) / (b - a)
    else
        outside = noteLength * 0.55 / rest
        inside = noteLength * 0.45 / (b - a)
    endif

    selectObject: sound
    manipulation = To Manipulation: 0.005, 90, 400
    duration = Create DurationTier: "d", 0, d
    Add point: 0, outside
    Add point: a - 0.0001, outside
    Add point: a, inside
    Add point: b, inside
    Add point: b + 0.0001, outside
    plusObject: manipulation
    Replace duration tier

    tier = Create PitchTier: "p", 0, d
    steps = round (noteLength / 0.008)
    for s from 0 to steps
        t = noteLength * s / steps
        # Where that instant of the note comes from in the word.
        if t < a * outside
            source = t / outside
        elsif t < a * outside + (b - a) * inside
            source = a + (t - a * outside) / inside
        else
            source = b + (t - a * outside - (b - a) * inside) / outside
        endif
        pitch = midi
        if previous > 0 and t < glide
            pitch = midi + (previous - midi) * 0.5 * (1 + cos (pi * t / glide))
        elsif previous = 0 and t < 0.12
            pitch = midi - 0.8 * (1 - t / 0.12) ^ 2
        endif
        # Vibrato sets in on longer notes and grows.
        if noteLength > 0.6 and t > 0.3
            grow = min (1, (t - 0.3) / 0.4)
            pitch = pitch + vibratoDepth * grow * sin (2 * pi * vibratoRate * (t - 0.3))
        endif
        # Nobody is quite in tune.
        pitch = pitch + 0.06 * sin (2.1 * sung + 3 * t)
        Add point: min (source, d), 440 * 2 ^ ((pitch - 69) / 12)
    endfor
    plusObject: manipulation
    Replace pitch tier
    selectObject: manipulation
    stretched = Get resynthesis (overlap-add)
    part = Resample: rate, 50
    length = Get total duration
    # Exactly as long as written, with soft edges.
    Formula: "self * min (1, x / 0.01) * min (1, (length - x) / 0.03)"
    if length < noteLength
        silence = Create Sound from formula: "gap", 1, 0, noteLength - length, rate, "0"
        selectObject: part
        plusObject: silence
        joined = Concatenate
        removeObject: silence
        part = joined
    endif
    previous = midi
    @keep
    removeObject: sound, intensity, manipulation, duration, tier, stretched
endproc
