// The C functions: handles, the call, and the mapping of what is thrown to codes.
#include <algorithm>
#include <cfenv>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "base/Version.h"
#include "choir/Choir.h"
#include "choir/Errors.h"
#include "choir/document/Document.h"
#include "choir/document/SettingsDocument.h"
#include "choir/plan/SettingsOfPlan.h"
#include "choir/score/Score.h"
#include "choir/take/Take.h"
#include "mlh/choir.h"

using mlh::choir::Choir;
using mlh::choir::Take;

struct mlhTake {
    Take take;
};

struct mlhChoir {
    std::unique_ptr<Choir> choir;
};

struct mlhScore {
    mlh::choir::Score score;
    std::string document;
};

namespace mlh::choir {

namespace {

constexpr int64_t kMostFrames = 1 << 30;
constexpr std::size_t kMostText = 512;

// Memory of fixed size, since what fails may be memory.
thread_local char errorText[kMostText] = "";

int32_t Fail(int32_t code, const char* text) {
    // The end of a line that is too long is cut at a whole character.
    std::size_t size = std::min(std::strlen(text), kMostText - 1);
    while (size > 0 && text[size] != '\0' && (text[size] & 0xC0) == 0x80) {
        --size;
    }
    std::copy_n(text, size, errorText);
    errorText[size] = '\0';
    std::replace(errorText, errorText + size, '\n', ' ');
    return code;
}

// A number or pointer of the caller is wrong.
struct BadArgument : std::invalid_argument {
    using std::invalid_argument::invalid_argument;
};

void Need(bool good, const char* complaint) {
    if (!good) {
        throw BadArgument(complaint);
    }
}

// Floating point as a program starts, whatever the host has set.
class DefaultFloatingPoint {
  public:
    DefaultFloatingPoint() {
        std::fegetenv(&host_);
        std::fesetenv(FE_DFL_ENV);
    }
    ~DefaultFloatingPoint() { std::fesetenv(&host_); }
    DefaultFloatingPoint(const DefaultFloatingPoint&) = delete;
    DefaultFloatingPoint& operator=(const DefaultFloatingPoint&) = delete;

