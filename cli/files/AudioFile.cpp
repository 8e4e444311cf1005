#include "files/AudioFile.h"

#include <sndfile.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <limits>

#include "Errors.h"
#include "Say.h"
#include "files/Damage.h"
#include "files/InputFile.h"
#include "files/OutputFile.h"

namespace mlh::cli {

namespace {

struct CloseFile {
    void operator()(SNDFILE* file) const { sf_close(file); }
};
using File = std::unique_ptr<SNDFILE, CloseFile>;

constexpr int32_t kBlock = 65536;          // [frames]
constexpr int32_t kSlipsASecond = 100;     // lengths in headers are wrong by a frame or two now and then
constexpr int32_t kMinSampleRate = 11025;  // [Hz] what the library analyses
constexpr int32_t kMaxSampleRate = 255999;

void MixDown(const float* in, int32_t frames, int32_t channels, std::vector<float>& out) {
    for (int32_t i = 0; i < frames; ++i) {
        double sum = 0.0;
        for (int32_t c = 0; c < channels; ++c) {
            sum += in[i * channels + c];
        }
        out.push_back(static_cast<float>(sum / channels));
    }
}

std::string Suffix(const std::string& path) {
    const auto dot = path.find_last_of("./");
    if (dot == std::string::npos || path[dot] == '/') {
        return "";
    }
    std::string suffix = path.substr(dot + 1);
    std::transform(suffix.begin(), suffix.end(), suffix.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    return suffix;
}

// The container of a suffix, by libsndfile's own list.
int Container(const std::string& path) {
    const std::string suffix = Suffix(path);
    if (suffix.empty() || suffix == "wav") {
        return SF_FORMAT_WAV;
    }
    if (suffix == "aif") {
        return SF_FORMAT_AIFF;
    }
    int count = 0;
    sf_command(nullptr, SFC_GET_FORMAT_MAJOR_COUNT, &count, sizeof count);
    for (int i = 0; i < count; ++i) {
        SF_FORMAT_INFO info{};
        info.format = i;
        sf_command(nullptr, SFC_GET_FORMAT_MAJOR, &info, sizeof info);
        if (info.extension != nullptr && suffix == info.extension) {
            return info.format & SF_FORMAT_TYPEMASK;
        }
    }
    throw UsageError(path + ": cannot write audio as ." + suffix + "; use .wav, .flac or .aiff");
}

int Encoding(SampleFormat format) {
    switch (format) {
        case SampleFormat::Int16:
            return SF_FORMAT_PCM_16;
        case SampleFormat::Int24:
            return SF_FORMAT_PCM_24;
        default:
            return SF_FORMAT_FLOAT;
    }
}

// What the audio library says of a failure, as a person would.
std::string Reason(const std::string& reason) {
    std::string text = reason;
    for (const std::string kind : {"System error : ", "Error : "}) {
        if (text.starts_with(kind)) {
            text.erase(0, kind.size());
        }
    }
    text.erase(text.find_last_not_of(". \r\n") + 1);
    if (text == "Format not recognised") {
        text = "it is no recording in a known format";
    }
    if (text.starts_with("Internal error")) {
        text = "its header makes no sense";
    }
    return text;
}

// Other formats are read back and forth.
std::string AdviceForPipes(const std::string& path) {
    return IsPipe(path) ? "; a pipe can only carry WAV, so make it a file first" : "";
}

// Whether the length that was announced is more than an estimate: streams have none, and an MP3 says it in
// its first frame or not at all.
bool KnowsItsLength(const std::string& path, const SF_INFO& info) {
    if (info.seekable == 0) {
        return false;
    }
    if ((info.format & SF_FORMAT_TYPEMASK) != SF_FORMAT_MPEG) {
        return true;
    }
    std::string head(65536, '\0');
    std::ifstream file = OpenInput(path);
    file.read(head.data(), static_cast<std::streamsize>(head.size()));
    return head.find("Xing") != std::string::npos || head.find("Info") != std::string::npos ||
           head.find("VBRI") != std::string::npos;
}

// The frames that a file announces: from what its header was found to promise, or as many as there are.
int64_t PromisedFrames(const std::string& path, SNDFILE* file, const SF_INFO& info, int64_t frames) {
    std::string account(16384, '\0');
    account.resize(static_cast<std::size_t>(
        std::max(0, sf_command(file, SFC_GET_LOG_INFO, account.data(), static_cast<int>(account.size())))));
    const double share = PromisedShare(account);
    if (share > 1.0) {
        return static_cast<int64_t>(share * static_cast<double>(info.frames));
    }
    return KnowsItsLength(path, info) ? std::max(info.frames, frames) : frames;
}

// Says what is damaged, a line each; the last one with what to do, if it is not accepted.
void Judge(const std::string& path, const std::vector<std::string>& damage, OnDamage onDamage) {
    for (std::size_t i = 0; i < damage.size(); ++i) {
        const std::string line = path + " is damaged: " + damage[i];
        if (onDamage == OnDamage::Refuse && i + 1 == damage.size()) {
            throw Failure(line + ", or take what there is with --accept-damage");
        }
        Say(line);
    }
}

SF_INFO OutputInfo(const std::string& path, SampleFormat format, int32_t channels, int32_t sampleRate) {
    SF_INFO info{};
    info.samplerate = sampleRate;
    info.channels = channels;
    info.format = Container(path) | Encoding(format);
    if (sf_format_check(&info) == 0) {
        throw UsageError(path + ": this kind of file cannot hold the chosen --format; use .wav");
    }
    return info;
}

}  // namespace

Audio ReadAudio(const std::string& path, OnDamage onDamage) {
    CheckInput(path);
    SF_INFO info{};
    auto quiet = std::make_unique<QuietStandardError>();  // decoders talk to the terminal
    File file(sf_open(path.c_str(), SFM_READ, &info));
    if (!file) {
        throw Failure("cannot read " + path + ": " + Reason(sf_strerror(nullptr)) + AdviceForPipes(path));
    }
    if (info.samplerate < kMinSampleRate || info.samplerate > kMaxSampleRate) {
        throw Failure(path + ": its sample rate is " + std::to_string(info.samplerate) +
                      " Hz; convert it to one from 11025 to 255999 Hz first");
    }

    Audio audio;
    audio.fileChannels = info.channels;
    audio.channels = info.channels > 2 ? 1 : info.channels;
    audio.sampleRate = info.samplerate;
    std::vector<float> block(static_cast<std::size_t>(kBlock) * info.channels);
    // Read until nothing comes, whatever the header says.
    for (;;) {
        const auto frames = static_cast<int32_t>(sf_readf_float(file.get(), block.data(), kBlock));
        if (frames <= 0) {
            break;
        }
        if (static_cast<int64_t>(audio.Frames()) + frames > std::numeric_limits<int32_t>::max() / 2) {
            throw Failure(path + ": too long; cut it into pieces of at most six hours");
        }
        if (info.channels > 2) {
            MixDown(block.data(), frames, info.channels, audio.samples);
        } else {
            audio.samples.insert(audio.samples.end(), block.begin(), block.begin() + frames * info.channels);
        }
    }
    const bool broken = sf_error(file.get()) != SF_ERR_NO_ERROR;
    const int64_t promised = PromisedFrames(path, file.get(), info, audio.Frames());
    file.reset();
    quiet.reset();

    if (audio.Frames() == 0) {
        throw Failure(path + (broken || promised > 0 ? ": it is damaged; nothing of it can be read"
                                                     : ": there is no sound in it"));
    }
    std::vector<std::string> damage;
    std::vector<std::string> warnings;
    if (broken || promised > audio.Frames() + info.samplerate / kSlipsASecond) {
        damage.push_back(
            promised > audio.Frames()
                ? Format("%.1f of its %.1f s can be read; get a whole copy", audio.Seconds(),
                         static_cast<double>(promised) / info.samplerate)
                : Format("only its first %.1f s can be read; get a whole copy", audio.Seconds()));
    }
    SilenceNonNumbers(audio, damage);
    FindClipping(audio, damage, warnings);
    Judge(path, damage, onDamage);
    for (const std::string& warning : warnings) {
        Say(path + ": " + warning);
    }
    if (info.channels > 2) {
        Say(path + Format(" has %d channels; they are mixed down to one", info.channels));
    }
    return audio;
}

void CheckAudioOutput(const std::string& path, SampleFormat format) { OutputInfo(path, format, 2, 44100); }

struct AudioWriter::State {
    std::string path;
    OutputFile output;
    File file;
    SampleFormat format;
    int32_t channels;
    int64_t saturated = 0;
    std::vector<int> integers;

