"""The chord tracker's model: a linear-chain conditional random field over the pieces of a melody.

J. Lafferty, A. McCallum, F. Pereira (2001), "Conditional random fields". Pieces are notes cut at half bars; states are
chords as (degree of the root, kind).
"""
import dataclasses

import numpy as np

from melody import tunes as T

CHUNK = 120


@dataclasses.dataclass
class Pieces:
    """A melody cut at half bars; times in half bars."""
    start: np.ndarray
    end: np.ndarray
    degree: np.ndarray    # above the tonic, 0..11
    position: np.ndarray  # 0 bar line, 1 half bar, 2 beat, 3 off the beat
    fresh: np.ndarray     # begins a note
    bar: np.ndarray       # counted from the first whole one
    duration_bin: np.ndarray
    previous_bin: np.ndarray
    interval_bin: np.ndarray
    rest: np.ndarray
    after: np.ndarray     # [pieces, 12]
    before: np.ndarray


def bin_of(x):
    return np.digitize(x, [0.6, 1.3, 2.4])


def cut(start, end, pitch, tonic, beats, bars, grid):
    """Notes to pieces. Times are in half bars, 0 a bar line; `beats` in a half bar (1: compound, none inside), `bars` half
    bars in a bar, `grid` how far from a line an onset still counts as on it."""
    n = len(start)
    gap = np.diff(start)
    stop = np.append(np.minimum(end[:-1], start[1:]), end[-1])
    ioi = np.append(gap, end[-1] - start[-1])
    mean = max(np.minimum(ioi, 4 * np.median(ioi)).mean(), 1e-6)
    whole = np.floor(pitch + 0.5).astype(int)
    interval = np.digitize(np.abs(np.diff(whole, prepend=whole[0])), [0.5, 2.5, 5.5])
    rest = np.append(0, start[1:] - end[:-1]) > 0.3 * mean
    degree = (whole - tonic) % 12
    rows = []
    for i in range(n):
        at, fresh = start[i], 1
        while True:
            nearest = np.floor(at + 0.5)
            line = nearest + 1 if at >= nearest - grid else nearest
            last = line >= stop[i] - grid
            rows.append((at, stop[i] if last else line, i, fresh))
            if last:
                break
            at, fresh = line, 0
    rows = np.array(rows)
    at, to, note, fresh = rows[:, 0], rows[:, 1], rows[:, 2].astype(int), rows[:, 3].astype(int)
    nearest = np.floor(at + 0.5)
    on = np.abs(at - nearest) < grid
    position = np.where(on, np.where(nearest % bars == 0, 0, 1), 3)
    if beats > 1:
        position = np.where(~on & (np.abs(at * beats - np.floor(at * beats + 0.5)) < 0.2), 2, position)
    lines = np.floor(at + grid).astype(int)
    # Bars are counted from the first whole one.
    bar = np.floor_divide(lines, bars)
    into = start[0] - bar[0] * bars
    bar = bar - bar[0] - (1 if into >= bars / 2 else 0)
    width = 4 * mean
    total = np.zeros((n + 1, 12))
    total[np.arange(n) + 1, degree] = np.maximum(stop - start, 0)
    total = total.cumsum(axis=0)

    def sung_until(t):
        k = np.searchsorted(start, t, side="right") - 1
        out = total[np.maximum(k, 0)].copy()
        ok = np.flatnonzero(k >= 0)
        k = k[ok]
        out[ok, degree[k]] += np.clip(t[ok] - start[k], 0, np.maximum(stop[k] - start[k], 0))
        return out

    after = (sung_until(to + width) - sung_until(to)) / width
    before = (sung_until(at) - sung_until(at - width)) / width
    previous = np.append(mean, gap)
    return Pieces(at, to, degree[note], position, fresh, bar, bin_of(ioi[note] / mean), bin_of(previous[note] / mean),
                  interval[note], rest[note].astype(int), after, before)


PHRASE = 8  # bars after which the place in a phrase repeats


