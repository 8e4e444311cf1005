/* mlh choir: a choir of one singer, for hosts of any language.
 *
 * This header is the whole C interface of the choir library. It compiles as C11 and as C++. The library
 * stands on its own: it has the core of mlh.h inside and shares nothing with it.
 *
 *     mlhTake* take;
 *     mlhChoir* choir;
 *     mlhTakeCreate(&take, samples, frames, 1, 44100, NULL, NULL);                  analyses everything
 *     mlhChoirCreate(&choir, take, "{\"chords\": \"0 C, 2.5 Am\"}", NULL, NULL);
 *     mlhChoirRenderMix(choir, 0, frames, 2, mix, NULL, NULL);                      as often as you like
 *     mlhChoirDestroy(&choir);
 *     mlhTakeDestroy(&take);
 *
 *     mlhTakeCreate(&take, samples, frames, 1, 8000, NULL, NULL);          MLH_CHOIR_ARGUMENT: the rate
 *     mlhChoirCreate(&choir, take, "{\"voics\": 3}", NULL, NULL);          MLH_CHOIR_SETTINGS
 *     mlhChoirGetErrorText();      "settings: there is no setting 'voics'; did you mean 'voices'?"
 *
 * Three ideas, each a handle:
 *   a take    a recording of one voice, and what was sung in it: notes, pitch curve, marks, key, tuning
 *   a choir   a take with settings: who sings what, and its sound, for any stretch, again and again
 *   a score   notes of voices on beats, for MIDI, sheet music, tables and pictures
 *
 * State. Each function says in brackets what it needs: [any], [take], [choir] or [score] created. Nothing
 * is ever half made: a call that fails changes nothing that it was given, but for the counts that it says
 * it writes.
 *
 * Memory. Samples that a take is made of stay the host's, unchanged and valid, until the take is destroyed.
 * A take must outlive its choirs; scores stand alone. Arrays and texts are copied into the host's memory.
 *
 * How long is it? Functions that fill an array or a text take its capacity and always write the count that
 * there is. They fill as much as fits: ask with capacity 0 (and null) first, or with room enough at once.
 *
 * Threads. A take and its choirs belong to one thread at a time; different takes are independent. The text
 * of the last error is each thread's own.
 *
 * Units. Times are seconds on the recording's clock, positions are frames, pitches are on the MIDI scale
 * (69 is A4 at 440 Hz, fractions allowed), samples are floats, full scale is 1.
 *
 * Errors. Every function with a code answers one of those below, and for all but success there is a line of
 * text that says what to do. No C++ exception leaves the library, also when memory runs out.
 *
 * Documents. Settings and results are JSON with one schema, whose number is 2: see docs/documents.md.
 */
/* clang-format off: descriptions are set in columns. */
#ifndef MLH_CHOIR_H
#define MLH_CHOIR_H

#include <stdint.h>

/* A host of mlhchoir.dll may define MLH_CHOIR_SHARED: calls then take no detour through the import
   library. */
#if defined(_WIN32) && defined(MLH_CHOIR_SHARED)
#define MLH_CHOIR_EXPORT __declspec(dllimport)
#elif defined(__GNUC__) && !defined(_WIN32)
#define MLH_CHOIR_EXPORT __attribute__((visibility("default")))
#else
#define MLH_CHOIR_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Codes --------------------------------------------------------------------------------- */

enum {
    MLH_CHOIR_OK = 0,        /* success */
    MLH_CHOIR_ARGUMENT = 1,  /* a handle or pointer is null, or a number is out of range */
    MLH_CHOIR_SETTINGS = 2,  /* a document cannot be read, or asks for what does not exist */
    MLH_CHOIR_FAILED = 3,    /* the take has nothing that this needs, or cannot be analysed */
    MLH_CHOIR_CANCELLED = 4, /* the progress callback asked for the end */
    MLH_CHOIR_MEMORY = 5     /* there is not enough memory */
};

/* One line of meaning for a code, static; for another number "unknown code".  [any] */
MLH_CHOIR_EXPORT const char* mlhChoirGetCodeText(int32_t code);

/* What was wrong with the last call of this thread that failed: one line, UTF-8, at most 511 bytes; empty
   before. Valid until the next failing call of this thread.  [any] */
MLH_CHOIR_EXPORT const char* mlhChoirGetErrorText(void);

