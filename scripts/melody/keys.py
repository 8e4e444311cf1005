"""The key finder's model: a softmax over 24 keys of 108 numbers relative to each tonic, and a bias, per mode."""
import numpy as np

SIZE = 108
ARRIVALS = (5, 1, 2, -1, -2)  # a fourth up or a fifth down, as a dominant's root falls; steps up and down


def features(pitch, duration):
    """[24, 2 * (SIZE + 1)]: for each key (tonic + 12 * minor) its numbers, at the mode's place. Pitches are semitones
    free of tuning; one further than a quarter of a semitone from a whole one counts for both neighbours."""
    pitch = np.asarray(pitch, float)
    whole = np.floor(pitch + 0.5).astype(int)
    off = pitch - whole
    share = np.clip(2 * (np.abs(off) - 0.25), 0, 0.5)
    tones = np.zeros((len(pitch), 12))
    np.add.at(tones, (np.arange(len(pitch)), whole % 12), 1 - share)
    np.add.at(tones, (np.arange(len(pitch)), (whole + np.where(off > 0, 1, -1)) % 12), share)
    tail = max(1, -(-len(pitch) // 8))
    parts = [duration @ tones, tones[0], tones[-1], duration[-tail:] @ tones[-tail:]]
    parts = [v / max(v.sum(), 1e-12) for v in parts]
    parts += [arrivals(whole, duration, interval) for interval in ARRIVALS]
    out = np.zeros((24, 2 * (SIZE + 1)))
    for tonic in range(12):
        x = np.concatenate([np.roll(v, -tonic) for v in parts] + [[1.0]])
        out[tonic, : SIZE + 1] = x
        out[tonic + 12, SIZE + 1:] = x
    return out


def arrivals(whole, duration, interval):
    """How often each pitch class is come to by an interval (a step as it is, others whatever the octave), longer notes
    counting for more; a share of the notes."""
    step = np.diff(whole)
    come = np.flatnonzero((step if abs(interval) < 3 else step % 12) == interval) + 1
    weight = np.zeros(12)
    np.add.at(weight, whole[come] % 12, np.minimum(duration[come] / max(np.median(duration), 1e-12), 3))
    return weight / len(whole)


def free_of_tuning(pitch, duration):
    """Pitches less the duration-weighted circular mean of their distance from whole semitones."""
    angle = 2 * np.pi * (pitch % 1)
    return pitch - np.arctan2((duration * np.sin(angle)).sum(), (duration * np.cos(angle)).sum()) / (2 * np.pi)


def sing(random, pitch, duration):
    """The study's singing noise: +-40 cents of tuning, 30 cents a note, 10 % split, 5 % octave, 5 % semitone."""
    split = random.random(len(pitch)) < 0.1
    times = np.where(split, 2, 1)
    pitch = np.repeat(np.asarray(pitch, float), times)
    duration = np.repeat(duration / times, times)
    n = len(pitch)
    pitch = pitch + np.where(random.random(n) < 0.05, random.choice([-12, 12], n), 0)
    pitch = pitch + np.where(random.random(n) < 0.05, random.choice([-1, 1], n), 0)
    return pitch + random.normal(0, 0.3, n) + random.uniform(-0.4, 0.4), duration


def train(examples, l2=0.05, steps=300, rate=0.05):
    """examples: (features, key index, weight)."""
    X = np.array([e[0] for e in examples], dtype=np.float32)
    y = np.array([e[1] for e in examples])
    weight = np.array([e[2] for e in examples], dtype=np.float32)
    n, f = len(X), X.shape[2]
    w = np.zeros(f)
    m1, m2 = np.zeros(f), np.zeros(f)
    flat = X.reshape(n * 24, f)
    for step in range(steps):
        s = (flat @ w.astype(np.float32)).reshape(n, 24)
        s = np.exp(s - s.max(1, keepdims=True))
        s /= s.sum(1, keepdims=True)
        d = -s
        d[np.arange(n), y] += 1
        d *= weight[:, None]
        g = flat.T @ d.reshape(-1) - l2 * w
        m1 = 0.9 * m1 + 0.1 * g
        m2 = 0.99 * m2 + 0.01 * g * g
        w = w + (rate if step < 200 else rate / 4) * (m1 / (1 - 0.9 ** (step + 1))) / (np.sqrt(m2 / (1 - 0.99 ** (step + 1))) + 1e-8)
    return w


def posterior(w, x):
    s = x @ w
    s = np.exp(s - s.max())
    return s / s.sum()
