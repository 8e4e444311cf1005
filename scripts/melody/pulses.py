"""The pulse finder's model: a comb whose period may drift finds some pulse of the notes, a linear score ranks its multiples
and fractions to find which of them are half bars."""
import numpy as np

STEP = 0.01
PERIODS = np.floor(0.3e6 * np.exp(STEP * np.arange(187)) + 0.5) / 1e6  # seconds, 0.3 to 1.93
PHASES = 48
RATIOS = [(1, 3), (1, 2), (2, 3), (3, 4), (1, 1), (4, 3), (3, 2), (2, 1), (3, 1)]
SHORTEST, LONGEST = 0.38, 2.3
CHANGE = 0.4  # cost of a step of the period


def perform(random, tune, drift=0.0, errors=False, jitter=0.03, spread=0.15, quarter=0.5):
    """A tune as it may be sung: start, end (seconds), pitch, and the seconds of any quarter note."""
    start, end, pitch = tune.start, tune.end, tune.pitch.copy()
    quarter = quarter * np.exp(random.uniform(-spread, spread))
    wave, turn = random.uniform(15, 40), random.uniform(0, 2 * np.pi)

    def seconds(q):
        t = np.asarray(q) * quarter
        return t - drift * wave / (2 * np.pi) * (np.cos(2 * np.pi * t / wave + turn) - np.cos(turn))

    if errors:
        n = len(pitch)
        split = random.random(n) < 0.1
        keep = np.repeat(np.arange(n), np.where(split, 2, 1))
        second = np.append(False, keep[1:] == keep[:-1])
        first = np.append(second[1:], False)
        middle = (start + end)[keep] / 2
        start, end = np.where(second, middle, start[keep]), np.where(first, middle, end[keep])
        pitch = pitch[keep] + np.where(random.random(len(keep)) < 0.05, random.choice([-12, 12], len(keep)), 0)
        pitch = pitch + np.where(random.random(len(keep)) < 0.05, random.choice([-1, 1], len(keep)), 0)
    a, b = seconds(start), seconds(end)
    a = a + random.normal(0, jitter * 2 * quarter if jitter else 0, len(a))
    order = np.argsort(a, kind="stable")
    a, b, pitch = a[order], b[order], pitch[order]
    a = np.maximum.accumulate(a)
    b = np.maximum(np.minimum(b, np.append(a[1:], np.inf)), a + 0.02)
    return a, b, pitch, seconds


def intervals(start, end):
    return np.append(np.diff(start), max(end[-1] - start[-1], 0.05))


def comb(start, end, low=0.0, high=9.0):
    """Phases (in periods, counted on) of the onsets on the best path of a comb through period and phase, and the period at
    each. The period may take one step up or down from note to note; `low` and `high` bound it."""
    n = len(start)
    ioi = intervals(start, end)
    weight = np.minimum(ioi, 1.0)
    weight = weight / weight.mean()
    prior = -0.5 * (np.log(PERIODS / CENTRE) / WIDTH) ** 2
    prior = np.where((PERIODS >= low) & (PERIODS <= high), prior * n * PRIOR, -1e9)
    angle = 2 * np.pi * np.arange(PHASES) / PHASES
    tooth = np.floor(1024 * (np.cos(angle) + 0.5 * np.cos(2 * angle)) + 0.5) / 1024
    K = len(PERIODS)
    score = prior[:, None] + weight[0] * tooth[None]
    back = np.zeros((n, K, PHASES), dtype=np.int8)
    rows = np.arange(K)[:, None] * PHASES
    columns = np.arange(PHASES)[None]
    for i in range(1, n):
        shift = np.floor(ioi[i - 1] / PERIODS * PHASES + 0.5).astype(int)
        moved = score.ravel()[rows + (columns - shift[:, None]) % PHASES]
        best = moved.copy()
        pick = back[i]
        for step, to, source in ((1, slice(1, None), slice(None, -1)), (-1, slice(None, -1), slice(1, None))):
            other = moved[source] - CHANGE
            better = other > best[to]
            best[to] = np.where(better, other, best[to])
            pick[to][better] = step
        score = best + weight[i] * tooth[None]
    k, m = np.unravel_index(score.argmax(), score.shape)
    period, steps = np.zeros(n), np.zeros(n)
    for i in range(n - 1, -1, -1):
        period[i] = PERIODS[k]
        if i == 0:
            break
        k -= int(back[i, k, m])
        steps[i] = np.floor(ioi[i - 1] / PERIODS[k] * PHASES + 0.5)
        m = int(m - steps[i]) % PHASES
    return (m + np.cumsum(steps)) / PHASES, period


PRIOR, CENTRE, WIDTH = 0.4, 0.55, 0.4
SMOOTH, REACH = 2.5, 10.0