/* Version of the library, three numbers ("1.0.4"), static.  [any] */
MLH_CHOIR_EXPORT const char* mlhChoirGetVersion(void);

/* Called during long work, on the caller's thread, with the share that is done, 0 to 1. Answers 0 to go on;
   another number ends the work with MLH_CHOIR_CANCELLED. It must not call the library with handles of this
   work. */
typedef int32_t (*mlhChoirProgress)(double share, void* user);

/* ---- Take ---------------------------------------------------------------------------------- */

typedef struct mlhTake mlhTake;

/* A note that was sung. */
typedef struct mlhTakeNote {
    double start; /* [s] */
    double end;   /* [s] */
    double pitch; /* [MIDI scale] as sung, fractions and all */
    double level; /* root of the mean energy, 0 to 1: 1 is the loudest point of the recording */
} mlhTakeNote;

/* A point of the pitch curve: there is one per period of the voice. */
typedef struct mlhTakePoint {
    double time;    /* [s] */
    double pitch;   /* [MIDI scale]; of no meaning where not voiced */
    double level;   /* as of notes */
    int32_t voiced; /* 0 or 1 */
    int32_t frame;  /* of the pitch mark that it was measured at */
} mlhTakePoint;

typedef struct mlhTakeInfo {
    int64_t frames;
    int32_t channels;
    int32_t sampleRate; /* [Hz] */
    int32_t notes;      /* how many were found */
    int32_t points;     /* of the pitch curve */
    int32_t key;        /* as the core found it: 0 to 11 major, 12 to 23 minor, 0 is C; -1 none */
    int32_t reserved;   /* 0 */
    double
        tuningCents; /* how far the singer is above the grid of A = 440 Hz, about -50 to 50; NaN for none */
} mlhTakeInfo;

/* Analyses a recording of one voice.
   samples     [frames * channels] interleaved, the host's, unchanged until the take is destroyed. What is
               not a number, or infinite, counts as what it is: such takes may have no notes
   frames      0 to 2^30
   channels    1 or 2, summed for the analysis
   sampleRate  [Hz] 11025 to 255999
   progress    may be null
   returns     0 and a take in *outTake; else *outTake is null: MLH_CHOIR_ARGUMENT, MLH_CHOIR_FAILED,
               MLH_CHOIR_CANCELLED, MLH_CHOIR_MEMORY  [any] */
MLH_CHOIR_EXPORT int32_t mlhTakeCreate(mlhTake** outTake, const float* samples, int64_t frames,
                                       int32_t channels, int32_t sampleRate, mlhChoirProgress progress,
                                       void* user);

/* Destroys *inOutTake, after its choirs, and clears it. MLH_CHOIR_ARGUMENT if it is NULL.  [take] */
MLH_CHOIR_EXPORT int32_t mlhTakeDestroy(mlhTake** inOutTake);

/* [take] */
MLH_CHOIR_EXPORT int32_t mlhTakeGetInfo(const mlhTake* take, mlhTakeInfo* outInfo);

/* Notes by time. `outNotes` has room for `capacity`, and may be null with 0.  [take] */
MLH_CHOIR_EXPORT int32_t mlhTakeGetNotes(const mlhTake* take, mlhTakeNote* outNotes, int32_t capacity,
                                         int32_t* outCount);

/* The pitch curve by time, with the pitch marks: one point per mark.  [take] */
MLH_CHOIR_EXPORT int32_t mlhTakeGetCurve(const mlhTake* take, mlhTakePoint* outPoints, int32_t capacity,
                                         int32_t* outCount);

/* Everything found as a document of kind "take", UTF-8 with a final 0. `outSize` counts bytes with it.
   withCurve   0 leaves the curve out, which is most of it  [take] */
MLH_CHOIR_EXPORT int32_t mlhTakeGetDocument(const mlhTake* take, int32_t withCurve, char* outText,
                                            int64_t capacity, int64_t* outSize);

/* ---- Choir --------------------------------------------------------------------------------- */

typedef struct mlhChoir mlhChoir;

/* What a voice is for. */
enum { MLH_PART_DOUBLING = 0, MLH_PART_ABOVE = 1, MLH_PART_BELOW = 2, MLH_PART_BASS = 3 };

typedef struct mlhChoirVoice {
    char name[64]; /* UTF-8, for people */
    int32_t part;  /* MLH_PART_ */
    int32_t notes; /* how many */
} mlhChoirVoice;

