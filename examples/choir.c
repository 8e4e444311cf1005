/* A choir in C: makes a lead of three notes, shows what was sung, and who sings what with two chords.
 *
 *     cc choir.c -lmlhchoir -lm -o choir && ./choir
 */
#include <math.h>
#include <mlh/choir.h>
#include <stdio.h>
#include <stdlib.h>

enum { RATE = 44100, NOTE = RATE * 3 / 5, FRAMES = 3 * NOTE };

/* Something like a voice: twelve harmonics of C4, E4 and D4. */
static void sing(float* samples) {
    const double pitches[] = {60.0, 64.0, 62.0};
    for (int i = 0; i < FRAMES; ++i) {
        const double seconds = (double)i / RATE;
        const double hertz = 440.0 * pow(2.0, (pitches[i / NOTE] - 69.0) / 12.0);
        const double left = (double)(NOTE - i % NOTE) / RATE;
        const double fade = fmin(1.0, fmin(left, (double)(i % NOTE) / RATE) / 0.03);
        double sum = 0.0;
        for (int harmonic = 1; harmonic <= 12; ++harmonic) {
            sum += sin(6.283185307179586 * harmonic * hertz * seconds) / harmonic;
        }
        samples[i] = (float)(0.2 * fade * sum);
    }
}

/* Progress for those who wait; another answer than 0 would end the work. */
static int32_t report(double share, void* user) {
    *(double*)user = share;
    return 0;
}

static int failed(const char* what) {
    fprintf(stderr, "%s: %s\n", what, mlhChoirGetErrorText());
    return 1;
}

int main(void) {
    static float samples[FRAMES];
    static float mix[2 * FRAMES];
    mlhTake* take = NULL;
    mlhChoir* choir = NULL;
    mlhScore* score = NULL;
    mlhTakeNote sung[16];
    int32_t count = 0;
    double share = 0.0;

    sing(samples);
    if (mlhTakeCreate(&take, samples, FRAMES, 1, RATE, report, &share) != MLH_CHOIR_OK) {
        return failed("take");
    }
    if (mlhTakeGetNotes(take, sung, 16, &count) != MLH_CHOIR_OK) {
        return failed("notes");
    }
    printf("%d notes were sung\n", count);

    if (mlhChoirCreate(&choir, take, "{\"voics\": 3}", NULL, NULL) == MLH_CHOIR_OK) {
        return 1;
    }
    printf("as expected: %s\n", mlhChoirGetErrorText());

    if (mlhChoirCreate(&choir, take,
                       "{\"style\": \"core\", \"voices\": 3, \"key\": \"C\", \"chords\": \"0 C, 1.2 G7\"}",
                       NULL, NULL) != MLH_CHOIR_OK) {
        return failed("choir");
    }
    int32_t voices = 0;
    mlhChoirGetVoiceCount(choir, &voices);
    for (int32_t v = 0; v < voices; ++v) {
        mlhChoirVoice voice;
        mlhChoirNote notes[16];
        mlhChoirGetVoice(choir, v, &voice);
        mlhChoirGetVoiceNotes(choir, v, notes, 16, &count);
        printf("%-20s", voice.name);
        for (int32_t n = 0; n < count && n < 16; ++n) {
            printf(" %d", notes[n].note);
        }
        printf("\n");
    }

    if (mlhChoirRenderMix(choir, 0, FRAMES, 2, mix, NULL, NULL) != MLH_CHOIR_OK) {
        return failed("mix");
    }
    float peak = 0.0f;
    for (int i = 0; i < 2 * FRAMES; ++i) {
        peak = fmaxf(peak, fabsf(mix[i]));
    }
    printf("the mix peaks at %.2f\n", peak);

    /* How long is the document? Then room for it. */
    int64_t size = 0;
    if (mlhScoreCreateFromChoir(&score, choir, 100.0) != MLH_CHOIR_OK) {
        return failed("score");
    }
    mlhScoreGetDocument(score, NULL, 0, &size);
    char* document = malloc((size_t)size);
    if (document == NULL) {
        return 1;
    }
    mlhScoreGetDocument(score, document, size, &size);
    printf("the score is a document of %d bytes\n", (int)size);
    free(document);

    mlhScoreDestroy(&score);
    mlhChoirDestroy(&choir);
    mlhTakeDestroy(&take);
    return share == 1.0 && voices == 3 && peak > 0.05f ? 0 : 1;
}
