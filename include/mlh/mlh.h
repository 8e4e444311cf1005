/* mlh: vocal harmony from one sung line.
 *
 * This header is the whole C interface. It compiles as C11 and as C++.
 *
 * The library works offline on a recording in the host's memory:
 *
 *     void* mlh;
 *     mlhCreateInstance(&mlh);
 *     mlhAssignInputData32(mlh, samples, frames, channels, sampleRate);   analyses everything
 *     mlhSetParams(mlh, true, 4, 1, 0.5f, 0, false);                      four voices in C major
 *     mlhSetChordVector(mlh, chords);                                     optional
 *     mlhProcessOutputData16(mlh, out, frames, channels, NULL);           renders the mix
 *     mlhDestroyInstance(&mlh);
 *
 * State. Each function says in brackets what it needs: [any], [created], [assigned] (the input is
 * analysed) or [parameters set]. There is no way back: a second assignment changes the samples that
 * are read, but keeps the analysis of the first.
 *
 * Memory. The host owns the samples and keeps them unchanged and valid until it destroys the instance
 * or assigns others. Vectors are handed out as new objects that the host disposes of; the library
 * never keeps a pointer to one.
 *
 * Threads. An instance belongs to one thread at a time; different instances are independent. The two
 * version texts and the debug callback are shared by all and unguarded.
 *
 * Floating point. Rounding, denormals and traps may be set as the host likes: the calls compute alike, and
 * leave them as they were.
 *
 * Units. Times are seconds, pitches are on the MIDI scale (69 is A4 at 440 Hz, fractions allowed, -1
 * means no note), samples are floats near -1 to 1 or 16-bit integers.
 *
 * Errors. Functions with a status answer one of the codes below. Getters answer a neutral value
 * instead. When memory runs out the C++ exception std::bad_alloc passes through to the host.
 */
#ifndef MLH_MLH_H
#define MLH_MLH_H

#include <stdbool.h>
#include <stdint.h>

/* A host of mlh.dll may define MLH_SHARED: calls then take no detour through the import library. */
#if defined(_WIN32) && defined(MLH_SHARED)
#define MLH_EXPORT __declspec(dllimport)
#elif defined(__GNUC__) && !defined(_WIN32)
#define MLH_EXPORT __attribute__((visibility("default")))
#else
#define MLH_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Status codes. */
enum {
    MLH_OK = 0,           /* success */
    MLH_FAILED = 1,       /* something inside could not be built, or an edit does not fit */
    MLH_BAD_ARGUMENT = 2, /* value out of range, vector missing, vector of the wrong length */
    MLH_NOT_READY = 3,    /* no instance, or no input assigned yet */
    MLH_VOICE_REFUSED = 4 /* a voice refused a parameter */
};

/* One note of a pitch vector. */
typedef struct PitchItem {
    float start;    /* [s] from the start of the recording */
    float pitch;    /* [MIDI note number], fractions allowed; -1 means no note */
    float duration; /* [s] */
    float level;    /* loudness: mean root-mean-square value, about 0 to 1; or a velocity over 127 */
} PitchItem;

/* One chord of a chord vector; it holds until the next one. */
typedef struct ChordItem {
    float time;       /* [s] */
    int32_t notes[4]; /* MIDI note numbers, unused slots at the end as -1 */
} ChordItem;

typedef struct PitchVector PitchVector; /* a melody line: time-ordered PitchItems */
typedef struct ChordVector ChordVector; /* time-ordered ChordItems */

/* Receives a text from the library; further arguments are not defined. */
typedef void (*MlhDebugMessageCallback)(const char* message, ...);

/* ---- Version and debugging ------------------------------------------------------------------ */

/* Version of the core, four numbers with dots between. The text is a static buffer, made again by
   each call.                                                                                [any] */
MLH_EXPORT const char* mlGetVersionString(void);

/* Version of the harmony library, three numbers. Static buffer as above.                    [any] */
MLH_EXPORT const char* mlhGetVersionString(void);

/* Stores a callback for the whole process and calls it once with "hello". Returns 0; a null callback
   is ignored.                                                                               [any] */
MLH_EXPORT int32_t mlhAssignDebugMessageCallback(MlhDebugMessageCallback callback);

/* ---- Instance ------------------------------------------------------------------------------- */

/* Creates an instance. Returns 0 and stores the handle (null when there was no memory), or 2 for a
   null outHandle.                                                                           [any] */
