"""Learning all models from some tunes, and judging them on others."""
import copy

import numpy as np

from melody import chords, keys, pulses, tunes

# How the tunes are performed for the pulse: drift of the tempo, errors of singing.
PERFORMANCES = {"steady": {}, "sung with errors": {"errors": True}, "drift 3 %": {"drift": 0.03}, "drift 8 %": {"drift": 0.08},
                "errors, drift 3 %": {"errors": True, "drift": 0.03}}
LEARNED_FROM = ("steady", "drift 3 %", "errors, drift 3 %")


def metre_pieces(tune, tonic):
    bar, half, beat = tunes.METERS[tune.meter]
    beats, bars = round(half / beat), round(bar / half)
    p = chords.cut((tune.start - tune.phase) / half, (tune.end - tune.phase) / half, tune.pitch, tonic, beats, bars,
                   0.2 / max(beats, 2))
    return p, p.start * half + tune.phase


def upbeat_example(tune):
    bar, half, _ = tunes.METERS[tune.meter]
    bars = round(bar / half)
    x, phases = pulses.upbeat_features(tune.start, tune.end, tune.pitch, tune.key[0], half, bars)
    return x, np.abs((phases - tune.phase / half + bars / 2) % bars - bars / 2) < 0.01


def pulse_pieces(pulse, start, end, pitch, tonic):
    p = chords.cut(pulse.halves(start), pulse.halves(end), pitch, tonic, pulse.beats, pulse.bars, 0.15)
    return p, pulse.seconds(p.start)


def labels_of(times, onsets, tune):
    at = np.searchsorted(onsets, times, side="right") - 1
    return [chords.state_label(tune.chords[i], tune.key[0]) if i >= 0 else None for i in at]




def perform(job):
    """One tune performed, with its pulse hypotheses."""
    tune, name, seed = job
    random = np.random.default_rng([seed, list(PERFORMANCES).index(name)])
    start, end, pitch, seconds = pulses.perform(random, tune, **PERFORMANCES[name])
    pulse = pulses.Pulse(start, end, pitch, tune.key[0])
    bar, half, beat = tunes.METERS[tune.meter]
    first, last = np.ceil((tune.start[0] - tune.phase) / half - 0.01), np.floor((tune.end[-1] - tune.phase) / half + 0.01)
    lines = seconds(tune.phase + half * np.arange(first, last + 1))
    length = np.median(np.diff(lines)) if len(lines) > 1 else 1.0
    cover = np.array([pulse.coverage(k, lines, length) for k in range(len(pulse.guesses))])
    first, last = np.ceil((tune.start[0] - tune.phase) / bar - 0.01), np.floor((tune.end[-1] - tune.phase) / bar + 0.01)
    bars = seconds(tune.phase + bar * np.arange(first, last + 1))
    return tune, start, end, pitch, seconds(np.array([c[0] for c in tune.chords])), pulse, cover, bars


def bar_example(pulse, bars, tonic):
    """Features of what may be bars, and which of it is right."""
    x, guesses = pulse.bar_features(tonic)
    length = np.median(np.diff(bars)) if len(bars) > 1 else 2.0
    cover = np.array([pulse.agreement(guess, bars, length / 2) for guess in guesses])
    return x, cover


def find_pulse(models, pulse, tonic):
    pulse.pick((pulse.features @ models["pulse"]).argmax())
    x, _ = pulse.bar_features(tonic)
    pulse.pick_bars((x @ models["bar"]).argmax())


def seed_of(tune):
    return sum(ord(c) * (i + 1) for i, c in enumerate(tune.name)) % 1000003


def key_examples(training):
    random = np.random.default_rng(1)
    out = []
    for tune in training:
        y, weight = tune.key[0] + 12 * tune.key[1], 4.0 if tune.key[1] else 1.0
        duration = tune.end - tune.start
        out.append((keys.features(tune.pitch, duration), y, weight))
        for _ in range(3):
            pitch, d = keys.sing(random, tune.pitch, duration)
            out.append((keys.features(keys.free_of_tuning(pitch, d), d), y, weight))
        for k in range(4):
            n = len(tune.pitch)
            length = min(n, random.integers(20, 81))
            first = 0 if k % 2 else random.integers(0, n - length + 1)
            pitch, d = tune.pitch[first: first + length], duration[first: first + length]
            if k < 2:
                pitch, d = keys.sing(random, pitch, d)
                pitch = keys.free_of_tuning(pitch, d)
            out.append((keys.features(pitch, d), y, weight))
    return out


def learn_key(training):
    return np.floor(keys.train(key_examples(training), 0.05) * 100 + 0.5) / 100