/* What a voice sings during a note of the lead, or a part of it. */
typedef struct mlhChoirNote {
    double start; /* [s] */
    double end;   /* [s] */
    double pitch; /* [MIDI scale] what sounds */
    double level; /* linear, 1 as the lead */
    int32_t note; /* MIDI number: what scores show; -1 rests */
    int32_t lead; /* index of the take's note that it is made from; -1 none */
} mlhChoirNote;

typedef struct mlhChoirChord {
    double time;   /* [s] it holds from here to the next one */
    char name[32]; /* UTF-8, as written or as a symbol */
    int32_t root;  /* pitch class, 0 is C; -1 no chord */
    int32_t bass;  /* pitch class; the root where no other was asked for; -1 no chord */
    int32_t tones; /* bit k: pitch class k belongs to it */
    int32_t reserved;
} mlhChoirChord;

/* Decides who sings what.
   settings  a settings document, UTF-8 with a final 0; null or "{}" for the defaults. Everything in it is
             optional; mlhChoirGetSettingsHelp lists it
   returns   0 and a choir in *outChoir; else *outChoir is null: MLH_CHOIR_ARGUMENT, MLH_CHOIR_SETTINGS with
             a text that names the place, MLH_CHOIR_FAILED, MLH_CHOIR_CANCELLED, MLH_CHOIR_MEMORY  [take] */
MLH_CHOIR_EXPORT int32_t mlhChoirCreate(mlhChoir** outChoir, mlhTake* take, const char* settings,
                                        mlhChoirProgress progress, void* user);

/* Destroys *inOutChoir and clears it. MLH_CHOIR_ARGUMENT if it is NULL.  [choir] */
MLH_CHOIR_EXPORT int32_t mlhChoirDestroy(mlhChoir** inOutChoir);

/* Other settings for the same choir, a whole document: what it leaves out has its default again. The
   recording is not analysed again, unless the style is not "choir" or the voices need a finer clock. On
   failure the choir stays as it was; after MLH_CHOIR_MEMORY set them once more. Codes as mlhChoirCreate.
   [choir] */
MLH_CHOIR_EXPORT int32_t mlhChoirSetSettings(mlhChoir* choir, const char* settings, mlhChoirProgress progress,
                                             void* user);

/* The settings in use with all defaults, as a document that mlhChoirCreate reads.  [choir] */
MLH_CHOIR_EXPORT int32_t mlhChoirGetSettings(const mlhChoir* choir, char* outText, int64_t capacity,
                                             int64_t* outSize);

/* A line for each setting: its name, what it does and what it may be. Static.  [any] */
MLH_CHOIR_EXPORT const char* mlhChoirGetSettingsHelp(void);

/* How many voices there are beside the lead: 1 to 4.  [choir] */
MLH_CHOIR_EXPORT int32_t mlhChoirGetVoiceCount(const mlhChoir* choir, int32_t* outCount);

/* voice  from 0. MLH_CHOIR_ARGUMENT for one that there is not.  [choir] */
MLH_CHOIR_EXPORT int32_t mlhChoirGetVoice(const mlhChoir* choir, int32_t voice, mlhChoirVoice* outVoice);
MLH_CHOIR_EXPORT int32_t mlhChoirGetVoiceNotes(const mlhChoir* choir, int32_t voice, mlhChoirNote* outNotes,
                                               int32_t capacity, int32_t* outCount);

/* The chords it sings to, where they change.  [choir] */
MLH_CHOIR_EXPORT int32_t mlhChoirGetChords(const mlhChoir* choir, mlhChoirChord* outChords, int32_t capacity,
                                           int32_t* outCount);

/* Everything decided as a document of kind "choir".  [choir] */
MLH_CHOIR_EXPORT int32_t mlhChoirGetDocument(const mlhChoir* choir, int32_t withCurve, char* outText,
                                             int64_t capacity, int64_t* outSize);

