// Recordings of any format that libsndfile reads, for the tests of this room.
//
//     std::string why;
//     const auto names = ListAudioFiles(VoicesDir(), why);
//     if (names.empty()) GTEST_SKIP() << why;
#pragma once

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "support/Paths.h"
#include "support/Recordings.h"

#ifdef MLH_HAVE_SNDFILE
#include <sndfile.h>
#endif

namespace mlh {

// The names of all sound files of the folder, sorted. Empty, with a reason in `why`, where no file is or
// none can be read.
inline std::vector<std::string> ListAudioFiles(const std::string& folder, std::string& why) {
    std::vector<std::string> names;
#ifdef MLH_HAVE_SNDFILE
#ifdef _WIN32
    static const std::set<std::string> kSuffixes = {".wav", ".ogg",
                                                    ".flac"};  // libsndfile is without MP3 there
#else
    static const std::set<std::string> kSuffixes = {".wav", ".mp3", ".ogg", ".flac"};
#endif
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        if (kSuffixes.count(entry.path().extension().string()) == 0) {
            continue;
        }
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    if (folder.empty()) {
        why = kNoFolder;
    } else if (names.empty()) {
        why = "no recordings below " + folder;
    }
#else
    static_cast<void>(folder);
    why = "built without libsndfile";
#endif
    return names;
}

// Reads at most the first `seconds` of a file. False, with a reason in `why`, where that can't be done.
inline bool LoadAudioFile(const std::string& folder, const std::string& name, double seconds,
                          Recording& recording, std::string& why) {
#ifdef MLH_HAVE_SNDFILE
    SF_INFO info{};
    const std::string path = (std::filesystem::path(folder) / name).string();
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr) {
        why = folder.empty() ? kNoFolder : path + ": " + sf_strerror(nullptr);
        return false;
    }
    recording = {name, info.samplerate, info.channels, {}};
    // Read until nothing comes: the length in the header of a compressed file is an estimate.
    std::vector<float> block(65536 * static_cast<std::size_t>(info.channels));
    while (recording.Frames() < seconds * info.samplerate) {
        const auto frames = sf_readf_float(file, block.data(), 65536);
        if (frames <= 0) {
            break;
        }
        recording.samples.insert(recording.samples.end(), block.begin(),
                                 block.begin() + static_cast<std::ptrdiff_t>(frames * info.channels));
    }
    sf_close(file);
    if (seconds * info.samplerate < recording.Frames()) {
        recording.samples.resize(static_cast<std::size_t>(seconds * info.samplerate) *
                                 static_cast<std::size_t>(info.channels));
    }
    return true;
#else
    static_cast<void>(folder);
    static_cast<void>(seconds);
    static_cast<void>(recording);
    why = name + ": built without libsndfile";
    return false;
#endif
}

}  // namespace mlh