def numbers(p):
    """What the emission (first) and the change score (second) are linear in. Tables are written in this order."""
    strength = np.array([0, 0, 1, 2])[p.position]
    emission = [one_hot(strength * 12 + p.degree, 36), p.after, p.before]
    change = [np.ones((len(p.start), 1)), one_hot(p.position, 4), one_hot(p.position * 2 + p.fresh, 8),
              one_hot(p.duration_bin, 4), one_hot(p.previous_bin, 4), one_hot(p.duration_bin * 4 + p.previous_bin, 16),
              one_hot(p.interval_bin, 4), p.rest[:, None]]
    emission.append(one_hot(p.bar % PHRASE, PHRASE))
    change.append(one_hot(p.bar % PHRASE * 4 + p.position, 4 * PHRASE))
    return np.concatenate(emission, 1), np.concatenate(change, 1)


def one_hot(values, size):
    out = np.zeros((len(values), size))
    out[np.arange(len(values)), values] = 1
    return out


def state_label(chord, tonic):
    return ((chord[1] - tonic) % 12, T.KINDS.get(chord[2]))


def label_at(chords, time):
    """Index of the chord sounding at a time, -1 before the first."""
    return np.searchsorted(np.array([c[0] for c in chords]), np.asarray(time) + 1e-6, side="right") - 1


class Model:
    def __init__(self, states, features, changes):
        s = len(states)
        self.states = states
        self.parts = {"emission": (features, s), "change": (changes,), "transition": (s, s), "start": (s,), "end": (s,)}
        self.value = {k: np.zeros(shape) for k, shape in self.parts.items()}
        self.prior = {k: np.zeros(shape) for k, shape in self.parts.items()}