  private:
    std::fenv_t host_;
};

template <class Work>
int32_t Guarded(Work work) noexcept {
    const DefaultFloatingPoint state;
    try {
        work();
        return MLH_CHOIR_OK;
    } catch (const BadArgument& error) {
        return Fail(MLH_CHOIR_ARGUMENT, error.what());
    } catch (const Cancelled&) {
        return Fail(MLH_CHOIR_CANCELLED, "the progress callback asked for the end");
    } catch (const UsageError& error) {
        return Fail(MLH_CHOIR_SETTINGS, error.what());
    } catch (const std::bad_alloc&) {
        return Fail(MLH_CHOIR_MEMORY, "there is not enough memory");
    } catch (const std::length_error&) {
        return Fail(MLH_CHOIR_MEMORY, "there is not enough memory");
    } catch (const std::exception& error) {
        return Fail(MLH_CHOIR_FAILED, error.what());
    } catch (...) {
        return Fail(MLH_CHOIR_FAILED, "something unexpected went wrong");
    }
}

ProgressCallback Reporting(mlhChoirProgress progress, void* user) {
    if (progress == nullptr) {
        return {};
    }
    return [progress, user](double share) {
        if (progress(share, user) != 0) {
            throw Cancelled();
        }
    };
}

template <class Handle>
void Destroy(Handle** handle) {
    Need(handle != nullptr && *handle != nullptr, "there is no such handle");
    delete *handle;
    *handle = nullptr;
}

// The capacity protocol.
template <class Item, class Count>
void CheckRoom(const Item* items, Count capacity, const Count* count) {
    Need(count != nullptr, "the count is null");
    Need(capacity >= 0, "a capacity is 0 or more");
    Need(items != nullptr || capacity == 0, "the array is null, but has a capacity");
}

template <class Item, class From, class Convert>
void Fill(const std::vector<From>& from, Item* items, int32_t capacity, int32_t* count, Convert convert) {
    CheckRoom(items, capacity, count);
    *count = static_cast<int32_t>(from.size());
    for (int32_t i = 0; i < std::min(capacity, *count); ++i) {
        items[i] = convert(from[static_cast<std::size_t>(i)]);
    }
}

// A text that does not fit is cut, and ends with a 0 all the same.
void FillText(const std::string& from, char* text, int64_t capacity, int64_t* size) {
    CheckRoom(text, capacity, size);
    *size = static_cast<int64_t>(from.size()) + 1;
    if (capacity == 0) {
        return;
    }
    const auto copied = static_cast<std::size_t>(std::min<int64_t>(capacity - 1, *size - 1));
    std::copy_n(from.data(), copied, text);
    text[copied] = '\0';
}

template <std::size_t kSize>
void CopyName(const std::string& name, char (&to)[kSize]) {
    std::size_t size = std::min(name.size(), kSize - 1);
    while (size > 0 && size < name.size() && (name[size] & 0xC0) == 0x80) {
        --size;
    }
    std::copy_n(name.data(), size, to);
    std::fill(to + size, to + kSize, '\0');
}

Settings SettingsOf(const char* text, const Settings& defaults = {}) {
    return text == nullptr ? defaults : ReadSettings(text, "settings", defaults);
}

const Voice& VoiceOf(const mlhChoir* choir, int32_t voice) {
    Need(choir != nullptr, "the choir is null");
    const auto& voices = choir->choir->voices();
    Need(voice >= 0 && voice < static_cast<int32_t>(voices.size()), "there is no voice of this number");
    return voices[static_cast<std::size_t>(voice)];
}

mlhChoirChord ToC(const TimedChord& timed) {
    const Chord& chord = timed.chord;
    mlhChoirChord out{};
    out.time = timed.time;
    CopyName(chord.name, out.name);
    out.root = chord.root;
    out.bass = chord.bass >= 0 ? chord.bass : chord.root;
    out.tones = PitchClassesOf(chord);
    return out;
}

mlhScoreNote ToC(const ScoreNote& note) {
    return {note.onset, note.length, note.start, note.end, note.note, note.lead};
}

void CheckStretch(const mlhChoir* choir, int64_t first, int64_t frames) {
    Need(choir != nullptr, "the choir is null");
    Need(first >= 0 && first <= kMostFrames, "the first frame is from 0 to 2^30");
    Need(frames >= 0 && frames <= kMostFrames, "the frames are from 0 to 2^30");
}

}  // namespace

}  // namespace mlh::choir

using namespace mlh::choir;

const char* mlhChoirGetCodeText(int32_t code) {
    switch (code) {
        case MLH_CHOIR_OK:
            return "success";
        case MLH_CHOIR_ARGUMENT:
            return "a handle or pointer is null, or a number is out of range";
        case MLH_CHOIR_SETTINGS:
            return "a document cannot be read, or asks for what does not exist";
        case MLH_CHOIR_FAILED:
            return "the take has nothing that this needs, or cannot be analysed";
        case MLH_CHOIR_CANCELLED:
            return "the progress callback asked for the end";
        case MLH_CHOIR_MEMORY:
            return "there is not enough memory";
        default:
            return "unknown code";
    }
}

const char* mlhChoirGetErrorText(void) { return errorText; }

const char* mlhChoirGetVersion(void) {
    static char text[32];
    static const int written = std::snprintf(text, sizeof text, "%d.%d.%d", mlh::kAddOnVersion[0],
                                             mlh::kAddOnVersion[1], mlh::kAddOnVersion[2]);
    return written > 0 ? text : "";
}