MLH_EXPORT int32_t mlhCreateInstance(void** outHandle);

/* Destroys the instance and clears *inOutHandle. Returns 0; 3 for a null handle.        [created] */
MLH_EXPORT int32_t mlhDestroyInstance(void** inOutHandle);

/* Sets how the voices are made. Nothing sounds different until the next mlhSetChordVector,
   mlhSetPitchVector or MIDI chord.

   autoHarmony  true: the voices follow from chords, or without any from the melody.
                false (manual mode): the host sets them by mlhSetPitchVector or mlhAssignMidi
   voices       rendered voices, the lead's own line among them: 2 to 4, in manual mode 1 to 4
   voicesAbove  harmony voices above the lead, 0 to 3; initially 1; another value is ignored
   spread       how widely the voices are set, 0 to 1; initially 0.5; another value is ignored
   keyRoot      pitch class of the tonic, 0 is C (reduced by % 12). The analysis finds a key by
                itself, but this call always replaces it
   keyIsMinor   minor instead of major
   returns      0; 2 for a number of voices out of range, with nothing changed; 3       [assigned] */
MLH_EXPORT int32_t mlhSetParams(void* handle, bool autoHarmony, int32_t voices, int32_t voicesAbove,
                                float spread, int32_t keyRoot, bool keyIsMinor);

/* ---- Audio ---------------------------------------------------------------------------------- */

/* Assigns the recording and, the first time, analyses all of it before returning.

   samples     frames * channels interleaved samples; not copied, must stay valid. Null is silence.
               16-bit samples are divided by 37268, so full scale reads as about 0.88
   frames      length; below 0 counts as 0
   channels    1 or 2 (up to 47 can be analysed, but then nothing can be rendered)
   sampleRate  [Hz] from 11025, below 256000
   returns     0, or 3 for a null handle. A refused format answers 0 too: later calls then answer 3
                                                                                        [created] */
MLH_EXPORT int32_t mlhAssignInputData16(void* handle, const int16_t* samples, int32_t frames,
                                        int32_t channels, int32_t sampleRate);
MLH_EXPORT int32_t mlhAssignInputData32(void* handle, const float* samples, int32_t frames, int32_t channels,
                                        int32_t sampleRate);
/* Another name of mlhAssignInputData16. */
MLH_EXPORT int32_t mlhAssignInputData(void* handle, const int16_t* samples, int32_t frames, int32_t channels,
                                      int32_t sampleRate);

/* Renders the lead and all voices into one interleaved 16-bit stream. Each call starts at frame 0 of
   the recording, but the voices go on where the last call stopped: ask for everything in one call.

   out       frames * channels samples, owned by the caller, written whole; saturated at +-32767
   frames    0 or less writes nothing; after the end of the recording comes silence
   channels  1 or 2, the same as the recording's
   gains     linear gains [5][2], row 0 the dry lead, row v voice v; column per channel (mono uses
             column 0). Null: 0.5 0.5 / 0.5 0 / 0 0.5 / 0.3 0.2 / 0.2 0.3
   returns   0; 2 for a null out or wrong channels, with nothing written; 3             [assigned] */
MLH_EXPORT int32_t mlhProcessOutputData16(void* handle, int16_t* out, int32_t frames, int32_t channels,
                                          const double* gains);
/* Another name of mlhProcessOutputData16. */
MLH_EXPORT int32_t mlhProcessOutputData(void* handle, int16_t* out, int32_t frames, int32_t channels,
                                        const double* gains);

/* Renders each voice unmixed, without the dry lead. out has one pointer for each voice that
   mlhSetParams asked for, each to frames * channels floats. With one channel each voice comes out
   whole. With two channels the blocks of 4096 frames are interleaved within but advance by frames
   only, so that each overwrites the second half of the one before: use mono, or the class interface
   in addon.h, for stereo stems.
   Returns 0, 2 or 3 as above.                                                  [parameters set] */
MLH_EXPORT int32_t mlhProcessOutputData32(void* handle, float** out, int32_t frames, int32_t channels);

/* ---- Pitch vectors -------------------------------------------------------------------------- */

/* A new empty vector, to be disposed of by the host; null when there is no memory.          [any] */
MLH_EXPORT PitchVector* mlhGetNewPitchVector(void);

/* Frees a vector. Returns false for null.                                                   [any] */
MLH_EXPORT bool mlhDisposePitchVector(PitchVector* vector);