    State(const std::string& path, SampleFormat format, int32_t channels, int32_t sampleRate)
        : path(path), output(path), format(format), channels(channels) {
        SF_INFO info = OutputInfo(path, format, channels, sampleRate);
        file.reset(sf_open(output.temporaryPath().c_str(), SFM_WRITE, &info));
        if (!file) {
            throw Failure("cannot write " + path + ": " + Reason(sf_strerror(nullptr)));
        }
        // That chunk of float files holds the time of day; the same call shall write the same file.
        sf_command(file.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
    }

    // Integers of `bits` bits, shifted up to 32.
    void WriteIntegers(const float* samples, int64_t count, int bits) {
        const double scale = static_cast<double>((1 << (bits - 1)) - 1);
        const int shift = 32 - bits;
        integers.resize(static_cast<std::size_t>(count));
        for (int64_t i = 0; i < count; ++i) {
            double value = samples[i] * scale;
            if (samples[i] > 1.0f || samples[i] < -1.0f) {
                ++saturated;
            }
            if (!(value > -scale)) {
                value = value <= -scale ? -scale : 0.0;
            }
            if (value > scale) {
                value = scale;
            }
            integers[i] = static_cast<int>(static_cast<uint32_t>(static_cast<int>(value)) << shift);
        }
        Check(sf_write_int(file.get(), integers.data(), count), count);
    }

    void Check(int64_t written, int64_t wanted) const {
        if (written != wanted) {
            throw Failure("cannot write " + path + ": " + Reason(sf_strerror(file.get())));
        }
    }
};

AudioWriter::AudioWriter(const std::string& path, SampleFormat format, int32_t channels, int32_t sampleRate)
    : state_(std::make_unique<State>(path, format, channels, sampleRate)) {}

AudioWriter::~AudioWriter() = default;

void AudioWriter::Write(const float* samples, int32_t frames) {
    ThrowIfInterrupted();
    const int64_t count = static_cast<int64_t>(frames) * state_->channels;
    switch (state_->format) {
        case SampleFormat::Int16:
            state_->WriteIntegers(samples, count, 16);
            break;
        case SampleFormat::Int24:
            state_->WriteIntegers(samples, count, 24);
            break;
        case SampleFormat::Float:
            state_->Check(sf_write_float(state_->file.get(), samples, count), count);
            break;
    }
}

void AudioWriter::Finish() {
    if (sf_close(state_->file.release()) != 0) {
        throw Failure("cannot finish " + state_->path + ": is the disk full?");
    }
    state_->output.Commit();
}

int64_t AudioWriter::Saturated() const { return state_->saturated; }

}  // namespace mlh::cli