int32_t mlhTakeCreate(mlhTake** outTake, const float* samples, int64_t frames, int32_t channels,
                      int32_t sampleRate, mlhChoirProgress progress, void* user) {
    return Guarded([&] {
        Need(outTake != nullptr, "there is no place for the take");
        *outTake = nullptr;
        Need(frames >= 0 && frames <= kMostFrames, "the frames are from 0 to 2^30");
        Need(samples != nullptr || frames == 0, "the samples are null");
        Need(channels == 1 || channels == 2, "the channels are 1 or 2");
        Need(sampleRate >= 11025 && sampleRate <= 255999, "the sample rate is from 11025 to 255999 Hz");
        const AudioView audio = {samples, static_cast<int32_t>(frames), channels, sampleRate};
        *outTake = new mlhTake{Take(audio, Reporting(progress, user))};
    });
}

int32_t mlhTakeDestroy(mlhTake** inOutTake) {
    return Guarded([&] { Destroy(inOutTake); });
}

int32_t mlhTakeGetInfo(const mlhTake* take, mlhTakeInfo* outInfo) {
    return Guarded([&] {
        Need(take != nullptr && outInfo != nullptr, "the take or the place for the answer is null");
        const Take& own = take->take;
        const double tuning = own.analysis().tuning;
        *outInfo = {own.audio().frames,
                    own.audio().channels,
                    own.audio().sampleRate,
                    static_cast<int32_t>(own.notes().size()),
                    static_cast<int32_t>(own.curve().size()),
                    own.analysis().key,
                    0,
                    std::isfinite(tuning) && !own.notes().empty() ? 100.0 * tuning : std::nan("")};
    });
}

int32_t mlhTakeGetNotes(const mlhTake* take, mlhTakeNote* outNotes, int32_t capacity, int32_t* outCount) {
    return Guarded([&] {
        Need(take != nullptr, "the take is null");
        Fill(take->take.notes(), outNotes, capacity, outCount, [](const SungNote& note) {
            return mlhTakeNote{note.start, note.end, note.pitch, note.level};
        });
    });
}

int32_t mlhTakeGetCurve(const mlhTake* take, mlhTakePoint* outPoints, int32_t capacity, int32_t* outCount) {
    return Guarded([&] {
        Need(take != nullptr, "the take is null");
        const double rate = take->take.audio().sampleRate;
        Fill(take->take.analysis().curve, outPoints, capacity, outCount,
             [rate](const mlh::PitchPoint& point) {
                 return mlhTakePoint{point.time, point.pitch, std::sqrt(static_cast<double>(point.energy)),
                                     point.voiced && point.pitch > 0.0f ? 1 : 0,
                                     static_cast<int32_t>(std::lround(point.time * rate))};
             });
    });
}

int32_t mlhTakeGetDocument(const mlhTake* take, int32_t withCurve, char* outText, int64_t capacity,
                           int64_t* outSize) {
    return Guarded([&] {
        Need(take != nullptr, "the take is null");
        CheckRoom(outText, capacity, outSize);
        FillText(TakeDocument(take->take, {}, withCurve != 0), outText, capacity, outSize);
    });
}

int32_t mlhChoirCreate(mlhChoir** outChoir, mlhTake* take, const char* settings, mlhChoirProgress progress,
                       void* user) {
    return Guarded([&] {
        Need(outChoir != nullptr, "there is no place for the choir");
        *outChoir = nullptr;
        Need(take != nullptr, "the take is null");
        auto choir = std::make_unique<Choir>(take->take, SettingsOf(settings), Reporting(progress, user));
        *outChoir = new mlhChoir{std::move(choir)};
    });
}

int32_t mlhChoirDestroy(mlhChoir** inOutChoir) {
    return Guarded([&] { Destroy(inOutChoir); });
}

int32_t mlhChoirSetSettings(mlhChoir* choir, const char* settings, mlhChoirProgress progress, void* user) {
    return Guarded([&] {
        Need(choir != nullptr, "the choir is null");
        choir->choir->Change(SettingsOf(settings), Reporting(progress, user));
    });
}

int32_t mlhChoirGetSettings(const mlhChoir* choir, char* outText, int64_t capacity, int64_t* outSize) {
    return Guarded([&] {
        Need(choir != nullptr, "the choir is null");
        FillText(WriteSettings(choir->choir->settings()), outText, capacity, outSize);
    });
}