/* Number of items, -1 for null.                                                             [any] */
MLH_EXPORT int32_t mlhPitchVectorGetTotal(const PitchVector* vector);

/* A copy of an item; all fields 0 for a null vector or an index out of range.               [any] */
MLH_EXPORT PitchItem mlhPitchVectorGetItem(const PitchVector* vector, uint32_t index);

/* Changes the pitch of an item; its other fields stay. False for null or out of range.      [any] */
MLH_EXPORT bool mlhPitchVectorSetItem(PitchVector* vector, uint32_t index, PitchItem item);

/* Inserts an item by its start, after items with the same start. False for null.            [any] */
MLH_EXPORT bool mlhPitchVectorAddItem(PitchVector* vector, PitchItem item);

/* A new vector with each note stretched or cut to reach the next (legato other than 0), and all
   levels replaced by velocity / 127 where velocity is not 0. With legato 0 the items are all zero.
   Null for null.                                                                            [any] */
MLH_EXPORT PitchVector* mlhPitchVectorAdjust(const PitchVector* vector, uint8_t legato, uint8_t velocity);

/* The pitches of a voice as a new vector, one item per segment: voice 0 is the lead as detected, 1 to
   4 the voices as rendered (in the automatic modes voice 1 is the lead's own line). legato and
   velocity, unless both are 0, apply mlhPitchVectorAdjust. Empty before there is a harmony; null for
   a voice above 4.                                                                     [assigned] */
MLH_EXPORT PitchVector* mlhGetPitchVector(void* handle, uint32_t voice, uint8_t legato, uint8_t velocity);

/* Sets the pitches of a voice, 1 to 4, in the manual mode; -1 mutes a segment. The vector must have
   as many items as the lead's, and only their pitches are used. In the automatic modes it answers 0
   and is not heard. Returns 0, 2 or 3.                                                 [assigned] */
MLH_EXPORT int32_t mlhSetPitchVector(void* handle, int32_t voice, const PitchVector* vector);

/* ---- Chord vectors and MIDI ----------------------------------------------------------------- */

/* A new empty vector, to be disposed of by the host; null when there is no memory.          [any] */
MLH_EXPORT ChordVector* mlhGetNewChordVector(void);

/* Frees a vector. Returns false for null.                                                   [any] */
MLH_EXPORT bool mlhDisposeChordVector(ChordVector* vector);

/* Number of items, -1 for null.                                                             [any] */
MLH_EXPORT int32_t mlhChordVectorGetTotal(const ChordVector* vector);

/* A copy of an item; all zero (notes too) for a null vector or an index out of range.       [any] */
MLH_EXPORT ChordItem mlhChordVectorGetItem(const ChordVector* vector, uint32_t index);

/* Inserts a chord by its time, after chords of the same time. False for null.               [any] */
MLH_EXPORT bool mlhChordVectorAddItem(ChordVector* vector, ChordItem item);

/* Gives the automatic modes their chords: three or four different pitches each, of which the root
   counts and the number; the tones are those of the key's scale. A chord holds for the note that its
   time lies inside of and those after it; a chord change within a note splits it. Call it once for
   all chords. A time in a rest, or exactly on the start of a note, is inside of no note: such a chord
   counts from the first note on, so add a millisecond to the start of the note it is meant for
   (mlhGetPitchVector gives the starts).
   Returns 0; 2 for a null or empty vector, or in the manual mode; 3.                   [assigned] */
MLH_EXPORT int32_t mlhSetChordVector(void* handle, const ChordVector* vector);

/* Turns notes, possibly overlapping, into the sequence of note sets that sound, one chord per start
   or end (times within 0.01 s are one), at most four notes at once. A new vector, to be disposed of
   by mlhDisposeChordVector; null for null.                                                  [any] */
MLH_EXPORT ChordVector* pitchVectorToChordVector(const PitchVector* notes);

/* Appends notes to the queue that drives the voices of the manual mode during process calls: the
   note in slot 0 of each set drives voice 1, and so on; an empty slot mutes. Each process call walks
   the queue from its front, and a set whose time is before the frame it has reached holds up the rest:
   assign notes in the order of time. The queue lasts as long as the instance. False for null.
                                                                                        [created] */
MLH_EXPORT bool mlhAssignMidi(void* handle, const PitchVector* notes);

#ifdef __cplusplus
}
#endif

#endif
