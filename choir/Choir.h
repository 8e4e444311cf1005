// A take and the voices that are made of it: the C++ face of the library.
//
//     Take take({samples, frames, channels, rate});
//     Choir choir(take, settings);
//     choir.Render(0, frames, nullptr, mix, 2);
//
// The steps from take to sound are functions of their own: tuning, chords, voicing, pitches, people,
// rendering, mixing. What they decided is there to be shown; rendering can be asked for again and again, for
// any stretch.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "choir/Settings.h"
#include "choir/Types.h"
#include "choir/render/Singers.h"
#include "choir/score/Arrangement.h"
#include "choir/take/Take.h"

namespace mlh::choir {

class Choir {
  public:
    // Decides who sings what. The take must outlive the choir. Throws UsageError for settings out of range,
    // Failure when the take has nothing that this style needs, and what `progress` throws.
    Choir(Take& take, Settings settings, const ProgressCallback& progress = {});
    ~Choir();

    const Take& take() const { return take_; }
    const Settings& settings() const { return settings_; }

    // "F# minor", "D dorian"; empty for none. Its index: 0 to 11 major, 12 to 23 minor, -1 none.
    const std::string& keyName() const { return keyName_; }
    int key() const { return key_; }
    const std::vector<TimedChord>& chords() const { return chords_; }
    const std::vector<Voice>& voices() const { return voices_; }
    // Of the styles that set a melody in voices.
    const std::optional<Arrangement>& arrangement() const { return arrangement_; }
    // What the user should know, a line each.
    const std::vector<std::string>& warnings() const { return warnings_; }

    // For pictures and reports. The title is the caller's.
    Performance ToPerformance() const;

    // Renders `count` frames from `first` on; past the end there is silence. Null leaves something out.
    //   rows  channel c of line l (0 the dry lead, then the voices) goes to rows[l * channels + c], `count`
    //   samples
    //         each; single rows may be null
    //   mix   `mixChannels` (1 or 2) interleaved
    void Render(int64_t first, int64_t count, float* const* rows, float* mix, int32_t mixChannels,
                const ProgressCallback& progress = {});

  private:
    void SingCore(const ProgressCallback& progress);
    void SingTracks(const ProgressCallback& progress);
    void SingArrangement(const ProgressCallback& progress);
    void TakeLines(const std::vector<NoteLine>& lines);
    std::size_t Rows() const {
        return (1 + voices_.size()) * static_cast<std::size_t>(take_.audio().channels);
    }

    Take& take_;
    Settings settings_;
    int key_ = -1;
    std::string keyName_;
    std::vector<TimedChord> chords_;
    std::vector<Voice> voices_;
    std::optional<Arrangement> arrangement_;
    std::vector<std::string> warnings_;
    std::unique_ptr<Singers> singers_;
    std::vector<float> scratch_;  // a block of every row
};

}  // namespace mlh::choir