def smooth(start, u, period):
    """Knots (periods, seconds) of a map between the two, a period apart: at each a local line through the onsets near half
    periods."""
    x = np.floor(2 * u + 0.5) / 2
    near = np.abs(u - x) < 0.13
    xs, ts = x[near], start[near]
    knots = np.arange(np.floor(u[0]) - 1, np.ceil(u[-1]) + 2)
    times = np.zeros(len(knots))
    for j, knot in enumerate(knots):
        a, b = np.searchsorted(xs, [knot - REACH, knot + REACH + 1e-9])
        w = np.exp(-0.5 * ((xs[a:b] - knot) / SMOOTH) ** 2)
        s = w.sum()
        if s > 1e-3:
            mx, mt = (w * xs[a:b]).sum() / s, (w * ts[a:b]).sum() / s
            cxx = (w * (xs[a:b] - mx) ** 2).sum() / s
        if s > 1e-3 and cxx > 1e-2:
            slope = (w * (xs[a:b] - mx) * (ts[a:b] - mt)).sum() / s / cxx
            times[j] = mt + slope * (knot - mx)
        else:
            i = len(u) - 1 - np.abs(u - knot)[::-1].argmin()
            times[j] = start[i] + (knot - u[i]) * period[i]
    for j in range(1, len(times)):
        times[j] = max(times[j], times[j - 1] + 0.05)
    return knots, times