def learn(training, pool):
    models = {"key": learn_key(training)}
    jobs = [(tune, name, seed_of(tune)) for name in LEARNED_FROM for tune in training]
    performed = pool.map(perform, jobs, chunksize=8)
    examples = []
    for *_, pulse, cover, _ in performed:
        right = cover >= max(0.9, cover.max() - 0.02)
        if right.any():
            examples.append((pulse.features, right))
    models["pulse"] = np.floor(pulses.train(examples, 10.0) * 100 + 0.5) / 100
    examples = []
    for tune, *_, pulse, cover, bars in performed:
        k = (pulse.features @ models["pulse"]).argmax()
        if cover[k] > 0.85:
            pulse.pick(k)
            x, c = bar_example(pulse, bars, tune.key[0])
            if c.max() > 0.8:
                examples.append((x, c == c.max()))
    models["bar"] = np.floor(pulses.train(examples, 10.0) * 100 + 0.5) / 100
    examples = [upbeat_example(tune) for tune in training]
    models["upbeat"] = np.floor(pulses.train([e for e in examples if e[1].any()], 10.0, rare=0.03) * 100 + 0.5) / 100
    for mode in (0, 1):
        metre, free = [], []
        for tune in training:
            if tune.key[1] == mode:
                p, times = metre_pieces(tune, tune.key[0])
                onsets = np.array([c[0] for c in tune.chords])
                metre.append((*chords.numbers(p), labels_of(times + 0.01, onsets, tune), p.end - p.start))
        for tune, start, end, pitch, onsets, pulse, *_ in performed:
            if tune.key[1] == mode:
                find_pulse(models, pulse, tune.key[0])
                p, times = pulse_pieces(pulse, start, end, pitch, tune.key[0])
                free.append((*chords.numbers(p), labels_of(times + 0.06, onsets, tune), p.end - p.start))
        models["metre", mode] = chords.rounded(chords.learn(metre)) if metre else None
        models["free", mode] = chords.rounded(chords.learn(free)) if free else None
    return models


def found_chords(model, p, times, tonic):
    path, _ = chords.decode(model, *chords.numbers(p))
    return [(t, (model.states[s][0] + tonic) % 12, model.states[s][1]) for t, s in zip(times, path)]


def judge_key(weights, tune, rows):
    """Adds to rows whether the key was found, and how surely; returns the key found."""
    duration = tune.end - tune.start
    random = np.random.default_rng([seed_of(tune), 99])
    truth = tune.key[0] + 12 * tune.key[1]

    def judge_one(name, pitch, d):
        q = keys.posterior(weights, keys.features(keys.free_of_tuning(pitch, d), d))
        rows.setdefault("key " + name, []).append((float(q.argmax() == truth), float(q.max())))
        return int(q.argmax())

    found = judge_one("clean", tune.pitch, duration)
    for _ in range(3):
        judge_one("noise", *keys.sing(random, tune.pitch, duration))
    judge_one("first 30", tune.pitch[:30], duration[:30])
    return found


def judge_keys(weights, kept):
    out = []
    for tune in kept:
        rows = {}
        judge_key(weights, tune, rows)
        out.append((tune.family, tune.key[1], rows))
    return out


def judge_tune(job):
    models, tune = job
    rows = {}
    truth = tune.key[0] + 12 * tune.key[1]
    found = judge_key(models["key"], tune, rows)
    bars = (tune.end[-1] - tune.start[0]) / tunes.METERS[tune.meter][0]
    if not tune.chords:
        return tune.family, tune.key[1], rows
    for name, key in (("metre known", truth), ("metre known, key found", found)):
        p, times = metre_pieces(tune, key % 12)
        rows[name] = chords.judge(tune, found_chords(models["metre", key // 12], p, times, key % 12))
    x, right = upbeat_example(tune)
    rows["pulse: upbeat of a known metre"] = [(float(right[(x @ models["upbeat"]).argmax()]), 1.0)]
    for name in PERFORMANCES:
        _, start, end, pitch, onsets, pulse, cover, bars_true = perform((tune, name, seed_of(tune) + 7))
        k = (pulse.features @ models["pulse"]).argmax()
        pulse.pick(k)
        x, bar_cover = bar_example(pulse, bars_true, tune.key[0])
        b = (x @ models["bar"]).argmax()
        pulse.pick_bars(b)
        p, times = pulse_pieces(pulse, start, end, pitch, tune.key[0])
        other = copy.copy(tune)
        other.start, other.end, other.chords = start, end, [(t,) + c[1:] for t, c in zip(onsets, tune.chords)]
        result = chords.judge(other, found_chords(models["free", tune.key[1]], p, times, tune.key[0]))
        rows[name] = result[:5] + (bars,)
        rows["pulse, bars of " + name] = [(float(bar_cover[b] > 0.8), float(bar_cover[b]))]
        rows["pulse " + name] = [(float(cover[k] > 0.85), float(cover[k]))]
    return tune.family, tune.key[1], rows


def judge(models, kept, pool):
    return pool.map(judge_tune, [(models, tune) for tune in kept], chunksize=4)


def show(parts):
    rows = [row for part in parts for row in part]
    names = list(dict.fromkeys(name for row in rows for name in row[2]))
    groups = {"all": lambda r: True, "ewld": lambda r: r[0] == "ewld", "other": lambda r: r[0] != "ewld", "major": lambda r: r[1] == 0,
              "minor": lambda r: r[1] == 1}
    for name in names:
        line = []
        for group, member in groups.items():
            chosen = [r[2][name] for r in rows if member(r) and name in r[2]]
            if not chosen:
                continue
            if name.startswith(("key", "pulse")):
                a = np.array([x for c in chosen for x in c])
                text = f"{group} {100 * a[:, 0].mean():.1f}"
                if group == "all" and name.startswith("key"):
                    for low, high in ((0.9, 1.1), (0.7, 0.9), (0.5, 0.7), (0, 0.5)):
                        inside = (a[:, 1] >= low) & (a[:, 1] < high)
                        text += f" [{low}: {100 * inside.mean():.0f} %, {100 * a[inside, 0].mean() if inside.any() else 0:.0f} right]"
                line.append(text)
            else:
                a = np.array(chosen).sum(0)
                line.append(f"{group} {100 * a[1] / a[0]:.1f}/{100 * a[2] / a[0]:.1f}"
                            + (f" changes {a[3] / a[5]:.2f} (human {a[4] / a[5]:.2f})" if group == "all" else ""))
        print(f"{name}: " + ", ".join(line), flush=True)
