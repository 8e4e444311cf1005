/* A host in C: reads a 16-bit WAV file, asks for four voices in C major, and writes the mix.
 *
 *     cc host.c -lmlh -o host && ./host lead.wav choir.wav
 */
#include <mlh/mlh.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

typedef struct {
    int16_t* samples; /* interleaved */
    int32_t frames, channels, rate;
} Sound;

/* Finds format and data of a WAV file; other chunks are skipped. Returns 0 if it is not one of 16 bits. */
static int read_wav(const char* path, Sound* sound) {
    unsigned char head[12], chunk[8], format[16] = {0};
    FILE* file = fopen(path, "rb");
    int found = 0;
    memset(sound, 0, sizeof *sound);
    if (file == NULL) {
        return 0;
    }
    if (fread(head, 1, 12, file) == 12 && memcmp(head, "RIFF", 4) == 0 && memcmp(head + 8, "WAVE", 4) == 0) {
        while (!found && fread(chunk, 1, 8, file) == 8) {
            uint32_t size = chunk[4] | chunk[5] << 8 | chunk[6] << 16 | (uint32_t)chunk[7] << 24;
            if (memcmp(chunk, "fmt ", 4) == 0 && size >= 16 && fread(format, 1, 16, file) == 16) {
                fseek(file, (long)(size - 16 + (size & 1)), SEEK_CUR);
            } else if (memcmp(chunk, "data", 4) == 0 && format[14] == 16 && format[2] - 1u < 2) {
                sound->channels = format[2];
                sound->rate = format[4] | format[5] << 8 | format[6] << 16;
                sound->samples = malloc((size_t)size + 1);
                found = sound->samples != NULL;
                sound->frames = !found ? 0 : (int32_t)(fread(sound->samples, 1, size, file) / 2 / format[2]);
            } else {
                fseek(file, (long)(size + (size & 1)), SEEK_CUR);
            }
        }
    }
    fclose(file);
    return found;
}

static void put(FILE* file, uint32_t value, int bytes) {
    for (; bytes > 0; --bytes, value >>= 8) {
        fputc((int)(value & 255), file);
    }
}

static int write_wav(const char* path, const Sound* sound) {
    const uint32_t frame = 2u * (uint32_t)sound->channels, size = frame * (uint32_t)sound->frames;
    FILE* file = fopen(path, "wb");
    if (file == NULL) {
        return 0;
    }
    fputs("RIFF", file), put(file, 36 + size, 4), fputs("WAVEfmt ", file), put(file, 16, 4);
    put(file, 1, 2), put(file, (uint32_t)sound->channels, 2), put(file, (uint32_t)sound->rate, 4);
    put(file, (uint32_t)sound->rate * frame, 4), put(file, frame, 2), put(file, 16, 2);
    fputs("data", file), put(file, size, 4);
    fwrite(sound->samples, frame, (size_t)sound->frames, file);
    return fclose(file) == 0;
}

int main(int argc, char** argv) {
    Sound lead, mix;
    void* mlh = NULL;
    if (argc != 3 || !read_wav(argv[1], &lead)) {
        fprintf(stderr, "usage: host LEAD.wav MIX.wav (16 bit, mono or stereo)\n");
        return 2;
    }
    mlhCreateInstance(&mlh);
    mlhAssignInputData16(mlh, lead.samples, lead.frames, lead.channels, lead.rate);
    if (mlhSetParams(mlh, true, 4, 1, 0.5f, 0, false) != MLH_OK) {
        fprintf(stderr, "host: %s cannot be analysed\n", argv[1]);
        return 1;
    }

    /* Chords are optional; this one holds throughout. */
    ChordVector* chords = mlhGetNewChordVector();
    ChordItem c_major = {0.0f, {60, 64, 67, -1}};
    mlhChordVectorAddItem(chords, c_major);
    mlhSetChordVector(mlh, chords);
    mlhDisposeChordVector(chords);
    PitchVector* notes = mlhGetPitchVector(mlh, 0, 0, 0);
    printf("%s: %d segments\n", mlhGetVersionString(), (int)mlhPitchVectorGetTotal(notes));
    mlhDisposePitchVector(notes);

    mix = lead;
    mix.samples = malloc((size_t)lead.frames * (size_t)lead.channels * 2 + 1);
    if (mix.samples == NULL) {
        return 1;
    }
    mlhProcessOutputData16(mlh, mix.samples, mix.frames, mix.channels, NULL);
    mlhDestroyInstance(&mlh);
    const int written = write_wav(argv[2], &mix);
    free(lead.samples);
    free(mix.samples);
    return written ? 0 : 1;
}