def hypotheses(period):
    """(ratio, phase) in comb periods: every multiple or fraction that is a plausible half bar."""
    out = []
    for num, den in RATIOS:
        r = num / den
        if SHORTEST <= r * period <= LONGEST:
            for k in range(12 * num // den):
                out.append((r, k / 12))
    return np.array(out)


PLACES = 5  # on the line, just off it, a quarter, a third, half between lines


def place(f):
    """Of phases in periods from the nearest line."""
    return np.digitize(np.abs(f - np.floor(f + 0.5)), [0.11, 0.19, 0.29, 0.4])


def coarse(x):
    return np.digitize(x, [0.6, 1.3, 2.4])


def jumps(pitch):
    whole = np.floor(pitch + 0.5)
    return np.digitize(np.abs(np.diff(whole, prepend=whole[0])), [0.5, 2.5, 5.5])


def features(start, end, pitch, u, seconds, guess, tonic):
    """[hypotheses, numbers] of what the linear score of a half bar looks at. u: onsets in comb periods, smoothed; seconds: a
    comb period's; guess: (ratio, phase); tonic: of the likely key."""
    n = len(start)
    ioi = intervals(start, end)
    mean = max(np.minimum(ioi, 4 * np.median(ioi)).mean(), 1e-6)
    r, phase = guess[:, :1], guess[:, 1:]
    v = (u[None] - phase) / r
    q = place(v)
    step = np.append(np.diff(u), ioi[-1] / seconds)[None] / r
    longs = np.digitize(step, [0.29, 0.42, 0.58, 0.8, 1.2, 1.8])
    previous = coarse(np.append(mean, ioi[:-1]) / mean)
    degree = (np.floor(pitch + 0.5).astype(int) - tonic) % 12
    H = len(guess)
    rows = np.arange(H)[:, None]

    def count(c, size):
        out = np.zeros((H, PLACES * size))
        np.add.at(out, (rows, q * size + c), 1.0 / n)
        return out

    period = r[:, 0] * seconds
    lines = np.maximum((u[-1] - u[0]) / r[:, 0], 1)
    onsets = n / lines
    a, b = np.log(period / 0.9), np.log(period / (3 * mean))
    parts = [count(coarse(ioi / mean)[None], 4), count(previous[None], 4), count(jumps(pitch)[None], 4), count(longs, 7)]
    on = np.zeros((H, 12))
    np.add.at(on, (rows, degree[None]), (q == 0) / n)
    parts.append(on)
    parts.append(np.stack([a, a * a, b, b * b, onsets, onsets * onsets], 1))
    share = [(q == k).sum(1) / lines for k in (0, 4, 3, 2)]
    parts.append(np.stack(share, 1))
    parts.append(np.eye(PLACES)[q[:, 0]])
    parts.append(np.eye(PLACES)[q[:, -1]])
    echoes = []
    for lag in (1, 2, 4):
        target = (u[None] + lag * r)
        k = np.clip(np.searchsorted(u, target), 1, n - 1)
        near = np.minimum(np.abs(u[k] - target), np.abs(u[k - 1] - target)) < 0.1 * r
        echoes.append(near.mean(1))
    parts.append(np.stack(echoes, 1))
    return np.concatenate(parts, 1)


def train(examples, l2=1.0, steps=150, rate=0.05, rare=1e-3):
    """Softmax over the hypotheses of each example (features [H, F], right [H]); several may be right. Features whose
    deviation is below `rare` get smaller weights."""
    X = np.concatenate([e[0] for e in examples]).astype(np.float32)
    right = np.concatenate([e[1] for e in examples])
    starts = np.cumsum([0] + [len(e[0]) for e in examples[:-1]])
    sizes = np.array([len(e[0]) for e in examples])
    mean, scale = X.mean(0), X.std(0) + rare
    X = (X - mean) / scale
    f = X.shape[1]
    w, m1, m2 = np.zeros(f), np.zeros(f), np.zeros(f)
    for step in range(steps):
        s = X @ w.astype(np.float32)
        s = np.exp(s - np.repeat(np.maximum.reduceat(s, starts), sizes))
        p = s / np.repeat(np.add.reduceat(s, starts), sizes)
        t = s * right
        t = t / np.repeat(np.add.reduceat(t, starts), sizes)
        g = X.T @ (t - p) - l2 * w
        m1 = 0.9 * m1 + 0.1 * g
        m2 = 0.99 * m2 + 0.01 * g * g
        w = w + (rate if step < steps * 0.7 else rate / 4) * (m1 / (1 - 0.9 ** (step + 1))) / (np.sqrt(m2 / (1 - 0.99 ** (step + 1))) + 1e-8)
    # What is the same for all hypotheses of every example has learned nothing but rounding errors.
    live = (np.maximum.reduceat(X, starts) - np.minimum.reduceat(X, starts)).max(0) > 1e-4
    return np.where(live, w / scale, 0)


BARS = [(n, j) for n in (1, 2, 3) for j in range(n)]  # half bars in a bar, and which of them is the bar line


def upbeat_features(start, end, pitch, tonic, half, bars):
    """[phases, 2 * numbers]: bar lines of a known metre whose upbeat is not known, at each twelfth of a half bar: what they
    make of its half bars, then of its bars. And the phases, in half bars."""
    phases = np.arange(12 * bars) / 12
    both = [features(start, end, pitch, start / half, half, np.stack([np.full(len(phases), r), phases], 1), tonic)
            for r in (1.0, float(bars))]
    return np.concatenate(both, 1), phases


class Pulse:
    """Half bars found: a map between seconds and half bars."""

    def __init__(self, start, end, pitch, tonic, weights=None):
        self.notes = (start, end, pitch)
        u, period = comb(start, end)
        self.knots, self.times = smooth(start, u, period)
        seconds = np.median(np.diff(self.times))
        self.u = self.at(start)
        self.guesses = hypotheses(seconds)
        self.features = features(start, end, pitch, self.u, seconds, self.guesses, tonic)
        if weights is not None:
            self.pick((self.features @ weights).argmax())

    def pick(self, k):
        """Takes a hypothesis; its phase is then moved to where the onsets near lines are on them, on average."""
        self.ratio, self.phase = self.guesses[k]
        for _ in range(2):
            halves = (self.u - self.phase) / self.ratio
            off = halves - np.floor(halves + 0.5)
            near = np.abs(off) < 0.12
            self.phase += off[near].mean() * self.ratio if near.any() else 0.0

    def bar_features(self, tonic):
        """What the bars of these half bars may be: [BARS, numbers], and hypotheses of their lines."""
        first = np.ceil(self.halves(self.notes[0][0]) - 0.15)
        guesses = np.array([(self.ratio * n, self.phase + (first + j) * self.ratio) for n, j in BARS])
        return features(*self.notes, self.u, np.median(np.diff(self.times)), guesses, tonic), guesses

    def pick_bars(self, k):
        """Counts half bars so that 0 is a bar line; finds whether half bars have three beats."""
        n, j = BARS[k]
        self.bars = n
        self.phase += (np.ceil(self.halves(self.notes[0][0]) - 0.15) + j) * self.ratio
        places = place(self.halves(self.notes[0]))
        self.beats = 3 if (places == 3).sum() > (places == 2).sum() + (places == 4).sum() else 2

    def at(self, t):
        """Comb periods at seconds; the ends go on as their last period did."""
        t = np.asarray(t, float)
        x, y = self.times, self.knots
        out = np.interp(t, x, y)
        out = np.where(t < x[0], y[0] + (t - x[0]) / (x[1] - x[0]), out)
        return np.where(t > x[-1], y[-1] + (t - x[-1]) / (x[-1] - x[-2]), out)

    def halves(self, t):
        return (self.at(t) - self.phase) / self.ratio

    def seconds(self, halves):
        u = np.asarray(halves) * self.ratio + self.phase
        x, y = self.knots, self.times
        out = np.interp(u, x, y)
        out = np.where(u < x[0], y[0] + (u - x[0]) * (y[1] - y[0]), out)
        return np.where(u > x[-1], y[-1] + (u - x[-1]) * (y[-1] - y[-2]), out)

    def coverage(self, k, true_lines, half):
        """How well a hypothesis' lines are the true ones: F measure within 0.15 of a half bar."""
        self.pick(k)
        return self.agreement((self.ratio, self.phase), true_lines, half)

    def agreement(self, guess, true_lines, half):
        r, phase = guess
        n = np.arange(np.ceil((self.u[0] - 0.15 - phase) / r), np.floor((self.u[-1] - phase) / r) + 1)
        if len(n) == 0 or len(true_lines) == 0:
            return 0.0
        lines = self.seconds((n * r + phase - self.phase) / self.ratio)
        i = np.searchsorted(lines, true_lines)
        d = np.minimum(np.abs(lines[np.clip(i, 0, len(lines) - 1)] - true_lines), np.abs(lines[np.clip(i - 1, 0, len(lines) - 1)] - true_lines))
        return 2 * (d < 0.15 * half).sum() / (len(true_lines) + len(lines))