/* Renders a stretch; what lies past the end of the take is silent. Frame n of the result belongs to frame n
   of the take. Going on where the last call ended is cheapest. With style "choir" a stretch has the bits of
   the whole; the other styles place their grains again where a call does not go on.
   firstFrame  0 and up
   frames      0 to 2^30
   channels    of the mix, 1 or 2. With 1 each line has the level that it has in 2, but of "gains" the left
               ones
   outMix      [frames * channels] interleaved, written whole. Samples may be above full scale, unless the
               settings have "clip" "scale" or "limit": then the first call for so many channels renders the
               whole mix once more, to find its peaks, and a stretch has what the whole has
   returns     0, MLH_CHOIR_ARGUMENT, MLH_CHOIR_CANCELLED (what was rendered so far is written),
               MLH_CHOIR_MEMORY
  [choir] */
MLH_CHOIR_EXPORT int32_t mlhChoirRenderMix(mlhChoir* choir, int64_t firstFrame, int64_t frames,
                                           int32_t channels, float* outMix, mlhChoirProgress progress,
                                           void* user);

/* The same for one voice at its own loudness, with the take's channels: [frames * channels of the take]
   interleaved.
   voice  -1 is the lead as it was recorded, 0 the first voice  [choir] */
MLH_CHOIR_EXPORT int32_t mlhChoirRenderVoice(mlhChoir* choir, int32_t voice, int64_t firstFrame,
                                             int64_t frames, float* outSamples, mlhChoirProgress progress,
                                             void* user);

/* Everything in one pass: channel c of line l (0 is the lead, then the voices) goes to outRows[l * channels
   + c], where channels are the take's; each row has room for `frames` and may be null.
   outMix  [frames * mixChannels] interleaved; null leaves the mix out  [choir] */
MLH_CHOIR_EXPORT int32_t mlhChoirRenderAll(mlhChoir* choir, int64_t firstFrame, int64_t frames,
                                           float* const* outRows, int32_t mixChannels, float* outMix,
                                           mlhChoirProgress progress, void* user);

/* ---- Score --------------------------------------------------------------------------------- */

typedef struct mlhScore mlhScore;

/* A note on beats; beats are quarter notes. */
typedef struct mlhScoreNote {
    double onset;  /* [beats] */
    double length; /* [beats] */
    double start;  /* [s] */
    double end;    /* [s] */
    int32_t note;  /* MIDI number */
    int32_t lead;  /* index of the melody's note that it goes with; -1 none */
} mlhScoreNote;

/* The score of a choir: what it sings on the beats of its lead, in a metre and key that were found. It keeps
   nothing of the choir. Notes so short that they only lead to others are not in it.
   bpm  quarter notes a minute, 1 to 1000; 0: found in the notes  [choir] */
MLH_CHOIR_EXPORT int32_t mlhScoreCreateFromChoir(mlhScore** outScore, const mlhChoir* choir, double bpm);

/* Sets a written melody in voices, without a recording.
   melody    a document of kind "melody": {"notes": [{"onset_beats": 0, "length_beats": 1, "pitch_midi": 60,
             "chord": "C"}], "tempo": [{"beat": 0, "bpm": 96, "metre": "3/4"}], "key": "C major"}; all but
             the notes, and of these chords, is optional
   settings  as for choirs; the chords are those of the settings (in seconds of the melody's tempo), else
             those of the melody, else those that its notes suggest
   returns   0 and a score in *outScore; else *outScore is null: MLH_CHOIR_ARGUMENT, MLH_CHOIR_SETTINGS,
             MLH_CHOIR_FAILED, MLH_CHOIR_MEMORY  [any] */
MLH_CHOIR_EXPORT int32_t mlhScoreCreateFromMelody(mlhScore** outScore, const char* melody,
                                                  const char* settings);

/* Destroys *inOutScore and clears it. MLH_CHOIR_ARGUMENT if it is NULL.  [score] */
MLH_CHOIR_EXPORT int32_t mlhScoreDestroy(mlhScore** inOutScore);

MLH_CHOIR_EXPORT int32_t mlhScoreGetVoiceCount(const mlhScore* score, int32_t* outCount);

/* The notes of a voice by time, without rests.
   voice  -1 is the melody, 0 the first voice  [score] */
MLH_CHOIR_EXPORT int32_t mlhScoreGetNotes(const mlhScore* score, int32_t voice, mlhScoreNote* outNotes,
                                          int32_t capacity, int32_t* outCount);

/* Everything as a document of kind "score".  [score] */
MLH_CHOIR_EXPORT int32_t mlhScoreGetDocument(const mlhScore* score, char* outText, int64_t capacity,
                                             int64_t* outSize);

#ifdef __cplusplus
}
#endif

#endif
