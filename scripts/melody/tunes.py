"""Tunes in plain text, as the learner and the report read them.

A tune is a table of notes (onset, duration, MIDI pitch, tab separated, in quarter notes) under lines of "# name: value":
key, meter, and "# chord: onset root:quality [/bass]" for each chord of its human harmony.
"""
import dataclasses
import pathlib

import numpy as np

LETTERS = {"C": 0, "D": 2, "E": 4, "F": 5, "G": 7, "A": 9, "B": 11}

# Quarter notes in a bar, in half a bar (a whole one in 3/4) and in a beat.
METERS = {"4/4": (4.0, 2.0, 1.0), "2/2": (4.0, 2.0, 1.0), "6/8": (3.0, 1.5, 1.5), "9/8": (4.5, 1.5, 1.5), "12/8": (6.0, 1.5, 1.5),
          "3/4": (3.0, 3.0, 1.0), "2/4": (2.0, 1.0, 0.5), "6/4": (6.0, 3.0, 1.0)}

# What a chord is to the model (M major, 7, m minor, d diminished, a augmented) and its triad for the judge.
KINDS = {"maj": "M", "maj6": "M", "maj7": "M", "sus4": "M", "sus2": "M", "7": "7", "9": "7", "11": "7", "13": "7", "aug7": "7",
         "min": "m", "min7": "m", "min6": "m", "min9": "m", "dim": "d", "dim7": "d", "hdim7": "d", "aug": "a"}
TRIADS = {"maj": "M", "maj6": "M", "maj7": "M", "7": "M", "9": "M", "11": "M", "13": "M", "sus4": "s", "sus2": "s",
          "min": "m", "min7": "m", "min6": "m", "min9": "m", "dim": "d", "dim7": "d", "hdim7": "d", "aug": "a", "aug7": "a"}
TRIAD_OF_KIND = {"M": "M", "7": "M", "m": "m", "d": "d", "a": "a"}


def pitch_class(name):
    alter = name[1:]
    return (LETTERS[name[0]] + alter.count("#") - alter.count("b")) % 12


@dataclasses.dataclass
class Tune:
    name: str
    key: tuple        # (tonic pitch class, 0 major or 1 minor), None where the source does not know
    meter: str
    start: np.ndarray  # of the notes, quarter notes
    end: np.ndarray
    pitch: np.ndarray
    chords: list       # (onset, root pitch class, quality)
    phase: float = 0.0  # of the first bar line, quarter notes

    @property
    def family(self):
        return self.name.split("_")[0]


def bar_phase(tune):
    """Where the bar lines are: on the phase that most chords begin at, then that most sung time begins at."""
    bar = METERS[tune.meter][0]
    best = None
    for step in range(int(bar * 2)):
        phase = step / 2
        chords = sum(abs((c[0] - phase + bar / 2) % bar - bar / 2) < 0.01 for c in tune.chords)
        on = np.abs((tune.start - phase + bar / 2) % bar - bar / 2) < 0.01
        rank = (chords + 0.2 * np.minimum(tune.end - tune.start, bar)[on].sum() / bar, -phase)
        if best is None or rank > best[0]:
            best = (rank, phase)
    return best[1]


def read_tune(path):
    key, meter, chords, rows = None, "4/4", [], []
    for line in path.read_text(encoding="utf-8").splitlines():
        if line.startswith("# key:"):
            words = line[6:].split()
            if words and words[0][0] in LETTERS and words[1] in ("major", "minor"):
                key = (pitch_class(words[0]), int(words[1] == "minor"))
        elif line.startswith("# meter:"):
            meter = line[8:].strip()
        elif line.startswith("# chord:"):
            onset, chord = line[8:].split()[:2]
            root, _, quality = chord.partition(":")
            chords.append((float(onset), pitch_class(root), quality))
        elif line and line[0] != "#":
            rows.append([float(x) for x in line.split("\t")[:3]])
    rows = np.array(rows, dtype=float).reshape(-1, 3)
    tune = Tune(path.stem, key, meter, rows[:, 0], rows[:, 0] + rows[:, 1], rows[:, 2], chords)
    if meter in METERS:
        tune.phase = bar_phase(tune)
    return tune


def read_folder(folder):
    """All tunes of a folder with a known metre and at least eight notes, by name."""
    tunes = [read_tune(path) for path in sorted(pathlib.Path(folder).glob("*.tsv"))]
    return [tune for tune in tunes if tune.meter in METERS and len(tune.start) >= 8]