def pack(sequences, states):
    """sequences: list of (X [n, F], H [n, G], allowed [n, S]); cut to chunks, padded."""
    chunks = []
    for x, h, allowed in sequences:
        n = len(x)
        count = max(1, -(-n // CHUNK))
        edges = np.linspace(0, n, count + 1).astype(int)
        for a, b in zip(edges[:-1], edges[1:]):
            chunks.append((x[a:b], h[a:b], allowed[a:b], a == 0, b == n))
    length = max(len(c[0]) for c in chunks)
    size = len(chunks)
    f, g, s = chunks[0][0].shape[1], chunks[0][1].shape[1], chunks[0][2].shape[1]
    X = np.zeros((length, size, f), dtype=np.float32)
    H = np.zeros((length, size, g), dtype=np.float32)
    A = np.ones((length, size, s), dtype=bool)
    mask = np.zeros((length, size), dtype=bool)
    first = np.array([c[3] for c in chunks])
    last = np.array([c[4] for c in chunks])
    n = np.array([len(c[0]) for c in chunks])
    for i, c in enumerate(chunks):
        X[: n[i], i], H[: n[i], i], A[: n[i], i] = c[0], c[1], c[2]
        mask[: n[i], i] = True
    return X, H, A, mask, first, last, n


def forward_backward(obs, ec, mask, off, diag, start, end):
    """Scaled; obs [L, B, S] positive. Returns what is expected of each piece, and what pairs of pieces need."""
    L, B, S = obs.shape
    alpha = np.empty_like(obs)
    beta = np.empty_like(obs)
    scale = np.ones((L, B), dtype=obs.dtype)
    a = obs[0] * start
    z = a.sum(1)
    alpha[0] = a / z[:, None]
    scale[0] = z
    for j in range(1, L):
        a = alpha[j - 1] @ off
        a *= ec[j][:, None]
        a += alpha[j - 1] * diag
        a *= obs[j]
        z = a.sum(1)
        if mask[j].all():
            scale[j] = z
            np.divide(a, z[:, None], out=alpha[j])
        else:
            scale[j] = np.where(mask[j], z, 1)
            alpha[j] = np.where(mask[j][:, None], a / scale[j][:, None], alpha[j - 1])
    beta[-1] = end / (alpha[-1] * end).sum(1)[:, None]
    back = np.ascontiguousarray(off.T)
    for j in range(L - 1, 0, -1):
        o = obs[j] * beta[j]
        o /= scale[j][:, None]
        b = o @ back
        b *= ec[j][:, None]
        b += o * diag
        beta[j - 1] = b if mask[j].all() else np.where(mask[j][:, None], b, beta[j])
    return alpha * beta, alpha, beta, scale


def train(model, data, l2, steps=80, rates=(0.12, 0.036)):
    """Maximum conditional likelihood by Adam (D. Kingma, J. Ba 2015), the whole set at each step. `l2` pulls every number
    towards its prior. Pieces with more than one state allowed are left open."""
    X, H, A, mask, first, last, n = data
    L, B, S = A.shape
    f4 = np.float32
    p = model.value
    moment = {k: (np.zeros_like(v), np.zeros_like(v)) for k, v in p.items()}
    flatX, flatH = X.reshape(L * B, -1), H.reshape(L * B, -1)
    eye = np.eye(S, dtype=bool)
    # Chunks whose labels are all known need no sums over what the labels may be.
    known = ((A.sum(2) == 1) | ~mask).all(0)
    fixed = np.where(mask[..., None], A, False)[:, known].astype(f4)
    open_ = np.flatnonzero(~known)
    fixed_pairs = (fixed[:-1].reshape(-1, S).T @ fixed[1:].reshape(-1, S)).astype(float)
    fixed_changes = (mask[1:, known] - (fixed[:-1] * fixed[1:]).sum(2)).astype(f4)
    A_open = A[:, open_]
    tail = (n - 1, np.arange(B))
    for step in range(steps):
        em = (flatX @ p["emission"].astype(f4)).reshape(L, B, S)
        em -= em.max(2, keepdims=True)
        obs = np.exp(em)
        ec = np.exp((flatH @ p["change"].astype(f4)).reshape(L, B))
        off = np.where(eye, 0, np.exp(p["transition"])).astype(f4)
        diag = np.exp(np.diag(p["transition"])).astype(f4)
        start = np.where(first[:, None], np.exp(p["start"]), 1.0).astype(f4)
        end = np.where(last[:, None], np.exp(p["end"]), 1.0).astype(f4)

        def expect(o, e, m, st, en):
            gamma, alpha, beta, scale = forward_backward(o, e, m, off, diag, st, en)
            right = o[1:] * beta[1:]
            right /= scale[1:][..., None]
            right *= m[1:, :, None]
            stay = alpha[:-1] * right
            stay *= diag
            changed = m[1:] - stay.sum(2)
            right *= e[1:, :, None]
            pairs = off * (alpha[:-1].reshape(-1, S).T @ right.reshape(-1, S))
            return gamma, pairs + np.diag(stay.sum((0, 1))), changed

        gamma, pairs, changed = expect(obs, ec, mask, start, end)
        diff, changes = -gamma, -changed
        diff[:, known] += fixed
        changes[:, known] += fixed_changes
        pairs = fixed_pairs - pairs
        if len(open_):
            g2, p2, c2 = expect(np.where(A_open, obs[:, open_], f4(1e-30)), ec[:, open_], mask[:, open_], start[open_], end[open_])
            diff[:, open_] += g2
            changes[:, open_] += c2
            pairs += p2
        diff *= mask[..., None]
        grad = {"emission": flatX.T @ diff.reshape(L * B, S), "start": (diff[0] * first[:, None]).sum(0),
                "end": (diff[tail] * last[:, None]).sum(0), "transition": pairs, "change": flatH[B:].T @ changes.reshape(-1)}
        rate = rates[0] if step < steps * 0.6 else rates[1]
        for k in p:
            g = grad[k] - l2 * (p[k] - model.prior[k])
            m1, m2 = moment[k]
            m1 *= 0.9
            m1 += 0.1 * g
            m2 *= 0.99
            m2 += 0.01 * g * g
            p[k] = p[k] + rate * (m1 / (1 - 0.9 ** (step + 1))) / (np.sqrt(m2 / (1 - 0.99 ** (step + 1))) + 1e-8)
    return model


def scores(model, x, h):
    return x @ model.value["emission"], h @ model.value["change"]


def posterior(model, x, h):
    em, ch = scores(model, x, h)
    t = model.value["transition"]
    S = len(t)
    off = np.where(np.eye(S, dtype=bool), 0, np.exp(t))
    obs = np.exp(em - em.max(1, keepdims=True))[:, None]
    n = len(x)
    gamma = forward_backward(obs, np.exp(ch)[:, None], np.ones((n, 1), bool), off, np.exp(np.diag(t)),
                             np.exp(model.value["start"])[None], np.exp(model.value["end"])[None])[0]
    return gamma[:, 0]


def decode(model, x, h):
    """The state of each piece: of the likeliest root the likeliest kind. Choosing each piece's root by its posterior (minimum
    Bayes risk) is right more often than the one best path; the change score keeps it from flickering."""
    g = posterior(model, x, h)
    root = np.zeros((len(x), 12))
    for s, state in enumerate(model.states):
        root[:, state[0]] += g[:, s]
    same = np.array([s[0] for s in model.states])[None] == root.argmax(1)[:, None]
    return np.where(same, g, -1).argmax(1), g


def states_of(labelled, share):
    """States over a share of the labelled time, most frequent first. labelled: (labels, durations)."""
    time = {}
    for labels, durations in labelled:
        for label, duration in zip(labels, durations):
            if label is not None and label[1] is not None:
                time[label] = time.get(label, 0.0) + duration
    total = sum(time.values())
    return sorted((s for s in time if time[s] > share * total), key=lambda s: (-time[s], s))


def learn(examples, l2=8.0, share=0.004, steps=80):
    """examples: (numbers for emission, for change, labels, durations) of each melody of one mode."""
    states = states_of([e[2:] for e in examples], share)
    index = {s: i for i, s in enumerate(states)}
    sequences = []
    for x, h, labels, _ in examples:
        allowed = np.zeros((len(x), len(states)), dtype=bool)
        for j, label in enumerate(labels):
            allowed[j, index[label] if label in index else slice(None)] = True
        sequences.append((x, h, allowed))
    model = Model(states, sequences[0][0].shape[1], sequences[0][1].shape[1])
    return train(model, pack(sequences, len(states)), l2, steps)


def rounded(model):
    """As the tables hold it: tenths in a signed byte."""
    for k, v in model.value.items():
        model.value[k] = np.clip(np.floor(v * 10 + 0.5), -127, 127) / 10
    return model


def judge(tune, found):
    """found: (time, root pitch class, kind) in quarter notes. Sung time under a human chord, of it with the right root,
    with the right triad too; changes found and human; bars."""
    times = sorted({c[0] for c in tune.chords} | {f[0] for f in found})
    htime = np.array([c[0] for c in tune.chords])
    ftime = np.array([f[0] for f in found])
    stop = np.minimum(tune.end, np.append(tune.start[1:], np.inf))
    total = root = triad = 0.0
    times = np.array(times)
    for a, b in zip(tune.start, stop):
        inside = times[(times > a) & (times < b)]
        for u, v in zip(np.append(a, inside), np.append(inside, b)):
            i = np.searchsorted(htime, u + 1e-6, side="right") - 1
            if i < 0:
                continue
            j = max(np.searchsorted(ftime, u + 1e-6, side="right") - 1, 0)
            total += v - u
            if len(found) and found[j][1] == tune.chords[i][1]:
                root += v - u
                if T.TRIAD_OF_KIND[found[j][2]] == T.TRIADS.get(tune.chords[i][2]):
                    triad += v - u
    changed = sum((a[1], a[2]) != (b[1], b[2]) for a, b in zip(found[:-1], found[1:]))
    human = sum(a[1:] != b[1:] for a, b in zip(tune.chords[:-1], tune.chords[1:]))
    bars = (tune.end[-1] - tune.start[0]) / T.METERS[tune.meter][0]
    return total, root, triad, changed, human, bars