const char* mlhChoirGetSettingsHelp(void) {
    // Never destroyed: a host may ask while it ends.
    static const std::string* const text = [] {
        try {
            return new std::string(SettingsHelp());
        } catch (...) {
            return static_cast<std::string*>(nullptr);
        }
    }();
    return text == nullptr ? "" : text->c_str();
}

int32_t mlhChoirGetVoiceCount(const mlhChoir* choir, int32_t* outCount) {
    return Guarded([&] {
        Need(choir != nullptr && outCount != nullptr, "the choir or the place for the answer is null");
        *outCount = static_cast<int32_t>(choir->choir->voices().size());
    });
}

int32_t mlhChoirGetVoice(const mlhChoir* choir, int32_t voice, mlhChoirVoice* outVoice) {
    return Guarded([&] {
        const Voice& own = VoiceOf(choir, voice);
        Need(outVoice != nullptr, "the place for the answer is null");
        CopyName(own.name, outVoice->name);
        outVoice->part = static_cast<int32_t>(own.part);
        outVoice->notes = static_cast<int32_t>(own.notes.size());
    });
}

int32_t mlhChoirGetVoiceNotes(const mlhChoir* choir, int32_t voice, mlhChoirNote* outNotes, int32_t capacity,
                              int32_t* outCount) {
    return Guarded([&] {
        Fill(VoiceOf(choir, voice).notes, outNotes, capacity, outCount, [](const VoiceNote& note) {
            return mlhChoirNote{note.start, note.end, note.pitch, note.level, note.note, note.lead};
        });
    });
}

int32_t mlhChoirGetChords(const mlhChoir* choir, mlhChoirChord* outChords, int32_t capacity,
                          int32_t* outCount) {
    return Guarded([&] {
        Need(choir != nullptr, "the choir is null");
        Fill(choir->choir->chords(), outChords, capacity, outCount,
             [](const TimedChord& chord) { return ToC(chord); });
    });
}

int32_t mlhChoirGetDocument(const mlhChoir* choir, int32_t withCurve, char* outText, int64_t capacity,
                            int64_t* outSize) {
    return Guarded([&] {
        Need(choir != nullptr, "the choir is null");
        CheckRoom(outText, capacity, outSize);
        FillText(ChoirDocument(*choir->choir, {}, withCurve != 0), outText, capacity, outSize);
    });
}

int32_t mlhChoirRenderMix(mlhChoir* choir, int64_t firstFrame, int64_t frames, int32_t channels,
                          float* outMix, mlhChoirProgress progress, void* user) {
    return Guarded([&] {
        CheckStretch(choir, firstFrame, frames);
        Need(channels == 1 || channels == 2, "the channels of a mix are 1 or 2");
        Need(outMix != nullptr || frames == 0, "there is no room for the mix");
        choir->choir->RenderKept(firstFrame, frames, nullptr, outMix, channels, Reporting(progress, user));
    });
}

int32_t mlhChoirRenderVoice(mlhChoir* choir, int32_t voice, int64_t firstFrame, int64_t frames,
                            float* outSamples, mlhChoirProgress progress, void* user) {
    return Guarded([&] {
        CheckStretch(choir, firstFrame, frames);
        if (voice != -1) {
            VoiceOf(choir, voice);
        }
        Need(outSamples != nullptr || frames == 0, "there is no room for the samples");
        const auto channels = static_cast<std::size_t>(choir->choir->take().audio().channels);
        std::vector<float*> rows((1 + choir->choir->voices().size()) * channels);
        const std::size_t line = static_cast<std::size_t>(voice + 1) * channels;
        if (channels == 1) {
            rows[line] = outSamples;
            choir->choir->Render(firstFrame, frames, rows.data(), nullptr, 0, Reporting(progress, user));
            return;
        }
        // Rows of a block at a time, put between each other.
        constexpr int64_t kBlock = 4096;
        const ProgressCallback report = Reporting(progress, user);
        std::vector<float> block(channels * static_cast<std::size_t>(kBlock));
        for (int64_t done = 0; done < frames;) {
            const int64_t count = std::min(kBlock, frames - done);
            for (std::size_t c = 0; c < channels; ++c) {
                rows[line + c] = block.data() + c * static_cast<std::size_t>(kBlock);
            }
            choir->choir->Render(firstFrame + done, count, rows.data(), nullptr, 0);
            for (int64_t i = 0; i < count; ++i) {
                for (std::size_t c = 0; c < channels; ++c) {
                    outSamples[static_cast<std::size_t>(done + i) * channels + c] = rows[line + c][i];
                }
            }
            done += count;
            if (report) {
                report(static_cast<double>(done) / static_cast<double>(frames));
            }
        }
    });
}

int32_t mlhChoirRenderAll(mlhChoir* choir, int64_t firstFrame, int64_t frames, float* const* outRows,
                          int32_t mixChannels, float* outMix, mlhChoirProgress progress, void* user) {
    return Guarded([&] {
        CheckStretch(choir, firstFrame, frames);
        Need(outMix == nullptr || mixChannels == 1 || mixChannels == 2, "the channels of a mix are 1 or 2");
        choir->choir->RenderKept(firstFrame, frames, outRows, outMix, mixChannels, Reporting(progress, user));
    });
}

int32_t mlhScoreCreateFromChoir(mlhScore** outScore, const mlhChoir* choir, double bpm) {
    return Guarded([&] {
        Need(outScore != nullptr, "there is no place for the score");
        *outScore = nullptr;
        Need(choir != nullptr, "the choir is null");
        Need(bpm == 0.0 || (bpm >= 1.0 && bpm <= 1000.0),
             "the tempo is from 1 to 1000 quarter notes a minute, or 0");
        auto score = std::make_unique<mlhScore>();
        score->score = ToScore(*choir->choir, bpm);
        score->document = ScoreDocument(score->score);
        *outScore = score.release();
    });
}

int32_t mlhScoreCreateFromMelody(mlhScore** outScore, const char* melody, const char* settings) {
    return Guarded([&] {
        Need(outScore != nullptr, "there is no place for the score");
        *outScore = nullptr;
        Need(melody != nullptr, "the melody is null");
        const Settings wanted = SettingsOf(settings);
        auto score = std::make_unique<mlhScore>();
        if (IsPlanned(wanted)) {
            score->score = PlanScore(ReadMelodyDocument(melody), wanted);
            score->document = ScoreDocument(score->score);
        } else {
            const Arrangement arrangement = Arrange(ReadMelodyDocument(melody), wanted);
            score->score = ToScore(arrangement);
            score->document = ScoreDocument(arrangement);
        }
        *outScore = score.release();
    });
}

int32_t mlhScoreDestroy(mlhScore** inOutScore) {
    return Guarded([&] { Destroy(inOutScore); });
}

int32_t mlhScoreGetVoiceCount(const mlhScore* score, int32_t* outCount) {
    return Guarded([&] {
        Need(score != nullptr && outCount != nullptr, "the score or the place for the answer is null");
        *outCount = static_cast<int32_t>(score->score.voices.size());
    });
}

int32_t mlhScoreGetNotes(const mlhScore* score, int32_t voice, mlhScoreNote* outNotes, int32_t capacity,
                         int32_t* outCount) {
    return Guarded([&] {
        Need(score != nullptr, "the score is null");
        const auto& voices = score->score.voices;
        Need(voice >= -1 && voice < static_cast<int32_t>(voices.size()), "there is no voice of this number");
        const auto& notes = voice < 0 ? score->score.melody : voices[static_cast<std::size_t>(voice)].notes;
        Fill(notes, outNotes, capacity, outCount, [](const ScoreNote& note) { return ToC(note); });
    });
}

int32_t mlhScoreGetDocument(const mlhScore* score, char* outText, int64_t capacity, int64_t* outSize) {
    return Guarded([&] {
        Need(score != nullptr, "the score is null");
        FillText(score->document, outText, capacity, outSize);
    });
}
